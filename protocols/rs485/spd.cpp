// SPD, on RS-485, and its variant with sequences and digital zoom.
//
// Line: 11-byte frames A0 addr 00 cmd(hi) cmd(lo) d1 d2 d3 FF AF sum, the sum
// being the complement of bytes 1..8 added up. Each frame follows a 1 ms
// transmit settle, is timed by the line alone and is followed by 10 ms for
// the camera. Preset n travels as n - 1 (never below 0).
//
// Storing or clearing a preset is two frames: the operation, then a
// confirmation (0x0067) once the camera has acknowledged. SPD waits for the
// acknowledgement on the line (spd_receive_ack: the drain ends at the first
// quiet read, the byte it traces is its own, and the confirmation goes out
// whatever came); the variant only pauses 1 ms. Nothing else is ever read.
//
// Kept on purpose: the variant shapes its pan/tilt speeds (56 and more go as
// 64, 0 as 1, so an axis that does not move still carries speed 1); SPD
// sends an axis's speed even inside the dead band, where its direction bit
// stays clear; aux 900 sends the same frame for on and off.
#include "protocols/rs485/spd.h"

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/reply.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kTxSettleUs = 1000;
constexpr uint32_t kAfterFrameUs = 10000;
constexpr uint32_t kVariantAckPauseUs = 1000;

namespace cmd {
constexpr uint16_t stop = 0x0000, right = 0x0002;
constexpr uint16_t zoom_tele = 0x0020, zoom_wide = 0x0040, focus_low = 0x0100, focus_high = 0x0200;
constexpr uint16_t set_preset = 0x0003, clear_preset = 0x0005, goto_preset = 0x0007, preset_done = 0x0067;
constexpr uint16_t sequence = 0x0021, digital_zoom = 0x8001;
}  // namespace cmd

using Word = SpdWord;

enum class Flavour : uint8_t { spd, variant };

// The variant tags every move frame with 0x11 in data 3.
constexpr uint8_t kVariantTag = 0x11;
constexpr Word idle(Flavour f) { return {cmd::stop, 0, 0, f == Flavour::variant ? kVariantTag : uint8_t{0}}; }

// The variant's pan/tilt speeds: fast is full speed, and never 0.
constexpr uint8_t shaped(uint8_t speed) { return speed >= 56 ? 0x40 : speed == 0 ? 1 : speed; }

constexpr Word move_word(uint16_t action, int x, int y, Flavour f) {
    const bool variant = f == Flavour::variant;
    const auto lens = [&](uint16_t high, uint16_t low, int spd_d3) -> Word {
        if (x == kCentre) return idle(f);
        const uint8_t d3 = static_cast<uint8_t>(variant ? speed_of(x) / 8 : spd_d3);
        return {x > kCentre ? high : low, 0, 0, d3};
    };
    switch (action) {
        case act::pan_tilt: {
            const uint16_t dir = spd_direction(x, y);
            if (variant) return {dir, shaped(speed_of(x)), shaped(speed_of(y)), kVariantTag};
            return {dir, speed_of(x), speed_of(y), 0};
        }
        case act::zoom: return lens(cmd::zoom_tele, cmd::zoom_wide, speed_of(x) / 8);
        case act::focus: return lens(cmd::focus_high, cmd::focus_low, 0x40);
        default: return idle(f);
    }
}
static_assert(move_word(0, 0x7F, 0x40, Flavour::spd) == Word{cmd::right, 0x3F, 0, 0});
static_assert(move_word(0, 0x41, 0x40, Flavour::variant) == Word{0, 1, 1, 0x11});
static_assert(move_word(2, 0x48, 0, Flavour::variant) == Word{cmd::focus_high, 0, 0, 1});

void send(Daemon& d, int port, uint8_t addr, Word w) { spd_send(d, port, addr, w); }

// Preset n is the camera's n - 1; preset 0 is taken as preset 1.
constexpr int preset_index(int n) { return n - 1 < 0 ? 0 : n - 1; }

// Store and clear: the operation, the camera's acknowledgement, and the
// confirmation frame.
void store_or_clear(Daemon& d, int port, uint8_t addr, Cmd c, Flavour f) {
    const int p = preset_index(c.action());
    const uint8_t pb = static_cast<uint8_t>(p);
    const bool store = c.msg_id() == msg::set_preset;
    if (store)
        d.log("SPD : set preset %d\n", p);
    else
        d.log("SPD : clear preset %d\n", p);
    send(d, port, addr, {store ? cmd::set_preset : cmd::clear_preset, pb, 0xFF, 0xFF});
    if (f == Flavour::spd)
        spd_receive_ack(d, port);
    else
        d.os.usleep(kVariantAckPauseUs);
    send(d, port, addr, {cmd::preset_done, 0x00, pb, 0xFF});
}

// Handles the messages both flavours treat alike; false for the others.
bool common(Daemon& d, int port, uint8_t addr, Cmd c, Flavour f) {
    switch (c.msg_id()) {
        case msg::goto_preset: {
            const int p = preset_index(c.arg16());
            d.log("SPD : goto preset %d\n", p);
            send(d, port, addr, {cmd::goto_preset, static_cast<uint8_t>(p), 0xFF, 0xFF});
            return true;
        }
        case msg::set_preset:
        case msg::clear_preset: store_or_clear(d, port, addr, c, f); return true;
        case msg::stop: send(d, port, addr, idle(Flavour::spd)); return true;
        default: return false;
    }
}

// SPD aux codes: a frame for "on" (action 0x0101) and one for "off".
struct AuxRule {
    uint16_t code;
    const char* on_text;  // nullptr: no trace
    const char* off_text;
    Word on, off;
};
constexpr AuxRule kAux[] = {
    {110,
     "SPD : set pattern start\n",
     "SPD : set pattern stop\n",
     {0x0071, 0x00, 0xFF, 0xFF},
     {0x0073, 0xFF, 0xFF, 0xFF}},
    {111,
     "SPD : run pattern\n",
     "SPD : run pattern\n",
     {0x0071, 0x01, 0x00, 0xFF},
     {0x0071, 0x01, 0x00, 0xFF}},
    {595, "Menu On\n", "Menu Off\n", {0x00B1, 0x00, 0xFF, 0xFF}, {0x00B1, 0x01, 0xFF, 0xFF}},
    {730, nullptr, nullptr, {0x0100, 0x00, 0x00, 0xFF}, {0x0100, 0x00, 0x00, 0xFF}},
    {731, nullptr, nullptr, {0x0200, 0x00, 0x00, 0xFF}, {0x0200, 0x00, 0x00, 0xFF}},
    {740, "special Menu Off\n", "special Menu Off\n", {0x00B1, 0x01, 0xFF, 0xFF}, {0x00B1, 0x01, 0xFF, 0xFF}},
    {900, "AF On\n", "AF Off\n", {0x0045, 0x01, 0xFF, 0xFF}, {0x0045, 0x01, 0xFF, 0xFF}},
    {902, "ONESHOT AF\n", "ONESHOT AF\n", {0x0045, 0x02, 0xFF, 0xFF}, {0x0045, 0x02, 0xFF, 0xFF}},
};

void spd_aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    const uint16_t v = c.arg16();
    const bool on = c.action() == act::aux_on;
    d.log("SPD : AUX %d\n", v);
    for (const AuxRule& r : kAux) {
        if (r.code != v) continue;
        const char* text = on ? r.on_text : r.off_text;
        if (text) d.log("%s", text);
        send(d, port, addr, on ? r.on : r.off);
        return;
    }
}

// Variant aux codes: 711..716 run sequences 0..5, every other code switches
// the digital zoom, the code's low byte going along.
void variant_aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    const uint16_t v = c.arg16();
    if (v >= 711 && v <= 716) {
        d.log("run sequence(%d)\n", v - 711);
        send(d, port, addr, {cmd::sequence, static_cast<uint8_t>(v - 711), 0x00, 0xFF});
    } else if (c.action() == act::aux_on) {
        d.log("digital zoom on\n");
        send(d, port, addr, {cmd::digital_zoom, static_cast<uint8_t>(v), 0x01, 0xFF});
    } else {
        d.log("digital zoom off\n");
        send(d, port, addr, {cmd::digital_zoom, static_cast<uint8_t>(v), 0x00, 0xFF});
    }
}

}  // namespace

void spd_send(Daemon& d, int port, uint8_t addr, SpdWord w) {
    const SpdFrame f = spd_frame(addr, w.cmd, w.d1, w.d2, w.d3);
    tx_enable_serial(d, port, kTxSettleUs);
    d.log("SPD_SEND : %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X %02X \n", f[0], f[1], f[2], f[3],
          f[4], f[5], f[6], f[7], f[8], f[9], f[10]);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), 0);
    d.os.usleep(kAfterFrameUs);
}

void PTZAction_SPD(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    if (common(d, port, addr, c, Flavour::spd)) return;
    switch (c.msg_id()) {
        case msg::aux:
        case msg::aux2: spd_aux(d, port, addr, c); break;
        case msg::move:
        case msg::move_cont: {
            const uint16_t action = c.action();
            if (action > act::focus) d.log("unknown sub command[%x] ", action);
            const Word w = move_word(action, c.x(), c.y(), Flavour::spd);
            d.log("SPD : %04x, %02x, %02x, %02x\n", w.cmd, w.d1, w.d2, w.d3);
            send(d, port, addr, w);
            if (c.stop_after_action()) {
                d.log("SPD : stop after action\n");
                send(d, port, addr, idle(Flavour::spd));
            }
            break;
        }
        default: break;
    }
}

void PTZAction_SPD_Variant(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    if (common(d, port, addr, c, Flavour::variant)) return;
    switch (c.msg_id()) {
        case msg::aux:
        case msg::aux2: variant_aux(d, port, addr, c); break;
        case msg::move:
        case msg::move_cont:
            send(d, port, addr, move_word(c.action(), c.x(), c.y(), Flavour::variant));
            break;
        default: break;
    }
}

}  // namespace ptz
