// C1080PT: a pan/tilt camera speaking Pelco-D, plus absolute positions.
//
// Line: 7-byte Pelco-D frames (FF addr cmd1 cmd2 data1 data2 sum of bytes
// 1..5), at least 35 ms apart (the menu keys and the extended aux commands
// excepted), for moves, presets and aux; 11-byte frames
// FF addr 00 cmd v1 v1 v2 v2 v3 v3 sum (sum of bytes 1..9, values big-endian)
// to set the position (0x91) and ask for it (0x93, answered with 0x9B).
//
// Kept on purpose: a position read tries three times and then reports
// (0, 0, 0); a tilt below the horizon (36000 + t) is reported as 0, the
// camera's mechanical limit; the "GET POS" trace shows the request's own
// fields, not the position read. Aux values shared with the C1080B go out
// as the C1080B sends them (codes and pauses; menu exit sends nothing), the
// other functions of the Pelco-D vocabulary with its codes, and only the
// values neither names as a preset (on: go to, off: store), so no key of the
// camera's own overwrites a user's preset.
#include "protocols/coax/c1080pt.h"

#include <cstdlib>
#include <cstring>

#include "core/daemon.h"
#include "core/report.h"
#include "protocols/coax/c1080b_aux.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/reply.h"
#include "serial/serial.h"

namespace ptz {

namespace {

using namespace pelcod;

// Writes the position request and waits for the 0x9B answer. `reply` is
// cleared first, so a camera that does not answer reads as (0, 0, 0).
bool read_position(Daemon& d, int port, uint8_t addr, uint32_t wait_us, uint8_t (&reply)[20]) {
    const C1080ptFrame req = c1080pt_frame(addr, c1080pt::query_position, 0, 0, 0);
    write_serial_block(d, port, req.data(), static_cast<int>(req.size()), wait_us);
    std::memset(reply, 0, sizeof reply);
    return recv_command(d, port, reply, 0xFF, c1080pt::position_reply, 11, c1080pt::reply_limit_us) == 11;
}

zoombox::Position parse_position(const uint8_t (&r)[20]) {
    return {static_cast<double>(r[4] << 8 | r[5]), static_cast<double>(r[6] << 8 | r[7]),
            static_cast<double>(r[8] << 8 | r[9])};
}

// The C1080PT's aux functions: every value that has a meaning, with its log
// line. Where the C1080B has the value, its row of the C1080B table sends
// (codes, waits, the held key, the camera reset); the other values send the
// plain Pelco-D frame given here: data 2 is `d2`, or (aux + d2) mod 256 for
// numbered rows, with the 35 ms pause. Values of no row are presets.
struct AuxSay {
    const char* text;  // the whole line; for numbered rows the part before the number
    const char* tail;  // for numbered rows the part after it
};

struct AuxRow {
    uint16_t first, last;
    AuxSay on, off;
    int base;  // numbered rows log aux - base
    bool numbered;
    uint16_t on_cmd = 0, off_cmd = 0;  // for the values the C1080B has no row for
    int on_d2 = 0, off_d2 = 0;
};

constexpr AuxSay say(const char* text) { return {text, nullptr}; }
constexpr AuxSay count(const char* text, const char* tail = "\n") { return {text, tail}; }
constexpr AuxSay kQuiet{nullptr, nullptr};

constexpr AuxRow kAux[] = {
    {1, 7, count("aux ", " on\n"), count("aux ", " off\n"), 0, true},
    {9, 9, count("aux ", " on\n"), count("aux ", " off\n"), 0, true},
    {130, 130, say("manual iris open\n"), say("manual iris close\n"), 0, false},
    {502, 502, say("wiper for Wonwoo PTZ\n"), say("wiper for Wonwoo PTZ\n"), 0, false, set_preset, set_preset,
     0xF4, 0xF4},
    {533, 533, say("flip\n"), say("flip\n"), 0, false},
    {534, 534, say("pan zero\n"), say("pan zero\n"), 0, false},
    {551, 558, count("run pattern "), count("run pattern "), 550, true, run_pattern, run_pattern, -38, -38},
    {560, 568, count("set pattern start "), count("set pattern stop "), 560, true, pattern_start,
     pattern_stop, -48, -48},
    {570, 578, count("set ascan start "), count("set ascan stop "), 570, true, pattern_start, pattern_stop,
     -42, -42},
    {588, 588, say("ir in\n"), say("ir out\n"), 0, false},
    {590, 590, say("man limit start\n"), say("man limit stop\n"), 0, false},
    {592, 592, say("man limit start\n"), say("man limit stop\n"), 0, false},
    {595, 595, say("pelco-d menu\n"), say("pelco-d menu\n"), 0, false},
    {596, 596, say("stop scan\n"), say("stop scan\n"), 0, false},
    {597, 597, say("rand scan\n"), say("stop scan\n"), 0, false},
    {598, 598, say("frame scan\n"), say("stop scan\n"), 0, false},
    {599, 599, say("auto scan\n"), say("stop scan\n"), 0, false},
    {711, 718, count("run tour "), count("run tour "), 710, true, run_pattern, run_pattern, 90, 90},
    {721, 728, count("run scan "), count("run scan "), 720, true, run_pattern, run_pattern, 64, 64},
    {730, 730, say("pelco-d enter\n"), say("pelco-d enter\n"), 0, false},
    {731, 731, say("pelco-d esc\n"), say("pelco-d esc\n"), 0, false},
    {740, 740, say("skip menu exit\n"), say("skip menu exit\n"), 0, false},
    {930, 930, say("AUX_VAL_CAM_RESET\n"), say("AUX_VAL_CAM_RESET\n"), 0, false},
    {931, 941, kQuiet, kQuiet, 0, false},
};

constexpr const AuxRow* find_aux(uint16_t aux) {
    for (const AuxRow& r : kAux)
        if (aux >= r.first && aux <= r.last) return &r;
    return nullptr;
}

constexpr bool c1080b_has(uint16_t aux) { return &c1080b_aux_row(aux) != &c1080b_aux::kOther; }

// Every value the C1080B table gives a meaning has a row here, and every row
// value that the C1080B lacks has a frame of its own.
constexpr bool table_complete() {
    for (const C1080bAuxRow& b : c1080b_aux::kTable)
        for (uint32_t v = b.first; v <= b.last; ++v)
            if (find_aux(static_cast<uint16_t>(v)) == nullptr) return false;
    for (const AuxRow& r : kAux)
        for (uint32_t v = r.first; v <= r.last; ++v)
            if (!c1080b_has(static_cast<uint16_t>(v)) && r.on_cmd == 0) return false;
    return true;
}
static_assert(table_complete());
static_assert(c1080b_has(595) && c1080b_has(554) && !c1080b_has(555) && !c1080b_has(711) && !find_aux(8) &&
              !find_aux(719));

void handle_aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    d.log("C1080PT AUX %d %d\n", c.arg16(), c.action());
    const uint16_t aux = c1080b_aux_alias(c.arg16());
    const bool on = c.action() == act::aux_on;
    const AuxRow* r = find_aux(aux);
    if (r == nullptr) {
        d.log("pelcod unkown aux command sent to preset, %d\n", aux);
        pelcod_send(d, port, addr, on ? goto_preset : set_preset, 0, static_cast<uint8_t>(aux),
                    c1080pt::frame_wait_us);
        return;
    }
    const AuxSay& side = on ? r->on : r->off;
    c1080b_aux_log(d, side.text, side.tail, aux - r->base);
    if (c1080b_has(aux)) {
        c1080b_aux_send(d, port, addr, c1080b_aux_row(aux), aux, on);
        return;
    }
    const int data = on ? r->on_d2 : r->off_d2;
    pelcod_send(d, port, addr, on ? r->on_cmd : r->off_cmd, 0,
                static_cast<uint8_t>(r->numbered ? aux + data : data), c1080pt::frame_wait_us);
}

void zoom_box(Daemon& d, int port, uint16_t addr16, Cmd c) {
    const auto addr = static_cast<uint8_t>(addr16);
    const ZoomBox box = zoom_box_of(c);
    const zoombox::Position cur = C1080PT_get_pos(d, port, addr16);
    zoombox::Position next = cur;
    if (box.zoom_out) {
        next.zoom = c1080pt::wide_probe_zoom;
    } else {
        const zoombox::Trace tr = zoombox::stdout_trace(d.os);
        next = zoombox::getNewPtValue_Probe(cur.pan, cur.tilt, cur.zoom, box.cx, box.cy, tr);
        next.zoom = zoombox::zoom_box_ratio(zoombox::kProbe, cur.zoom, box.w, box.h, tr);
    }
    c1080pt_send_position(d, port, addr, truncate_u32(next.pan), truncate_u32(next.tilt),
                          truncate_u32(next.zoom));
}

}  // namespace

zoombox::Position C1080PT_get_pos(Daemon& d, int port, uint16_t addr) {
    uint8_t reply[20];
    for (int attempt = 1; attempt <= c1080pt::attempts; ++attempt) {
        if (read_position(d, port, static_cast<uint8_t>(addr), c1080pt::request_wait_us, reply)) break;
        if (attempt < c1080pt::attempts)
            d.log("ptzsvr(%s) : addr %d getpos failure. tryed %d times\n", "C1080PT_get_pos", addr, attempt);
    }
    zoombox::Position pos = parse_position(reply);
    // The camera cannot look below the horizon; a tilt there is its 0.
    if (pos.tilt > 18800) {
        d.log("Z20B : shrink tilt %g -> %d\n", pos.tilt, 0);
        pos.tilt = 0;
    }
    return pos;
}

zoombox::Position C1080PT_WONWOO_get_pos(Daemon& d, int port, uint16_t addr) {
    uint8_t reply[20];
    if (!read_position(d, port, static_cast<uint8_t>(addr), 0, reply))
        d.log("ptzsvr(%s) : addr %d getpos failure\n", "C1080PT_WONWOO_get_pos", addr);
    return parse_position(reply);
}

int c1080pt_send_position(Daemon& d, int port, uint8_t addr, uint32_t pan, uint32_t tilt, uint32_t zoom) {
    const C1080ptFrame f = c1080pt_frame(addr, c1080pt::set_position, static_cast<uint16_t>(pan),
                                         static_cast<uint16_t>(tilt), static_cast<uint16_t>(zoom));
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), c1080pt::frame_wait_us);
    return static_cast<int>(f.size());
}

void c1080pt_set_position(Daemon& d, int port, uint8_t addr, Cmd c) {
    d.log("C1080PT : SET POS : %d, %d, %d\n", c.pan(), c.tilt(), c.zoom());
    c1080pt_send_position(d, port, addr, c.pan(), c.tilt(), c.zoom());
}

void c1080pt_report_position(Daemon& d, Cmd c, const zoombox::Position& pos) {
    send_position_report(d, c.requester(), c.channel(), 1, truncate_u32(pos.pan), truncate_u32(pos.tilt),
                         truncate_u32(pos.zoom));
    d.log("C1080PT : GET POS : %d, %d, %d\n", c.pan(), c.tilt(), c.zoom());
}

void c1080pt_send7(Daemon& d, int port, uint8_t addr, C1080ptKind kind, uint16_t cmd, uint8_t d1,
                   uint8_t d2) {
    pelcod_send(d, port, addr, cmd, d1, d2, kind == C1080ptKind::plain ? c1080pt::frame_wait_us : 0);
}

bool c1080pt_pelcod(Daemon& d, int port, uint8_t addr, Cmd c, C1080ptKind kind) {
    const bool plain = kind == C1080ptKind::plain;
    auto send = [&](uint16_t cmd, uint8_t d1, uint8_t d2) {
        c1080pt_send7(d, port, addr, kind, cmd, d1, d2);
    };
    const int x = c.x();
    switch (c.msg_id()) {
        case msg::stop: send(0, 0, 0); return true;
        case msg::goto_preset:
            if (plain)
                d.log("C1080PT : goto preset %d\n", c.arg16());
            else
                d.log("C1080PT_WONWOO : goto preset %d\n", c.arg16());
            send(goto_preset, 0, c.x());
            return true;
        case msg::set_preset:
            if (plain) d.log("C1080PT : save preset %d\n", c.action());
            send(set_preset, 0, static_cast<uint8_t>(c.action()));
            return true;
        case msg::clear_preset:
            if (plain) d.log("C1080PT : clear preset %d\n", c.action());
            send(clear_preset, 0, static_cast<uint8_t>(c.action()));
            return true;
        case msg::move:
        case msg::move_cont: break;
        default: return false;
    }
    const auto speed = static_cast<uint8_t>(std::abs(x - kCentre) / 16);
    switch (c.action()) {
        case act::pan_tilt: {
            const Move m = move_of(classify_xy(x, c.y()), x, c.y(), DirBits{left, right, up, down});
            send(m.word, m.pan, m.tilt);
            break;
        }
        case act::zoom:
            send(zoom_speed, 0, speed);
            send(x > kCentre ? zoom_tele : zoom_wide, 0, 0);
            break;
        case act::focus:
            send(focus_speed, 0, speed);
            send(x > kCentre ? focus_far : focus_near, 0, 0);
            break;
        case act::iris:
            if (x > kCentre) {
                d.log("IRIS open\n");
                send(iris_open, 0, 0);
            } else {
                d.log("IRIS close\n");
                send(iris_close, 0, 0);
            }
            break;
        default: return true;  // no such action on this camera
    }
    if (c.stop_after_action()) send(0, 0, 0);
    return true;
}

void PTZAction_C1080PT(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const auto addr = static_cast<uint8_t>(addr16);
    d.log("C1080PT msg_id[%x],action[%x],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr16, c.x(), c.y());
    switch (c.msg_id()) {
        case msg::set_position: c1080pt_set_position(d, port, addr, c); break;
        case msg::query_position: c1080pt_report_position(d, c, C1080PT_get_pos(d, port, addr16)); break;
        case msg::zoom_box: zoom_box(d, port, addr16, c); break;
        case msg::aux:
        case msg::aux2: handle_aux(d, port, addr, c); break;
        default: c1080pt_pelcod(d, port, addr, c, C1080ptKind::plain); break;
    }
}

}  // namespace ptz
