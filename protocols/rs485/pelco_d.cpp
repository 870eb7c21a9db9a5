// Pelco-D, on RS-485 and in the TVI coax form.
//
// Line: 7-byte frames FF addr cmd1 cmd2 data1 data2 sum (sum of bytes 1..5
// mod 256), at least 35 ms apart. The TVI form wraps the same fields in a
// 10-byte frame handed to the capture driver.
//
// Kept on purpose: the command state is one per daemon (not per camera) and
// pan/tilt direction bits accumulate until a stop, a preset or an aux
// command; cameras in the field rely on diagonal moves built that way.
#include "protocols/rs485/pelco_d.h"

#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "core/report.h"
#include "protocols/coax/coc_tx.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/reply.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kMenuKeyHoldUs = 1000000;

// How an aux rule logs itself.
enum class AuxLog : uint8_t {
    plain,     // on_text / off_text as they stand
    numbered,  // on_text / off_text followed by (code - base) and a line feed
    output,    // "aux %d on" / "aux %d off"
};

// One row of the aux table: codes first..last; the frame for "on" and for
// "off" (action 0x0101 or not); data 2 is `data` when `relative` is false,
// else (code + data) mod 256. `hold` sends a stop after one second.
struct AuxRule {
    uint16_t first, last;
    AuxLog log;
    const char* on_text;
    const char* off_text;
    int base;
    uint16_t on_cmd, off_cmd;
    int on_data, off_data;
    bool relative;
    bool hold;
};

using namespace pelcod;

constexpr AuxRule kAuxRules[] = {
    {1, 7, AuxLog::output, "", "", 0, set_aux, clear_aux, 0, 0, true, false},
    {9, 9, AuxLog::output, "", "", 0, set_aux, clear_aux, 0, 0, true, false},
    {130, 130, AuxLog::plain, "manual iris open\n", "manual iris close\n", 0, iris_open, iris_close, 0, 0,
     false, true},
    {502, 502, AuxLog::plain, "wiper for Wonwoo PTZ\n", "wiper for Wonwoo PTZ\n", 0, set_preset, set_preset,
     0xF4, 0xF4, false, false},
    {533, 533, AuxLog::plain, "flip\n", "flip\n", 0, goto_preset, goto_preset, 33, 33, false, false},
    {534, 534, AuxLog::plain, "pan zero\n", "pan zero\n", 0, goto_preset, goto_preset, 34, 34, false, false},
    {551, 558, AuxLog::numbered, "run pattern ", "run pattern ", 550, run_pattern, run_pattern, -38, -38,
     true, false},
    {560, 568, AuxLog::numbered, "set pattern start ", "set pattern stop ", 560, pattern_start, pattern_stop,
     -48, -48, true, false},
    {570, 578, AuxLog::numbered, "set ascan start ", "set ascan stop ", 570, pattern_start, pattern_stop, -42,
     -42, true, false},
    {588, 588, AuxLog::plain, "ir in\n", "ir out\n", 0, goto_preset, goto_preset, 88, 89, false, false},
    {590, 590, AuxLog::plain, "man limit start\n", "man limit stop\n", 0, set_preset, set_preset, 90, 91,
     false, false},
    {592, 592, AuxLog::plain, "man limit start\n", "man limit stop\n", 0, set_preset, set_preset, 92, 93,
     false, false},
    {595, 595, AuxLog::plain, "pelco-d menu\n", "pelco-d menu\n", 0, set_preset, set_preset, 95, 95, false,
     false},
    {596, 596, AuxLog::plain, "stop scan\n", "stop scan\n", 0, goto_preset, goto_preset, 96, 96, false,
     false},
    {597, 597, AuxLog::plain, "rand scan\n", "stop scan\n", 0, goto_preset, goto_preset, 97, 96, false,
     false},
    {598, 598, AuxLog::plain, "frame scan\n", "stop scan\n", 0, goto_preset, goto_preset, 98, 96, false,
     false},
    {599, 599, AuxLog::plain, "auto scan\n", "stop scan\n", 0, goto_preset, goto_preset, 99, 96, false,
     false},
    {711, 718, AuxLog::numbered, "run Tour ", "run Tour ", 710, run_pattern, run_pattern, 90, 90, true,
     false},
    {721, 728, AuxLog::numbered, "run Scan ", "run Scan ", 720, run_pattern, run_pattern, 64, 64, true,
     false},
    {730, 730, AuxLog::plain, "pelco-d enter\n", "pelco-d enter\n", 0, iris_open, iris_open, 0, 0, false,
     true},
    {731, 731, AuxLog::plain, "pelco-d esc\n", "pelco-d esc\n", 0, iris_close, iris_close, 0, 0, false, true},
};

constexpr const AuxRule* find_aux(uint16_t code) {
    for (const AuxRule& r : kAuxRules)
        if (code >= r.first && code <= r.last) return &r;
    return nullptr;
}
static_assert(!find_aux(8) && find_aux(9)->first == 9 && !find_aux(719),
              "aux 9 is an output although 8 is not");

void pelcod_tvi_send(Daemon& d, int channel, uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    const PelcoDTviFrame f = pelcod_tvi_frame(addr, cmd, d1, d2);
    coc_transmit(d, channel, f.data(), static_cast<int>(f.size()));
}

using Sender = void (*)(Daemon&, int, uint8_t, uint16_t, uint8_t, uint8_t);

void send_rs485(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    pelcod_send(d, port, addr, cmd, d1, d2);
}

void send_state(Daemon& d, Sender send, int line, uint8_t addr, const PelcoDState& s) {
    send(d, line, addr, s.command, s.data1, s.data2);
}

void send_stop_frame(Daemon& d, Sender send, int line, uint8_t addr, PelcoDState& s) {
    s.reset();
    send_state(d, send, line, addr, s);
}

// Aux codes outside the table become presets on cameras that keep their
// extra functions there: "on" goes to the preset, "off" stores it.
void aux_preset_fallback(Daemon& d, Sender send, int line, uint8_t addr, Cmd c) {
    d.log("pelcod unkown aux command sent to preset, %d\n", c.arg16());
    send(d, line, addr, c.action() == act::aux_on ? goto_preset : set_preset, 0, c.x());
}

void handle_aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    PelcoDState& s = d.drv.pelcod;
    s.reset();
    d.log("PELCO AUX %d %d\n", c.arg16(), c.action());
    if (c.arg16() == 110) c.set_arg16(561);
    if (c.arg16() == 111) c.set_arg16(551);
    const uint16_t code = c.arg16();
    const bool on = c.action() == act::aux_on;
    if (code == 740) {
        d.log("skip menu exit\n");
        return;
    }
    const AuxRule* r = find_aux(code);
    if (r == nullptr) {
        aux_preset_fallback(d, send_rs485, port, addr, c);
        return;
    }
    const char* text = on ? r->on_text : r->off_text;
    switch (r->log) {
        case AuxLog::plain: d.log("%s", text); break;
        case AuxLog::numbered: d.log("%s%d\n", text, code - r->base); break;
        case AuxLog::output: d.log("aux %d %s\n", code, on ? "on" : "off"); break;
    }
    const int data = on ? r->on_data : r->off_data;
    const uint8_t d2 = static_cast<uint8_t>(r->relative ? code + data : data);
    pelcod_send(d, port, addr, on ? r->on_cmd : r->off_cmd, 0, d2);
    if (r->hold) {
        d.os.usleep(kMenuKeyHoldUs);
        s.reset();
        d.log("Send Stop\n");
        send_state(d, send_rs485, port, addr, s);
    }
}

// Direction bits are OR-ed into the word already there, and only the speed
// of an axis that moves is written: a move adds to the one before it.
void apply_pan_tilt(PelcoDState& s, int x, int y) {
    const Dir dir = classify_xy(x, y);
    const Move m = move_of(dir, x, y, DirBits{left, right, up, down});
    s.command |= m.word;
    if (moves_left(dir) || moves_right(dir)) s.data1 = m.pan;
    if (moves_up(dir) || moves_down(dir)) s.data2 = m.tilt;
}

void apply_iris(Daemon& d, PelcoDState& s, int x) {
    if (x > kCentre) {
        s.command = iris_open;
        d.log("IRIS open\n");
    } else {
        s.command = iris_close;
        d.log("IRIS close\n");
    }
    s.data1 = 0;
    s.data2 = 0;
}

// Absolute positions travel as their low 16 bits, high byte first.
void send_value16(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint32_t v) {
    pelcod_send(d, port, addr, cmd, static_cast<uint8_t>(v >> 8), static_cast<uint8_t>(v));
}

}  // namespace

long pelcod_send(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2, uint32_t wait_us) {
    const PelcoDFrame f = pelcod_frame(addr, cmd, d1, d2);
    return write_serial_block(d, port, f.data(), static_cast<int>(f.size()), wait_us);
}

void pelcod_query_position(Daemon& d, int port, uint8_t addr, uint32_t channel, int32_t requester) {
    static constexpr uint16_t kQuery[3] = {query_pan, query_tilt, query_zoom};
    static constexpr uint8_t kReply[3] = {reply_pan, reply_tilt, reply_zoom};
    uint32_t value[3] = {};
    for (int axis = 0; axis < 3; ++axis) {
        uint8_t reply[20] = {};
        pelcod_send(d, port, addr, kQuery[axis], 0, 0);
        recv_command(d, port, reply, 0xFF, kReply[axis], 7, reply_limit_us);
        value[axis] = static_cast<uint32_t>(reply[4] * 256 + reply[5]);
    }
    send_position_report(d, requester, channel, 1, value[0], value[1], value[2]);
}

void PTZAction_PelcoD(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    PelcoDState& s = d.drv.pelcod;
    switch (c.msg_id()) {
        case msg::set_preset:
            s.reset();
            d.log("PELCOD : save preset %d\n", c.action());
            pelcod_send(d, port, addr, set_preset, 0, static_cast<uint8_t>(c.action()));
            break;
        case msg::clear_preset:
            s.reset();
            d.log("PELCOD : clear preset %d\n", c.action());
            pelcod_send(d, port, addr, clear_preset, 0, static_cast<uint8_t>(c.action()));
            break;
        case msg::goto_preset:
            s.reset();
            d.log("PELCOD : goto preset %d\n", c.arg16());
            pelcod_send(d, port, addr, goto_preset, 0, c.x());
            break;
        case msg::stop: send_stop_frame(d, send_rs485, port, addr, s); break;
        case msg::move:
        case msg::move_cont: {
            const int x = c.x();
            switch (c.action()) {
                case act::pan_tilt: apply_pan_tilt(s, x, c.y()); break;
                case act::zoom:
                    s.command |= x > kCentre ? zoom_tele : zoom_wide;
                    pelcod_send(d, port, addr, zoom_speed, 0,
                                static_cast<uint8_t>(std::abs(x - kCentre) / 16));
                    break;
                case act::focus:
                    s.command |= x > kCentre ? focus_far : focus_near;
                    pelcod_send(d, port, addr, focus_speed, 0,
                                static_cast<uint8_t>(std::abs(x - kCentre) / 16));
                    break;
                case act::iris: apply_iris(d, s, x); break;
                default: break;
            }
            send_state(d, send_rs485, port, addr, s);
            if (c.stop_after_action()) send_stop_frame(d, send_rs485, port, addr, s);
            break;
        }
        case msg::aux:
        case msg::aux2: handle_aux(d, port, addr, c); break;
        case msg::set_position:
            send_value16(d, port, addr, set_tilt, c.tilt());
            send_value16(d, port, addr, set_zoom, c.zoom());
            send_value16(d, port, addr, set_pan, c.pan());
            break;
        case msg::query_position: pelcod_query_position(d, port, addr, c.channel(), c.requester()); break;
        default: break;
    }
}

void PTZAction_PelcoD_TVI(Daemon& d, int channel, uint16_t addr16, uint8_t* cmd) {
    Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    PelcoDState& s = d.drv.pelcod_tvi;
    d.log("PELCO_D_TVI msg_id[%x],action[%x],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr16, c.x(),
          c.y());
    // TVI cameras keep moving until told otherwise, and the recorder's
    // joystick release does not always reach them: every action is followed
    // by a stop.
    c.set_stop_after_action(1);
    switch (c.msg_id()) {
        case msg::stop: send_stop_frame(d, pelcod_tvi_send, channel, addr, s); break;
        case msg::move:
        case msg::move_cont: {
            const int x = c.x(), y = c.y();
            constexpr uint8_t kFixedSpeed = 0x24;
            switch (c.action()) {
                case act::pan_tilt:
                    // No diagonal logic here: each axis on its own, at one speed.
                    if (x < kDeadBand.lo || x > kDeadBand.hi) {
                        s.command |= x < kDeadBand.lo ? left : right;
                        s.data1 = kFixedSpeed;
                    }
                    if (y < kDeadBand.lo || y > kDeadBand.hi) {
                        s.command |= y < kDeadBand.lo ? down : up;
                        s.data2 = kFixedSpeed;
                    }
                    break;
                case act::zoom:
                    s.command |= x > kCentre ? zoom_tele : zoom_wide;
                    pelcod_tvi_send(d, channel, addr, zoom_speed, 0, 0);
                    break;
                case act::focus:
                    // The TVI cameras' focus keys are wired the other way round.
                    s.command |= x > kCentre ? focus_near : focus_far;
                    pelcod_tvi_send(d, channel, addr, focus_speed, 0, 0);
                    break;
                case act::iris: apply_iris(d, s, x); break;
                default: break;
            }
            d.log("PTZSVR : PC_D patch for HDPro, %04xh, %02x%02xh\n", s.command, s.data1, s.data2);
            send_state(d, pelcod_tvi_send, channel, addr, s);
            if (c.stop_after_action()) send_stop_frame(d, pelcod_tvi_send, channel, addr, s);
            break;
        }
        case msg::aux:
        case msg::aux2: {
            s.reset();
            d.log("PELCO AUX %d %d\n", c.arg16(), c.action());
            const uint16_t code = c.arg16();
            if (code == 730 || code == 731) {
                pelcod_tvi_send(d, channel, addr, code == 730 ? iris_open : iris_close, 0, 0);
                s.reset();
                d.log("Send Stop\n");
                send_state(d, pelcod_tvi_send, channel, addr, s);
            } else if (code == 595) {
                d.log("pelco-d menu\n");
                pelcod_tvi_send(d, channel, addr, set_preset, 0, 95);
            } else {
                aux_preset_fallback(d, pelcod_tvi_send, channel, addr, c);
            }
            break;
        }
        default: break;
    }
}

}  // namespace ptz
