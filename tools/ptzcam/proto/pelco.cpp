// The 0xFF-framed family: Pelco-D and its coax TVI form, the C1080 cameras, INOS, INOS-V900, SMARTFARM, and
// the handshake of a camera firmware transfer.
//
// Short frame: FF, address, command word (high, low), data 1, data 2, sum of bytes 1..5. Extended frame of
// the C1080PT and INOS-V900: FF, address, 00, command, six data bytes, sum of bytes 1..9. The TVI form wraps
// the short frame for the capture driver: FF FF address c1 c2 FF d1 d2 checksum 00, the checksum leaving out
// the three FF bytes.
//
// Even command words are motion bits, odd ones the extended commands. A word carrying several motion bits
// is read bit by bit: the Pelco-D driver ORs direction bits into the word it already holds until a stop, so
// "pan left and right" is a real frame on that line. The TVI driver sets the focus-near bit for a far
// request (and the reverse); the frame is read by the bit's meaning, so such a frame reads "focus near".
#include <algorithm>

#include "detail.h"

namespace ptzcam {
namespace {
using namespace detail;

enum class Dialect : uint8_t { pelco, c1080b, c1080pt, wonwoo, inos_v900 };

// Both direction bits of one axis at once (an accumulated Pelco-D word).
void both(Frame& f, const char* what, int speed) {
    say(f, "%s %d", what, speed);
    kind(f, Kind::move);
}

// The motion bits of an even word; false when a bit outside the vocabulary is set.
bool motion(Frame& f, unsigned w, unsigned d1, unsigned d2) {
    if (w & ~0x07FEu) return false;
    if (w == 0) {
        stop(f);
        return true;
    }
    if ((w & 0x6) == 0x6)
        both(f, "pan left and right", d1);
    else if (w & 0x6)
        pan(f, w & 0x2 ? 1 : -1, d1);
    if ((w & 0x18) == 0x18)
        both(f, "tilt up and down", d2);
    else if (w & 0x18)
        tilt(f, w & 0x8 ? 1 : -1, d2);
    struct Pair {
        unsigned plus, minus;
        Kind k;
    };
    static constexpr Pair kLens[] = {
        {0x20, 0x40, Kind::zoom}, {0x80, 0x100, Kind::focus}, {0x200, 0x400, Kind::iris}};
    for (const Pair& l : kLens) {
        if (w & l.plus) lens(f, l.k, 1);
        if (w & l.minus) lens(f, l.k, -1);
    }
    return true;
}

// The firmware transfer's handshake frames; false for any other word.
bool upgrade_word(Frame& f, unsigned w, unsigned d1, unsigned d2) {
    if (w == 0x9010)
        say(f, "upgrade start code");
    else if (w == 0x9030 && d1 == 0 && d2 == 0)
        say(f, "upgrade check loader");
    else if (w == 0x4801)
        say(f, "upgrade model info");
    else if ((w >> 8) == 0x58) {
        f.value = static_cast<int>((w & 0xFF) << 16 | d1 << 8 | d2);
        say(f, "upgrade file size %d", f.value);
    } else if (w == 0x6800)
        say(f, "upgrade start address");
    else
        return false;
    kind(f, Kind::other);
    return true;
}

// The C1080B dialect's own words: the menu keys, the camera settings and the reset.
bool c1080b_word(Frame& f, unsigned w, unsigned d1, unsigned d2) {
    if (w == 0x001E) {
        say(f, "menu or enter");
        kind(f, Kind::menu);
    } else if (w == 0x0006) {
        say(f, "menu escape");
        kind(f, Kind::menu);
    } else if (w == 0x9030 && d2 == 0x0B) {
        say(f, "camera reset");
        kind(f, Kind::other);
    } else if ((w >> 8) == 0x7E) {
        static constexpr uint8_t kSettings[] = {0x01, 0x09, 0x0A, 0x0C, 0x3F, 0x33, 0x34};
        bool known = false;
        for (uint8_t s : kSettings) known |= (w & 0xFF) == s;
        if (!known) return false;
        say(f, "camera setting 0x%04x %u %u", w, d1, d2);
        kind(f, Kind::other);
    } else {
        return upgrade_word(f, w, d1, d2);
    }
    return true;
}

// An odd word of plain Pelco-D; false when unknown.
bool extended(Frame& f, unsigned w, unsigned d1, unsigned d2) {
    const unsigned v16 = d1 << 8 | d2;
    switch (w) {
        case 0x03: numbered(f, Kind::set_preset, d2); return true;
        case 0x05: numbered(f, Kind::clear_preset, d2); return true;
        case 0x07: numbered(f, Kind::goto_preset, d2); return true;
        case 0x09: numbered(f, Kind::aux_on, d2); return true;
        case 0x0B: numbered(f, Kind::aux_off, d2); return true;
        case 0x4B:
            f.abs_pan = v16;
            say(f, "set pan position %u", v16);
            kind(f, Kind::set_position);
            return true;
        case 0x4D:
            f.abs_tilt = v16;
            say(f, "set tilt position %u", v16);
            kind(f, Kind::set_position);
            return true;
        case 0x4F:
            f.abs_zoom = v16;
            say(f, "set zoom position %u", v16);
            kind(f, Kind::set_position);
            return true;
        default: break;
    }
    struct Word {
        unsigned w;
        Kind k;
        const char* text;
    };
    static constexpr Word kWords[] = {{0x1F, Kind::other, "set pattern start %u"},
                                      {0x21, Kind::other, "set pattern stop %u"},
                                      {0x23, Kind::other, "run pattern %u"},
                                      {0x25, Kind::other, "set zoom speed %u"},
                                      {0x27, Kind::other, "set focus speed %u"},
                                      {0x51, Kind::query_position, "query pan position"},
                                      {0x53, Kind::query_position, "query tilt position"},
                                      {0x55, Kind::query_position, "query zoom position"},
                                      {0x59, Kind::other, "pan position reply %u"},
                                      {0x5B, Kind::other, "tilt position reply %u"},
                                      {0x5D, Kind::other, "zoom position reply %u"}};
    for (const Word& k : kWords) {
        if (k.w != w) continue;
        const bool reply = w >= 0x59;
        const unsigned shown = reply ? v16 : d2;
        if (k.k == Kind::query_position)
            say(f, "%s", k.text);
        else
            say(f, k.text, shown);
        f.value = static_cast<int>(k.k == Kind::query_position ? (w - 0x51) / 2 : shown);
        kind(f, k.k);
        return true;
    }
    return false;
}

bool short_word(Frame& f, Dialect d, unsigned w, unsigned d1, unsigned d2) {
    if ((d == Dialect::c1080b || d == Dialect::c1080pt) && c1080b_word(f, w, d1, d2)) return true;
    return w & 1 ? extended(f, w, d1, d2) : motion(f, w, d1, d2);
}

// The extended (11-byte) frames a dialect knows, requests and the camera's replies.
bool is_extended(Dialect d, uint8_t cmd) {
    switch (d) {
        case Dialect::c1080pt:
        case Dialect::wonwoo: return cmd == 0x91 || cmd == 0x93 || cmd == 0x9B;
        case Dialect::inos_v900:
            for (uint8_t c :
                 {0x93, 0xA3, 0xB3, 0xE0, 0xE2, 0x83, 0xA1, 0xB1, 0x9B, 0xAB, 0xBB, 0xE1, 0xE3, 0x8B})
                if (c == cmd) return true;
            return false;
        default: return false;
    }
}

Frame extended_frame(Dialect d, const uint8_t* p) {
    Frame f = good(11, p[1], p[3]);
    const uint8_t* v = p + 4;
    const unsigned a = be16(v), b = be16(v + 2), c = be16(v + 4);
    if (d != Dialect::inos_v900) {
        if (p[3] == 0x91) set_position(f, a, b, c);
        if (p[3] == 0x93) say(f, "query position"), kind(f, Kind::query_position);
        if (p[3] == 0x9B) say(f, "position reply pan %u tilt %u zoom %u", a, b, c), kind(f, Kind::other);
        return f;
    }
    struct Req {
        uint8_t cmd;
        const char* text;
    };
    static constexpr Req kRequests[] = {{0x93, "query sensor and switch status"},
                                        {0xA3, "query temperature"},
                                        {0xB3, "query humidity"},
                                        {0xE0, "query dust 1"},
                                        {0xE2, "query dust 2"},
                                        {0x83, "query firmware version"}};
    for (const Req& r : kRequests)
        if (r.cmd == p[3]) say(f, "%s", r.text), kind(f, Kind::query_other);
    switch (p[3]) {
        case 0xA1: say(f, "setting 0xa1 %c%u", v[1] == 1 ? '+' : '-', b); break;
        case 0xB1: say(f, "setting 0xb1 %u", b); break;
        case 0x9B: say(f, "status reply sensor 0x%02x switches 0x%04x", v[1], b); break;
        case 0xAB: say(f, "temperature reply %d", v[1] == 1 ? int(b) : -int(b)); break;
        case 0xBB: say(f, "humidity reply %u", b); break;
        case 0xE1: say(f, "dust 1 reply %u", v[3]); break;
        case 0xE3: say(f, "dust 2 reply %u", v[3]); break;
        case 0x8B: say(f, "version reply %02x:%02x:%02x -> %u", v[0], v[1], v[2], v[5]); break;
        default: break;
    }
    kind(f, Kind::other);
    return f;
}

Frame decode_ff(Dialect d, const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0xFF; })) return noise(skip);
    // Requests carry 00 in byte 2; a reply carries the device's status byte there.
    const bool reply = n >= 4 && (p[3] == 0x9B || p[3] == 0xAB || p[3] == 0xBB || p[3] == 0xE1 ||
                                  p[3] == 0xE3 || p[3] == 0x8B);
    const size_t len = n >= 4 && (p[2] == 0 || reply) && is_extended(d, p[3]) ? 11 : 7;
    if (n < len) return need_more();
    if (sum(p, 1, len - 2) != p[len - 1]) return bad_checksum(len);
    if (len == 11) return extended_frame(d, p);
    const unsigned w = be16(p + 2);
    Frame f = good(7, p[1], w);
    if (!short_word(f, d, w, p[4], p[5])) return unknown(7, w);
    return f;
}

Answer pelco7(uint8_t addr, unsigned type, unsigned value) {
    const uint8_t b[] = {0xFF, addr, 0x00, uint8_t(type), uint8_t(value >> 8), uint8_t(value)};
    return answer_of({b[0], b[1], b[2], b[3], b[4], b[5], uint8_t(sum(b, 1, 5))});
}

Answer extended_answer(uint8_t addr, uint8_t type, std::initializer_list<uint8_t> data) {
    Answer a = answer_of({0xFF, addr, 0x00, type});
    for (uint8_t b : data) a.bytes[a.size++] = b;
    while (a.size < 10) a.bytes[a.size++] = 0;
    a.bytes[a.size] = uint8_t(sum(a.bytes, 1, 9));
    ++a.size;
    return a;
}

}  // namespace

namespace family {

Frame pelco_d(const uint8_t* p, size_t n) { return decode_ff(Dialect::pelco, p, n); }
Frame c1080b(const uint8_t* p, size_t n) { return decode_ff(Dialect::c1080b, p, n); }
Frame c1080pt(const uint8_t* p, size_t n) { return decode_ff(Dialect::c1080pt, p, n); }
Frame wonwoo(const uint8_t* p, size_t n) { return decode_ff(Dialect::wonwoo, p, n); }
Frame inos_v900(const uint8_t* p, size_t n) { return decode_ff(Dialect::inos_v900, p, n); }

// One transmit record of the TVI camera's coax path.
Frame pelco_d_tvi(const uint8_t* p, size_t n) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [](uint8_t b) { return b == 0xFF; })) return noise(skip);
    static constexpr uint8_t kShape[] = {0xFF, 0xFF};
    for (size_t i = 0; i < 2 && i < n; ++i)
        if (p[i] != kShape[i]) return noise(1);
    if (n < 10) return truncated(n);
    if (p[5] != 0xFF || p[9] != 0x00) return fail(Status::unknown_command, 10, "not a TVI record");
    const unsigned w = be16(p + 3);
    if (((p[2] + p[3] + p[4] + p[6] + p[7]) & 0xFF) != p[8]) return bad_checksum(10);
    Frame f = good(10, p[2], w);
    if (!short_word(f, Dialect::pelco, w, p[6], p[7])) return unknown(10, w);
    return f;
}

// Pelco-D answers the three position queries, each with its own reply type: 0x59, 0x5B, 0x5D.
Answer pelco_d_answer(const Frame& f, const HeadState& h, int address) {
    if (!for_us(f, address) || f.kind != Kind::query_position) return {};
    const unsigned values[] = {pan_cdeg(h), tilt_cdeg(h), zoom_raw(h)};
    return pelco7(uint8_t(address), f.code + 8, values[(f.code - 0x51) / 2]);
}

// The C1080PT cameras answer the position request with pan, tilt and zoom big-endian.
Answer c1080pt_answer(const Frame& f, const HeadState& h, int address) {
    if (!for_us(f, address) || f.code != 0x93 || f.kind != Kind::query_position) return {};
    const unsigned p = pan_cdeg(h), t = tilt_cdeg(h), z = zoom_raw(h);
    return extended_answer(
        uint8_t(address), 0x9B,
        {uint8_t(p >> 8), uint8_t(p), uint8_t(t >> 8), uint8_t(t), uint8_t(z >> 8), uint8_t(z)});
}

Answer inos_v900_answer(const Frame& f, const HeadState& h, int address) {
    if (!for_us(f, address) || f.kind != Kind::query_other) return {};
    const uint8_t a = uint8_t(address);
    const unsigned t = static_cast<unsigned>(h.temperature < 0 ? -h.temperature : h.temperature);
    switch (f.code) {
        case 0x93:
            return extended_answer(a, 0x9B, {0, h.sensor, uint8_t(h.switches >> 8), uint8_t(h.switches)});
        case 0xA3:
            return extended_answer(a, 0xAB, {0, uint8_t(h.temperature >= 0), uint8_t(t >> 8), uint8_t(t)});
        case 0xB3: return extended_answer(a, 0xBB, {0, 0, uint8_t(h.humidity >> 8), uint8_t(h.humidity)});
        case 0xE0: return extended_answer(a, 0xE1, {0, 0, 0, uint8_t(h.dust1)});
        case 0xE2: return extended_answer(a, 0xE3, {0, 0, 0, uint8_t(h.dust2)});
        case 0x83:
            return extended_answer(a, 0x8B,
                                   {h.version[0], h.version[1], h.version[2], 0, 0, h.version_result});
        default: return {};
    }
}

// INOS answers the zero frame that ends every move with its pan: FF, address, pan, sum of bytes 1..2. The
// recorder reads four bytes from the start byte and takes byte 2; a full turn is 256 steps here.
Answer inos_answer(const Frame& f, const HeadState& h, int address) {
    if (!for_us(f, address) || f.kind != Kind::stop) return {};
    const uint8_t step = uint8_t(pan_cdeg(h) * 256 / 36000);
    return answer_of({0xFF, uint8_t(address), step, uint8_t(address + step)});
}

// SMARTFARM answers a stop with a 7-byte status frame; the recorder only logs it. This head reports an
// idle word: FF, address, 00 00 00 00, sum.
Answer smartfarm_answer(const Frame& f, const HeadState&, int address) {
    if (!for_us(f, address) || f.kind != Kind::stop) return {};
    return pelco7(uint8_t(address), 0, 0);
}

}  // namespace family

// Between transfers the line is an ordinary C1080B line; the start-address frame ends the handshake, and the
// image of the announced size follows in blocks of 1024 bytes (the last one shorter), then the trailer.
Frame UpgradeStream::decode(const uint8_t* p, size_t n) {
    if (phase_ == Phase::idle) {
        Frame f = family::c1080b(p, n);
        if (f.status != Status::ok) return f;
        if ((f.code >> 8) == 0x58) size_ = static_cast<uint32_t>(f.value);
        if (f.code == 0x6800) {
            phase_ = size_ ? Phase::image : Phase::trailer;
            done_ = 0;
            sum_ = 0;
        }
        return f;
    }
    if (n == 0) return need_more();
    if (phase_ == Phase::image) {
        const uint32_t block_left = 1024 - done_ % 1024;
        const uint32_t take = static_cast<uint32_t>(std::min<size_t>({n, size_ - done_, block_left}));
        Frame f = good(take, -1, 0);
        for (uint32_t i = 0; i < take; ++i) sum_ = uint8_t(sum_ + p[i]);
        say(f, "image bytes %u..%u of %u (block %u)", done_, done_ + take - 1, size_, done_ / 1024 + 1);
        kind(f, Kind::other);
        done_ += take;
        if (done_ == size_) phase_ = Phase::trailer;
        return f;
    }
    if (n < 3) return need_more();
    phase_ = Phase::idle;
    const uint32_t size = size_;
    size_ = 0;
    if (p[1] != 0x65 || p[2] != 0x00) return fail(Status::unknown_command, 3, "not an upgrade trailer");
    if (p[0] != sum_)
        return fail(Status::bad_checksum, 3, "image checksum 0x%02x, trailer says 0x%02x", sum_, p[0]);
    Frame f = good(3, -1, 0);
    say(f, "upgrade trailer, %u bytes, checksum 0x%02x", size, sum_);
    kind(f, Kind::other);
    return f;
}

}  // namespace ptzcam
