// Pelco-P frames.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ptz {

using PelcoPFrame = std::array<uint8_t, 8>;

namespace pelcop {
constexpr uint8_t stx = 0xA0, etx = 0xAF;
constexpr uint16_t right = 0x0002, left = 0x0004, up = 0x0008, down = 0x0010;
constexpr uint16_t zoom_tele = 0x0020, zoom_wide = 0x0040, focus_far = 0x0100, focus_near = 0x0200;
constexpr uint16_t iris_open = 0x0400, iris_close = 0x0800;
constexpr uint16_t set_preset = 0x0003, clear_preset = 0x0005, goto_preset = 0x0007;
constexpr uint16_t set_aux = 0x0009, clear_aux = 0x000B;
constexpr uint32_t min_wait_us = 35000;
}  // namespace pelcop

// Cameras count from 1, the line from 0; the address byte has five bits, so
// addresses 0 and 33 and up wrap round.
constexpr uint8_t pelcop_address(uint16_t camera) { return static_cast<uint8_t>((camera - 1) & 0x1F); }

// A0 addr cmd1 cmd2 data1 data2 AF xor; the command bytes carry seven bits
// each, and the XOR covers STX and ETX.
constexpr PelcoPFrame pelcop_frame(uint16_t camera, uint16_t cmd, uint8_t d1, uint8_t d2) {
    PelcoPFrame f{pelcop::stx,
                  pelcop_address(camera),
                  static_cast<uint8_t>((cmd >> 8) & 0x7F),
                  static_cast<uint8_t>(cmd & 0x7F),
                  d1,
                  d2,
                  pelcop::etx,
                  0};
    for (std::size_t i = 0; i < 7; ++i) f[7] ^= f[i];
    return f;
}

static_assert(pelcop_frame(1, 0, 0, 0) == PelcoPFrame{0xA0, 0x00, 0x00, 0x00, 0x00, 0x00, 0xAF, 0x0F});
static_assert(pelcop_address(0) == 31 && pelcop_address(33) == 0);

}  // namespace ptz
