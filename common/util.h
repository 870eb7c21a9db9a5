// Process and system utilities of the common library that the server uses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ptz {
class Os;
class Logger;

// Creates or truncates `path` (0644, never through a symbolic link) and
// writes the decimal process id without a line feed. 0, -1 open failed,
// -2 short write.
int write_pid_file(Os& os, const char* path);
// Reads a decimal number from a small text file; unreadable files read as 0.
int read_number_from_file(Os& os, const char* path);
// Logs `len` bytes (at most 256) in rows of 16; returns the count shown.
int hex_dump(Logger& log, const char* title, const uint8_t* data, int len);
int watchdog_kick(Os& os, unsigned long value);

// The rest belongs to the common library that the recorder's other processes
// link; the server never calls it. Its messages that carry a level go through
// the filtered log under LIB_COMMON (silent until the library is registered);
// the others (exec failures, the supervisor's status lines, runapp's fork
// failure) through the plain log.

// Counts the processes whose first command-line argument is `name`; -1 when
// "/proc" cannot be listed.
int count_process_by_cmdline(Os& os, Logger& log, const char* name);
// Runs `program` and starts it again whenever it ends; returns -1 only when
// a process cannot be created.
int run_and_supervise(Os& os, Logger& log, const char* program);
// Start `a0` with the arguments a1..a4 (a null pointer ends the list):
// runapp1 waits for the child, runapp2 and runapp3 do not, runapp4 creates it
// with vfork and does not wait. 0, or -1 when no process could be created.
int runapp1(Os& os, Logger& log, const char* a0, const char* a1 = nullptr, const char* a2 = nullptr,
            const char* a3 = nullptr, const char* a4 = nullptr);
int runapp2(Os& os, Logger& log, const char* a0, const char* a1 = nullptr, const char* a2 = nullptr,
            const char* a3 = nullptr, const char* a4 = nullptr);
int runapp3(Os& os, Logger& log, const char* a0, const char* a1 = nullptr, const char* a2 = nullptr,
            const char* a3 = nullptr, const char* a4 = nullptr);
int runapp4(Os& os, Logger& log, const char* a0, const char* a1 = nullptr, const char* a2 = nullptr,
            const char* a3 = nullptr, const char* a4 = nullptr);
// Logs the transmit and receive queues of the TCP sockets bound to the
// recorder's internal address (kTcpWatchAddress). Always 0.
int print_tcp_tx_q(Os& os, Logger& log);

// The local address print_tcp_tx_q watches, as "/proc/net/tcp" prints it (the
// network-order address read as a little-endian word). Set at build time with
// -DPTZ_TCP_WATCH_ADDR=a.b.c.d (CMake cache variable of the same name).
uint32_t tcp_watch_address();
}  // namespace ptz
