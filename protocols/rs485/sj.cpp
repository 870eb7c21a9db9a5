// SJ, on RS-485.
//
// Line: 40 letter addr data [extra] sum, the sum of all bytes before it mod
// 256, at least 35 ms apart. The letter names the kind of frame: 'C' control
// (5 bytes), 'M' preset memory (extra byte 01) and 'P' auxiliary (extra byte
// 00). No speeds: a move is one control bit along the stronger axis, without
// a dead band or diagonals. Unknown aux codes switch auxiliary 0.
//
// Kept on purpose: aux codes 100 and 101 test the action field against
// 0x0100, not the 0x0101 that means "on" everywhere else.
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/short_frames.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kMinWaitUs = 35000;
constexpr char kControl = 'C', kMemory = 'M', kAux = 'P';

using SjFrame = ShortFrame<6>;

constexpr SjFrame sj_frame(char letter, uint8_t addr, uint8_t data) {
    SjFrame f{0x40, static_cast<uint8_t>(letter), addr, data};
    if (letter == kMemory) f.push(0x01);
    if (letter == kAux) f.push(0x00);
    return f.push(f.sum());
}
static_assert(sj_frame(kControl, 1, 0x04) == SjFrame{0x40, 0x43, 0x01, 0x04, 0x88});
static_assert(sj_frame(kMemory, 1, 0x59) == SjFrame{0x40, 0x4D, 0x01, 0x59, 0x01, 0xE8});

void send(Daemon& d, int port, uint16_t addr, char letter, uint8_t data) {
    const SjFrame f = sj_frame(letter, static_cast<uint8_t>(addr), data);
    write_serial_block(d, port, f.data(), f.size(), kMinWaitUs);
}

constexpr uint8_t move_bits(Dir dir) {
    switch (dir) {
        case Dir::left: return 0x04;
        case Dir::right: return 0x08;
        case Dir::down: return 0x02;
        case Dir::up: return 0x01;
        default: return 0;
    }
}

constexpr uint8_t control_data(uint16_t action, int x, int y) {
    const auto lens = [x](uint8_t high, uint8_t low) -> uint8_t {
        return x > kCentre ? high : x < kCentre ? low : 0;
    };
    switch (action) {
        case act::pan_tilt: return move_bits(stronger_axis(x, y));
        case act::zoom: return lens(0x20, 0x10);
        case act::focus: return lens(0x40, 0x30);
        default: return 0;
    }
}

// Presets 0..7 are 0x40 + n; from 8 on the low nibble goes with 0x50.
constexpr uint8_t goto_data(uint16_t p) { return static_cast<uint8_t>(p < 8 ? p | 0x40 : (p & 0x0F) | 0x50); }
static_assert(goto_data(9) == 0x59 && goto_data(7) == 0x47);

struct AuxChoice {
    char letter;
    uint8_t data;
};

// Auxiliaries 0..5 by their "on" and "off" codes; the two camera functions
// 100 and 101 are control frames.
constexpr AuxChoice aux_choice(uint16_t code, uint16_t action) {
    constexpr uint8_t kOn[] = {0x20, 0x23, 0x24, 0x21, 0x22, 0x25};
    const bool on = action == act::aux_on;
    if (code == 100 || code == 101) {
        if (action == 0x0100) return {kControl, 0x70};
        return {kControl, static_cast<uint8_t>(code == 100 ? 0x50 : 0x60)};
    }
    const uint8_t data = code < 6 ? kOn[code] : kOn[0];
    return {kAux, static_cast<uint8_t>(on ? data : data - 0x10)};
}

}  // namespace

void PTZAction_SJ(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::goto_preset: send(d, port, addr, kMemory, goto_data(c.arg16())); break;
        case msg::set_preset:
            send(d, port, addr, kMemory, static_cast<uint8_t>((c.action() & 0x0F) | 0x30));
            break;
        case msg::stop: send(d, port, addr, kControl, 0); break;
        case msg::move:
        case msg::move_cont: send(d, port, addr, kControl, control_data(c.action(), c.x(), c.y())); break;
        case msg::aux:
        case msg::aux2: {
            d.log("SJ : aux (%xh:%xh) ", c.arg16(), c.action());
            const AuxChoice a = aux_choice(c.arg16(), c.action());
            d.log("--> %c, %xh\n", a.letter, a.data);
            send(d, port, addr, a.letter, a.data);
            break;
        }
        default: break;
    }
}

}  // namespace ptz
