// SMARTFARM pan/tilt unit, on RS-485.
//
// Line: 7-byte Pelco-D style frames FF addr word(hi) word(lo) pan tilt sum
// (sum of bytes 1..5), at least 35 ms apart. Zoom and focus are preceded by
// a speed frame (word 0x25 or 0x27, speed |x - 0x40| / 16 in data 2). After a
// stop the unit answers with a status frame, which is read by its start byte
// (1 to 2 s at most) and logged; nothing in it changes the driver's state.
//
// Kept on purpose: the movement word accumulates. Each move ORs its bits into
// the word already there and only a stop, an iris command or a stop-after
// request clears it, so a pan left then right without a stop sends both bits;
// the recorder stops the unit between movements. Focus bits are the other
// way round from Pelco-D's: 0x0100 is x above the centre. The status read
// logs as many bytes as the reader's result says, and a frame found at the
// start of the collected bytes reads as 0, so nothing is dumped for it.
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/reply.h"

namespace ptz {

namespace {

constexpr int kStatusLen = 7;

namespace bits {
constexpr uint16_t right = 0x0002, left = 0x0004, up = 0x0008, down = 0x0010;
constexpr uint16_t zoom_high = 0x0020, zoom_low = 0x0040, focus_low = 0x0080, focus_high = 0x0100;
constexpr uint16_t iris_open = 0x0200, iris_close = 0x0400;
constexpr uint16_t zoom_speed = 0x0025, focus_speed = 0x0027;
}  // namespace bits

void send_state(Daemon& d, int port, uint8_t addr, const PelcoDState& s) {
    pelcod_send(d, port, addr, s.command, s.data1, s.data2);
}

void stop(Daemon& d, int port, uint8_t addr, PelcoDState& s) {
    s.reset();
    send_state(d, port, addr, s);
}

// Only the speed of an axis that moves is written; the other keeps its own.
void pan_tilt(PelcoDState& s, int x, int y) {
    const Dir dir = classify_xy(x, y);
    const Move m = move_of(dir, x, y, DirBits{bits::left, bits::right, bits::up, bits::down});
    s.command |= m.word;
    if (moves_left(dir) || moves_right(dir)) s.data1 = m.pan;
    if (moves_up(dir) || moves_down(dir)) s.data2 = m.tilt;
}

// Zoom and focus: the bit for the side of the centre, then a speed frame.
void lens(Daemon& d, int port, uint8_t addr, PelcoDState& s, int x, uint16_t low, uint16_t high,
          uint16_t speed_word) {
    s.command |= x < kCentre + 1 ? low : high;
    pelcod_send(d, port, addr, speed_word, 0, static_cast<uint8_t>(speed_of(x) / 16));
}

void read_status(Daemon& d, int port) {
    uint8_t area[20] = {};
    const int rlen = recv_command_by_header(d, port, area, 0xFF, kStatusLen);
    d.log("SMARTFARM : rlen is %d\n", rlen);
    if (rlen < 1) return;
    for (int i = 0; i < rlen && i < 20; ++i) d.log("%02x ", area[i]);
}

}  // namespace

void PTZAction_SMARTFARM(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    PelcoDState& s = d.drv.smartfarm;
    d.log("SMARTFARM : msg_id[%x],action[%x],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr16, c.x(),
          c.y());
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: {
            const int x = c.x();
            switch (c.action()) {
                case act::pan_tilt: pan_tilt(s, x, c.y()); break;
                case act::zoom:
                    lens(d, port, addr, s, x, bits::zoom_low, bits::zoom_high, bits::zoom_speed);
                    break;
                case act::focus:
                    lens(d, port, addr, s, x, bits::focus_low, bits::focus_high, bits::focus_speed);
                    break;
                case act::iris:
                    s.command = x < kCentre + 1 ? bits::iris_close : bits::iris_open;
                    d.log("%s", x < kCentre + 1 ? "IRIS close\n" : "IRIS open\n");
                    s.data1 = 0;
                    s.data2 = 0;
                    break;
                default: break;
            }
            send_state(d, port, addr, s);
            if (c.stop_after_action()) stop(d, port, addr, s);
            break;
        }
        case msg::stop:
            stop(d, port, addr, s);
            read_status(d, port);
            break;
        default: break;
    }
}

}  // namespace ptz
