// SJ, SRX-100B, ADI, the STX-framed, three-byte and letter-command protocols, SPD and its variant,
// ScanDome and scandome2.
//
// SJ: 40, letter, address, data, [01 or 00], sum of all preceding bytes. Go to preset 16..23 and 0..7 differ
// but 16..23 and 32..39 do not (the number travels as a nibble); set preset keeps only the low nibble.
// SPD frame (SPD, its variant and SRX-100B): A0 address 00 command(2) d1 d2 d3 FF AF, NOT of the sum of
// bytes 1..8. SPD preset numbers travel as n - 1 (0 for preset 0 and 1 alike); the decoder gives n.
// ADI: address, command, [parameters], a checksum making the frame sum to 0; no start byte, so the decoder
// takes a frame wherever the sum works out. Speeds of 9 and 10 go out as 8 and 11 and read so.
// STX-framed: 02 address command data 03, (sum of bytes 0..4) AND 0x7F. Speed '0' slow, '1' fast.
// Three-byte: address byte, command, 0x80 | data; no checksum, no start byte. The address byte is the
// address for control, address + 0x40 for presets and + 0xC0 for the last store frame, so the decoder
// reads address bytes below 0x40 as control; go to preset and the first store frame are the same bytes.
// Letter-command: 50, 0x80 | address >> 7, 0x80 | address low 7 bits, letter, [d1, [d2]], 00.
// ScanDome: A5 address command d1 d2 55, sum of bytes 0..5. Moves carry two speed nibbles centred on 8.
// The HTX keyboard passes any command through, so every well-formed ScanDome frame is a valid one.
#include "detail.h"

namespace ptzcam {
namespace {
using namespace detail;

// The letter-command protocol's letters: pan/tilt directions, lens and presets.
struct Letter {
    char c;
    int8_t pan, tilt;  // directions for moves
    uint8_t len;
};
constexpr Letter kLetters[] = {
    {'V', -1, 1, 7}, {'E', -1, -1, 7}, {'S', 1, 1, 7}, {'M', 1, -1, 7}, {'L', -1, 0, 7}, {'R', 1, 0, 7},
    {'D', 0, -1, 7}, {'U', 0, 1, 7},   {0, 0, 0, 7},   {'W', 0, 0, 6},  {'T', 0, 0, 6},  {'N', 0, 0, 6},
    {'F', 0, 0, 6},  {'c', 0, 0, 6},   {'s', 0, 0, 6}, {'X', 0, 0, 5},  {'K', 0, 0, 5},  {'G', 0, 0, 5}};

Frame spd_frame(const uint8_t* p, size_t n) {
    Frame f = framed(p, n, 0xA0, 11, [](const uint8_t* b) { return uint8_t(~sum(b, 1, 8)) == b[10]; });
    if (f.status != Status::ok) return f;
    if (p[2] != 0 || p[8] != 0xFF || p[9] != 0xAF) return noise(1);
    f.address = p[1];
    f.code = be16(p + 3);
    return f;
}

void spd_preset(Frame& f, Kind k, uint8_t sent) {
    numbered(f, k, sent + 1);
    say(f, "sent as %u", sent);
}

Frame spd_common(const uint8_t* p, size_t n, bool variant) {
    Frame f = spd_frame(p, n);
    if (f.status != Status::ok) return f;
    const unsigned c = f.code, d1 = p[5], d2 = p[6], d3 = p[7];
    switch (c) {
        case 0x0007: spd_preset(f, Kind::goto_preset, d1); return f;
        case 0x0003: spd_preset(f, Kind::set_preset, d1); return f;
        case 0x0005: spd_preset(f, Kind::clear_preset, d1); return f;
        case 0x0067: say(f, "preset done %u", d2 + 1), kind(f, Kind::other); return f;
        default: break;
    }
    if (variant) {
        if (c == 0x0021) return f.value = d1, say(f, "run sequence %u", d1), kind(f, Kind::other), f;
        if (c == 0x8001)
            return f.value = d1, say(f, "digital zoom %s (aux low byte %u)", d2 ? "on" : "off", d1),
                   kind(f, Kind::other), f;
    } else if (d3 == 0xFF) {
        if (c == 0x0071 && d1 == 0) return say(f, "set pattern start"), kind(f, Kind::other), f;
        if (c == 0x0071 && d1 == 1) return say(f, "run pattern"), kind(f, Kind::other), f;
        if (c == 0x0073) return say(f, "set pattern stop"), kind(f, Kind::other), f;
        if (c == 0x00B1 && d1 <= 1) return say(f, d1 ? "menu off" : "menu on"), kind(f, Kind::menu), f;
        if (c == 0x0100) return say(f, "menu enter"), kind(f, Kind::menu), f;
        if (c == 0x0200) return say(f, "menu escape"), kind(f, Kind::menu), f;
        if (c == 0x0045 && d1 == 1) return say(f, "autofocus on or off"), kind(f, Kind::other), f;
        if (c == 0x0045 && d1 == 2) return say(f, "one-shot autofocus"), kind(f, Kind::other), f;
    }
    if (c & ~0x037Eu || (c & 0x6) == 0x6 || (c & 0x18) == 0x18) return unknown(11, c);
    if (c & 0x1E) {
        pan_tilt(f, c & 2 ? 1 : c & 4 ? -1 : 0, d1, c & 8 ? 1 : c & 0x10 ? -1 : 0, d2);
        return f;
    }
    if (c == 0) return stop(f), f;
    if (d3 == 0xFF || (c & (c - 1))) return unknown(11, c);
    lens(f, c >= 0x100 ? Kind::focus : Kind::zoom, c == 0x20 || c == 0x200 ? 1 : -1, d3);
    return f;
}

}  // namespace

namespace family {

Frame spd(const uint8_t* p, size_t n) { return spd_common(p, n, false); }
Frame spd_variant(const uint8_t* p, size_t n) { return spd_common(p, n, true); }

// The SPD camera acknowledges a stored or cleared preset (the recorder waits for it); it echoes the frame.
Answer spd_answer(const Frame& f, const HeadState&, int address) {
    if (!for_us(f, address) || (f.code != 0x0003 && f.code != 0x0005)) return {};
    Answer a = answer_of(
        {0xA0, uint8_t(address), 0x00, 0x00, uint8_t(f.code), uint8_t(f.value - 1), 0xFF, 0xFF, 0xFF, 0xAF});
    a.bytes[a.size++] = uint8_t(~sum(a.bytes, 1, 8));
    return a;
}

Frame srx100b(const uint8_t* p, size_t n) {
    Frame f = spd_frame(p, n);
    if (f.status != Status::ok) return f;
    const unsigned c = f.code, d1 = p[5], d2 = p[6], d3 = p[7];
    if (d2 == 0xFF && d3 == 0xFF) {
        struct Aux {
            unsigned c, d;
            int code;
            bool on;
        };
        static constexpr Aux kAux[] = {
            {0x4F, 5, 1, true},      {0x4F, 4, 1, false},     {0x4F, 7, 2, true},
            {0x4F, 6, 2, false},     {0x4F, 3, 3, true},      {0x4F, 2, 3, false},
            {0x4F, 1, 4, true},      {0x4F, 0, 4, false},     {0xF5, 0xFF, 100, true},
            {0xF3, 0xFF, 101, true}, {0xF7, 0xFF, 102, true}, {0xF9, 0xFF, 103, true},
            {0x1B, 0, 150, true},    {0x1F, 0, 150, false},   {0x1F, 0xFF, 151, true},
            {0xFB, 0, 200, true},    {0xFB, 1, 201, true},    {0xFB, 2, 202, true}};
        for (const Aux& a : kAux)
            if (a.c == c && a.d == d1) return numbered(f, a.on ? Kind::aux_on : Kind::aux_off, a.code), f;
        if (c == 0 && d1 == 0xFF) return say(f, "aux off (code not carried)"), kind(f, Kind::aux_off), f;
        return unknown(11, c);
    }
    if (c == 0x0400 && !d1 && !d2 && !d3) return stop(f), f;
    if (c == 0 && !d1 && !d2 && !d3) return say(f, "stop (nothing to do)"), kind(f, Kind::stop), f;
    if (c == 0x0420 || c == 0x0440) return lens(f, Kind::zoom, c == 0x0420 ? 1 : -1, d3), f;
    if (c == 0x0200 || c == 0x0100) return lens(f, Kind::focus, c == 0x0200 ? 1 : -1, d3), f;
    if (c & ~0x1Eu || (c & 0x6) == 0x6 || (c & 0x18) == 0x18) return unknown(11, c);
    pan_tilt(f, c & 2 ? 1 : c & 4 ? -1 : 0, d1, c & 8 ? 1 : c & 0x10 ? -1 : 0, d2);
    return f;
}

Frame sj(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0x40; })) return noise(skip);
    if (n < 2) return need_more();
    if (p[1] != 'C' && p[1] != 'M' && p[1] != 'P') return noise(1);
    const size_t len = p[1] == 'C' ? 5 : 6;
    if (n < len) return need_more();
    if (sum(p, 0, len - 2) != p[len - 1]) return bad_checksum(len);
    if (len == 6 && p[4] != (p[1] == 'M' ? 1 : 0)) return unknown(len, p[1]);
    const unsigned d = p[3];
    Frame f = good(len, p[2], uint32_t(p[1]) << 8 | d);
    if (p[1] == 'M') {
        if (d >= 0x40 && d <= 0x47) return numbered(f, Kind::goto_preset, d & 7), f;
        if (d >= 0x58 && d <= 0x5F) return numbered(f, Kind::goto_preset, d & 0xF), f;
        if (d >= 0x50 && d <= 0x57) return numbered(f, Kind::goto_preset, 16 + (d & 0xF)), f;
        if (d >= 0x30 && d <= 0x3F) return numbered(f, Kind::set_preset, d & 0xF), f;
        return unknown(len, d);
    }
    if (p[1] == 'P') {
        static constexpr int kAux[] = {0, 3, 4, 1, 2, 5};  // by the data's low nibble
        if ((d >> 4 == 1 || d >> 4 == 2) && (d & 0xF) <= 5)
            return numbered(f, d >> 4 == 2 ? Kind::aux_on : Kind::aux_off, kAux[d & 0xF]), f;
        return unknown(len, d);
    }
    switch (d) {
        case 0x00: stop(f); break;
        case 0x04: pan(f, -1, -1); break;
        case 0x08: pan(f, 1, -1); break;
        case 0x02: tilt(f, -1, -1); break;
        case 0x01: tilt(f, 1, -1); break;
        case 0x20: lens(f, Kind::zoom, 1); break;
        case 0x10: lens(f, Kind::zoom, -1); break;
        case 0x40: lens(f, Kind::focus, 1); break;
        case 0x30: lens(f, Kind::focus, -1); break;
        case 0x50: f.value = 100, say(f, "aux 100"), kind(f, Kind::other); break;
        case 0x60: f.value = 101, say(f, "aux 101"), kind(f, Kind::other); break;
        case 0x70: say(f, "aux 100 or 101 (action 0x0100)"), kind(f, Kind::other); break;
        default: return unknown(len, d);
    }
    return f;
}

Frame adi(const uint8_t* p, size_t n) {
    if (n < 2) return need_more();
    const uint8_t c = p[1];
    static constexpr uint8_t kPlain[] = {0x53, 0x83, 0x86, 0x89, 0x8C, 0x92,
                                         0x87, 0x88, 0x8A, 0x8B, 0x90, 0x91};
    bool plain = false;
    for (uint8_t k : kPlain) plain |= k == c;
    const size_t len = c == 0xC0 || c == 0xC7 ? 5 : c == 0xCC ? 4 : 3;
    if (n < len) return need_more();
    const bool sums = sum(p, 0, len - 1) == 0;
    if (!plain && len == 3) return sums ? unknown(3, c) : noise(1);
    if (!sums) return bad_checksum(len);
    Frame f = good(len, p[0], c);
    if (c == 0xC0) {
        if (p[2] == 0x81 || p[2] == 0x82) return pan(f, p[2] == 0x82 ? 1 : -1, p[3]), f;
        if (p[2] == 0x84 || p[2] == 0x85) return tilt(f, p[2] == 0x84 ? 1 : -1, p[3]), f;
        return unknown(len, p[2]);
    }
    if (c == 0xCC) {
        if (p[2] == 1) return say(f, "menu or enter"), kind(f, Kind::menu), f;
        if (p[2] == 2) return say(f, "menu escape"), kind(f, Kind::menu), f;
        return unknown(len, p[2]);
    }
    if (c == 0xC7) {
        if (p[2] == 1 || p[2] == 2)
            return numbered(f, p[2] == 1 ? Kind::set_preset : Kind::goto_preset, p[3] + 1), f;
        return unknown(len, p[2]);
    }
    switch (c) {
        case 0x53: say(f, "pan stop (after a move)"), kind(f, Kind::stop); break;
        case 0x83: say(f, "pan stop"), kind(f, Kind::stop); break;
        case 0x86: say(f, "tilt stop"), kind(f, Kind::stop); break;
        case 0x89:
        case 0x8C:
        case 0x92: say(f, "stop 0x%02x", c), kind(f, Kind::stop); break;
        case 0x87: lens(f, Kind::focus, 1); break;
        case 0x88: lens(f, Kind::focus, -1); break;
        case 0x8A: lens(f, Kind::zoom, 1); break;
        case 0x8B: lens(f, Kind::zoom, -1); break;
        case 0x90: lens(f, Kind::iris, 1); break;
        default: lens(f, Kind::iris, -1); break;  // 0x91
    }
    return f;
}

Frame stx(const uint8_t* p, size_t n) {
    Frame f = framed(
        p, n, 0x02, 6, [](const uint8_t* b) { return (sum(b, 0, 4) & 0x7F) == b[5]; }, 4, 0x03);
    if (f.status != Status::ok) return f;
    f.address = p[1];
    f.code = p[2];
    const int s = p[3] == '1' ? 1 : 0;
    if (p[3] != 0 && p[3] != '0' && p[3] != '1')
        return fail(Status::unknown_command, 6, "unknown speed 0x%02x", p[3]);
    struct Dir {
        uint8_t c;
        int8_t pan, tilt;
    };
    static constexpr Dir kDirs[] = {{0x3A, -1, 1}, {0x3B, -1, -1}, {0x3D, 1, 1},  {0x3C, 1, -1},
                                    {0x38, -1, 0}, {0x39, 1, 0},   {0x37, 0, -1}, {0x36, 0, 1}};
    for (const Dir& d : kDirs)
        if (d.c == p[2]) return pan_tilt(f, d.pan, s, d.tilt, s), f;
    switch (p[2]) {
        case 0x00: stop(f); break;
        case 0x3E: lens(f, Kind::zoom, 1, s); break;
        case 0x3F: lens(f, Kind::zoom, -1, s); break;
        case 0x41: lens(f, Kind::focus, 1, s); break;
        case 0x40: lens(f, Kind::focus, -1, s); break;
        default: return unknown(6, p[2]);
    }
    return f;
}

Frame three_byte(const uint8_t* p, size_t n) {
    if (n < 3) return need_more();
    if (!(p[2] & 0x80)) return noise(1);
    const unsigned a = p[0], c = p[1], d = p[2] & 0x7F;
    Frame f = good(3, int(a), c);
    if (a >= 0xC0) {
        if (c != 3 || d != (100 & 0x3F)) return unknown(3, c);  // 100, cut to six bits like every data
        f.address = int(a - 0xC0);
        return say(f, "set preset end"), kind(f, Kind::other), f;
    }
    if (a >= 0x40) {
        f.address = int(a - 0x40);
        if (c == 0 && (d == 4 || d == 5)) return say(f, "set preset step %u", d), kind(f, Kind::other), f;
        if (d != 0) return unknown(3, c);
        numbered(f, Kind::goto_preset, int(c));
        say(f, "or first step of set preset %u", c);
        return f;
    }
    const unsigned ps = d & 7, ts = d >> 3 & 7;
    switch (c) {
        case 0x00: stop(f); return f;
        case 0x10: lens(f, Kind::zoom, 1); return f;
        case 0x20: lens(f, Kind::zoom, -1); return f;
        case 0x40: lens(f, Kind::focus, 1); return f;
        case 0x80: lens(f, Kind::focus, -1); return f;
        default: break;
    }
    if (c & ~0xFu || (c & 3) == 3 || (c & 0xC) == 0xC) return unknown(3, c);
    pan_tilt(f, c & 1 ? 1 : c & 2 ? -1 : 0, int(ps), c & 4 ? 1 : c & 8 ? -1 : 0, int(ts));
    return f;
}

Frame letter(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0x50; })) return noise(skip);
    for (size_t i = 1; i < 3 && i < n; ++i)
        if (!(p[i] & 0x80)) return noise(1);
    if (n < 4) return need_more();
    const Letter* l = nullptr;
    for (const Letter& k : kLetters)
        if (k.c == char(p[3])) l = &k;
    if (!l) return fail(Status::unknown_command, 4, "unknown command 0x%02x", p[3]);
    if (n < l->len) return need_more();
    if (p[l->len - 1] != 0x00) return noise(1);
    Frame f = good(l->len, (p[1] & 0x7F) << 7 | (p[2] & 0x7F), p[3]);
    const int d1 = p[4], d2 = l->len == 7 ? p[5] : 0;
    switch (l->c) {
        case 'W': lens(f, Kind::zoom, -1, d1); break;
        case 'T': lens(f, Kind::zoom, 1, d1); break;
        case 'N': lens(f, Kind::focus, -1, d1); break;
        case 'F': lens(f, Kind::focus, 1, d1); break;
        case 'c': numbered(f, Kind::goto_preset, d1); break;
        case 's': numbered(f, Kind::set_preset, d1); break;
        case 'X': say(f, "pan/tilt stop"), kind(f, Kind::stop); break;
        case 'K': say(f, "zoom stop"), kind(f, Kind::stop); break;
        case 'G': say(f, "focus stop"), kind(f, Kind::stop); break;
        default: pan_tilt(f, l->pan, d1, l->tilt, d2); break;
    }
    return f;
}

// ScanDome and scandome2 (`two`): the same frame, a few commands of their own.
Frame scandome_common(const uint8_t* p, size_t n, bool two) {
    Frame f = framed(
        p, n, 0xA5, 7, [](const uint8_t* b) { return sum(b, 0, 5) == b[6]; }, 5, 0x55);
    if (f.status != Status::ok) return f;
    f.address = p[1];
    const unsigned c = p[2], d1 = p[3], d2 = p[4];
    f.code = c << 16 | d1 << 8 | d2;
    const bool flat = d1 == 0x80 && d2 == 0x80;
    if (c == 0x10 && d1 == 0x0D) {
        const int sx = d2 >> 4, sy = d2 & 0xF;
        pan_tilt(f,
                 sx > 8   ? 1
                 : sx < 8 ? -1
                          : 0,
                 sx > 8 ? sx - 8 : 8 - sx,
                 sy > 8   ? 1
                 : sy < 8 ? -1
                          : 0,
                 sy > 8 ? sy - 8 : 8 - sy);
        return f;
    }
    if (c == 0x10 && d2 == 0x88) {
        const uint8_t tele = two ? 0x0F : 0x0E, wide = two ? 0x0B : 0x0C;
        if (d1 == tele || d1 == wide) return lens(f, Kind::zoom, d1 == tele ? 1 : -1), f;
        if (d1 == 0x04 || d1 == 0x03) return lens(f, Kind::focus, d1 == 0x04 ? 1 : -1), f;
    }
    if (two && c == 0x10 && d1 == 0x48 && d2 == 0x80) return say(f, "menu enter"), kind(f, Kind::menu), f;
    if ((c == 0x25 || c == 0x11 || c == 0x26) && (d1 & 0xF0) == 0x80 && (d2 & 0xF0) == 0x80) {
        const Kind k = c == 0x25 ? Kind::set_preset : c == 0x11 ? Kind::goto_preset : Kind::clear_preset;
        return numbered(f, k, int((d1 & 0xF) << 4 | (d2 & 0xF))), f;
    }
    if (c == 0x19 && flat) return say(f, two ? "menu" : "menu or enter"), kind(f, Kind::menu), f;
    if (c == 0x1F && flat) return say(f, "menu escape"), kind(f, Kind::menu), f;
    if ((c == 0x28 || c == 0x29) && flat)
        return numbered(f, c == 0x28 ? Kind::aux_on : Kind::aux_off, 602), f;
    if (d1 == 0x80 && d2 >= 0x81 && d2 <= 0x88) {
        const int i = int(d2 - 0x80);
        if ((c == 0x2C || c == 0x2D) && i <= 4)
            return numbered(f, c == 0x2C ? Kind::aux_on : Kind::aux_off, 700 + i), f;
        if (c == 0x13) return f.value = i, say(f, "run tour %d", i), kind(f, Kind::other), f;
        if (c == 0x17) return f.value = i, say(f, "run scan %d", i), kind(f, Kind::other), f;
    }
    say(f, "HTX keyboard command 0x%02x 0x%02x 0x%02x", c, d1, d2);
    kind(f, Kind::other);
    return f;
}

Frame scandome(const uint8_t* p, size_t n) { return scandome_common(p, n, false); }
Frame scandome2(const uint8_t* p, size_t n) { return scandome_common(p, n, true); }

}  // namespace family
}  // namespace ptzcam
