// The letter-command protocol (model 0x2200), on RS-485.
//
// Line: 50, 80|(addr >> 7), 80|(addr & 7F), letter, up to two data bytes,
// 00; no checksum; at least 35 ms apart. Moves carry four times the distance
// from the centre (diagonals first, dead band 62 to 66, then the stronger
// axis). The driver remembers which motions run (one set of flags for the
// whole daemon) and a stop ends each of them with its own letter.
//
// Kept on purpose: zoom tele and focus far carry x * 4 rather than the
// distance from the centre, and the centre itself counts as zoom wide and
// focus near at speed 0.
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

using LetterFrame = ShortFrame<7>;

constexpr LetterFrame letter_frame(uint16_t addr, uint8_t letter) {
    return {0x50, static_cast<uint8_t>(0x80 | (addr >> 7)), static_cast<uint8_t>(0x80 | (addr & 0x7F)),
            letter};
}
static_assert(letter_frame(0x81, 'X').push(0) == LetterFrame{0x50, 0x81, 0x81, 'X', 0x00});

void send(Daemon& d, int port, LetterFrame f) {
    f.push(0x00);
    write_serial_block(d, port, f.data(), f.size(), kMinWaitUs);
}

constexpr uint8_t direction_letter(Dir dir) {
    switch (dir) {
        case Dir::left_up: return 'V';
        case Dir::left_down: return 'E';
        case Dir::right_up: return 'S';
        case Dir::right_down: return 'M';
        case Dir::left: return 'L';
        case Dir::right: return 'R';
        case Dir::down: return 'D';
        case Dir::up: return 'U';
        case Dir::none: break;
    }
    return 0x00;
}

// A lens key: `low` with (64 - x) * 4 up to the centre, else `high` with
// x * 4.
LetterFrame lens(uint16_t addr, int x, uint8_t low, uint8_t high) {
    if (x <= kCentre) return letter_frame(addr, low).push(static_cast<uint8_t>((64 - x) * 4));
    return letter_frame(addr, high).push(static_cast<uint8_t>((x * 4) & 0xFC));
}

void handle_action(Daemon& d, int port, uint16_t addr, Cmd c) {
    LetterCommandState& s = d.drv.letter_command;
    const int x = c.x(), y = c.y();
    switch (c.action()) {
        case act::pan_tilt: {
            const Dir dir = classify_xy(x, y);
            const Move m = move_of(dir, x, y, DirBits{1, 1, 1, 1});
            send(d, port,
                 letter_frame(addr, direction_letter(dir))
                     .push(static_cast<uint8_t>((m.pan * 4) & 0xFC))
                     .push(static_cast<uint8_t>(m.tilt * 4)));
            s.pan_tilt = true;
            break;
        }
        case act::zoom:
            send(d, port, lens(addr, x, 'W', 'T'));
            s.zoom = true;
            break;
        case act::focus:
            send(d, port, lens(addr, x, 'N', 'F'));
            s.focus = true;
            break;
        default: break;
    }
}

// Each running motion is stopped by its own letter, in this order.
void stop(Daemon& d, int port, uint16_t addr) {
    LetterCommandState& s = d.drv.letter_command;
    const struct {
        bool& running;
        uint8_t letter;
    } motions[] = {{s.pan_tilt, 'X'}, {s.zoom, 'K'}, {s.focus, 'G'}};
    for (const auto& m : motions) {
        if (!m.running) continue;
        send(d, port, letter_frame(addr, m.letter));
        m.running = false;
    }
}

}  // namespace

void PTZAction_LetterCommand(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: handle_action(d, port, addr, c); break;
        case msg::stop: stop(d, port, addr); break;
        case msg::goto_preset: send(d, port, letter_frame(addr, 'c').push(c.x())); break;
        case msg::set_preset:
            send(d, port, letter_frame(addr, 's').push(static_cast<uint8_t>(c.action())));
            break;
        default: break;
    }
}

}  // namespace ptz
