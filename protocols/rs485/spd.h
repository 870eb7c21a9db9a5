// SPD frames, shared by the SPD drivers and SRX-100B.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "protocols/rs485/vocabulary.h"

namespace ptz {
class Daemon;

using SpdFrame = std::array<uint8_t, 11>;

// A0 addr 00 cmd(hi) cmd(lo) d1 d2 d3 FF AF sum, where sum is the complement
// of bytes 1..8 added up.
constexpr SpdFrame spd_frame(uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2, uint8_t d3) {
    SpdFrame f{0xA0, addr, 0x00, static_cast<uint8_t>(cmd >> 8), static_cast<uint8_t>(cmd), d1, d2, d3,
               0xFF, 0xAF, 0};
    uint8_t sum = 0;
    for (std::size_t i = 1; i <= 8; ++i) sum = static_cast<uint8_t>(sum + f[i]);
    f[10] = static_cast<uint8_t>(~sum);
    return f;
}
static_assert(spd_frame(1, 0x0002, 0x3F, 0, 0) ==
              SpdFrame{0xA0, 0x01, 0x00, 0x00, 0x02, 0x3F, 0x00, 0x00, 0xFF, 0xAF, 0xBE});

// What goes into one frame besides the address.
struct SpdWord {
    uint16_t cmd;
    uint8_t d1, d2, d3;
    constexpr bool operator==(const SpdWord&) const = default;
};

// Pan/tilt direction bits, each axis on its own (no diagonal decision):
// right 0002, left 0004, up 0008, down 0010.
constexpr uint16_t spd_direction(int x, int y) {
    uint16_t dir = 0;
    if (axis_sense(x) == Sense::positive) dir = 0x0002;
    if (axis_sense(x) == Sense::negative) dir = 0x0004;
    if (axis_sense(y) == Sense::positive) dir |= 0x0008;
    if (axis_sense(y) == Sense::negative) dir |= 0x0010;
    return dir;
}
static_assert(spd_direction(67, 61) == 0x0012 && spd_direction(61, 66) == 0x0004);

// Transmit enable with a 1 ms settle, the frame traced and written, then
// 10 ms for the camera before the next one.
void spd_send(Daemon& d, int port, uint8_t addr, SpdWord w);

}  // namespace ptz
