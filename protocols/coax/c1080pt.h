// The C1080PT family: Pelco-D dialects that read and set the camera's
// absolute position in 11-byte frames and turn a zoom box into a position.
// Shared by the plain C1080PT and its WONWOO variant.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>

#include "core/command.h"
#include "protocols/rs485/pelco_d.h"
#include "zoombox/zoombox.h"

namespace ptz {
class Daemon;

using C1080ptFrame = PelcoDExtFrame;

// The extended frame with three big-endian u16 values.
constexpr C1080ptFrame c1080pt_frame(uint8_t addr, uint8_t cmd, uint16_t a, uint16_t b, uint16_t c) {
    return pelcod_ext_frame(
        addr, cmd,
        {static_cast<uint8_t>(a >> 8), static_cast<uint8_t>(a), static_cast<uint8_t>(b >> 8),
         static_cast<uint8_t>(b), static_cast<uint8_t>(c >> 8), static_cast<uint8_t>(c)});
}

namespace c1080pt {
constexpr uint8_t set_position = 0x91, query_position = 0x93, position_reply = 0x9B;
constexpr uint32_t request_wait_us = 20000;
constexpr uint32_t frame_wait_us = 35000;
constexpr int32_t reply_limit_us = 300000;
constexpr int attempts = 3;
constexpr double wide_probe_zoom = 273;  // the Probe lens's widest position
}  // namespace c1080pt

static_assert(c1080pt_frame(1, c1080pt::query_position, 0, 0, 0) ==
              C1080ptFrame{0xFF, 0x01, 0x00, 0x93, 0, 0, 0, 0, 0, 0, 0x94});
static_assert(c1080pt_frame(2, c1080pt::set_position, 0x1234, 0x0102, 0x8001)[10] ==
              static_cast<uint8_t>(2 + 0x91 + 0x12 + 0x34 + 0x01 + 0x02 + 0x80 + 0x01));

// A double on its way to the wire or the report: truncated toward zero; what
// has no integer value (NaN, out of range) goes as 0.
constexpr uint32_t truncate_u32(double v) {
    return (v > -4294967296.0 && v < 4294967296.0) ? static_cast<uint32_t>(static_cast<int64_t>(v)) : 0u;
}

// The box the operator drew (message 0xE0AA), in picture pixels.
struct ZoomBox {
    int cx, cy;  // centre, by integer halves of the box
    int w, h;
    bool zoom_out;
};
inline ZoomBox zoom_box_of(Cmd c) {
    const int x = rd16(c.p + off::box_left), y = rd16(c.p + off::box_top), w = rd16(c.p + off::box_width),
              h = rd16(c.p + off::box_height);
    return {x + w / 2, y + h / 2, w, h, c.p[off::box_zoom_out] != 0};
}

// Reads the camera's position: up to three tries, a tilt below the horizon
// shrunk to 0. `addr` is the configured address: its low byte goes on the
// line, the whole of it into the failure lines.
zoombox::Position C1080PT_get_pos(Daemon& d, int port, uint16_t addr);
// The WONWOO form: one try, the tilt as the camera gives it.
zoombox::Position C1080PT_WONWOO_get_pos(Daemon& d, int port, uint16_t addr);
// Sends an absolute position (low 16 bits of each value); returns 11.
int c1080pt_send_position(Daemon& d, int port, uint8_t addr, uint32_t pan, uint32_t tilt, uint32_t zoom);
// Set position and position query, shared by the family.
void c1080pt_set_position(Daemon& d, int port, uint8_t addr, Cmd c);
void c1080pt_report_position(Daemon& d, Cmd c, const zoombox::Position& pos);

}  // namespace ptz

namespace ptz {
// Moves, stop and presets of the family in plain Pelco-D frames; `wait` is
// the pause after each frame. False when the message is not one of them.
enum class C1080ptKind : uint8_t { plain, wonwoo };
bool c1080pt_pelcod(Daemon& d, int port, uint8_t addr, Cmd c, C1080ptKind kind);
void c1080pt_send7(Daemon& d, int port, uint8_t addr, C1080ptKind kind, uint16_t cmd, uint8_t d1, uint8_t d2);
}  // namespace ptz
