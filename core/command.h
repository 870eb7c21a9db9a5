// The command datagram `ptz_command`, read and written by byte offset.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/wire.h"

namespace ptz {

// Largest datagram the daemon receives.
constexpr size_t kMaxDatagram = 0x60010;  // 393232

namespace off {
constexpr size_t msg_id = 0;
constexpr size_t zero = 2;
constexpr size_t body_size = 4;
constexpr size_t channel = 8;
constexpr size_t action = 10;
constexpr size_t x = 12;
constexpr size_t y = 13;
constexpr size_t arg16 = 12;
constexpr size_t stop_after_action = 14;
constexpr size_t is_osd_cmd = 15;
constexpr size_t pan = 12;
constexpr size_t tilt = 16;
constexpr size_t zoom = 20;
constexpr size_t requester = 24;
constexpr size_t image_size = 12;
constexpr size_t image = 16;
constexpr size_t bypass_data = 12;
// The zoom box drawn on the picture (0xE0AA): u16 left, top, width, height
// in pixels, then the zoom-out flag.
constexpr size_t box_left = 10;
constexpr size_t box_top = 12;
constexpr size_t box_width = 14;
constexpr size_t box_height = 16;
constexpr size_t box_zoom_out = 18;
}  // namespace off

namespace msg {
constexpr uint16_t move = 0xE011;
constexpr uint16_t move_cont = 0xE012;
constexpr uint16_t stop = 0xE013;
constexpr uint16_t goto_preset = 0xE014;  // REQ_EPTZ_ACT_GOTO_PRESET
constexpr uint16_t set_preset = 0xE020;   // REQ_EPTZ_SET_PRESET
constexpr uint16_t clear_preset = 0xE022;
constexpr uint16_t aux = 0xE090;
constexpr uint16_t aux2 = 0xE091;
constexpr uint16_t bypass = 0xE0A2;
constexpr uint16_t set_position = 0xE0A4;
constexpr uint16_t query_position = 0xE0A6;
constexpr uint16_t zoom_box = 0xE0AA;
constexpr uint16_t keyboard =
    0xE0A0;  // a keyboard's own command, passed through (not taken by the main loop)
constexpr uint16_t goto_preset_direct = 0xE114;
constexpr uint16_t set_preset_direct = 0xE120;
constexpr uint16_t clear_preset_direct = 0xE122;
constexpr uint16_t upgrade = 0xF001;
constexpr uint16_t passthrough = 0xFFE0;
constexpr uint16_t position_report = 0x4014;
}  // namespace msg

// Action codes of a move (0xE011/0xE012).
namespace act {
constexpr uint16_t pan_tilt = 0;
constexpr uint16_t zoom = 1;
constexpr uint16_t focus = 2;
constexpr uint16_t iris = 3;
constexpr uint16_t aux_on = 0x0101;
}  // namespace act

// A view of a command buffer. Every buffer the daemon hands to a driver is
// at least kMinCommandBuffer bytes long, so every fixed field is in bounds
// whatever the datagram's length was.
constexpr size_t kMinCommandBuffer = 1024;

struct Cmd {
    uint8_t* p;

    uint16_t msg_id() const { return rd16(p + off::msg_id); }
    uint32_t body_size() const { return rd32(p + off::body_size); }
    uint16_t channel() const { return rd16(p + off::channel); }
    uint16_t action() const { return rd16(p + off::action); }
    uint8_t x() const { return p[off::x]; }
    uint8_t y() const { return p[off::y]; }
    uint16_t arg16() const { return rd16(p + off::arg16); }
    uint8_t stop_after_action() const { return p[off::stop_after_action]; }
    uint8_t is_osd_cmd() const { return p[off::is_osd_cmd]; }
    uint32_t pan() const { return rd32(p + off::pan); }
    uint32_t tilt() const { return rd32(p + off::tilt); }
    uint32_t zoom() const { return rd32(p + off::zoom); }
    int32_t requester() const { return static_cast<int32_t>(rd32(p + off::requester)); }

    void set_msg_id(uint16_t v) { wr16(p + off::msg_id, v); }
    void set_action(uint16_t v) { wr16(p + off::action, v); }
    void set_arg16(uint16_t v) { wr16(p + off::arg16, v); }
    void set_stop_after_action(uint8_t v) { p[off::stop_after_action] = v; }
};

}  // namespace ptz
