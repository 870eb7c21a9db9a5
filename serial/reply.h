// Reply reception: polling receivers with time and length limits for the
// protocols that answer on the line a command was written to.
#pragma once

#include <cstdint>

namespace ptz {
class Daemon;

// Waits up to `limit_us` for a frame of `len` bytes that starts with `start`,
// has `type` as its fourth byte and a valid sum of bytes 1..len-2 in its last
// byte. Returns len and copies the frame to `out`, or 0.
int recv_command(Daemon& d, int port, uint8_t* out, uint8_t start, uint8_t type, int len, int32_t limit_us);
// Waits 1 to 2 seconds for `start` followed by len-1 more bytes; returns the
// index the frame began at, or on failure the number of bytes collected.
// `out` always receives len bytes.
int recv_command_by_header(Daemon& d, int port, uint8_t* out, uint8_t start, int len);
int ez_recv(Daemon& d, int port, uint8_t start, int n, uint8_t* out);
int f2e_recv(Daemon& d, int port, uint8_t start, int n, uint8_t* out);
int spd_receive_ack(Daemon& d, int port);
int read_ack_byte(Daemon& d, int port);
}  // namespace ptz
