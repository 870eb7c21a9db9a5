// SRX-100B, on RS-485.
//
// Line: the SPD frame and sender (11 bytes, 1 ms settle, 10 ms after each
// frame) with this camera's own command words. Pan and tilt run at one fixed
// speed, each axis on its own, without diagonal logic; zoom and focus at
// speed 4. No presets, no stop after an action, no answer.
//
// Kept on purpose: an aux code the camera does not know still sends a frame,
// with command 0 (which the camera ignores).
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/spd.h"
#include "protocols/rs485/vocabulary.h"

namespace ptz {

namespace {

constexpr uint16_t kStop = 0x0400, kZoomTele = 0x0420, kZoomWide = 0x0440, kFocusHigh = 0x0200,
                   kFocusLow = 0x0100;
constexpr uint8_t kFixedSpeed = 0x3F, kLensSpeed = 4;

using Word = SpdWord;

constexpr Word move_word(uint16_t action, int x, int y) {
    switch (action) {
        case act::pan_tilt: return {spd_direction(x, y), kFixedSpeed, kFixedSpeed, 0};
        case act::zoom:
            if (x == kCentre) break;
            return {x > kCentre ? kZoomTele : kZoomWide, 0, 0, kLensSpeed};
        case act::focus:
            if (x == kCentre) break;
            return {x > kCentre ? kFocusHigh : kFocusLow, 0, 0, kLensSpeed};
        default: break;
    }
    return {0, 0, 0, 0};
}
static_assert(move_word(0, 0x40, 0x40) == Word{0, 0x3F, 0x3F, 0});

struct AuxRule {
    uint16_t first, last;
    uint8_t on_cmd, on_data;  // on_data 0xFE: the code's offset in the range
    uint8_t off_cmd, off_data;
};
constexpr uint8_t kByOffset = 0xFE;
constexpr AuxRule kAux[] = {
    {1, 1, 0x4F, 5, 0x4F, 4},
    {2, 2, 0x4F, 7, 0x4F, 6},
    {3, 3, 0x4F, 3, 0x4F, 2},
    {4, 4, 0x4F, 1, 0x4F, 0},
    {100, 100, 0xF5, 0xFF, 0, 0xFF},
    {101, 101, 0xF3, 0xFF, 0, 0xFF},
    {102, 102, 0xF7, 0xFF, 0, 0xFF},
    {103, 103, 0xF9, 0xFF, 0, 0xFF},
    {150, 150, 0x1B, 0x00, 0x1F, 0x00},
    {151, 151, 0x1F, 0xFF, 0, 0xFF},
    {200, 202, 0xFB, kByOffset, 0, 0xFF},
};

void aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    const uint16_t code = c.arg16();
    const bool on = c.action() == act::aux_on;
    d.log("SRX-100B : aux(%xh:%xh)", code, c.action());
    uint8_t command = 0, data = 0xFF;
    for (const AuxRule& r : kAux) {
        if (code < r.first || code > r.last) continue;
        command = on ? r.on_cmd : r.off_cmd;
        data = on ? r.on_data : r.off_data;
        if (data == kByOffset) data = static_cast<uint8_t>(code - r.first);
        break;
    }
    d.log("--> aux %04xh, %0xh\n", command, data);
    spd_send(d, port, addr, {command, data, 0xFF, 0xFF});
}

}  // namespace

void PTZAction_SRX100B(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    switch (c.msg_id()) {
        case msg::stop: spd_send(d, port, addr, {kStop, 0, 0, 0}); break;
        case msg::move:
        case msg::move_cont: spd_send(d, port, addr, move_word(c.action(), c.x(), c.y())); break;
        case msg::aux:
        case msg::aux2: aux(d, port, addr, c); break;
        default: break;
    }
}

}  // namespace ptz
