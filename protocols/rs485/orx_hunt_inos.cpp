// Three small heads on RS-485: ORX1000, HUNT and INOS.
//
// ORX1000: 6-byte frames 1h 2u 3t cmd data sum, where h, u and t are the
// hundreds, units and tens digits of the address (in that order) and the sum
// covers bytes 0..4. Written with no minimum wait. The head stops by itself
// unless a move keeps arriving, so a move is sent once and then re-sent twice
// by the main loop, more than 100 ms apart; a re-sent move does not re-arm
// the repeat, and a stop cancels it.
//
// HUNT: 7-byte frames FA cmd addr(9..5) addr(4..0) speed 00 sum, the sum of
// bytes 0..5 kept to 7 bits, each after a 0.5 ms transmit enable and with a
// 1 ms minimum. The head has one command per direction; a stop names every
// one of them in turn.
//
// INOS: Pelco-D frames at least 35 ms apart. A move is a 100 ms pulse (the
// move frame, then an all-zero frame), after which the head is asked for its
// pan and the answer goes to the recorder as a position report.
//
// Kept on purpose: HUNT's speed is four times the stick's distance in a
// byte, so a stick at the very end (distance 0x40) wraps to 0 and is sent as
// the slowest speed, 1. INOS's centred stick (dx = dy = 0) is a move down at
// speed 0x30. INOS reads its pan answer by start byte only; the report
// carries whatever byte 2 of the collected area holds, also after a time-out.
#include <array>
#include <cstdint>
#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "core/report.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/reply.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint16_t kOn = 257;

// --- ORX1000 -----------------------------------------------------------------

using OrxFrame = std::array<uint8_t, 6>;

constexpr OrxFrame orx_frame(uint16_t addr, uint8_t cmd, uint8_t data) {
    OrxFrame f{static_cast<uint8_t>(0x10 + addr / 100),
               static_cast<uint8_t>(0x20 + addr % 10),
               static_cast<uint8_t>(0x30 + (addr / 10) % 10),
               cmd,
               data,
               0};
    f[5] = static_cast<uint8_t>(f[0] + f[1] + f[2] + f[3] + f[4]);
    return f;
}
static_assert(orx_frame(123, 0, 0x46) == OrxFrame{0x11, 0x23, 0x32, 0x00, 0x46, 0xAC});

void orx_send(Daemon& d, int port, uint16_t addr, uint8_t cmd, uint8_t data) {
    const OrxFrame f = orx_frame(addr, cmd, data);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), 0);
}

struct OrxAux {
    uint16_t v;
    uint8_t on_cmd, on_data, off_cmd, off_data;
};
constexpr OrxAux kOrxAux[] = {
    {1, 0x6B, 0, 0x68, 0},  {2, 0x6F, 0, 0x6C, 0},     {11, 0x63, 0, 0x60, 0},
    {12, 0x67, 0, 0x64, 0}, {13, 0x5F, 0, 0x00, 0x44},
};

// Pan picks the base, tilt adds to it; a tilt of 0x3F counts as centred.
constexpr uint8_t orx_pan_tilt(int x, int y) {
    const int base = x < kCentre ? 0x44 : x == kCentre ? 0x40 : 0x48;
    return static_cast<uint8_t>(y > kCentre ? (base | 0x01) : y < kCentre - 1 ? base + 0x02 : base);
}
static_assert(orx_pan_tilt(0x20, 0x20) == 0x46 && orx_pan_tilt(0x40, 0x3F) == 0x40);

void orx_move(Daemon& d, int port, uint16_t addr, Cmd c) {
    const int x = c.x();
    uint8_t cmd = 0, data = 0;
    switch (c.action()) {
        case act::pan_tilt: data = orx_pan_tilt(x, c.y()); break;
        case act::zoom: cmd = x < kCentre + 1 ? 0xA0 : 0xA3; break;
        case act::focus: cmd = x < kCentre + 1 ? 0xAC : 0xAF; break;
        default: break;
    }
    orx_send(d, port, addr, cmd, data);
    if (!d.repeat_in_progress) {
        d.repeat_count = 2;
        d.last_send = d.os.gettimeofday();
    }
}

// --- HUNT --------------------------------------------------------------------

constexpr uint32_t kHuntSettleUs = 500, kHuntMinWaitUs = 1000;
constexpr int kHuntMaxSpeed = 239;

using HuntFrame = std::array<uint8_t, 7>;

constexpr HuntFrame hunt_frame(uint16_t addr, uint8_t cmd, uint8_t speed) {
    HuntFrame f{0xFA, cmd, static_cast<uint8_t>((addr >> 5) & 0x1F), static_cast<uint8_t>(addr & 0x1F), speed,
                0,    0};
    f[6] = static_cast<uint8_t>((f[0] + f[1] + f[2] + f[3] + f[4] + f[5]) & 0x7F);
    return f;
}
static_assert(hunt_frame(0x45, 4, 0x80) == HuntFrame{0xFA, 4, 2, 5, 0x80, 0, 0x05});

void hunt_send(Daemon& d, int port, uint16_t addr, uint8_t cmd, uint8_t speed) {
    const HuntFrame f = hunt_frame(addr, cmd, speed);
    tx_enable_serial(d, port, kHuntSettleUs);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kHuntMinWaitUs);
}

// The head has no speed 0: 0 becomes the slowest, and 239 is the fastest.
constexpr int hunt_limit(int speed) { return speed == 0 ? 1 : speed > kHuntMaxSpeed ? kHuntMaxSpeed : speed; }

// Direction command of a pan/tilt; 0 when the stick is centred.
constexpr uint8_t hunt_direction(int x, int y) {
    if (x >= 66) return y >= 66 ? 7 : y < 63 ? 8 : 4;
    if (x > 62) return (y > 62 && y < 66) ? 0 : y > 65 ? 1 : 2;
    return y >= 66 ? 5 : y < 63 ? 6 : 3;
}
static_assert(hunt_direction(0x60, 0x40) == 4 && hunt_direction(64, 64) == 0 && hunt_direction(62, 66) == 5);

void hunt_move(Daemon& d, int port, uint16_t addr, Cmd c) {
    const int x = c.x(), y = c.y();
    const int dx = speed_of(x), dy = speed_of(y);
    const int biggest = (dx > dy ? dx : dy) * 4;
    d.log("HUNT speed is %d, %d ==> %xh\n", dx, dy, hunt_limit(biggest & 0xFC));
    const auto split = [x](uint8_t high, uint8_t low) -> uint8_t {
        return x >= kCentre + 1 ? high : x < kCentre ? low : 0;
    };
    uint8_t cmd = 0;
    int speed = (dx * 4) & 0xFF;
    switch (c.action()) {
        case act::pan_tilt:
            cmd = hunt_direction(x, y);
            if (cmd == 0) return;
            speed = biggest & 0xFC;
            break;
        case act::zoom: cmd = split(11, 12); break;
        case act::focus: cmd = split(13, 14); break;
        case act::iris: cmd = x >= kCentre + 1 ? 9 : 10; break;
        default: speed = biggest & 0xFC; break;
    }
    speed = hunt_limit(speed);
    d.log("HUNT speed is %d, %d ==> %xh\n", dx, dy, speed);
    hunt_send(d, port, addr, cmd, static_cast<uint8_t>(speed));
}

void hunt_preset(Daemon& d, int port, uint16_t addr, uint8_t cmd, uint8_t preset) {
    d.log("HUNT speed is %d, %d ==> %xh\n", 0, 0, preset);
    hunt_send(d, port, addr, cmd, preset);
}

// --- INOS --------------------------------------------------------------------

constexpr uint32_t kInosPulseUs = 100000;
constexpr int kInosPanReplyLen = 4;

void inos_log_command(Daemon& d, uint16_t addr, Cmd c) {
    d.log("INOS msg_id[%x],action[%x],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr, c.x(), c.y());
}

// Asks for the pan and reports it; the answer is taken by its start byte.
void inos_pan_query(Daemon& d, int port, uint16_t channel) {
    uint8_t area[20] = {};
    const int rlen = recv_command_by_header(d, port, area, 0xFF, kInosPanReplyLen);
    d.log("PTZSVR : rlen is %d\n", rlen);
    for (int i = 0; i < 7; ++i) d.log("%02x ", area[i]);
    d.log("\n");
    d.log(" pan : %x\n", area[2]);
    d.log(" tilt : %x\n", 0);
    d.log(" zoom : %x\n", 0);
    d.log(" size : %d\n", 24);
    send_position_report(d, 0, channel, 0, area[2], 0, 0);
}

void inos_move(Daemon& d, int port, uint8_t addr, Cmd c) {
    uint16_t& word = d.drv.inos_word;
    const int dx = c.x() - kCentre, dy = c.y() - kCentre;
    uint8_t d1 = 0, d2 = 0;
    switch (c.action()) {
        case act::pan_tilt:
            if (std::abs(dx) <= std::abs(dy)) {
                word = dy < 1 ? pelcod::down : pelcod::up;
                d2 = 0x30;
            } else {
                word = dx < 0 ? pelcod::left : pelcod::right;
                d1 = 0x30;
            }
            break;
        case act::zoom: word = c.x() < kCentre + 1 ? pelcod::zoom_wide : pelcod::zoom_tele; break;
        default: break;
    }
    d.log("PTZSVR : INOS %04xh\n", word);
    pelcod_send(d, port, addr, word, d1, d2);
    d.os.usleep(kInosPulseUs);
    pelcod_send(d, port, addr, 0, 0, 0);
    d.os.usleep(kInosPulseUs);
    inos_pan_query(d, port, c.channel());
}

}  // namespace

void PTZAction_ORX1000(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::stop:
            d.log("ORX1000 stop!!\n");
            orx_send(d, port, addr, 0x00, 0x40);
            orx_send(d, port, addr, 0x00, 0x40);
            d.repeat_count = 0;
            break;
        case msg::aux:
        case msg::aux2: {
            const uint16_t v = c.arg16();
            const bool on = c.action() == kOn;
            d.log("PTZSVR : orx1000 aux control(%d,%d)\n", v, c.action());
            uint8_t code = 0, data = 0;
            for (const OrxAux& a : kOrxAux) {
                if (a.v != v) continue;
                code = on ? a.on_cmd : a.off_cmd;
                data = on ? a.on_data : a.off_data;
            }
            orx_send(d, port, addr, code, data);
            break;
        }
        case msg::move:
        case msg::move_cont: orx_move(d, port, addr, c); break;
        default: break;
    }
}

void PTZAction_HUNT(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: hunt_move(d, port, addr, c); break;
        case msg::stop:
            for (const uint8_t direction : {1, 2, 3, 4, 11, 12, 13, 14})
                hunt_send(d, port, addr, direction, 0);
            break;
        case msg::goto_preset: hunt_preset(d, port, addr, 0x76, c.x()); break;
        case msg::set_preset: hunt_preset(d, port, addr, 0x75, static_cast<uint8_t>(c.action())); break;
        default: hunt_preset(d, port, addr, 0x00, 0x00); break;
    }
}

void PTZAction_INOS(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    inos_log_command(d, addr16, c);
    d.log("\tx = %d\n", c.x() - kCentre);
    d.log("\ty = %d\n", c.y() - kCentre);
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: inos_move(d, port, addr, c); break;
        case msg::query_position:
            pelcod_send(d, port, addr, 0, 0, 0);
            inos_pan_query(d, port, c.channel());
            break;
        default: break;  // a move stops by itself
    }
}

}  // namespace ptz
