// Pelco-P on RS-485.
//
// Line: 8-byte frames A0 addr cmd1 cmd2 data1 data2 AF xor (XOR of bytes
// 0..6), at least 35 ms apart. The address byte is the camera address less
// one, in five bits.
//
// No command state: every frame follows from the command alone, so a move
// that points nowhere is a stop. Kept on purpose: the address wraps in five
// bits (camera 0 is line address 31, camera 33 is 0); zoom and focus speeds
// are the raw distance from the centre, unscaled; focus runs the other way
// round from Pelco-D (x above the centre focuses near); there is no iris
// action, the menu keys reach the iris through aux 730 and 731 with no stop;
// unknown aux codes send nothing rather than falling back to presets.
#include "protocols/rs485/pelco_p.h"

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

using namespace pelcop;

constexpr DirBits kDirBits{left, right, up, down};

long pelcop_send(Daemon& d, int port, uint16_t addr, uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) {
    const PelcoPFrame f = pelcop_frame(addr, cmd, d1, d2);
    return write_serial_block(d, port, f.data(), static_cast<int>(f.size()), min_wait_us);
}

// Zoom and focus: one command per side of the centre, none at the centre.
constexpr Move lens_move(int x, uint16_t above, uint16_t below) {
    if (x > kCentre) return {above, speed_of(x), 0};
    if (x < kCentre) return {below, speed_of(x), 0};
    return {0, 0, 0};
}

constexpr Move action_move(uint16_t action, int x, int y) {
    switch (action) {
        case act::pan_tilt: return move_of(classify_xy(x, y), x, y, kDirBits);
        case act::zoom: return lens_move(x, zoom_tele, zoom_wide);
        case act::focus: return lens_move(x, focus_near, focus_far);
        default: return {0, 0, 0};
    }
}
static_assert(action_move(act::zoom, 0xC0, 0).pan == 0x80, "zoom speed is neither scaled nor clamped");
static_assert(action_move(act::iris, 0xFF, 0).word == 0, "no iris through actions");

void handle_aux(Daemon& d, int port, uint16_t addr, Cmd c) {
    const uint16_t code = c.arg16();
    d.log("PELCO-P AUX %d %d\n", code, c.action());
    if ((code >= 1 && code <= 7) || code == 9) {
        const bool on = c.action() == act::aux_on;
        d.log("aux %d %s\n", code, on ? "on" : "off");
        pelcop_send(d, port, addr, on ? set_aux : clear_aux, 0, c.x());
    } else if (code == 730) {
        pelcop_send(d, port, addr, iris_open);
    } else if (code == 731) {
        pelcop_send(d, port, addr, iris_close);
    } else if (code == 595) {
        d.log("pelco-p menu\n");
        pelcop_send(d, port, addr, set_preset, 0, 95);
    }
}

}  // namespace

void PTZAction_PelcoP(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::goto_preset: pelcop_send(d, port, addr, goto_preset, 0, c.x()); break;
        case msg::set_preset:
            pelcop_send(d, port, addr, set_preset, 0, static_cast<uint8_t>(c.action()));
            break;
        case msg::clear_preset:
            pelcop_send(d, port, addr, clear_preset, 0, static_cast<uint8_t>(c.action()));
            break;
        case msg::stop: pelcop_send(d, port, addr, 0); break;
        case msg::move:
        case msg::move_cont: {
            const Move m = action_move(c.action(), c.x(), c.y());
            pelcop_send(d, port, addr, m.word, m.pan, m.tilt);
            if (c.stop_after_action()) pelcop_send(d, port, addr, 0);
            break;
        }
        case msg::aux:
        case msg::aux2: handle_aux(d, port, addr, c); break;
        default: break;
    }
}

}  // namespace ptz
