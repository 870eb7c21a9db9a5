// Vicon, on RS-485.
//
// Line: every transmission is two writes, each after its own 1 ms transmit
// enable and timed by the line alone (no minimum): a 2-byte header that names
// the camera and the frame type, 80|(a >> 4) then (a & 0F)|type for the low
// byte a of the address, and then the body:
//   0x10 basic command  00 cmd aux 00  (zoom, focus, iris, menu keys, aux
//                       outputs; all zero is the stop);
//   0x40 preset         00 00 00 00 op preset 70 70  (op 10 go to, 11 store);
//   0x50 move           dir 00 00 00 pan(7..) pan(0..6) tilt(7..) tilt(0..6).
// There is no checksum, no state and no answer.
//
// Each axis is driven on its own: no diagonal decision, and an axis inside
// the dead band still carries its speed. Only a pan/tilt move looks at
// `stop_after_action`.
//
// Kept on purpose: an aux code picks its bit from the low five bits of the
// code whenever its low byte is below 32, so codes 1 to 6 switch outputs 1 to
// 6, and so do 257 to 262.
#include <array>
#include <cstddef>
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kTxSettleUs = 1000;
constexpr uint8_t kBasic = 0x10, kPreset = 0x40, kMove = 0x50;
constexpr uint8_t kGoto = 0x10, kStore = 0x11;

namespace key {
constexpr uint8_t zoom_wide = 0x40, zoom_tele = 0x20, focus_low = 0x10, focus_high = 0x08;
constexpr uint8_t iris_close = 0x02, iris_open = 0x04, menu = 0x04, escape = 0x02;
}  // namespace key

constexpr uint8_t kLeft = 0x40, kRight = 0x20, kUp = 0x10, kDown = 0x08;

using Header = std::array<uint8_t, 2>;
using Basic = std::array<uint8_t, 4>;
using Long = std::array<uint8_t, 8>;

constexpr Header vicon_header(uint16_t addr, uint8_t type) {
    const uint8_t a = static_cast<uint8_t>(addr);
    return {static_cast<uint8_t>(0x80 | (a >> 4)), static_cast<uint8_t>((a & 0x0F) | type)};
}

constexpr Basic basic_body(uint8_t cmd, uint8_t aux = 0) { return {0x00, cmd, aux, 0x00}; }

constexpr Long preset_body(uint8_t op, uint16_t preset) {
    return {0, 0, 0, 0, op, static_cast<uint8_t>(preset), 0x70, 0x70};
}

// Sixteen steps per unit of distance from the centre, sent as bits 7 to 10
// and bits 0 to 6. From x or y 0xC0 on the speed reaches bit 11, which the
// frame has no room for: it is dropped, never carried into the high group.
constexpr Long move_body(int x, int y) {
    uint8_t dir = 0;
    if (axis_sense(x) == Sense::positive) dir = kRight;
    if (axis_sense(x) == Sense::negative) dir = kLeft;
    if (axis_sense(y) == Sense::positive) dir |= kUp;
    if (axis_sense(y) == Sense::negative) dir |= kDown;
    const int pan = speed_of(x) * 16, tilt = speed_of(y) * 16;
    return {dir,
            0,
            0,
            0,
            static_cast<uint8_t>((pan >> 7) & 0x0F),
            static_cast<uint8_t>(pan & 0x7F),
            static_cast<uint8_t>((tilt >> 7) & 0x0F),
            static_cast<uint8_t>(tilt & 0x7F)};
}

static_assert(vicon_header(0x23, kMove) == Header{0x82, 0x53});
static_assert(move_body(0x20, 0x60) == Long{0x50, 0, 0, 0, 0x04, 0x00, 0x04, 0x00});
static_assert(move_body(0xC0, 0xFF) == Long{0x30, 0, 0, 0, 0x00, 0x00, 0x07, 0x70});

// Aux outputs 1 to 6 are the bits 0x40 down to 0x02 of the aux byte.
constexpr uint8_t aux_bits(uint16_t code) {
    if ((code & 0xFF) >= 32) return 0;
    return static_cast<uint8_t>((0x80 >> (code & 31)) & 0x7E);
}

static_assert(aux_bits(1) == 0x40 && aux_bits(6) == 0x02 && aux_bits(7) == 0 && aux_bits(259) == 0x10);

template <size_t N>
void send(Daemon& d, int port, uint16_t addr, uint8_t type, const std::array<uint8_t, N>& body) {
    const Header h = vicon_header(addr, type);
    tx_enable_serial(d, port, kTxSettleUs);
    write_serial_block(d, port, h.data(), static_cast<int>(h.size()), 0);
    tx_enable_serial(d, port, kTxSettleUs);
    write_serial_block(d, port, body.data(), static_cast<int>(body.size()), 0);
}

// Zoom and focus: the low key below the centre, none at it, the high key
// above. Iris counts the centre as closing.
void action(Daemon& d, int port, uint16_t addr, Cmd c) {
    const int x = c.x();
    const auto split = [x](uint8_t low, uint8_t high) -> uint8_t {
        return x < kCentre ? low : x > kCentre ? high : 0;
    };
    switch (c.action()) {
        case act::pan_tilt:
            send(d, port, addr, kMove, move_body(x, c.y()));
            if (c.stop_after_action()) send(d, port, addr, kBasic, basic_body(0));
            break;
        case act::zoom: send(d, port, addr, kBasic, basic_body(split(key::zoom_wide, key::zoom_tele))); break;
        case act::focus:
            send(d, port, addr, kBasic, basic_body(split(key::focus_low, key::focus_high)));
            break;
        case act::iris:
            send(d, port, addr, kBasic, basic_body(x <= kCentre ? key::iris_close : key::iris_open));
            break;
        default: break;
    }
}

void aux(Daemon& d, int port, uint16_t addr, uint16_t code) {
    d.log("PTZSVR : vicon aux(%d)\n", code);
    if (code == 595 || code == 730)
        send(d, port, addr, kBasic, basic_body(key::menu));
    else if (code == 731)
        send(d, port, addr, kBasic, basic_body(key::escape));
    else
        send(d, port, addr, kBasic, basic_body(0, aux_bits(code)));
}

}  // namespace

void PTZAction_Vicon(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: action(d, port, addr, c); break;
        case msg::stop: send(d, port, addr, kBasic, basic_body(0)); break;
        case msg::goto_preset:
            d.log("VICON : goto preset %d\n", c.arg16());
            send(d, port, addr, kPreset, preset_body(kGoto, c.arg16()));
            break;
        case msg::set_preset:
            d.log("VICON : set preset %d\n", c.action());
            send(d, port, addr, kPreset, preset_body(kStore, c.action()));
            break;
        case msg::aux:
        case msg::aux2: aux(d, port, addr, c.arg16()); break;
        default: break;
    }
}

}  // namespace ptz
