// Pelco-P, Samsung-E, Panasonic, Philips AutoDome, Canon VC-C4 and Vicon.
//
// Pelco-P: A0, (address - 1) AND 0x1F, command (two 7-bit bytes), data 1, data 2, AF, XOR of bytes 0..6.
// Camera addresses 1 and 33 (and 0 and 32) look the same on the line; the decoder names 1..32.
// Samsung-E: A0 FE address type ..., NOT of the sum of bytes 1..7. Type 1 carries a command word and two
// speeds, type 3 a command byte and a data byte. Every aux code c travels as command (c + 13) mod 256, so
// aux 12, 67 and 11 read as go to preset 255, set preset 255 and the menu enter key.
// Panasonic: STX "AD" two decimal digits, a command text, ETX; no checksum. Zoom tele at nibble 0 is the
// zoom stop frame, and zoom tele at nibble 8 is the pan/tilt stop frame; both read as the stop.
// AutoDome: 0x80 + following bytes, address bits 8..15, (address - 1) low byte, type, ..., 7-bit sum.
// The variable-speed word loses bit 7 and bit 15 in its two 7-bit bytes; pan speeds of 16 and more read
// 16 lower. Aux 46 on and the menu share a value, aux 1025 and 1026 read as set preset 101 and 102, and aux
// codes above 255 (OR-ed with the on or off bit) are given as their value; those from 1024 read as presets.
// VC-C4: FF 30 device 00 command data... EF; the device character is address OR 0x30, so addresses that
// differ only in bits 4 and 5 are one device on the line. A preset command's one character is read before
// the end mark is looked for: preset 191 travels as 0xEF, the end mark itself.
// Vicon: a two-byte header (0x80 | address >> 4, address low nibble | frame type) and the frame body.
#include <cstdlib>
#include <string_view>

#include "detail.h"

namespace ptzcam {
namespace {
using namespace detail;

// Motion and lens bits of a command word by a table of (bit, what) pairs; false on a bit outside `known`.
struct Bit {
    unsigned bit;
    enum What : uint8_t { left, right, up, down, tele, wide, far, near, open, close } what;
};
template <size_t N>
bool bits(Frame& f, unsigned w, unsigned known, const Bit (&table)[N], int pspeed, int tspeed,
          int lspeed = -1) {
    if (w & ~known) return false;
    int pdir = 0, tdir = 0;
    for (const Bit& b : table) {
        if (!(w & b.bit)) continue;
        switch (b.what) {
            case Bit::left: pdir = -1; break;
            case Bit::right: pdir = 1; break;
            case Bit::down: tdir = -1; break;
            case Bit::up: tdir = 1; break;
            default: break;
        }
    }
    if (pdir) pan(f, pdir, pspeed);
    if (tdir) tilt(f, tdir, tspeed);
    for (const Bit& b : table) {
        if (!(w & b.bit) || b.what < Bit::tele) continue;
        const Kind k = b.what <= Bit::wide ? Kind::zoom : b.what <= Bit::near ? Kind::focus : Kind::iris;
        const int dir = (b.what - Bit::tele) % 2 == 0 ? 1 : -1;
        lens(f, k, dir, k == Kind::iris ? -1 : lspeed);
    }
    if (w == 0) stop(f);
    return true;
}

}  // namespace

namespace family {

Frame pelco_p(const uint8_t* p, size_t n) {
    Frame f = framed(
        p, n, 0xA0, 8, [](const uint8_t* b) { return xor_of(b, 0, 6) == b[7]; }, 6, 0xAF);
    if (f.status != Status::ok) return f;
    const unsigned w = (p[2] & 0x7F) << 8 | (p[3] & 0x7F);
    f.address = (p[1] & 0x1F) + 1;
    f.code = w;
    switch (w) {
        case 0x03: numbered(f, Kind::set_preset, p[5]); return f;
        case 0x05: numbered(f, Kind::clear_preset, p[5]); return f;
        case 0x07: numbered(f, Kind::goto_preset, p[5]); return f;
        case 0x09: numbered(f, Kind::aux_on, p[5]); return f;
        case 0x0B: numbered(f, Kind::aux_off, p[5]); return f;
        default: break;
    }
    static constexpr Bit kBits[] = {
        {0x02, Bit::right}, {0x04, Bit::left}, {0x08, Bit::up},    {0x10, Bit::down},  {0x20, Bit::tele},
        {0x40, Bit::wide},  {0x100, Bit::far}, {0x200, Bit::near}, {0x400, Bit::open}, {0x800, Bit::close}};
    if (!bits(f, w, 0xF7E, kBits, p[4], p[5], p[4])) return unknown(8, w);
    return f;
}

Frame samsung_e(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0xA0; })) return noise(skip);
    if (n >= 2 && p[1] != 0xFE) return noise(1);
    if (n < 9) return need_more();
    if (uint8_t(~sum(p, 1, 7)) != p[8]) return bad_checksum(9);
    if (p[3] == 0x01) {
        const unsigned w = be16(p + 4);
        Frame f = good(9, p[2], w);
        static constexpr Bit kBits[] = {{0x0001, Bit::left}, {0x0002, Bit::right}, {0x0004, Bit::up},
                                        {0x0008, Bit::down}, {0x2000, Bit::tele},  {0x4000, Bit::wide},
                                        {0x0200, Bit::far},  {0x0100, Bit::near}};
        if (!bits(f, w, 0x630F, kBits, p[6], p[7])) return unknown(9, w);
        return f;
    }
    if (p[3] != 0x03) return fail(Status::unknown_command, 9, "unknown frame type 0x%02x", p[3]);
    Frame f = good(9, p[2], p[4]);
    if (p[6] != 0xFF || p[7] != 0xFF) return unknown(9, p[4]);
    const unsigned c = p[4], d = p[5];
    if (c == 0x19)
        numbered(f, Kind::goto_preset, d);
    else if (c == 0x50)
        numbered(f, Kind::set_preset, d);
    else if (c == 0x18 && d == 0xFF)
        say(f, "menu enter"), kind(f, Kind::menu);
    else if (c == 0x17 && d <= 1)
        say(f, d ? "menu" : "menu escape"), kind(f, Kind::menu);
    else if (d == 0xFF) {
        f.value = (c + 256 - 13) % 256;
        say(f, "aux code %d", f.value);
        kind(f, Kind::other);
    } else
        return unknown(9, c);
    return f;
}

// One hex digit of a Panasonic frame, or -1.
static int hex(uint8_t c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Zoom and focus nibbles: 4..7 is the low side (wide, near) at speed nibble AND 3, 0..3 and 8..11 the high
// side; 0 is the stop.
static bool pana_lens(Frame& f, Kind k, int z) {
    if (z == 0) return say(f, "%s stop", k == Kind::zoom ? "zoom" : "focus"), kind(f, Kind::stop), true;
    if (z >= 12) return false;
    if (z >= 4 && z < 8) return lens(f, k, -1, z & 3), true;
    return lens(f, k, 1, z), true;
}

Frame panasonic(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0x02; })) return noise(skip);
    size_t end = 1;
    while (end < n && end < 26 && p[end] != 0x03) ++end;
    if (end >= n) return n >= 26 ? noise(1) : need_more();
    if (end == 26) return noise(1);
    const size_t len = end + 1;
    const char* t = reinterpret_cast<const char*>(p + 1);
    const size_t tl = end - 1;  // text between STX and ETX
    if (tl < 5 || t[0] != 'A' || t[1] != 'D' || hex(t[2]) < 0 || hex(t[3]) < 0 || t[2] > '9' || t[3] > '9' ||
        t[4] != ';')
        return fail(Status::unknown_command, len, "not a Panasonic frame");
    Frame f = good(len, (t[2] - '0') * 10 + (t[3] - '0'), 0);
    const std::string_view cmd(t + 5, tl - 5);
    if (cmd == "RON:7") return say(f, "power on"), kind(f, Kind::other), f;
    if (cmd.size() == 11 && cmd.substr(0, 4) == "GC7:") {
        const std::string_view c = cmd.substr(4);
        f.code = 0x7;
        if (c == "9028100")
            return say(f, "pan/tilt stop (same frame as zoom tele 8)"), kind(f, Kind::stop), f;
        if (c == "9034008") return say(f, "lens stop"), kind(f, Kind::stop), f;
        if (c == "D810000") return say(f, "preset store step"), kind(f, Kind::other), f;
        if (c.substr(0, 4) == "9028") {
            // left-up, left, left-down, right-up, right-down, right, down, up
            static constexpr char kDirs[] = "98FBDCEA";
            static constexpr int kPan[] = {-1, -1, -1, 1, 1, 1, 0, 0}, kTilt[] = {1, 0, -1, 1, -1, 0, -1, 1};
            const char* d = std::strchr(kDirs, c[4]);
            const int ps = hex(c[5]), ts = hex(c[6]);
            if (c[4] == '0' && ps >= 0 && ts >= 0)
                return say(f, "stop (no direction)"), kind(f, Kind::stop), f;
            if (!d || !c[4] || ps < 0 || ts < 0) return unknown(len, uint8_t(c[4]));
            const int i = static_cast<int>(d - kDirs);
            pan_tilt(f, kPan[i], ps, kTilt[i], ts);
            return f;
        }
        if (c.substr(0, 3) == "902" && c.substr(4) == "100" && pana_lens(f, Kind::zoom, hex(c[3]))) return f;
        if (c.substr(0, 6) == "903410" && pana_lens(f, Kind::focus, hex(c[6]))) return f;
        return fail(Status::unknown_command, len, "unknown command GC7:%.7s", c.data());
    }
    if (cmd.size() == 19 && cmd.substr(0, 4) == "GCF:") {
        const std::string_view c = cmd.substr(4);
        f.code = 0xF;
        const int hi = hex(c[12]), lo = hex(c[13]);
        if (hi >= 0 && lo >= 0 && c[14] == '0') {
            const int v = hi * 16 + lo;
            if (c.substr(0, 12) == "2021400:2022") return numbered(f, Kind::goto_preset, v + 1), f;
            // n + 99 in two digits: presets above 156 keep only the low byte.
            if (c.substr(0, 12) == "00219F0:0022")
                return numbered(f, Kind::set_preset, (v + 256 - 99) % 256), f;
        }
        return fail(Status::unknown_command, len, "unknown command GCF:%.8s", c.data());
    }
    return fail(Status::unknown_command, len, "unknown command");
}

Frame autodome(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0x86 || b == 0x87; })) return noise(skip);
    const size_t len = p[0] - 0x80 + 1;
    if (n < len) return need_more();
    if ((sum(p, 0, len - 2) & 0x7F) != p[len - 1]) return bad_checksum(len);
    const int address = p[1] << 8 | ((p[2] + 1) & 0xFF);
    if (p[0] == 0x87) {
        if (p[3] != 0x05) return fail(Status::unknown_command, len, "unknown frame type 0x%02x", p[3]);
        const unsigned w = (p[5] & 0x7F) << 8 | (p[6] & 0x7F);
        Frame f = good(len, address, w);
        static constexpr Bit kBits[] = {{0x01, Bit::right}, {0x02, Bit::left}, {0x04, Bit::down},
                                        {0x08, Bit::up},    {0x20, Bit::tele}, {0x10, Bit::wide},
                                        {0x100, Bit::far},  {0x40, Bit::near}, {0x400, Bit::open},
                                        {0x200, Bit::close}};
        bits(f, w & 0x07FF, 0x07FF, kBits, w >> 11 & 0x0F, p[4] & 0x7F, p[4] & 0x7F);
        return f;
    }
    const unsigned v = be16(p + 4);
    Frame f = good(len, address, v);
    if (p[3] == 0x02) {
        static constexpr Bit kBits[] = {{0x1000, Bit::left}, {0x0010, Bit::right}, {0x0008, Bit::down},
                                        {0x0800, Bit::up},   {0x0004, Bit::tele},  {0x0400, Bit::wide},
                                        {0x0002, Bit::far},  {0x0200, Bit::near}};
        if (!bits(f, v, 0x1E1E, kBits, -1, -1)) return unknown(len, v);
        return f;
    }
    if (p[3] != 0x07) return fail(Status::unknown_command, len, "unknown frame type 0x%02x", p[3]);
    if (v == 0x012E) return say(f, "menu (same value as aux 46 on)"), kind(f, Kind::menu), f;
    switch (v >> 8) {
        case 0x05: numbered(f, Kind::goto_preset, v & 0xFF); break;
        case 0x04: numbered(f, Kind::set_preset, v & 0xFF); break;
        case 0x01: numbered(f, Kind::aux_on, v & 0xFF); break;
        case 0x02: numbered(f, Kind::aux_off, v & 0xFF); break;
        default:  // aux codes 256..1024 OR-ed with the on (0x0100) or off (0x0200) bit: not one reading
            f.value = static_cast<int>(v);
            say(f, "aux value 0x%04x", v);
            kind(f, Kind::other);
            break;
    }
    return f;
}

Frame vcc4(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0xFF || b == 0xFE; })) return noise(skip);
    if (p[0] == 0xFE) {  // the camera's answer, as ptzcam's cameras give it
        if (n < 6) return need_more();
        if (p[1] != 0x30 || p[3] != 0 || p[5] != 0xEF) return noise(1);
        Frame f = good(6, p[2] & 0xCF, 0xFE);
        return say(f, "answer 0x%02x", p[4]), kind(f, Kind::other), f;
    }
    for (size_t i = 1; i < 4 && i < n; ++i)
        if ((i == 1 && p[i] != 0x30) || (i == 2 && (p[i] & 0x30) != 0x30) || (i == 3 && p[i] != 0))
            return noise(1);
    size_t end = 5;
    while (end < n && end < 9 && p[end] != 0xEF) ++end;
    if (end >= n) return n >= 9 ? noise(1) : need_more();
    // A preset travels as the one character '0' + n modulo 256, so preset 191 is the end mark itself.
    if (end == 5 && (p[4] == 0x89 || p[4] == 0x8A)) {
        if (n < 7) return need_more();
        if (p[6] == 0xEF) end = 6;
    }
    if (end == 9) return noise(1);
    const uint8_t c = p[4];
    const uint8_t* d = p + 5;
    const size_t dn = end - 5;
    Frame f = good(end + 1, p[2] & 0xCF, c);
    auto one = [&](char v) { return dn == 1 && d[0] == v; };
    int num = 0;
    for (size_t i = 0; i < dn; ++i) num = num * 16 + (hex(d[i]) < 0 ? 0 : hex(d[i]));
    switch (c) {
        case 0x90:
            if (one('0')) return say(f, "command start"), kind(f, Kind::other), f;
            if (one('1')) return say(f, "command end"), kind(f, Kind::other), f;
            break;
        case 0x8F:
            if (one('0') || one('1')) return say(f, "initialise %c", d[0]), kind(f, Kind::other), f;
            break;
        case 0x50:
        case 0x51:
            if (dn == 3) {
                f.value = num;
                return say(f, "%s speed %d", c == 0x50 ? "pan" : "tilt", num), kind(f, Kind::other), f;
            }
            break;
        case 0x53:
            if (one('0')) return say(f, "pan/tilt stop step"), kind(f, Kind::stop), f;
            break;
        case 0x60:
            if (dn == 2 && d[0] >= '0' && d[0] <= '2' && d[1] >= '0' && d[1] <= '2') {
                static constexpr int kDir[] = {0, 1, -1};
                pan_tilt(f, kDir[d[0] - '0'], -1, kDir[d[1] - '0'], -1);
                return f;
            }
            break;
        case 0x89:
        case 0x8A:
            // The preset travels as the character '0' + n, modulo 256.
            if (dn == 1)
                return numbered(f, c == 0x89 ? Kind::set_preset : Kind::goto_preset, uint8_t(d[0] - '0')), f;
            break;
        case 0xA1:
            if (one('1')) return say(f, "focus manual"), kind(f, Kind::other), f;
            if (one('2') || one('3')) return lens(f, Kind::focus, d[0] == '2' ? 1 : -1), f;
            break;
        case 0xA2:
            if (one('0')) return say(f, "zoom stop"), kind(f, Kind::stop), f;
            if (one('1') || one('2')) return lens(f, Kind::zoom, d[0] == '2' ? 1 : -1), f;
            break;
        case 0xB1:
            if (one('1')) return say(f, "stop step 0xb1"), kind(f, Kind::stop), f;
            break;
        case 0xB4:
            if (dn == 2) return say(f, "zoom speed %c%c", d[0], d[1]), kind(f, Kind::other), f;
            break;
        case 0xB5:
            if (one('0') || one('1')) return numbered(f, one('0') ? Kind::aux_on : Kind::aux_off, 602), f;
            break;
        default: break;
    }
    return unknown(end + 1, c);
}

// The VC-C4 answers every frame: FE 30 device 00 00 EF; the recorder logs bytes 3 and 4 and reads at most 6.
Answer vcc4_answer(const Frame& f, const HeadState&, int address) {
    if (f.status != Status::ok || (f.address != address && f.address != 0)) return {};
    return answer_of({0xFE, 0x30, uint8_t(f.address | 0x30), 0x00, 0x00, 0xEF});
}

Frame vicon(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return (b & 0xF0) == 0x80; })) return noise(skip);
    if (n < 2) return need_more();
    const unsigned type = p[1] & 0xF0;
    if (type != 0x10 && type != 0x40 && type != 0x50)
        return fail(Status::unknown_command, 2, "unknown frame type 0x%02x", type);
    const size_t len = 2 + (type == 0x10 ? 4 : 8);
    if (n < len) return need_more();
    const uint8_t* b = p + 2;
    Frame f = good(len, (p[0] & 0x0F) << 4 | (p[1] & 0x0F), type);
    if (type == 0x50) {
        if (b[0] & ~0x78u) return unknown(len, b[0]);
        const int ps = b[4] << 7 | b[5], ts = b[6] << 7 | b[7];
        pan_tilt(f, b[0] & 0x40 ? -1 : b[0] & 0x20 ? 1 : 0, ps, b[0] & 0x10 ? 1 : b[0] & 0x08 ? -1 : 0, ts);
        return f;
    }
    if (type == 0x40) {
        if (b[0] || b[1] || b[2] || b[3] || (b[4] != 0x10 && b[4] != 0x11) || b[6] != 0x70 || b[7] != 0x70)
            return unknown(len, b[4]);
        numbered(f, b[4] == 0x10 ? Kind::goto_preset : Kind::set_preset, b[5]);
        return f;
    }
    if (b[0] || b[3]) return unknown(len, b[1]);
    f.code = b[1];
    if (b[1] == 0 && b[2] == 0) return stop(f), f;
    if (b[1] == 0) {
        for (int i = 1; i <= 6; ++i)
            if (b[2] == (0x80 >> i)) return f.value = i, say(f, "aux %d", i), kind(f, Kind::other), f;
        return unknown(len, b[2]);
    }
    switch (b[1]) {
        case 0x40: lens(f, Kind::zoom, -1); break;
        case 0x20: lens(f, Kind::zoom, 1); break;
        case 0x10: lens(f, Kind::focus, -1); break;
        case 0x08: lens(f, Kind::focus, 1); break;
        case 0x02: say(f, "iris close or escape"), f.value = -1, kind(f, Kind::iris); break;
        case 0x04: say(f, "iris open or menu/enter"), f.value = 1, kind(f, Kind::iris); break;
        default: return unknown(len, b[1]);
    }
    return f;
}

}  // namespace family
}  // namespace ptzcam
