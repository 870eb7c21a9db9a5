// Small pieces every decoder of the ptzcam protocol library shares: building a result, naming a move,
// checksums and start-byte hunting.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "proto.h"

namespace ptzcam::detail {

inline Frame result(Status s, size_t length) {
    Frame f;
    f.status = s;
    f.length = length;
    return f;
}

// A failure covering `length` bytes, with its reason.
[[gnu::format(printf, 3, 4)]] inline Frame fail(Status s, size_t length, const char* fmt, ...) {
    Frame f = result(s, length);
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(f.reason, sizeof f.reason, fmt, ap);
    va_end(ap);
    return f;
}
inline Frame need_more() { return result(Status::need_more, 0); }
// A coax transmit record shorter than its frame: nothing more will come for it.
inline Frame truncated(size_t n) { return fail(Status::truncated, n, "truncated"); }
inline Frame bad_checksum(size_t length) { return fail(Status::bad_checksum, length, "bad checksum"); }
inline Frame unknown(size_t length, unsigned code) {
    return fail(Status::unknown_command, length, "unknown command 0x%02x", code);
}

inline Frame good(size_t length, int address, uint32_t code) {
    Frame f = result(Status::ok, length);
    f.address = address;
    f.code = code;
    return f;
}

// Appends one clause to the meaning, separated from the previous one by ", ".
[[gnu::format(printf, 2, 3)]] inline void say(Frame& f, const char* fmt, ...) {
    size_t used = std::strlen(f.meaning);
    if (used && used + 2 < sizeof f.meaning) {
        std::memcpy(f.meaning + used, ", ", 3);
        used += 2;
    }
    va_list ap;
    va_start(ap, fmt);
    std::vsnprintf(f.meaning + used, sizeof f.meaning - used, fmt, ap);
    va_end(ap);
}

// Sets the kind unless an earlier clause of the same frame already did (a move carrying a zoom stays a move).
inline void kind(Frame& f, Kind k) {
    if (f.kind == Kind::none) f.kind = k;
}

// A pan or tilt direction: -1 left/down, +1 right/up. Speed 0 with a direction is still a move; a frame
// that carries no speed (speed < 0) gives the direction alone, as speed 1.
inline void axis(Frame& f, int& out, int& out_dir, const char* name, const char* word, int dir, int speed) {
    out = dir * (speed < 0 ? 1 : speed);
    out_dir = dir;
    if (speed < 0)
        say(f, "%s %s", name, word);
    else
        say(f, "%s %s %d", name, word, speed);
    kind(f, Kind::move);
}
inline void pan(Frame& f, int dir, int speed) {
    axis(f, f.pan, f.pan_dir, "pan", dir < 0 ? "left" : "right", dir, speed);
}
inline void tilt(Frame& f, int dir, int speed) {
    axis(f, f.tilt, f.tilt_dir, "tilt", dir < 0 ? "down" : "up", dir, speed);
}
// Pan and tilt from a direction pair, speeds already known; no direction on either axis is a stop.
inline void pan_tilt(Frame& f, int pdir, int pspeed, int tdir, int tspeed) {
    if (pdir) pan(f, pdir, pspeed);
    if (tdir) tilt(f, tdir, tspeed);
    if (!pdir && !tdir) {
        say(f, "stop");
        kind(f, Kind::stop);
    }
}

// Zoom, focus and iris: dir +1 tele/far/open, -1 wide/near/close; speed < 0 when the frame carries none.
inline void lens(Frame& f, Kind k, int dir, int speed = -1) {
    static constexpr const char* kNames[3][3] = {{"zoom wide", "zoom", "zoom tele"},
                                                 {"focus near", "focus", "focus far"},
                                                 {"iris close", "iris", "iris open"}};
    const int row = k == Kind::zoom ? 0 : k == Kind::focus ? 1 : 2;
    if (speed >= 0)
        say(f, "%s %d", kNames[row][dir + 1], speed);
    else
        say(f, "%s", kNames[row][dir + 1]);
    if (f.kind == Kind::none) f.value = dir;
    kind(f, k);
}

inline void stop(Frame& f) {
    say(f, "stop");
    kind(f, Kind::stop);
}

// Presets, aux outputs and other numbered commands.
inline void numbered(Frame& f, Kind k, int n) {
    static constexpr const char* kWords[] = {"go to preset", "set preset", "clear preset", "aux", "aux"};
    const int i = static_cast<int>(k) - static_cast<int>(Kind::goto_preset);
    if (k == Kind::aux_on || k == Kind::aux_off)
        say(f, "aux %d %s", n, k == Kind::aux_on ? "on" : "off");
    else
        say(f, "%s %d", kWords[i], n);
    f.value = n;
    kind(f, k);
}

inline void set_position(Frame& f, uint32_t p, uint32_t t, uint32_t z) {
    f.abs_pan = p;
    f.abs_tilt = t;
    f.abs_zoom = z;
    say(f, "set position pan %u tilt %u zoom %u", p, t, z);
    kind(f, Kind::set_position);
}

inline unsigned sum(const uint8_t* p, size_t from, size_t to) {  // bytes from..to inclusive, mod 256
    unsigned s = 0;
    for (size_t i = from; i <= to; ++i) s += p[i];
    return s & 0xFF;
}
inline unsigned xor_of(const uint8_t* p, size_t from, size_t to) {
    unsigned s = 0;
    for (size_t i = from; i <= to; ++i) s ^= p[i];
    return s;
}
inline unsigned be16(const uint8_t* p) { return p[0] << 8 | p[1]; }

// The bytes before the first one that may start a frame: noise, or nothing when p[0] may start one.
template <class Pred>
inline size_t junk(const uint8_t* p, size_t n, Pred is_start) {
    size_t i = 0;
    while (i < n && !is_start(p[i])) ++i;
    return i;
}
inline Frame noise(size_t length) { return fail(Status::noise, length, "noise"); }

// Frames with a start byte, a fixed length, an optional fixed end mark and a checksum: the common hunt,
// wait, mark and check. An ok result still needs its address, code and meaning.
template <class Check>
Frame framed(const uint8_t* p, size_t n, uint8_t start, size_t len, Check check, size_t mark_at = 0,
             uint8_t mark = 0) {
    if (n == 0) return need_more();
    if (size_t skip = junk(p, n, [start](uint8_t b) { return b == start; })) return noise(skip);
    if (n < len) return need_more();
    if (mark_at && p[mark_at] != mark) return noise(1);
    if (!check(p)) return bad_checksum(len);
    return good(len, -1, 0);
}

// Answers.
inline Answer answer_of(std::initializer_list<uint8_t> bytes) {
    Answer a;
    for (uint8_t b : bytes) a.bytes[a.size++] = b;
    return a;
}
inline bool for_us(const Frame& f, int address) {
    return f.status == Status::ok && (f.address < 0 || f.address == address);
}
// Head angles in hundredths of a degree as a camera reports them: pan 0..35999, a negative tilt as 36000 + t.
inline unsigned pan_cdeg(const HeadState& h) {
    long v = static_cast<long>(h.pan) % 36000;
    return static_cast<unsigned>(v < 0 ? v + 36000 : v);
}
inline unsigned tilt_cdeg(const HeadState& h) {
    long v = static_cast<long>(h.tilt) % 36000;
    return static_cast<unsigned>(v < 0 ? v + 36000 : v);
}
inline unsigned zoom_raw(const HeadState& h) {
    return h.zoom <= 0 ? 0 : h.zoom >= 65535 ? 65535 : static_cast<unsigned>(h.zoom);
}

}  // namespace ptzcam::detail

// The decoders and answers of every protocol family, gathered by the registry.
namespace ptzcam::family {
using Decode = Frame(const uint8_t*, size_t);
using Reply = Answer(const Frame&, const HeadState&, int);
Decode pelco_d, pelco_d_tvi, c1080b, c1080pt, wonwoo, inos_v900;
Reply pelco_d_answer, c1080pt_answer, inos_v900_answer, inos_answer, smartfarm_answer;
}  // namespace ptzcam::family
namespace ptzcam::family {
Decode pelco_p, samsung_e, panasonic, autodome, vcc4, vicon;
Reply vcc4_answer;
}  // namespace ptzcam::family
namespace ptzcam::family {
Decode spd, spd_variant, srx100b, sj, adi, stx, three_byte, letter, scandome, scandome2;
Reply spd_answer;
}  // namespace ptzcam::family
namespace ptzcam::family {
Decode ez, f2e, orx1000, hunt, ptc107_203, hikc, hda;
Reply ez_answer, f2e_answer;
}  // namespace ptzcam::family
