// EZ and F2E, ORX1000, HUNT, the PTC107 and PTC203 controllers, and the coax frames of HIK-C and HDA.
//
// EZ: E5, 0x10 | address >> 8, address low byte, one or three data bytes, (sum) XOR 0xA5. F2E: FA, 0x50 |
// address >> 8, address, data, sum. Set position: 5E (EZ) or AA, the address bytes, FF (EZ) or 71 (F2E),
// pan, tilt and zoom raw big-endian, sum of bytes 0..9; an EZ set position that followed a position query
// starts with AA, like F2E's. The pan speed byte has bit 7 for left, the tilt byte bit 7 for up. The WKC
// keyboard passes any three-byte command through, so no well-formed three-byte frame is unknown.
// ORX1000: 0x10 + address / 100, 0x20 + units digit, 0x30 + tens digit, command, data, sum. Aux 13 off is
// the same frame as a pan left.
// HUNT: FA command (address >> 5) (address AND 0x1F) speed 00, (sum) AND 0x7F. A motion command at speed 0
// is one of the eight frames of a stop (moves never go out at speed 0).
// PTC107/PTC203: 02 address letter letter d0..d9 sum(1..13) 04. Pan d0 and tilt d2 are signed bytes (tilt
// negative for up, but 0x80 is down); the PTC107 sets d8 in every motion frame.
// HIK-C (coax): 02 B5 00 code d0 02 d1 d2 d3, sum of bytes 1..4 and 6..8; d0 tilt speed, d1 pan speed.
// A coax record holds a whole frame, so a short one is truncated rather than incomplete.
// HDA (coax): four bytes, no header, no checksum: b0 focus near/iris bits, b1 motion and preset codes,
// b2 pan speed, b3 tilt speed or preset number.
#include <cmath>

#include "detail.h"

namespace ptzcam {
namespace {
using namespace detail;

struct EzDialect {
    uint8_t start, addr_bits, pos_mark;
    bool xor_a5;
    uint8_t move, go, set, clear, pattern, on, off, tour, scan;  // three-byte commands
    uint8_t zoom_base, focus_far, focus_near, iris_close, iris_open;
    uint8_t one_byte[5];  // menu, enter, escape, aux 602 (one or two values), the query is 0x40
};
constexpr EzDialect kEz{0xE5,
                        0x10,
                        0xFF,
                        true,
                        0x00,
                        0x81,
                        0x84,
                        0x83,
                        0x8A,
                        0x8C,
                        0x8D,
                        0x86,
                        0x88,
                        0x10,
                        0x04,
                        0x08,
                        0x02,
                        0x01,
                        {0xA3, 0xA2, 0xA1, 0x01, 0x01}};
constexpr EzDialect kF2e{0xFA,
                         0x50,
                         0x71,
                         false,
                         0x80,
                         0x11,
                         0x15,
                         0x16,
                         0x13,
                         0x18,
                         0x19,
                         0x12,
                         0x14,
                         0x90,
                         0x84,
                         0x88,
                         0x82,
                         0x81,
                         {0x24, 0x2C, 0x27, 0x28, 0x29}};

bool ez_check(const EzDialect& d, const uint8_t* p, size_t len) {
    const unsigned s = sum(p, 0, len - 2);
    return (d.xor_a5 ? s ^ 0xA5 : s) == p[len - 1];
}

int ez_tenths(unsigned raw, double k) { return static_cast<int>(std::trunc(raw / k + 0.5)); }

// The camera's side, for the monitor: the position reply (C5, pan, tilt, zoom, a spare byte; no checksum)
// and the command replies of ptzcam's own cameras (see ez_answer below).
Frame ez_position_reply(const uint8_t* p, size_t n) {
    if (n < 8) return need_more();
    Frame f = good(8, -1, 0xC5);
    say(f, "position reply pan %d tilt %d zoom %u", 3599 - ez_tenths(be16(p + 1), 10.668),
        ez_tenths(be16(p + 3), 10.67), be16(p + 5));
    kind(f, Kind::other);
    return f;
}
Frame ez_reply(bool ez, int address, const uint8_t* p, size_t n) {
    const size_t len = ez && p[3] == 0 ? 8 : 4;
    if (n < len) return need_more();
    const unsigned s = sum(p, 0, len - 2);
    if ((len == 8 ? s ^ 0xA5 : s) != p[len - 1]) return bad_checksum(len);
    Frame f = good(len, address, p[0]);
    say(f, "%s", len == 8 || !ez ? "command reply" : "set position reply");
    kind(f, Kind::other);
    return f;
}

Frame ez_common(const EzDialect& d, const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    const bool ez = d.start == 0xE5;
    auto starts = [&](uint8_t b) { return b == d.start || b == 0xAA || b == 0x5E || b == 0xC5 || b == 0xCC; };
    if (size_t skip = junk(p, n, starts)) return noise(skip);
    if (p[0] == 0xC5) return ez_position_reply(p, n);
    if (n >= 2 && (p[1] & 0xF0) != d.addr_bits) return noise(1);
    if (n < 4) return need_more();
    const int address = (p[1] & 0x0F) << 8 | p[2];
    if (p[0] == (ez ? 0xCC : 0x5E)) return noise(1);
    if ((p[0] == 0xCC || p[0] == 0x5E) && p[3] != d.pos_mark) return ez_reply(ez, address, p, n);
    if (p[0] != d.start) {  // set position
        if (p[3] != d.pos_mark) return noise(1);
        if (n < 11) return need_more();
        if (sum(p, 0, 9) != p[10]) return bad_checksum(11);
        Frame f = good(11, address, p[3]);
        const int pan = 3599 - ez_tenths(be16(p + 4), 10.668), tilt = ez_tenths(be16(p + 6), 10.67);
        set_position(f, uint32_t(pan), uint32_t(tilt), be16(p + 8));
        return f;
    }
    bool one = p[3] == 0x40;
    for (uint8_t c : d.one_byte) one |= p[3] == c;
    if (one) {
        if (n < 5) return need_more();
        one = ez_check(d, p, 5);
    }
    const size_t len = one ? 5 : 7;
    if (n < len) return need_more();
    if (!one && !ez_check(d, p, 7)) return bad_checksum(7);
    const unsigned c = p[3];
    Frame f = good(len, address, c);
    if (one) {
        if (c == 0x40) return say(f, "query position"), kind(f, Kind::query_position), f;
        if (c == d.one_byte[0]) return say(f, "menu"), kind(f, Kind::menu), f;
        if (c == d.one_byte[1]) return say(f, "menu enter"), kind(f, Kind::menu), f;
        if (c == d.one_byte[2]) return say(f, "menu escape"), kind(f, Kind::menu), f;
        return numbered(f,
                        c == d.one_byte[3] && d.one_byte[3] != d.one_byte[4] ? Kind::aux_on : Kind::aux_off,
                        602),
               f;
    }
    const unsigned a = p[4], b = p[5];
    struct Num {
        uint8_t c;
        Kind k;
        int base;
        const char* text;
    };
    const Num nums[] = {
        {d.go, Kind::goto_preset, 0, nullptr},     {d.set, Kind::set_preset, 0, nullptr},
        {d.clear, Kind::clear_preset, 0, nullptr}, {d.pattern, Kind::other, 551, "run pattern %d"},
        {d.on, Kind::aux_on, 701, nullptr},        {d.off, Kind::aux_off, 701, nullptr},
        {d.tour, Kind::other, 711, "run tour %d"}, {d.scan, Kind::other, 721, "run scan %d"}};
    if (c != d.move && c != 0 && b == 0)
        for (const Num& k : nums) {
            if (k.c != c) continue;
            if (k.text) return f.value = int(a) + 1, say(f, k.text, int(a) + 1), kind(f, k.k), f;
            return numbered(f, k.k, k.base + int(a)), f;
        }
    // Moves and lens commands carry the last pan and tilt speeds.
    const int pdir = a & 0x7F ? (a & 0x80 ? -1 : 1) : 0, tdir = b & 0x7F ? (b & 0x80 ? 1 : -1) : 0;
    const int zoom = c & 0xF0;
    if (c == d.move || c == 0) {
    } else if (zoom == d.zoom_base)
        lens(f, Kind::zoom, c & 0x08 ? -1 : 1, c & 0x07);
    else if (c == d.focus_far || c == d.focus_near)
        lens(f, Kind::focus, c == d.focus_far ? 1 : -1);
    else if (c == d.iris_close || c == d.iris_open)
        lens(f, Kind::iris, c == d.iris_open ? 1 : -1);
    else
        return say(f, "WKC keyboard command 0x%02x 0x%02x 0x%02x", c, a, b), kind(f, Kind::other), f;
    Frame moved = f;
    moved.meaning[0] = 0;
    moved.kind = Kind::none;
    pan_tilt(moved, pdir, a & 0x7F, tdir, b & 0x7F);
    if (c == d.move || c == 0) return moved.code = c, moved;
    if (pdir || tdir) {
        f.pan = moved.pan;
        f.tilt = moved.tilt;
        f.pan_dir = moved.pan_dir;
        f.tilt_dir = moved.tilt_dir;
        say(f, "%s", moved.meaning);
    }
    return f;
}

// Raw EZ/F2E units from the head: pan tenths counted backwards from 3599, tilt tenths, zoom raw.
void ez_position(const HeadState& h, unsigned out[3]) {
    const double pan = pan_cdeg(h) / 10, tilt = h.tilt < 0 ? 0 : h.tilt / 10;
    out[0] = static_cast<unsigned>(std::trunc(10.668 * (3599 - std::trunc(pan)) + 0.5)) & 0xFFFF;
    out[1] = static_cast<unsigned>(std::trunc(10.67 * std::trunc(tilt) + 0.5)) & 0xFFFF;
    out[2] = zoom_raw(h);
}

Answer ez_answer_common(const EzDialect& d, const Frame& f, const HeadState& h, int address) {
    if (!for_us(f, address)) return {};
    const uint8_t a1 = uint8_t(d.addr_bits | (address >> 8 & 0x0F)), a2 = uint8_t(address);
    const bool ez = d.start == 0xE5;
    if (f.kind == Kind::query_position) {
        unsigned v[3];
        ez_position(h, v);
        return answer_of({0xC5, uint8_t(v[0] >> 8), uint8_t(v[0]), uint8_t(v[1] >> 8), uint8_t(v[1]),
                          uint8_t(v[2] >> 8), uint8_t(v[2]), 0x00});
    }
    Answer r = ez && f.kind != Kind::set_position ? answer_of({0x5E, a1, a2, 0, 0, 0, 0})
                                                  : answer_of({uint8_t(ez ? 0x5E : 0xCC), a1, a2});
    const unsigned s = sum(r.bytes, 0, r.size - 1);
    r.bytes[r.size++] = uint8_t(ez && f.kind != Kind::set_position ? s ^ 0xA5 : s);
    return r;
}

const char* const kHuntNames[] = {"",           "tilt up",   "tilt down", "pan left",   "pan right",
                                  "left-up",    "left-down", "right-up",  "right-down", "iris open",
                                  "iris close", "zoom tele", "zoom wide", "focus far",  "focus near"};

// The PTC controllers' motion frame (MA) and the PTC203's autofocus frame (AF).
Frame ptc(const uint8_t* p, size_t n) {
    Frame f = framed(
        p, n, 0x02, 16, [](const uint8_t* b) { return sum(b, 1, 13) == b[14]; }, 15, 0x04);
    if (f.status != Status::ok) return f;
    const uint8_t* d = p + 4;
    f.address = p[1];
    f.code = uint32_t(p[2]) << 8 | p[3];
    if (p[2] == 'A' && p[3] == 'F') return say(f, "auto focus 0x%02x", d[0]), kind(f, Kind::other), f;
    if (p[2] != 'M' || p[3] != 'A')
        return fail(Status::unknown_command, 16, "unknown command %c%c", p[2], p[3]);
    // Tilt is negative for up, except 0x80: the PTC203's tilt down at full deflection (y = 0) wraps to it,
    // and neither controller's up value ever reaches it.
    const int pv = int8_t(d[0]), tv = d[2] == 0x80 ? -0x80 : -int8_t(d[2]);
    if (d[1]) pan(f, pv < 0 ? -1 : 1, pv < 0 ? -pv : pv);
    if (d[3]) tilt(f, tv < 0 ? -1 : 1, tv < 0 ? -tv : tv);
    if (d[4]) lens(f, Kind::zoom, d[4] == 0x01 ? 1 : -1);
    if (d[6]) lens(f, Kind::focus, d[6] == 0x80 ? 1 : -1, d[7]);
    if (f.kind == Kind::none) stop(f);
    return f;
}

}  // namespace

namespace family {

Frame ez(const uint8_t* p, size_t n) { return ez_common(kEz, p, n); }
Frame f2e(const uint8_t* p, size_t n) { return ez_common(kF2e, p, n); }
// Every command frame is answered (EZ: 5E and 7 bytes, F2E: CC and 3 bytes), the position query with C5,
// pan, tilt, zoom and a spare byte, a set position with the start byte and 3 bytes.
Answer ez_answer(const Frame& f, const HeadState& h, int address) {
    return ez_answer_common(kEz, f, h, address);
}
Answer f2e_answer(const Frame& f, const HeadState& h, int address) {
    return ez_answer_common(kF2e, f, h, address);
}

Frame orx1000(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b >= 0x10 && b <= 0x19; })) return noise(skip);
    for (size_t i = 1; i < 3 && i < n; ++i)
        if ((p[i] & 0xF0) != (i == 1 ? 0x20 : 0x30) || (p[i] & 0x0F) > 9) return noise(1);
    if (n < 6) return need_more();
    if (sum(p, 0, 4) != p[5]) return bad_checksum(6);
    Frame f = good(6, (p[0] - 0x10) * 100 + (p[2] - 0x30) * 10 + (p[1] - 0x20), p[3]);
    const unsigned c = p[3], d = p[4];
    struct Aux {
        uint8_t c;
        int code;
        bool on;
    };
    static constexpr Aux kAux[] = {{0x6B, 1, true},  {0x68, 1, false},  {0x6F, 2, true},
                                   {0x6C, 2, false}, {0x63, 11, true},  {0x60, 11, false},
                                   {0x67, 12, true}, {0x64, 12, false}, {0x5F, 13, true}};
    for (const Aux& a : kAux)
        if (a.c == c && d == 0) return numbered(f, a.on ? Kind::aux_on : Kind::aux_off, a.code), f;
    if (c == 0xA0 || c == 0xA3) return lens(f, Kind::zoom, c == 0xA3 ? 1 : -1), f;
    if (c == 0xAC || c == 0xAF) return lens(f, Kind::focus, c == 0xAF ? 1 : -1), f;
    if (c != 0) return unknown(6, c);
    if (d == 0) return say(f, "no command"), kind(f, Kind::other), f;
    if ((d & 0xF0) != 0x40 || (d & 0x0C) == 0x0C || (d & 3) == 3) return unknown(6, d);
    pan_tilt(f, d & 8 ? 1 : d & 4 ? -1 : 0, -1, d & 1 ? 1 : d & 2 ? -1 : 0, -1);
    if (d == 0x44) say(f, "or aux 13 off");
    return f;
}

Frame hunt(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0xFA; })) return noise(skip);
    if (n < 7) return need_more();
    if (p[5] != 0 || (p[2] | p[3]) & 0xE0) return noise(1);
    if ((sum(p, 0, 5) & 0x7F) != p[6]) return bad_checksum(7);
    const unsigned c = p[1], s = p[4];
    Frame f = good(7, p[2] << 5 | p[3], c);
    if (c == 0x75 || c == 0x76)
        return numbered(f, c == 0x76 ? Kind::goto_preset : Kind::set_preset, int(s)), f;
    if (c == 0) return say(f, "no command, speed %u", s), kind(f, Kind::other), f;
    if (c > 14) return unknown(7, c);
    if (s == 0) return say(f, "stop %s", kHuntNames[c]), kind(f, Kind::stop), f;
    static constexpr int8_t kPan[] = {0, 0, 0, -1, 1, -1, -1, 1, 1}, kTilt[] = {0, 1, -1, 0, 0, 1, -1, 1, -1};
    if (c <= 8) return pan_tilt(f, kPan[c], int(s), kTilt[c], int(s)), f;
    const Kind k = c <= 10 ? Kind::iris : c <= 12 ? Kind::zoom : Kind::focus;
    lens(f, k, c % 2 ? 1 : -1, k == Kind::iris ? -1 : int(s));
    return f;
}

Frame ptc107_203(const uint8_t* p, size_t n) { return ptc(p, n); }

Frame hikc(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0x02; })) return noise(skip);
    if ((n >= 2 && p[1] != 0xB5) || (n >= 3 && p[2] != 0x00)) return noise(1);
    if (n < 10) return truncated(n);
    if (p[5] != 0x02) return noise(1);
    if (((sum(p, 1, 4) + sum(p, 6, 8)) & 0xFF) != p[9]) return bad_checksum(10);
    const unsigned c = p[3], d0 = p[4], d1 = p[6];
    Frame f = good(10, -1, c);
    struct Dir {
        uint8_t c;
        int8_t pan, tilt;
    };
    static constexpr Dir kDirs[] = {{0x06, 0, 1},  {0x07, 0, -1},  {0x08, 1, 0}, {0x09, -1, 0},
                                    {0x0A, -1, 1}, {0x0B, -1, -1}, {0x0C, 1, 1}, {0x0D, 1, -1}};
    for (const Dir& d : kDirs)
        if (d.c == c) return pan_tilt(f, d.pan, int(d1), d.tilt, int(d0)), f;
    switch (c) {
        case 0x00: say(f, "empty command 0x00"), kind(f, Kind::other); break;
        case 0x0E: lens(f, Kind::iris, -1); break;
        case 0x0F: lens(f, Kind::iris, 1); break;
        case 0x10: lens(f, Kind::focus, 1); break;
        case 0x11: lens(f, Kind::focus, -1); break;
        case 0x12: lens(f, Kind::zoom, -1); break;
        case 0x13: lens(f, Kind::zoom, 1); break;
        case 0x14: stop(f); break;
        case 0x15: numbered(f, Kind::set_preset, int(d0)); break;
        case 0x16: numbered(f, Kind::clear_preset, int(d0)); break;
        case 0x17: numbered(f, Kind::goto_preset, int(d0)); break;
        case 0x1A: say(f, "run pattern"), kind(f, Kind::other); break;
        case 0x55:
            if (d0 == 0 && d1 == 0)
                say(f, "run linescan");
            else if (d0 == 1 && d1 == 0x10)
                say(f, "left limit");
            else if (d0 == 1 && d1 == 0x01)
                say(f, "right limit");
            else
                return unknown(10, c);
            kind(f, Kind::other);
            break;
        default: return unknown(10, c);
    }
    return f;
}

// An HDA record is exactly four bytes; anything in them is a frame.
Frame hda(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (n < 4) return truncated(n);
    const unsigned b0 = p[0], b1 = p[1];
    Frame f = good(4, -1, b0 << 8 | b1);
    if (b0 & ~0x07u) return unknown(4, b0);
    if (b1 == 0x03 || b1 == 0x07) {
        numbered(f, b1 == 0x03 ? Kind::set_preset : Kind::goto_preset, p[3]);
    } else {
        if (b1 & 0x01 || (b1 & 0x06) == 0x06 || (b1 & 0x18) == 0x18 || (b1 & 0x60) == 0x60)
            return unknown(4, b1);
        const int pdir = b1 & 0x02 ? 1 : b1 & 0x04 ? -1 : 0, tdir = b1 & 0x08 ? 1 : b1 & 0x10 ? -1 : 0;
        if (pdir) pan(f, pdir, p[2]);
        if (tdir) tilt(f, tdir, p[3]);
        if (b1 & 0x20) lens(f, Kind::zoom, 1);
        if (b1 & 0x40) lens(f, Kind::zoom, -1);
        if (b1 & 0x80) lens(f, Kind::focus, 1);
    }
    if (b0 & 0x01) lens(f, Kind::focus, -1);
    if (b0 & 0x02) lens(f, Kind::iris, 1);
    if (b0 & 0x04) lens(f, Kind::iris, -1);
    if (f.kind == Kind::none) stop(f);
    return f;
}

}  // namespace family
}  // namespace ptzcam
