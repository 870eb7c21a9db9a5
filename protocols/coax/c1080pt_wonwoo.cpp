// C1080PT WONWOO: four WONWOO pan/tilt cameras on one body of code; the
// model picks the lens geometry of its zoom boxes (mode 0 Z10B, 1 Z20B,
// 2 Z20B without negative tilts, 3 IR Z30B).
//
// Line: the C1080PT's 7-byte Pelco-D and 11-byte position frames, written
// without a minimum pause (the cameras take frames back to back); aux
// functions live in presets of the camera and each aux ends with a 100 ms
// pause.
//
// Kept on purpose: the position is read once, and its tilt is handed on as
// the camera gives it (36000 + t below the horizon): the Z20B and IR Z30B
// geometry correct it themselves, the Z10B takes it as it comes. Aux 8 is
// not an aux output here and goes to the preset fallback; aux 954 stores
// preset 250 on the Z20B (mode 1) and 253 on the others.
#include "core/daemon.h"
#include "protocols/coax/c1080pt.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"

namespace ptz {

namespace {

constexpr uint32_t kAuxPauseUs = 100000;
constexpr double kWideZoom = 0;  // the widest position of the Z10B, Z20B and Z30B lenses

using namespace pelcod;

// One row of the WONWOO aux table: values first..last; on and off frames;
// data 2 is `d2`, or (aux + d2) mod 256 for numbered rows. `text` is logged
// with aux - base; nullptr logs nothing.
struct WonwooAux {
    uint16_t first, last;
    const char* on_text;
    const char* off_text;
    int base;
    uint16_t on_cmd, off_cmd;
    int d2;
    bool numbered;
};

constexpr WonwooAux kAux[] = {
    {1, 7, "run aux %d on\n", "run aux %d off\n", 0, set_aux, clear_aux, 0, true},
    {9, 9, "run aux %d on\n", "run aux %d off\n", 0, set_aux, clear_aux, 0, true},
    {501, 501, nullptr, nullptr, 0, set_preset, set_preset, 252, false},
    {502, 502, nullptr, nullptr, 0, set_preset, set_preset, 244, false},
    {503, 503, nullptr, nullptr, 0, set_preset, set_preset, 243, false},
    {504, 504, nullptr, nullptr, 0, set_preset, set_preset, 245, false},
    {505, 505, nullptr, nullptr, 0, set_preset, set_preset, 250, false},
    {551, 558, "run pattern %d\n", "run pattern %d\n", 550, goto_preset, goto_preset, 52, true},
    {595, 595, nullptr, nullptr, 0, set_preset, set_preset, 95, false},
    {711, 718, "run tour %d\n", "run tour %d\n", 710, goto_preset, goto_preset, -128, true},
    {721, 728, "run scan %d\n", "run scan %d\n", 720, goto_preset, goto_preset, -128, true},
    {950, 950, nullptr, nullptr, 0, set_preset, set_preset, 248, false},
    {951, 951, nullptr, nullptr, 0, set_preset, set_preset, 240, false},
    {952, 952, nullptr, nullptr, 0, set_preset, set_preset, 241, false},
    {953, 953, nullptr, nullptr, 0, set_preset, set_preset, 242, false},
    {954, 954, nullptr, nullptr, 0, set_preset, set_preset, 253, false},  // 250 in mode 1
    {955, 955, nullptr, nullptr, 0, set_preset, set_preset, 255, false},
    {961, 968, "run group %d\n", "run group %d\n", 960, goto_preset, goto_preset, -92, true},
};

constexpr const WonwooAux* find_aux(uint16_t aux) {
    for (const WonwooAux& r : kAux)
        if (aux >= r.first && aux <= r.last) return &r;
    return nullptr;
}
static_assert(find_aux(8) == nullptr && find_aux(9)->first == 9 && find_aux(560) == nullptr);

// The menu keys: the focus keys at speed 2 held for 100 ms.
void menu_key(Daemon& d, int port, uint8_t addr, uint16_t key) {
    c1080pt_send7(d, port, addr, C1080ptKind::wonwoo, focus_speed, 0, 2);
    c1080pt_send7(d, port, addr, C1080ptKind::wonwoo, key, 0, 0);
    d.os.usleep(kAuxPauseUs);
    c1080pt_send7(d, port, addr, C1080ptKind::wonwoo, 0, 0, 0);
}

void zoom_box(Daemon& d, int port, uint16_t addr16, Cmd c, int mode) {
    using namespace zoombox;
    const auto addr = static_cast<uint8_t>(addr16);
    const ZoomBox box = zoom_box_of(c);
    const Position cur = C1080PT_WONWOO_get_pos(d, port, addr16);
    Position next = cur;
    if (box.zoom_out) {
        next.zoom = kWideZoom;
    } else {
        const Trace tr = stdout_trace(d.os);
        switch (mode) {
            case 0:
                next = getNewPtValue_Z10B(cur.pan, cur.tilt, cur.zoom, box.cx, box.cy, tr);
                next.zoom = getNewZoomValue_Z10B(cur.zoom, box.w, box.h, tr);
                break;
            case 1:
                next = getNewPtValue_Z20B(cur.pan, cur.tilt, cur.zoom, box.cx, box.cy, tr);
                next.zoom = zoom_box_ratio(kZ20B, cur.zoom, box.w, box.h, tr);
                break;
            case 2:
                next = getNewPtValue_Z20B_nowrap(cur.pan, cur.tilt, cur.zoom, box.cx, box.cy, tr);
                next.zoom = zoom_box_ratio(kZ20B, cur.zoom, box.w, box.h, tr);
                break;
            default:
                next = getNewPtValue_IR_Z30B(cur.pan, cur.tilt, cur.zoom, box.cx, box.cy, tr);
                next.zoom = getNewZoomValue_Z30B(cur.zoom, box.w, box.h, tr);
                break;
        }
    }
    c1080pt_send_position(d, port, addr, truncate_u32(next.pan), truncate_u32(next.tilt),
                          truncate_u32(next.zoom));
}

}  // namespace

void C1080PT_WONWOO_aux(Daemon& d, int port, uint16_t addr16, uint8_t* cmd, int mode) {
    const Cmd c{cmd};
    const auto addr = static_cast<uint8_t>(addr16);
    const uint16_t aux = c.arg16();
    const bool on = c.action() == act::aux_on;
    d.log("C1080PT_WONWOO model %d, AUX %d,%d\n", mode, aux, c.action());
    auto send = [&](uint16_t cmd16, uint8_t d2) {
        c1080pt_send7(d, port, addr, C1080ptKind::wonwoo, cmd16, 0, d2);
    };
    if (aux == 730 || aux == 731) {
        menu_key(d, port, addr, aux == 730 ? focus_near : focus_far);
    } else if (aux == 740) {
        // menu exit: the camera leaves its menu by itself
    } else if (const WonwooAux* r = find_aux(aux)) {
        const char* text = on ? r->on_text : r->off_text;
        if (text != nullptr) d.log(text, aux - r->base);
        const int d2 = aux == 954 && mode == 1 ? 250 : r->d2;
        send(on ? r->on_cmd : r->off_cmd, static_cast<uint8_t>(r->numbered ? aux + d2 : d2));
    } else {
        d.log("C1080PT_WONWOO : unkown aux command sent to preset, %d\n", aux);
        send(on ? goto_preset : set_preset, static_cast<uint8_t>(aux));
    }
    d.os.usleep(kAuxPauseUs);
}

void PTZAction_C1080PT_WONWOO(Daemon& d, int port, uint16_t addr16, uint8_t* cmd, int mode) {
    const Cmd c{cmd};
    const auto addr = static_cast<uint8_t>(addr16);
    d.log("C1080PT_WONWOO msg_id[%x],action[%x],addr[%d],x[%d],y[%d]\r\n", c.msg_id(), c.action(), addr16,
          c.x(), c.y());
    switch (c.msg_id()) {
        case msg::set_position: c1080pt_set_position(d, port, addr, c); break;
        case msg::query_position:
            d.log("C1080PT_WONWOO_send_get_pos for %d\n", c.channel());
            c1080pt_report_position(d, c, C1080PT_WONWOO_get_pos(d, port, addr16));
            break;
        case msg::zoom_box: zoom_box(d, port, addr16, c, mode); break;
        case msg::aux:
        case msg::aux2: C1080PT_WONWOO_aux(d, port, addr16, cmd, mode); break;
        default: c1080pt_pelcod(d, port, addr, c, C1080ptKind::wonwoo); break;
    }
}

// The dispatch table's entries: one per model, the mode fixed.
void PTZAction_WONWOO_mode0(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    PTZAction_C1080PT_WONWOO(d, port, addr, cmd, 0);
}
void PTZAction_WONWOO_mode1(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    PTZAction_C1080PT_WONWOO(d, port, addr, cmd, 1);
}
void PTZAction_WONWOO_mode2(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    PTZAction_C1080PT_WONWOO(d, port, addr, cmd, 2);
}
void PTZAction_WONWOO_mode3(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    PTZAction_C1080PT_WONWOO(d, port, addr, cmd, 3);
}

}  // namespace ptz
