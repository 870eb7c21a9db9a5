// The STX-framed protocol (model 0x1200), on RS-485.
//
// Line: 02 addr cmd data 03 sum, the sum of bytes 0..4 AND 0x7F, timed by the
// line alone. One command byte per direction (diagonals first, dead band 62
// to 66, then the stronger axis) and per lens key; the data byte is the
// speed in two steps, '0' for slow and '1' for fast. Presets and aux codes
// are not part of the protocol.
#include <array>
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

using StxFrame = std::array<uint8_t, 6>;

constexpr StxFrame stx_frame(uint8_t addr, uint8_t cmd, uint8_t data) {
    StxFrame f{0x02, addr, cmd, data, 0x03, 0};
    for (size_t i = 0; i < 5; ++i) f[5] = static_cast<uint8_t>(f[5] + f[i]);
    f[5] &= 0x7F;
    return f;
}
static_assert(stx_frame(1, 0, 0) == StxFrame{0x02, 0x01, 0x00, 0x00, 0x03, 0x06});

constexpr uint8_t direction_cmd(Dir dir) {
    switch (dir) {
        case Dir::left_up: return 0x3A;
        case Dir::left_down: return 0x3B;
        case Dir::right_up: return 0x3D;
        case Dir::right_down: return 0x3C;
        case Dir::left: return 0x38;
        case Dir::right: return 0x39;
        case Dir::down: return 0x37;
        case Dir::up: return 0x36;
        case Dir::none: break;
    }
    return 0;
}

// Below 31 from the centre is the slow step.
constexpr uint8_t speed_step(int distance) { return distance < 31 ? '0' : '1'; }

struct Word {
    uint8_t cmd, data;
    constexpr bool operator==(const Word&) const = default;
};

constexpr Word action_word(uint16_t action, int x, int y) {
    // The pan distance sets the step, except for a pure tilt.
    const auto with_speed = [x](uint8_t cmd, int distance = -1) -> Word {
        return {cmd, speed_step(distance < 0 ? speed_of(x) : distance)};
    };
    switch (action) {
        case act::pan_tilt: {
            const Dir dir = classify_xy(x, y);
            if (dir == Dir::up || dir == Dir::down) return with_speed(direction_cmd(dir), speed_of(y));
            return with_speed(direction_cmd(dir));
        }
        case act::zoom: return with_speed(x >= 65 ? 0x3E : x < 64 ? 0x3F : 0);
        case act::focus: return with_speed(x < 64 ? 0x40 : x >= 65 ? 0x41 : 0);
        default: return with_speed(0);
    }
}
static_assert(action_word(0, 0x40, 0x70) == Word{0x36, '1'} && action_word(0, 0x50, 0x40) == Word{0x39, '0'});

void send(Daemon& d, int port, uint16_t addr, Word w) {
    const StxFrame f = stx_frame(static_cast<uint8_t>(addr), w.cmd, w.data);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), 0);
}

}  // namespace

void PTZAction_STX(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::stop: send(d, port, addr, {0, 0}); break;
        case msg::move:
        case msg::move_cont: send(d, port, addr, action_word(c.action(), c.x(), c.y())); break;
        default: break;
    }
}

}  // namespace ptz
