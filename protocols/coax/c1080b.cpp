// C1080B: a Pelco-D dialect on the serial line (model 769, 8962, 8963).
//
// Frames: FF addr cmd1 cmd2 data1 data2 sum (bytes 1..5 mod 256), written
// with the protocol's 35 ms pause or, for moves and the menu and extended
// commands, with none. Move speeds live in the daemon and are shared by
// every C1080B port: a single-axis move sets only its own axis (at a fixed
// 16) and keeps the other axis's speed from before; presets, stop, iris and
// aux commands zero both.
//
// Kept on purpose: a stop is sent only on the tosk edition (the others'
// cameras stop by themselves when the keys are released); go to preset logs
// and sends nothing (these cameras recall presets from their own menu);
// unknown aux values are sent as a go-to-preset of their low byte; a
// single-axis move rewrites the command's x/y to the canonical 48/64, 80/64,
// 64/48 or 64/80, which a repeated command then carries. 0xF001 is a camera
// firmware upgrade. 0xFFE0 (a thermal target point) is only logged: its frame
// for these cameras is not known, so nothing goes on the line.
#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "core/routing.h"
#include "protocols/coax/c1080b_aux.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"
#include "upgrade/cam_upgrade.h"

namespace ptz {

namespace {

using namespace pelcod;

constexpr uint8_t kAxisSpeed = 16;
constexpr uint32_t kKeyHoldSeconds = 1;
constexpr uint32_t kCamResetSeconds = 2;

void send(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2,
          C1080bWait wait = C1080bWait::line) {
    pelcod_send(d, port, addr, cmd, d1, d2, wait == C1080bWait::line ? min_wait_us : 0);
}

void zero_speeds(Daemon& d) {
    d.drv.c1080b_pan_speed = 0;
    d.drv.c1080b_tilt_speed = 0;
}

// The command word of a pan/tilt move; sets the speeds it names.
uint16_t pan_tilt(Daemon& d, Cmd c) {
    const int x = c.x(), y = c.y();
    const Dir dir = classify_xy(x, y);
    uint8_t& pan = d.drv.c1080b_pan_speed;
    uint8_t& tilt = d.drv.c1080b_tilt_speed;
    const Move m = move_of(dir, x, y, DirBits{left, right, up, down});
    switch (dir) {
        case Dir::left_up:
        case Dir::left_down:
        case Dir::right_up:
        case Dir::right_down:
            pan = m.pan;
            tilt = m.tilt;
            break;
        case Dir::left:
        case Dir::right:
            pan = kAxisSpeed;
            c.set_arg16(static_cast<uint16_t>((dir == Dir::left ? 48 : 80) | kCentre << 8));
            break;
        case Dir::down:
        case Dir::up:
            tilt = kAxisSpeed;
            c.set_arg16(static_cast<uint16_t>(kCentre | (dir == Dir::down ? 48 : 80) << 8));
            break;
        case Dir::none: break;
    }
    return m.word;
}

void handle_move(Daemon& d, int port, uint8_t addr, Cmd c) {
    const int x = c.x();
    const uint8_t lens_speed = static_cast<uint8_t>(std::abs(x - kCentre) / 16);
    uint16_t word = 0;
    switch (c.action()) {
        case act::pan_tilt: word = pan_tilt(d, c); break;
        case act::zoom:
            send(d, port, addr, zoom_speed, 0, lens_speed);
            word = x < 65 ? zoom_wide : zoom_tele;
            break;
        case act::focus: {
            send(d, port, addr, focus_speed, 0, lens_speed);
            // The tosk edition's cameras have the focus keys the other way round.
            const bool near = (x < 65) == static_cast<bool>(d.sv.support_tosk_oem);
            word = near ? focus_near : focus_far;
            break;
        }
        case act::iris:
            zero_speeds(d);
            if (x < 65) {
                d.log("IRIS close\n");
                word = iris_close;
            } else {
                d.log("IRIS open\n");
                word = iris_open;
            }
            break;
        default: break;
    }
    send(d, port, addr, word, d.drv.c1080b_pan_speed, d.drv.c1080b_tilt_speed, C1080bWait::none);
    if (c.stop_after_action()) {
        zero_speeds(d);
        send(d, port, addr, 0, 0, 0, C1080bWait::none);
    }
}

void handle_aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    zero_speeds(d);
    d.log("C1080B AUX %d %d\n", c.arg16(), c.action());
    const uint16_t aux = c1080b_aux_alias(c.arg16());
    const bool on = c.action() == act::aux_on;
    const C1080bAuxRow& r = c1080b_aux_row(aux);
    const C1080bAuxSide& side = on ? r.on : r.off;
    c1080b_aux_log(d, side.text, side.tail, aux - r.log_base);
    c1080b_aux_send(d, port, addr, r, aux, on);
    if (r.after_text != nullptr) d.log("%s", r.after_text);
}

// A thermal target point: the four u16 values after the action field.
void C1080B_thermal_xy(Daemon& d, int /*port*/, uint8_t /*addr*/, Cmd c) {
    const uint8_t* p = c.p;
    d.log("############ send THERMAL_XY(%d, %d, %d, %d)\n", rd16(p + 12), rd16(p + 14), rd16(p + 16),
          rd16(p + 18));
}

}  // namespace

void c1080b_aux_log(Daemon& d, const char* text, const char* tail, int number) {
    if (text != nullptr && tail != nullptr)
        d.log("%s%d%s", text, number, tail);
    else if (text != nullptr)
        d.log("%s", text);
}

void c1080b_aux_send(Daemon& d, int port, uint8_t addr, const C1080bAuxRow& r, uint16_t aux, bool on) {
    const C1080bAuxFrame f = c1080b_aux_frame(r, aux, on);
    switch (r.kind) {
        case C1080bAuxKind::frame: send(d, port, addr, f.cmd, f.d1, f.d2, r.wait); break;
        case C1080bAuxKind::hold:
            send(d, port, addr, f.cmd, f.d1, f.d2, r.wait);
            d.os.sleep(kKeyHoldSeconds);
            d.log("Send Stop\n");
            send(d, port, addr, 0, 0, 0, r.wait);
            break;
        case C1080bAuxKind::log_only: break;
        case C1080bAuxKind::cam_reset:
            // The camera restarts its line: configuration, ports and tdm
            // groups are set up again as at start-up.
            open_ports(d);
            d.os.sleep(kCamResetSeconds);
            send(d, port, addr, f.cmd, f.d1, f.d2, r.wait);
            break;
    }
}

void PTZAction_C1080B(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    d.log("PTZAction_C1080B %xh\n", c.msg_id());
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: handle_move(d, port, addr, c); break;
        case msg::stop:
            zero_speeds(d);
            if (d.sv.support_tosk_oem) send(d, port, addr, 0, 0, 0);
            break;
        case msg::goto_preset:
            zero_speeds(d);
            d.log("PELCOD : goto preset %d\n", c.arg16());
            break;
        case msg::set_preset:
            zero_speeds(d);
            d.log("PELCOD : save preset %d\n", c.action());
            send(d, port, addr, set_preset, 0, static_cast<uint8_t>(c.action()));
            break;
        case msg::clear_preset:
            zero_speeds(d);
            d.log("PELCOD : clear preset %d\n", c.action());
            send(d, port, addr, clear_preset, 0, static_cast<uint8_t>(c.action()));
            break;
        case msg::aux:
        case msg::aux2: handle_aux(d, port, addr, c); break;
        case msg::upgrade: cam_upgrade_request(d, port, addr, cmd); break;
        case msg::passthrough: C1080B_thermal_xy(d, port, addr, c); break;
        default: break;
    }
}

}  // namespace ptz
