// ScanDome and scandome2 (the dome behind the HTX keyboard), on RS-485.
//
// Line: 7-byte frames A5 addr cmd d1 d2 55 sum, the sum of bytes 0..5 mod
// 256, each after a 0.5 ms transmit settle and at least 1 ms on the line. The
// stop is (10, 0D, 88): command 0x10 carries the joystick, 0x0D in data 1,
// and the pan and tilt speeds as two nibbles in data 2 with 8 as rest.
// Presets travel as two nibbles too, each OR 0x80. The HTX keyboard's own
// commands (0xE0A0) pass through as (action, x, y).
//
// scandome2 moves at full speed only (nibble 1 or F), has no presets and
// sends its stop once.
//
// Kept on purpose: ScanDome's speed nibble is 8 + (v - 0x40) / 8 truncated
// toward zero and then packed as sx * 16 + sy in one byte, so a value far
// from the centre carries into the other nibble or out of the byte; a stop,
// and a move with stop-after, send the stop frame twice, 100 ms apart.
#include <array>
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/short_frames.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kTxSettleUs = 500;
constexpr uint32_t kMinWaitUs = 1000;
constexpr uint32_t kStopGapUs = 100000;

using ScanDomeFrame = std::array<uint8_t, 7>;

struct Word {
    uint8_t cmd, d1, d2;
    constexpr bool operator==(const Word&) const = default;
};

constexpr ScanDomeFrame scandome_frame(uint8_t addr, Word w) {
    ScanDomeFrame f{0xA5, addr, w.cmd, w.d1, w.d2, 0x55, 0};
    for (size_t i = 0; i < 6; ++i) f[6] = static_cast<uint8_t>(f[6] + f[i]);
    return f;
}
static_assert(scandome_frame(1, {0x10, 0x0D, 0xA8}) ==
              ScanDomeFrame{0xA5, 0x01, 0x10, 0x0D, 0xA8, 0x55, 0xC0});

constexpr uint8_t kJoystick = 0x10;
constexpr Word kStop{kJoystick, 0x0D, 0x88};
constexpr uint8_t kGoto = 0x11, kStore = 0x25, kClear = 0x26;

constexpr Word preset(uint8_t op, uint16_t n) {
    return {op, static_cast<uint8_t>(0x80 | ((n >> 4) & 0x0F)), static_cast<uint8_t>(0x80 | (n & 0x0F))};
}

// 8 is rest; a value just outside the dead band still moves by one step.
constexpr int speed_nibble(int v) {
    const int s = 8 + (v - kCentre) / 8;
    if (s != 8) return s;
    return v >= 67 ? 9 : v < 62 ? 7 : 8;
}
static_assert(speed_nibble(0x50) == 10 && speed_nibble(0x43) == 9 && speed_nibble(0x3C) == 7 &&
              speed_nibble(0x40) == 8 && speed_nibble(0) == 0);

constexpr uint8_t pan_tilt_byte(int x, int y) {
    return static_cast<uint8_t>(speed_nibble(x) * 16 + speed_nibble(y));
}

// scandome2: full speed along the stronger axis.
constexpr uint8_t full_speed_byte(int x, int y) {
    switch (stronger_axis(x, y)) {
        case Dir::left: return 0x18;
        case Dir::right: return 0xF8;
        case Dir::down: return 0x81;
        case Dir::up: return 0x8F;
        default: return 0x88;
    }
}
static_assert(full_speed_byte(0x40, 0x40) == 0x88 && full_speed_byte(0, 0x40) == 0x18);

// Aux codes first..last: command for "on" and "off", data 1, and data 2
// counting up from `d2` across the range.
struct AuxRule {
    uint16_t first, last;
    uint8_t on_cmd, off_cmd, d1, d2;
};
constexpr AuxRule kScanDomeAux[] = {
    {595, 595, 0x19, 0x19, 0x80, 0x80}, {602, 602, 0x28, 0x29, 0x80, 0x80},
    {701, 704, 0x2C, 0x2D, 0x80, 0x81}, {711, 718, 0x13, 0x13, 0x80, 0x81},
    {721, 728, 0x17, 0x17, 0x80, 0x81}, {730, 730, 0x19, 0x19, 0x80, 0x80},
    {731, 731, 0x1F, 0x1F, 0x80, 0x80},
};
constexpr AuxRule kScanDome2Aux[] = {
    {595, 595, 0x19, 0x19, 0x80, 0x80}, {701, 704, 0x2C, 0x2D, 0x80, 0x81},
    {721, 728, 0x17, 0x17, 0x80, 0x81}, {730, 730, 0x10, 0x10, 0x48, 0x80},
    {731, 731, 0x1F, 0x1F, 0x80, 0x80},
};

void send(Daemon& d, int port, uint16_t addr, Word w) {
    const ScanDomeFrame f = scandome_frame(static_cast<uint8_t>(addr), w);
    tx_enable_serial(d, port, kTxSettleUs);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kMinWaitUs);
}

template <size_t N>
void aux(Daemon& d, int port, uint16_t addr, Cmd c, const AuxRule (&rules)[N]) {
    const uint16_t v = c.arg16();
    for (const AuxRule& r : rules) {
        if (v < r.first || v > r.last) continue;
        const uint8_t command = c.action() == act::aux_on ? r.on_cmd : r.off_cmd;
        send(d, port, addr, {command, r.d1, static_cast<uint8_t>(r.d2 + (v - r.first))});
        return;
    }
}

void htx_keyboard(Daemon& d, int port, uint16_t addr, Cmd c) {
    d.log("PTZSVR : special command from HTX keyboard %02xh - %02xh, %02xh\n", c.action(), c.x(), c.y());
    send(d, port, addr, {static_cast<uint8_t>(c.action()), c.x(), c.y()});
}

// A lens key: `high` above the centre, `low` below, nothing at it.
bool lens(Daemon& d, int port, uint16_t addr, int x, uint8_t high, uint8_t low) {
    if (x == kCentre) return false;
    send(d, port, addr, {kJoystick, x > kCentre ? high : low, 0x88});
    return true;
}

void scandome_move(Daemon& d, int port, uint16_t addr, Cmd c) {
    const int x = c.x();
    switch (c.action()) {
        case act::pan_tilt:
            send(d, port, addr, {kJoystick, 0x0D, pan_tilt_byte(x, c.y())});
            if (c.stop_after_action()) send(d, port, addr, kStop);
            break;
        case act::zoom: lens(d, port, addr, x, 0x0E, 0x0C); break;
        case act::focus: lens(d, port, addr, x, 0x04, 0x03); break;
        default: break;
    }
    if (c.stop_after_action()) {
        d.os.usleep(kStopGapUs);
        send(d, port, addr, kStop);
        d.log("PTZSVR : send stop for scandome\n");
    }
}

void scandome2_move(Daemon& d, int port, uint16_t addr, Cmd c) {
    const int x = c.x();
    switch (c.action()) {
        case act::pan_tilt:
            send(d, port, addr, {kJoystick, 0x0D, full_speed_byte(x, c.y())});
            if (c.stop_after_action()) send(d, port, addr, kStop);
            break;
        case act::zoom: lens(d, port, addr, x, 0x0F, 0x0B); break;
        case act::focus: lens(d, port, addr, x, 0x04, 0x03); break;
        default: break;
    }
}

}  // namespace

void PTZAction_ScanDome(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    d.log("ScanDome(%d) msg_id[%x],action[%d],addr[%d],x[%d],y[%d]\n", addr, c.msg_id(), c.action(), addr,
          c.x(), c.y());
    switch (c.msg_id()) {
        case msg::set_preset: send(d, port, addr, preset(kStore, c.action())); break;
        case msg::goto_preset: send(d, port, addr, preset(kGoto, c.arg16())); break;
        case msg::clear_preset:
            d.log("CLEAR preset %d\n", c.action());
            send(d, port, addr, preset(kClear, c.action()));
            break;
        case msg::stop:
            send(d, port, addr, kStop);
            d.os.usleep(kStopGapUs);
            send(d, port, addr, kStop);
            break;
        case msg::move:
        case msg::move_cont: scandome_move(d, port, addr, c); break;
        case msg::keyboard: htx_keyboard(d, port, addr, c); break;
        case msg::aux:
        case msg::aux2:
            d.log("PTZSVR : scandome2 aux control(%d,%d)\n", c.arg16(), c.action());
            aux(d, port, addr, c, kScanDomeAux);
            break;
        default: break;
    }
}

void PTZAction_ScanDome2(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::stop: send(d, port, addr, kStop); break;
        case msg::move:
        case msg::move_cont: scandome2_move(d, port, addr, c); break;
        case msg::keyboard: htx_keyboard(d, port, addr, c); break;
        case msg::aux:
        case msg::aux2:
            d.log("PTZSVR : scandome2 aux control(%d)\n", c.arg16());
            aux(d, port, addr, c, kScanDome2Aux);
            break;
        default: break;
    }
}

}  // namespace ptz
