// ADI, on RS-485.
//
// Line: addr, command, [parameters], sum, where the sum makes all bytes of
// the frame add up to 0 mod 256. Four kinds: axis drive (C0 cmd speed, at
// least 60 ms), menu (CC value, 20 ms), preset (C7 op n-1, 60 ms) and plain
// one-byte commands (20 ms). Each axis is driven on its own; the driver
// remembers whether pan and tilt are moving (one pair of flags for the whole
// daemon) so that a centred value stops a moving axis once.
//
// Kept on purpose: speed and menu values of 9 and 10 go out as 8 and 11
// (the camera reads those two values the other way round); storing a preset
// traces the action field but sends the number at offset 12.
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/short_frames.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kDriveWaitUs = 60000, kPlainWaitUs = 20000;
constexpr uint8_t kDrive = 0xC0, kMenu = 0xCC, kPreset = 0xC7;
constexpr uint8_t kStore = 1, kRecall = 2;

namespace key {
constexpr uint8_t left = 0x81, right = 0x82, up = 0x84, down = 0x85;
constexpr uint8_t pan_release = 0x53, pan_stop = 0x83, tilt_stop = 0x86, last_stop = 0x92;
constexpr uint8_t focus_far = 0x87, focus_near = 0x88, zoom_tele = 0x8A, zoom_wide = 0x8B;
constexpr uint8_t iris_open = 0x90, iris_close = 0x91;
}  // namespace key

using AdiFrame = ShortFrame<5>;

constexpr uint8_t remapped(int v) { return static_cast<uint8_t>(v == 9 ? 8 : v == 10 ? 11 : v); }

constexpr AdiFrame adi_frame(AdiFrame f) { return f.push(static_cast<uint8_t>(-f.sum())); }
static_assert(adi_frame({0x01, 0x83}) == AdiFrame{0x01, 0x83, 0x7C});

void put(Daemon& d, int port, const AdiFrame& f, uint32_t wait) {
    write_serial_block(d, port, f.data(), f.size(), wait);
}

// Every frame but the preset frame is traced by its first three bytes.
void write_traced(Daemon& d, int port, const AdiFrame& f, uint32_t wait) {
    put(d, port, f, wait);
    d.log("%x %x %x \n", f.b[0], f.b[1], f.b[2]);
}

void plain(Daemon& d, int port, uint8_t addr, uint8_t command) {
    write_traced(d, port, adi_frame({addr, command}), kPlainWaitUs);
}
void drive(Daemon& d, int port, uint8_t addr, uint8_t command, int speed) {
    write_traced(d, port, adi_frame({addr, kDrive, command, remapped(speed)}), kDriveWaitUs);
}
void menu(Daemon& d, int port, uint8_t addr, int value) {
    write_traced(d, port, adi_frame({addr, kMenu, remapped(value)}), kPlainWaitUs);
}
void preset(Daemon& d, int port, uint8_t addr, uint8_t op, int n) {
    put(d, port, adi_frame({addr, kPreset, op, static_cast<uint8_t>(n - 1)}), kDriveWaitUs);
}

// One axis: below 63 and above 64 drive it; 63 and 64 release it if it was
// moving.
void axis(Daemon& d, int port, uint8_t addr, int v, uint32_t& moving, uint8_t neg, uint8_t pos,
          uint8_t release) {
    if (v < 63) {
        drive(d, port, addr, neg, 63 - v);
        moving = 1;
    } else if (v > 64) {
        drive(d, port, addr, pos, v - 64);
        moving = 1;
    } else if (moving == 1) {
        plain(d, port, addr, release);
        moving = 0;
    }
}

void handle_action(Daemon& d, int port, uint8_t addr, Cmd c) {
    AdiState& s = d.drv.adi;
    const int x = c.x();
    switch (c.action()) {
        case act::pan_tilt:
            axis(d, port, addr, x, s.pan_moving, key::left, key::right, key::pan_release);
            axis(d, port, addr, c.y(), s.tilt_moving, key::down, key::up, key::tilt_stop);
            if (c.stop_after_action()) {
                plain(d, port, addr, key::pan_stop);
                plain(d, port, addr, key::tilt_stop);
                d.log("\nPT STOP");
            }
            break;
        case act::zoom: plain(d, port, addr, x < 64 ? key::zoom_wide : key::zoom_tele); break;
        case act::focus: plain(d, port, addr, x < 64 ? key::focus_near : key::focus_far); break;
        case act::iris: plain(d, port, addr, x < 65 ? key::iris_close : key::iris_open); break;
        default: break;
    }
}

}  // namespace

void PTZAction_ADI(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    AdiState& s = d.drv.adi;
    switch (c.msg_id()) {
        case msg::goto_preset:
            d.log("ADI : goto preset %d\n", c.arg16());
            s = AdiState{};
            preset(d, port, addr, kRecall, c.arg16());
            break;
        case msg::set_preset:
            s = AdiState{};
            d.log("ADI : set preset %xh\n", c.action());
            preset(d, port, addr, kStore, c.arg16());
            break;
        case msg::stop:
            s = AdiState{};
            plain(d, port, addr, key::pan_stop);
            // the camera's further stops: every third key from tilt stop
            for (uint8_t k = key::tilt_stop; k <= 0x8C; k = static_cast<uint8_t>(k + 3))
                plain(d, port, addr, k);
            plain(d, port, addr, key::last_stop);
            break;
        case msg::move:
        case msg::move_cont: handle_action(d, port, addr, c); break;
        case msg::aux:
        case msg::aux2:
            switch (c.arg16()) {
                case 730:
                    d.log("AD enter\n");
                    menu(d, port, addr, 1);
                    break;
                case 731:
                    d.log("AD esc\n");
                    menu(d, port, addr, 2);
                    break;
                case 595:
                    d.log("AD menu\n");
                    menu(d, port, addr, 1);
                    break;
                default: break;
            }
            break;
        default: break;
    }
}

}  // namespace ptz
