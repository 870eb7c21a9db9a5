// The three-byte protocol (model 0x1300), on RS-485.
//
// Line: addr cmd data, with no checksum and no minimum wait: byte 0 is the
// camera address (plus 0x40 for preset frames, plus 0xC0 for the frame that
// closes a store), byte 2 is 0x80 OR the data, masked to six bits when the
// command is non-zero. Pan and tilt speeds are an eighth of the distance
// from the centre, pan in the low bits and tilt from bit 3 up; diagonals
// first (dead band 62 to 66), then the stronger axis. Going to a preset is
// followed by 50 ms for the camera to start.
//
// Kept on purpose: the two speeds are OR-ed, so a pan speed of 8 (x = 0)
// lands on the tilt bits.
#include <array>
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kAfterGotoUs = 50000;
constexpr uint8_t kPresetOffset = 0x40, kCloseOffset = 0xC0;

using ThreeByteFrame = std::array<uint8_t, 3>;

constexpr ThreeByteFrame three_byte_frame(uint8_t addr, uint8_t cmd, uint8_t data) {
    return {addr, cmd, static_cast<uint8_t>(0x80 | (cmd != 0 ? data & 0x3F : data))};
}
static_assert(three_byte_frame(0xC1, 3, 100) == ThreeByteFrame{0xC1, 0x03, 0xA4});

struct Word {
    uint8_t cmd, data;
    constexpr bool operator==(const Word&) const = default;
};

constexpr Word action_word(uint16_t action, int x, int y) {
    const int p = speed_of(x) / 8, t = speed_of(y) / 8;
    const auto both = static_cast<uint8_t>((t * 8) | p);
    const auto lens = [x](uint8_t high, uint8_t low) -> Word {
        return {static_cast<uint8_t>(x > kCentre ? high : x < kCentre ? low : 0), 0};
    };
    switch (action) {
        case act::pan_tilt:
            switch (classify_xy(x, y)) {
                case Dir::left_up: return {0x06, both};
                case Dir::right_up: return {0x05, both};
                case Dir::left_down: return {0x0A, both};
                case Dir::right_down: return {0x09, both};
                case Dir::left: return {0x02, static_cast<uint8_t>(p)};
                case Dir::right: return {0x01, static_cast<uint8_t>(p)};
                case Dir::down: return {0x08, static_cast<uint8_t>(t * 8)};
                case Dir::up: return {0x04, static_cast<uint8_t>(t * 8)};
                case Dir::none: break;
            }
            break;
        case act::zoom: return lens(0x10, 0x20);
        case act::focus: return lens(0x40, 0x80);
        default: break;
    }
    return {0, 0};
}
static_assert(action_word(0, 0, 0x48) == Word{0x06, 0x08});

void send(Daemon& d, int port, uint8_t addr, Word w) {
    const ThreeByteFrame f = three_byte_frame(addr, w.cmd, w.data);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), 0);
}

}  // namespace

void PTZAction_ThreeByte(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    const uint8_t preset_addr = static_cast<uint8_t>(addr + kPresetOffset);
    switch (c.msg_id()) {
        case msg::stop: send(d, port, addr, {0, 0}); break;
        case msg::move:
        case msg::move_cont: send(d, port, addr, action_word(c.action(), c.x(), c.y())); break;
        case msg::goto_preset:
            send(d, port, preset_addr, {c.x(), 0});
            d.os.usleep(kAfterGotoUs);
            break;
        case msg::set_preset:
            send(d, port, preset_addr, {static_cast<uint8_t>(c.action()), 0});
            send(d, port, preset_addr, {0, 4});
            send(d, port, preset_addr, {0, 5});
            send(d, port, static_cast<uint8_t>(addr + kCloseOffset), {3, 100});
            break;
        default: break;
    }
}

}  // namespace ptz
