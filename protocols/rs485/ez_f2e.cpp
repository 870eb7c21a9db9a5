// EZ and F2E, the two protocols of the WKC keyboard's heads, on RS-485.
//
// Line: start, 0x10|(addr >> 8) (F2E 0x50|..), addr & FF, one or three data
// bytes, checksum. EZ starts with E5 and sends (sum of all bytes before it)
// XOR A5; F2E starts with FA and sends the plain sum. Every frame is answered
// and the driver waits for the answer (EZ 5E and 7 more bytes, F2E CC and 3
// more) without looking at it; each wait costs at most 40 polls of 1 ms.
//
// Positions: pan in tenths of a degree counted the other way round from 3599,
// tilt in tenths of a degree, zoom raw; the head wants them scaled by 10.668
// (pan) and 10.67 (tilt), rounded to the nearest step. The position query is
// answered with C5 and 7 bytes by both heads.
//
// Kept on purpose: the speed pair is one per protocol, shared by every channel
// of it, so a zoom carries on the pan and tilt of whatever head moved last. A
// set-position frame that had to ask the head first starts with AA on both
// protocols, EZ included. Pan and tilt directions are opposite senses in the
// speed bytes (bit 7 means left, but up).
#include <algorithm>
#include <array>
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "core/report.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/reply.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kTxSettleUs = 1000, kMinWaitUs = 1000;
constexpr uint8_t kQuery = 0x40, kPositionReply = 0xC5;
constexpr int kPositionReplyLen = 7, kSetPositionAckLen = 3;
constexpr uint16_t kOn = 257;
constexpr int kNone = -1;  // no frame for this case

// One aux row: codes first..last; the command byte on and off (kNone: no
// frame); three-byte rows add the index v - first and a zero.
struct AuxCodes {
    int on, off;
};
struct AuxRow {
    uint16_t first, last;
    bool indexed;
    AuxCodes ez, f2e;
};
constexpr AuxRow kAux[] = {
    {602, 602, false, {kNone, 0x01}, {0x28, 0x29}}, {595, 595, false, {0xA3, 0xA3}, {0x24, 0x24}},
    {730, 730, false, {0xA2, 0xA2}, {0x2C, 0x2C}},  {731, 731, false, {0xA1, 0xA1}, {0x27, 0x27}},
    {551, 558, true, {0x8A, 0x8A}, {0x13, 0x13}},   {701, 704, true, {0x8C, 0x8D}, {0x18, 0x19}},
    {711, 718, true, {0x86, 0x86}, {0x12, 0x12}},   {721, 728, true, {0x88, 0x88}, {0x14, 0x14}},
};

// What differs between the two heads.
struct Wkc {
    const char* name;       // "EZ" / "F2E" in traces
    const char* aux_name;   // "ez" / "f2e"
    uint8_t start, family;  // frame start, high nibble of byte 1
    uint8_t sum_xor;
    uint8_t ack_start;
    int ack_len;
    int (*recv)(Daemon&, int, uint8_t, int, uint8_t*);
    WkcSpeeds DriverStates::*speeds;
    uint8_t move;  // pan/tilt command byte
    uint8_t goto_preset, set_preset, clear_preset;
    uint8_t focus_high, focus_low, iris_close, iris_open;
    uint8_t set_position_start, set_position_cmd;
    AuxCodes AuxRow::*aux;
};

constexpr Wkc kEz{"EZ", "ez", 0xE5, 0x10, 0xA5, 0x5E, 7,    ez_recv, &DriverStates::ez, 0x00, 0x81,
                  0x84, 0x83, 0x04, 0x08, 0x02, 0x01, 0x5E, 0xFF,    &AuxRow::ez};
constexpr Wkc kF2e{"F2E", "f2e", 0xFA, 0x50, 0x00, 0xCC, 3,    f2e_recv, &DriverStates::f2e, 0x80, 0x11,
                   0x15,  0x16,  0x84, 0x88, 0x82, 0x81, 0xAA, 0x71,     &AuxRow::f2e};

struct Frame {
    std::array<uint8_t, 7> b{};
    int len = 0;
};

constexpr Frame wkc_frame(const Wkc& p, uint16_t addr, std::array<uint8_t, 3> data, int n) {
    Frame f;
    f.b[0] = p.start;
    f.b[1] = static_cast<uint8_t>(p.family | (addr >> 8));
    f.b[2] = static_cast<uint8_t>(addr);
    for (int i = 0; i < n; ++i) f.b[static_cast<size_t>(3 + i)] = data[static_cast<size_t>(i)];
    unsigned sum = 0;
    for (int i = 0; i < 3 + n; ++i) sum += f.b[static_cast<size_t>(i)];
    f.b[static_cast<size_t>(3 + n)] = static_cast<uint8_t>((sum & 0xFF) ^ p.sum_xor);
    f.len = n + 4;
    return f;
}
static_assert(wkc_frame(kEz, 1, {0x40, 0, 0}, 1).b == std::array<uint8_t, 7>{0xE5, 0x10, 0x01, 0x40, 0x93});
static_assert(wkc_frame(kF2e, 0x102, {0x11, 5, 0}, 3).b ==
              std::array<uint8_t, 7>{0xFA, 0x51, 0x02, 0x11, 0x05, 0x00, 0x63});

// Logs the frame, writes it after a 1 ms transmit enable and, when asked,
// takes the head's answer off the line.
void send(Daemon& d, const Wkc& p, int port, uint16_t addr, std::array<uint8_t, 3> data, int n, bool ack) {
    const Frame f = wkc_frame(p, addr, data, n);
    d.log("%s(%d): ", p.name, f.len);
    for (int i = 0; i < f.len; ++i) d.log(" %02x", f.b[static_cast<size_t>(i)]);
    d.log("\n");
    tx_enable_serial(d, port, kTxSettleUs);
    write_serial_block(d, port, f.b.data(), f.len, kMinWaitUs);
    if (ack) {
        uint8_t reply[8] = {};
        p.recv(d, port, p.ack_start, p.ack_len, reply);
    }
}

void send3(Daemon& d, const Wkc& p, int port, uint16_t addr, uint8_t a, uint8_t b, uint8_t c) {
    send(d, p, port, addr, {a, b, c}, 3, true);
}

// Speed byte of one axis: the distance from the centre, with bit 7 set when
// `flagged` (left for pan, up for tilt).
constexpr uint8_t speed_byte(int v, bool flagged) {
    return static_cast<uint8_t>(speed_of(v) | (flagged ? 0x80 : 0));
}

constexpr uint8_t zoom_byte(const Wkc& p, int x) {
    const int d = speed_of(x) / 8;
    const bool ez = p.start == kEz.start;
    if (x > kCentre) return static_cast<uint8_t>(ez ? (std::min(d, 7) | 0x10) : (d < 8 ? (d | 0x90) : 0x97));
    if (x < kCentre)
        return static_cast<uint8_t>(ez ? (d < 7 ? (d | 0x18) : 0x1F) : (d < 8 ? (d | 0x98) : 0x9F));
    return 0x00;
}
static_assert(zoom_byte(kEz, 0xFF) == 0x17 && zoom_byte(kEz, 0x00) == 0x1F && zoom_byte(kEz, 0x38) == 0x19);
static_assert(zoom_byte(kF2e, 0x48) == 0x91 && zoom_byte(kF2e, 0x00) == 0x9F && zoom_byte(kF2e, 0x40) == 0);

void move(Daemon& d, const Wkc& p, int port, uint16_t addr, Cmd c) {
    WkcSpeeds& s = d.drv.*p.speeds;
    const int x = c.x(), y = c.y();
    uint8_t command = 0x00;
    switch (c.action()) {
        case act::pan_tilt:
            s.pan = speed_byte(x, x < kCentre);
            s.tilt = speed_byte(y, y > kCentre);
            command = p.move;
            break;
        case act::zoom: command = zoom_byte(p, x); break;
        case act::focus: command = x > kCentre ? p.focus_high : x < kCentre ? p.focus_low : 0x00; break;
        case act::iris: command = x < kCentre + 1 ? p.iris_close : p.iris_open; break;
        default: break;
    }
    send3(d, p, port, addr, command, s.pan, s.tilt);
    if (c.stop_after_action()) {
        s = {};
        send3(d, p, port, addr, 0, 0, 0);
    }
}

void aux(Daemon& d, const Wkc& p, int port, uint16_t addr, Cmd c) {
    const uint16_t v = c.arg16();
    d.log("PTZSVR : %s aux control(%d,%d)\n", p.aux_name, v, c.action());
    for (const AuxRow& r : kAux) {
        if (v < r.first || v > r.last) continue;
        const AuxCodes codes = r.*p.aux;
        const int code = c.action() == kOn ? codes.on : codes.off;
        if (code == kNone) return;
        if (r.indexed)
            send3(d, p, port, addr, static_cast<uint8_t>(code), static_cast<uint8_t>(v - r.first), 0);
        else
            send(d, p, port, addr, {static_cast<uint8_t>(code), 0, 0}, 1, true);
        return;
    }
}

// Line units of a position, rounded to the nearest step; only the low 16
// bits travel.
uint16_t pan_raw(int32_t pan) {
    return static_cast<uint16_t>(static_cast<int64_t>(10.668 * (3599.0 - pan) + 0.5));
}
uint16_t tilt_raw(int32_t tilt) { return static_cast<uint16_t>(static_cast<int64_t>(10.67 * tilt + 0.5)); }

struct Position {
    int32_t pan, tilt, zoom;
};
Position from_reply(const uint8_t* r) {
    const int pan = r[0] * 256 + r[1], tilt = r[2] * 256 + r[3], zoom = r[4] * 256 + r[5];
    return {3599 - static_cast<int32_t>(pan / 10.668 + 0.5), static_cast<int32_t>(tilt / 10.67 + 0.5), zoom};
}

// Asks the head where it is: the reply's 7 bytes (start byte left out), or
// the reader's -1.
int query(Daemon& d, const Wkc& p, int port, uint16_t addr, uint8_t* reply) {
    send(d, p, port, addr, {kQuery, 0, 0}, 1, false);
    return p.recv(d, port, kPositionReply, kPositionReplyLen, reply);
}

void put16(uint8_t* at, uint16_t v) {
    at[0] = static_cast<uint8_t>(v >> 8);
    at[1] = static_cast<uint8_t>(v);
}

int set_position(Daemon& d, const Wkc& p, int port, uint16_t addr, Cmd c) {
    const auto pan = static_cast<int32_t>(c.pan()), tilt = static_cast<int32_t>(c.tilt()),
               zoom = static_cast<int32_t>(c.zoom());
    d.log("%s : set pos %d, %d, %d\n", p.name, pan, tilt, zoom);
    std::array<uint8_t, 11> f{p.set_position_start, static_cast<uint8_t>(p.family | (addr >> 8)),
                              static_cast<uint8_t>(addr), p.set_position_cmd};
    uint8_t reply[kPositionReplyLen] = {};
    if (pan < 0 || tilt < 0 || zoom < 0) {
        const int r = query(d, p, port, addr, reply);
        if (r < 0) return r;
        f[0] = 0xAA;
    }
    if (pan >= 0)
        put16(&f[4], pan_raw(pan));
    else
        put16(&f[4], static_cast<uint16_t>(reply[0] << 8 | reply[1]));
    if (tilt >= 0)
        put16(&f[6], tilt_raw(tilt));
    else
        put16(&f[6], static_cast<uint16_t>(reply[2] << 8 | reply[3]));
    if (zoom >= 0)
        put16(&f[8], static_cast<uint16_t>(zoom == 0 ? 1 : zoom));
    else
        put16(&f[8], static_cast<uint16_t>(reply[4] << 8 | reply[5]));
    unsigned sum = 0;
    for (size_t i = 0; i < 10; ++i) sum += f[i];
    f[10] = static_cast<uint8_t>(sum);
    tx_enable_serial(d, port, kTxSettleUs);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kMinWaitUs);
    uint8_t ack[kSetPositionAckLen] = {};
    return p.recv(d, port, p.ack_start, kSetPositionAckLen, ack);
}

void get_position(Daemon& d, const Wkc& p, int port, uint16_t addr, Cmd c) {
    uint8_t reply[kPositionReplyLen] = {};
    Position pos{-1, -1, -1};
    uint32_t status = 0;
    if (query(d, p, port, addr, reply) < 0) {
        d.log("%s : get pos failed\n", p.name);
    } else {
        pos = from_reply(reply);
        status = 1;
        d.log("%s : get pos(%d) %d, %d, %d\n", p.name, c.channel(), pos.pan, pos.tilt, pos.zoom);
    }
    const int r = send_position_report(d, c.requester(), c.channel(), status, static_cast<uint32_t>(pos.pan),
                                       static_cast<uint32_t>(pos.tilt), static_cast<uint32_t>(pos.zoom));
    d.log("%s : get pos returns %d\n", p.name, r);
}

void wkc_action(Daemon& d, const Wkc& p, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: move(d, p, port, addr, c); break;
        case msg::stop:
            d.drv.*p.speeds = {};
            send3(d, p, port, addr, 0, 0, 0);
            break;
        case msg::goto_preset: send3(d, p, port, addr, p.goto_preset, c.x(), 0); break;
        case msg::set_preset:
            send3(d, p, port, addr, p.set_preset, static_cast<uint8_t>(c.action()), 0);
            break;
        case msg::clear_preset:
            send3(d, p, port, addr, p.clear_preset, static_cast<uint8_t>(c.action()), 0);
            break;
        case msg::aux:
        case msg::aux2: aux(d, p, port, addr, c); break;
        case msg::keyboard:
            d.log("PTZSVR : special command from WKC keyboard %02xh - %02xh, %02xh\n", c.action(), c.x(),
                  c.y());
            send3(d, p, port, addr, static_cast<uint8_t>(c.action()), c.x(), c.y());
            break;
        case msg::set_position: set_position(d, p, port, addr, c); break;
        case msg::query_position: get_position(d, p, port, addr, c); break;
        default: break;
    }
}

}  // namespace

void PTZAction_EZ(Daemon& d, int port, uint16_t addr, uint8_t* cmd) { wkc_action(d, kEz, port, addr, cmd); }
void PTZAction_F2E(Daemon& d, int port, uint16_t addr, uint8_t* cmd) { wkc_action(d, kF2e, port, addr, cmd); }

}  // namespace ptz
