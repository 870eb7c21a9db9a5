// Philips AutoDome, in its variable-speed and its fixed-speed form.
//
// Line: every frame begins with 0x80 + the number of bytes that follow, then
// the camera address as two bytes (bits 8 to 15 of the address, then the low
// byte of address - 1), and ends with the sum of all earlier bytes masked to
// 7 bits. Three frames, each followed by at least 35 ms of line time:
//   variable-speed control  87 ah al 05 data cmd(8..14) cmd(0..6) sum,
//                           after its own 1 ms transmit enable;
//   fixed-speed control     86 ah al 02 cmd(8..15) cmd(0..7) sum,
//                           after its own 0.5 ms transmit enable;
//   fixed-length command    86 ah al 07 value(8..15) value(0..7) sum,
//                           for presets, the menu key and the aux outputs.
// Neither form keeps state between commands.
//
// Kept on purpose: the variable-speed word carries the pan speed (a quarter
// of the distance from the centre) in bits 11 to 15, but the byte that holds
// those bits keeps only 7 of them, so a speed of 16 or more loses its top bit
// (full left at x = 0 pans at speed 0, x = 0xC0 right at speed 0). The high
// address byte comes from the address itself, not from address - 1. Zooming
// out at full speed sends 0x7F rather than the 0x80 the rule gives.
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

using VarFrame = std::array<uint8_t, 8>;
using ShortFrame = std::array<uint8_t, 7>;

constexpr uint32_t kMinWaitUs = 35000;
constexpr uint32_t kVarTxSettleUs = 1000;
constexpr uint32_t kFixedTxSettleUs = 500;

constexpr uint8_t kFixedSpeedType = 0x02, kFixedLengthType = 0x07;

// Fixed-length values.
constexpr uint16_t kGotoPreset = 0x0500, kStorePreset = 0x0400, kMenu = 302;
constexpr uint16_t kAuxOn = 0x0100, kAuxOff = 0x0200;

// Variable-speed command word.
constexpr DirBits kVarBits{.left = 0x0002, .right = 0x0001, .up = 0x0008, .down = 0x0004};
constexpr uint16_t kZoomOut = 0x0010, kZoomIn = 0x0020, kFocusNear = 0x0040, kFocusFar = 0x0100;
constexpr uint16_t kIrisClose = 0x0200, kIrisOpen = 0x0400;

// Fixed-speed command word; its two focus keys are named by the half of the
// x range that sends them.
constexpr DirBits kFixedBits{.left = 0x1000, .right = 0x0010, .up = 0x0800, .down = 0x0008};
constexpr uint16_t kFixedZoomIn = 0x0004, kFixedZoomOut = 0x0400, kFixedFocusHigh = 0x0002,
                   kFixedFocusLow = 0x0200;

template <size_t N>
constexpr std::array<uint8_t, N> sealed(std::array<uint8_t, N> f) {
    unsigned sum = 0;
    for (size_t i = 0; i + 1 < N; ++i) sum += f[i];
    f[N - 1] = static_cast<uint8_t>(sum & 0x7F);
    return f;
}

constexpr uint8_t addr_high(uint16_t addr) { return static_cast<uint8_t>(addr >> 8); }
constexpr uint8_t addr_low(uint16_t addr) { return static_cast<uint8_t>(addr - 1); }

constexpr VarFrame var_frame(uint16_t addr, uint16_t cmd, uint8_t data) {
    return sealed(VarFrame{0x87, addr_high(addr), addr_low(addr), 0x05, static_cast<uint8_t>(data & 0x7F),
                           static_cast<uint8_t>((cmd >> 8) & 0x7F), static_cast<uint8_t>(cmd & 0x7F), 0});
}

constexpr ShortFrame short_frame(uint8_t type, uint16_t addr, uint16_t word) {
    return sealed(ShortFrame{0x86, addr_high(addr), addr_low(addr), type, static_cast<uint8_t>(word >> 8),
                             static_cast<uint8_t>(word), 0});
}

static_assert(short_frame(kFixedLengthType, 1, kStorePreset | 3) ==
              ShortFrame{0x86, 0x00, 0x00, 0x07, 0x04, 0x03, 0x14});

struct VarControl {
    uint16_t cmd;
    uint8_t data;
};

// Diagonals and up/down carry the tilt speed as data, left/right the pan
// speed; the pan speed always rides in bits 11 to 15 of the word.
constexpr VarControl var_pan_tilt(int x, int y) {
    const Dir dir = classify_xy(x, y);
    const Move m = move_of(dir, x, y, kVarBits);
    const int pan = m.pan / 4, tilt = m.tilt / 4;
    const bool tilts = moves_up(dir) || moves_down(dir);
    return {static_cast<uint16_t>(((pan & 0x1F) << 11) | m.word), static_cast<uint8_t>(tilts ? tilt : pan)};
}

static_assert(var_frame(1, var_pan_tilt(0, 0x40).cmd, var_pan_tilt(0, 0x40).data) ==
                  VarFrame{0x87, 0x00, 0x00, 0x05, 0x10, 0x00, 0x02, 0x1E},
              "full left pans at speed 0: the speed's top bit falls out of its byte");

// Zoom speed in steps of 8, doubled; a value with bit 7 set goes out as 0x7F.
constexpr int zoom_speed(int distance) { return (distance & 0x78) * 2; }
constexpr uint8_t zoom_byte(int speed) { return static_cast<uint8_t>(speed & 0x80 ? 0x7F : speed); }

VarControl var_action(Daemon& d, Cmd c) {
    const int x = c.x();
    switch (c.action()) {
        case act::pan_tilt: return var_pan_tilt(x, c.y());
        case act::zoom:
            if (x > kCentre) {
                const int s = zoom_speed(x - kCentre);
                d.log("zoom in, %d\n", s);
                return {kZoomIn, zoom_byte(s)};
            }
            if (x < kCentre) {
                const int s = zoom_speed(kCentre - x);
                d.log("zoom out, %d\n", s);
                return {kZoomOut, zoom_byte(s)};
            }
            return {0, 0};
        case act::focus:
            return {static_cast<uint16_t>(x > kCentre ? kFocusFar : x < kCentre ? kFocusNear : 0), 0};
        case act::iris:
            if (x <= kCentre) {
                d.log("PTZCORE : IRIS close\n");
                return {kIrisClose, 0};
            }
            d.log("PTZCORE : IRIS open\n");
            return {kIrisOpen, 0};
        default: return {0, 0};
    }
}

uint16_t fixed_action(Cmd c) {
    const int x = c.x();
    switch (c.action()) {
        case act::pan_tilt: return move_of(classify_xy(x, c.y()), x, c.y(), kFixedBits).word;
        case act::zoom: return x > kCentre ? kFixedZoomIn : x < kCentre ? kFixedZoomOut : 0;
        case act::focus: return x > kCentre ? kFixedFocusHigh : x < kCentre ? kFixedFocusLow : 0;
        default: return 0;
    }
}

void send_var(Daemon& d, int port, uint16_t addr, uint16_t cmd, uint8_t data) {
    const VarFrame f = var_frame(addr, cmd, data);
    tx_enable_serial(d, port, kVarTxSettleUs);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kMinWaitUs);
}

void send_fixed_speed(Daemon& d, int port, uint16_t addr, uint16_t cmd) {
    const ShortFrame f = short_frame(kFixedSpeedType, addr, cmd);
    tx_enable_serial(d, port, kFixedTxSettleUs);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kMinWaitUs);
}

void send_fixed_length(Daemon& d, int port, uint16_t addr, uint16_t value) {
    const ShortFrame f = short_frame(kFixedLengthType, addr, value);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kMinWaitUs);
}

// Presets are the same fixed-length commands in both forms.
bool send_preset(Daemon& d, int port, uint16_t addr, Cmd c) {
    if (c.msg_id() == msg::goto_preset) {
        send_fixed_length(d, port, addr, c.arg16() | kGotoPreset);
        return true;
    }
    if (c.msg_id() == msg::set_preset) {
        send_fixed_length(d, port, addr, c.action() | kStorePreset);
        return true;
    }
    return false;
}

// The dome's menu is opened with a fixed-length command; inside it the keys
// are control frames: focus far with data 0x40 is enter, iris open escape.
void var_aux(Daemon& d, int port, uint16_t addr, Cmd c) {
    const uint16_t code = c.arg16();
    d.log("PTZSVR : philips autodome aux control(%d)\n", code);
    if (code == 595) {
        d.log("bosh menu\n");
        send_fixed_length(d, port, addr, kMenu);
    } else if (code == 730) {
        d.log("bosh enter\n");
        send_var(d, port, addr, kFocusFar, 0x40);
    } else if (code == 731) {
        d.log("bosh esc\n");
        send_var(d, port, addr, kIrisOpen, 0);
    } else if (code <= 1024) {
        send_fixed_length(d, port, addr, code | (c.action() == act::aux_on ? kAuxOn : kAuxOff));
    } else if (code == 1025 || code == 1026) {
        send_fixed_length(d, port, addr, static_cast<uint16_t>(code + 100));
    }
}

}  // namespace

void PTZAction_AutoDome(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    if (send_preset(d, port, addr, c)) return;
    switch (c.msg_id()) {
        case msg::stop: send_var(d, port, addr, 0, 0); break;
        case msg::move:
        case msg::move_cont: {
            const VarControl v = var_action(d, c);
            send_var(d, port, addr, v.cmd, v.data);
            if (c.stop_after_action()) send_var(d, port, addr, 0, 0);
            break;
        }
        case msg::aux:
        case msg::aux2: var_aux(d, port, addr, c); break;
        default: break;
    }
}

// No speeds and no aux codes, and no stop after an action: the recorder's
// stop command is what halts a fixed-speed dome.
void PTZAction_AutoDome_Fixed(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    if (send_preset(d, port, addr, c)) return;
    switch (c.msg_id()) {
        case msg::stop: send_fixed_speed(d, port, addr, 0); break;
        case msg::move:
        case msg::move_cont: send_fixed_speed(d, port, addr, fixed_action(c)); break;
        default: break;
    }
}

}  // namespace ptz
