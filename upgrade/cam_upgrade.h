// Camera firmware upgrade over the control line.
//
// The camera is put into its loader with 7-byte control frames (the Pelco-D
// layout), given time to get there (10 s) and to prepare its memory (5 s),
// then the image is streamed in 1024-byte blocks, each followed by at least
// 0.1 s of silence for the loader, and closed by a 3-byte trailer: the image
// checksum, 0x65, 0x00. Nothing is read back. SIGUSR2 stops a transfer.
#pragma once

#include <cstdint>

namespace ptz {
class Daemon;

constexpr int kUpgradeBlock = 1024;

// Streams `size` bytes of `image` to the camera at `addr` on `port`; the
// channel is not used. 0 on completion, -1 when stopped.
int cam_upgrade(Daemon& d, int port, uint8_t addr, int channel, uint32_t size, const uint8_t* image);
// Logs a new progress percentage (a repeat of the last one is not logged).
int C1080B_upgrade_progress(Daemon& d, int percent);
// An upgrade request datagram (image size u32 at 12, image from 16) handed
// to cam_upgrade. The size is taken as the sender gives it, but cut at the
// end of the buffer the command lives in.
int cam_upgrade_request(Daemon& d, int port, uint8_t addr, uint8_t* cmd);

}  // namespace ptz
