// Pelco-D frames, shared with the C1080 family that speaks dialects of it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace ptz {
class Daemon;

using PelcoDFrame = std::array<uint8_t, 7>;
using PelcoDTviFrame = std::array<uint8_t, 10>;

// FF addr cmd1 cmd2 data1 data2 sum; the sum leaves out the sync byte.
constexpr PelcoDFrame pelcod_frame(uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    const uint8_t c1 = static_cast<uint8_t>(cmd >> 8), c2 = static_cast<uint8_t>(cmd);
    return {0xFF, addr, c1, c2, d1, d2, static_cast<uint8_t>(addr + c1 + c2 + d1 + d2)};
}

// The TVI cable form: FF FF addr cmd1 cmd2 FF data1 data2 sum 00, with the
// same sum as on RS-485.
constexpr PelcoDTviFrame pelcod_tvi_frame(uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    const PelcoDFrame f = pelcod_frame(addr, cmd, d1, d2);
    return {0xFF, 0xFF, addr, f[2], f[3], 0xFF, d1, d2, f[6], 0x00};
}

static_assert(pelcod_frame(1, 0x0004, 0x20, 0) == PelcoDFrame{0xFF, 0x01, 0x00, 0x04, 0x20, 0x00, 0x25});

// The extended form that the C1080 family and the INOS-V900 use for
// positions, sensors and switches: FF addr 00 cmd, six data bytes, the sum
// of bytes 1..9.
using PelcoDExtFrame = std::array<uint8_t, 11>;
constexpr PelcoDExtFrame pelcod_ext_frame(uint8_t addr, uint8_t cmd, const std::array<uint8_t, 6>& data) {
    PelcoDExtFrame f{0xFF, addr, 0x00, cmd};
    unsigned sum = addr + cmd;
    for (std::size_t i = 0; i < data.size(); ++i) {
        f[4 + i] = data[i];
        sum += data[i];
    }
    f[10] = static_cast<uint8_t>(sum);
    return f;
}
static_assert(pelcod_ext_frame(1, 0x93, {}) == PelcoDExtFrame{0xFF, 1, 0, 0x93, 0, 0, 0, 0, 0, 0, 0x94});

namespace pelcod {
constexpr uint16_t right = 0x0002, left = 0x0004, up = 0x0008, down = 0x0010;
constexpr uint16_t zoom_tele = 0x0020, zoom_wide = 0x0040, focus_far = 0x0080, focus_near = 0x0100;
constexpr uint16_t iris_open = 0x0200, iris_close = 0x0400;
constexpr uint16_t set_preset = 0x0003, clear_preset = 0x0005, goto_preset = 0x0007;
constexpr uint16_t set_aux = 0x0009, clear_aux = 0x000B;
constexpr uint16_t pattern_start = 0x001F, pattern_stop = 0x0021, run_pattern = 0x0023;
constexpr uint16_t zoom_speed = 0x0025, focus_speed = 0x0027;
constexpr uint16_t set_pan = 0x004B, set_tilt = 0x004D, set_zoom = 0x004F;
constexpr uint16_t query_pan = 0x0051, query_tilt = 0x0053, query_zoom = 0x0055;
constexpr uint8_t reply_pan = 0x59, reply_tilt = 0x5B, reply_zoom = 0x5D;
constexpr uint32_t min_wait_us = 35000;
constexpr int32_t reply_limit_us = 300000;
}  // namespace pelcod

// Writes one Pelco-D frame to a port and waits at least `wait_us` (the
// protocol's minimum unless a dialect says otherwise).
long pelcod_send(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2,
                 uint32_t wait_us = pelcod::min_wait_us);
// Asks for pan, tilt and zoom and reports them to the recorder.
void pelcod_query_position(Daemon& d, int port, uint8_t addr, uint32_t channel, int32_t requester);

}  // namespace ptz
