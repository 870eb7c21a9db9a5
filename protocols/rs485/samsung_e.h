// Samsung-E frames.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ptz {

using SamsungEFrame = std::array<uint8_t, 9>;

namespace samsunge {
constexpr uint8_t control = 0x01, preset_menu = 0x03;
constexpr uint16_t left = 0x0001, right = 0x0002, up = 0x0004, down = 0x0008;
// focus_high and focus_low: the two focus keys, for x above and below the centre.
constexpr uint16_t zoom_tele = 0x2000, zoom_wide = 0x4000, focus_high = 0x0200, focus_low = 0x0100;
constexpr uint8_t goto_preset = 0x19, store_preset = 0x50, menu_key = 0x17, menu_enter = 0x18;
constexpr uint32_t min_wait_us = 10000;
}  // namespace samsunge

// A0 FE addr type b4 b5 b6 b7 sum, where sum is the complement of bytes
// 1..7 added up; the A0 is left out.
constexpr SamsungEFrame samsunge_frame(uint8_t addr, uint8_t type, uint8_t b4, uint8_t b5, uint8_t b6,
                                       uint8_t b7) {
    SamsungEFrame f{0xA0, 0xFE, addr, type, b4, b5, b6, b7, 0};
    uint8_t sum = 0;
    for (std::size_t i = 1; i < 8; ++i) sum = static_cast<uint8_t>(sum + f[i]);
    f[8] = static_cast<uint8_t>(~sum);
    return f;
}
// Type 1: command word high byte first, then pan and tilt speeds.
constexpr SamsungEFrame samsunge_control(uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    return samsunge_frame(addr, samsunge::control, static_cast<uint8_t>(cmd >> 8), static_cast<uint8_t>(cmd),
                          d1, d2);
}
// Type 3: presets and menu keys, one command byte and one data byte.
constexpr SamsungEFrame samsunge_preset_menu(uint8_t addr, uint8_t cmd, uint8_t data) {
    return samsunge_frame(addr, samsunge::preset_menu, cmd, data, 0xFF, 0xFF);
}

static_assert(samsunge_control(1, 0, 0, 0) == SamsungEFrame{0xA0, 0xFE, 0x01, 0x01, 0, 0, 0, 0, 0xFF});
static_assert(samsunge_preset_menu(1, 0x17, 1) ==
              SamsungEFrame{0xA0, 0xFE, 0x01, 0x03, 0x17, 0x01, 0xFF, 0xFF, 0xE7});

}  // namespace ptz
