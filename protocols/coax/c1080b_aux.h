// The C1080B aux table: what each aux value sends to the camera, "on"
// (action 0x0101) and "off" (any other action), as 7-byte Pelco-D frames.
//
// A row covers one aux value or a range. Data 2 is either a constant or,
// for the numbered functions, (aux + offset) mod 256. Menu navigation and the
// extended 0x7Exx commands go out without the 35 ms line pause: the camera's
// menu answers key presses at once. Values outside the table are sent as a
// go-to-preset of their low byte (the camera keeps further functions there).
// The C1080PT family takes the same codes for the aux values it shares.
#pragma once

#include <cstdint>

namespace ptz {

// The minimum pause after a frame: the protocol's 35 ms, or none.
enum class C1080bWait : uint8_t { line, none };

enum class C1080bAuxKind : uint8_t {
    frame,      // log, then the frame
    hold,       // log, the frame, 1 s, "Send Stop\n" and command 0 (keys held for a second)
    log_only,   // log, nothing sent
    cam_reset,  // log, the port set-up of start-up again, 2 s, then the frame
};

// One side (on or off) of a row. `text` is the whole log line or, when
// `tail` is set, the text before a number (aux - the row's log_base) and
// `tail` the text after it; nullptr: no log.
struct C1080bAuxSide {
    const char* text;
    const char* tail;
    uint16_t cmd;
    uint8_t d1;
    uint8_t d2;
};

struct C1080bAuxRow {
    uint16_t first, last;
    C1080bAuxKind kind;
    C1080bWait wait;
    C1080bAuxSide on, off;
    bool d2_from_aux;        // data 2 = (aux + side.d2) mod 256
    int16_t log_base;        // the number in a numbered log is aux - log_base
    const char* after_text;  // logged after the frame; nullptr: nothing
};

namespace c1080b_aux {
constexpr uint16_t go = 0x0007, store = 0x0003, set_aux = 0x0009, clear_aux = 0x000B;
constexpr uint16_t iris_open = 0x0200, iris_close = 0x0400;
constexpr uint16_t pattern_start = 0x001F, pattern_stop = 0x0021, run_pattern = 0x0023;
constexpr uint16_t menu = 0x001E, menu_esc = 0x0006, cam_reset = 0x9030;

constexpr C1080bAuxSide say(const char* text, uint16_t cmd, uint8_t d1, uint8_t d2) {
    return {text, nullptr, cmd, d1, d2};
}
constexpr C1080bAuxSide count(const char* text, const char* tail, uint16_t cmd, uint8_t d2) {
    return {text, tail, cmd, 0, d2};
}
constexpr C1080bAuxSide quiet(uint16_t cmd, uint8_t d1, uint8_t d2) {
    return {nullptr, nullptr, cmd, d1, d2};
}

// A row of plain frames with the 35 ms pause, the same on and off, or not.
constexpr C1080bAuxRow row(uint16_t v, C1080bAuxSide on, C1080bAuxSide off) {
    return {v, v, C1080bAuxKind::frame, C1080bWait::line, on, off, false, 0, nullptr};
}
constexpr C1080bAuxRow row(uint16_t v, C1080bAuxSide both) { return row(v, both, both); }
// An extended command: no pause, no log.
constexpr C1080bAuxRow ext(uint16_t v, uint16_t cmd, uint8_t on_d1, uint8_t off_d1, uint8_t on_d2 = 0,
                           uint8_t off_d2 = 0) {
    return {v,
            v,
            C1080bAuxKind::frame,
            C1080bWait::none,
            quiet(cmd, on_d1, on_d2),
            quiet(cmd, off_d1, off_d2),
            false,
            0,
            nullptr};
}
// Numbered functions over a range: data 2 = (aux + offset) mod 256.
constexpr C1080bAuxRow numbered(uint16_t first, uint16_t last, int16_t base, C1080bAuxSide on,
                                C1080bAuxSide off) {
    return {first, last, C1080bAuxKind::frame, C1080bWait::line, on, off, true, base, nullptr};
}
constexpr C1080bAuxRow special(uint16_t v, C1080bAuxKind kind, C1080bWait wait, C1080bAuxSide on,
                               C1080bAuxSide off, const char* after = nullptr) {
    return {v, v, kind, wait, on, off, false, 0, after};
}
}  // namespace c1080b_aux

namespace c1080b_aux {
constexpr C1080bAuxRow kTable[] = {
    numbered(1, 7, 0, count("aux ", " on\n", set_aux, 0), count("aux ", " off\n", clear_aux, 0)),
    numbered(9, 9, 0, count("aux ", " on\n", set_aux, 0), count("aux ", " off\n", clear_aux, 0)),
    special(130, C1080bAuxKind::hold, C1080bWait::line, say("manual iris open\n", iris_open, 0, 0),
            say("manual iris close\n", iris_close, 0, 0)),
    row(533, say("flip\n", go, 0, 33)),
    row(534, say("pan zero\n", go, 0, 34)),
    numbered(551, 554, 550, count("run pattern ", "\n", run_pattern, 256 - 38),
             count("run pattern ", "\n", run_pattern, 256 - 38)),
    numbered(561, 564, 560, count("set pattern start ", "\n", pattern_start, 256 - 48),
             count("set pattern stop ", "\n", pattern_stop, 256 - 48)),
    row(588, say("ir in\n", go, 0, 88), say("ir out\n", go, 0, 89)),
    row(590, say("man limit start\n", store, 0, 90), say("man limit stop\n", store, 0, 91)),
    row(592, say("man limit start\n", store, 0, 92), say("man limit stop\n", store, 0, 93)),
    row(595, say("C1080B menu\n", menu, 0, 0)),
    row(596, say("stop scan\n", go, 0, 96)),
    row(597, say("rand scan\n", go, 0, 97), say("stop scan\n", go, 0, 96)),
    row(598, say("frame scan\n", go, 0, 98), say("stop scan\n", go, 0, 96)),
    row(599, say("auto scan\n", go, 0, 99), say("stop scan\n", go, 0, 96)),
    special(730, C1080bAuxKind::frame, C1080bWait::none, say("C1080B enter\n", menu, 0, 0),
            say("C1080B enter\n", menu, 0, 0), "PTZSVR : skip send stop for C1080B\n"),
    special(731, C1080bAuxKind::frame, C1080bWait::none, quiet(menu_esc, 0, 0), quiet(menu_esc, 0, 0)),
    special(740, C1080bAuxKind::log_only, C1080bWait::line, say("skip menu exit\n", 0, 0, 0),
            say("skip menu exit\n", 0, 0, 0)),
    special(930, C1080bAuxKind::cam_reset, C1080bWait::none, say("AUX_VAL_CAM_RESET\n", cam_reset, 0, 0x0B),
            say("AUX_VAL_CAM_RESET\n", cam_reset, 0, 0x0B)),
    ext(931, 0x7E01, 2, 3),
    ext(932, 0x7E01, 5, 5),
    ext(933, 0x7E09, 0, 3),
    ext(934, 0x7E09, 1, 2),
    ext(935, 0x7E09, 4, 4),
    ext(936, 0x7E0A, 2, 3),
    ext(937, 0x7E0C, 2, 3),
    ext(938, 0x7E3F, 1, 2),
    ext(939, 0x7E3F, 3, 0),
    ext(940, 0x7E33, 1, 2, 1, 2),
    ext(941, 0x7E34, 2, 1, 2, 1),
};

// Every value outside the table: a go-to-preset of the value's low byte.
constexpr C1080bAuxSide kOtherSide = count("pelcod unknown aux command sent to preset, ", "\n", go, 0);
constexpr C1080bAuxRow kOther = numbered(0, 0xFFFF, 0, kOtherSide, kOtherSide);
}  // namespace c1080b_aux

// Aux 110 and 111 are the keyboard's names for set pattern start 1 and run
// pattern 1.
constexpr uint16_t c1080b_aux_alias(uint16_t aux) { return aux == 110 ? 561 : aux == 111 ? 551 : aux; }

// The row of an aux value (after c1080b_aux_alias); never null.
constexpr const C1080bAuxRow& c1080b_aux_row(uint16_t aux) {
    for (const C1080bAuxRow& r : c1080b_aux::kTable)
        if (aux >= r.first && aux <= r.last) return r;
    return c1080b_aux::kOther;
}

struct C1080bAuxFrame {
    uint16_t cmd;
    uint8_t d1;
    uint8_t d2;
};

// The command word and data bytes of an aux value, on or off.
constexpr C1080bAuxFrame c1080b_aux_frame(const C1080bAuxRow& r, uint16_t aux, bool on) {
    const C1080bAuxSide& s = on ? r.on : r.off;
    return {s.cmd, s.d1, static_cast<uint8_t>(r.d2_from_aux ? aux + s.d2 : s.d2)};
}

class Daemon;

// Puts on the line what the row sends for `aux`, on or off, with the row's
// waits: its frame, a held key's second and "Send Stop\n" with the stop
// frame, or the camera reset's port set-up and two seconds before the frame.
// The row's own log lines are the caller's. A log-only row sends nothing.
void c1080b_aux_send(Daemon& d, int port, uint8_t addr, const C1080bAuxRow& r, uint16_t aux, bool on);
// Logs one side of an aux row: `text` alone, or with `tail` set `text`, the
// number and `tail`; nothing when `text` is nullptr.
void c1080b_aux_log(Daemon& d, const char* text, const char* tail, int number);

static_assert(c1080b_aux_frame(c1080b_aux_row(9), 9, true).d2 == 9 && c1080b_aux_row(8).first == 0);
static_assert(c1080b_aux_frame(c1080b_aux_row(c1080b_aux_alias(110)), 561, true).d2 == 1 &&
              c1080b_aux_frame(c1080b_aux_row(554), 554, false).d2 == 4);
static_assert(c1080b_aux_frame(c1080b_aux_row(1000), 1000, true).d2 == 0xE8);

}  // namespace ptz
