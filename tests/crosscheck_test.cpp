// Every driver against the ptzcam decoders: a command goes through the daemon on the simulated board, every
// byte the board records is read back by the protocol's decoder, and the reading must be the meaning the
// command asked for. The decoders were written apart from the drivers, so a disagreement is a fault in one
// of the two; each row names what the camera is meant to do, not the bytes.
#include <climits>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <string>
#include <string_view>
#include <tuple>

#include "devices/inos_v900.h"
#include "proto.h"
#include "protocols/drivers.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

using ptzcam::Frame;
using ptzcam::Kind;
using ptzcam::Status;

constexpr int kAny = INT_MIN;

// What one frame must mean: kind, the direction signs of a move, the lens direction or the preset or aux
// number, set-position values, and the words where only they tell (menu keys).
struct Want {
    Kind kind;
    int pan = 0, tilt = 0;
    int value = kAny;
    uint32_t pos[3] = {};
    const char* text = nullptr;
    int address = kAny;                       // kAny: the camera's own
    int pan_speed = kAny, tilt_speed = kAny;  // of a move, as the frame carries them
};
Want M(int pan, int tilt) { return {Kind::move, pan, tilt}; }
Want V(Kind k, int v) { return {k, 0, 0, v}; }
Want F(int dir) { return V(Kind::focus, dir); }
Want I(int dir) { return V(Kind::iris, dir); }
Want GO(int n) { return V(Kind::goto_preset, n); }
Want SET(int n) { return V(Kind::set_preset, n); }
Want ON(int n) { return V(Kind::aux_on, n); }
Want OFF(int n) { return V(Kind::aux_off, n); }
Want MENU(const char* text) { return {Kind::menu, 0, 0, kAny, {}, text}; }
Want OTHER(const char* text) { return {Kind::other, 0, 0, kAny, {}, text}; }
Want POS(uint32_t p, uint32_t t, uint32_t z) { return {Kind::set_position, 0, 0, kAny, {p, t, z}}; }
Want at(Want w, int address) { return w.address = address, w; }
const Want S{Kind::stop}, O{Kind::other};

struct Row {
    Bytes cmd;
    std::vector<Want> want;  // every frame the command puts on the line, in order
};

using Driver = void(Daemon&, int, uint16_t, uint8_t*);
// How a protocol is reached: the decoder, the model and line of channel 0, the address the frames must name.
struct Line {
    const char* proto;
    uint16_t model;
    int address = 5;  // configured; -1: the frames carry none
    int port = 2;
    int coc_type = 0;
    Driver* direct = nullptr;  // drivers no model_id selects yet, called straight
};

Bytes ms(uint8_t x, uint8_t y, uint16_t action = 0) { return mv(x, y, action, 1); }  // with a stop after
Bytes go(uint16_t n) { return CmdBuilder(0xE014).arg16(n); }
Bytes set(uint16_t n) { return CmdBuilder(0xE020).action(n); }
Bytes clr(uint16_t n) { return CmdBuilder(0xE022).action(n); }
const Bytes kStop = CmdBuilder(0xE013);

int sign(int v) { return (v > 0) - (v < 0); }

std::string show(const std::vector<Frame>& frames) {
    std::string s;
    for (const Frame& f : frames)
        s += std::string("\n  [") + (f.status == Status::ok ? f.meaning : f.reason) + "] address " +
             std::to_string(f.address) + " length " + std::to_string(f.length);
    return s;
}

class CrossCheck : public DaemonTest {
protected:
    using Decode = std::function<Frame(const uint8_t*, size_t)>;

    // Reads every recorded byte: a coax record is one whole frame, a serial line a stream of frames.
    static std::vector<Frame> read(const Decode& decode, const std::vector<Bytes>& records, bool coax) {
        std::vector<Frame> out;
        Bytes stream;
        for (const Bytes& r : records) {
            if (coax) {
                out.push_back(decode(r.data(), r.size()));
                if (out.back().length != r.size()) out.back().status = Status::truncated;
            } else {
                stream.insert(stream.end(), r.begin(), r.end());
            }
        }
        for (size_t at = 0; at < stream.size();) {
            out.push_back(decode(stream.data() + at, stream.size() - at));
            if (out.back().status != Status::ok || out.back().length == 0) break;
            at += out.back().length;
        }
        return out;
    }

    static void compare(const std::vector<Frame>& got, const std::vector<Want>& want, int address) {
        ASSERT_EQ(got.size(), want.size()) << show(got);
        for (size_t i = 0; i < got.size(); ++i) {
            const Frame& f = got[i];
            const Want& w = want[i];
            SCOPED_TRACE("frame " + std::to_string(i) + show({f}));
            ASSERT_EQ(f.status, Status::ok);
            EXPECT_EQ(f.address, w.address == kAny ? address : w.address);
            EXPECT_EQ(f.kind, w.kind);
            EXPECT_EQ(f.pan_dir, w.pan);
            EXPECT_EQ(f.tilt_dir, w.tilt);
            EXPECT_TRUE(f.pan == 0 || sign(f.pan) == f.pan_dir) << f.pan;
            EXPECT_TRUE(f.tilt == 0 || sign(f.tilt) == f.tilt_dir) << f.tilt;
            EXPECT_TRUE(!w.pan || w.pan_speed == kAny || f.pan == w.pan * w.pan_speed) << w.pan_speed;
            EXPECT_TRUE(!w.tilt || w.tilt_speed == kAny || f.tilt == w.tilt * w.tilt_speed) << w.tilt_speed;
            EXPECT_TRUE(w.value == kAny || f.value == w.value) << w.value;
            if (w.kind == Kind::set_position) {
                EXPECT_EQ(f.abs_pan, w.pos[0]);
                EXPECT_EQ(f.abs_tilt, w.pos[1]);
                EXPECT_EQ(f.abs_zoom, w.pos[2]);
            }
            EXPECT_TRUE(!w.text || std::string_view(f.meaning) == w.text) << w.text;
        }
    }

    // Channel 0 set up for the line, the daemon started; the line's decoder.
    const ptzcam::Protocol* setup(const Line& l) {
        const ptzcam::Protocol* p = ptzcam::find_protocol(l.proto);
        EXPECT_NE(p, nullptr) << l.proto;
        EXPECT_TRUE(!p || l.direct || l.coc_type == 3 || ptzcam::protocol_for_model(l.model) == p) << l.model;
        sysvar("coc_type", l.coc_type);
        channel(0, l.port, l.model, static_cast<uint16_t>(l.address < 0 ? 9 : l.address));
        start();
        return p;
    }

    // One command through the daemon (or straight into the driver), every byte it put on the line read.
    std::vector<Frame> run(const Line& l, const ptzcam::Protocol& p, const Bytes& command) {
        board.clear_calls();
        d->last_cmd = {};  // each command on its own, not as a repeat of the one before
        Bytes cmd = command;
        cmd.resize(kMinCommandBuffer, 0);
        if (l.direct)
            l.direct(*d, l.port, static_cast<uint16_t>(l.address), cmd.data());
        else
            eptz_handler(*d, 0, cmd.data());
        return read(p.decode, p.coax ? coax_frames() : writes(), p.coax);
    }

    // `pick`: each row names only the command's first frame of these kinds; the others are not looked at.
    void check(const Line& l, const std::vector<Row>& rows, std::vector<Kind> pick = {}) {
        const ptzcam::Protocol* p = setup(l);
        ASSERT_NE(p, nullptr);
        for (size_t i = 0; i < rows.size(); ++i) {
            SCOPED_TRACE(std::string(l.proto) + " row " + std::to_string(i));
            std::vector<Frame> got = run(l, *p, rows[i].cmd);
            if (!pick.empty()) {
                const auto it = std::find_if(got.begin(), got.end(), [&](const Frame& f) {
                    return f.status != Status::ok ||
                           std::find(pick.begin(), pick.end(), f.kind) != pick.end();
                });
                got = it == got.end() ? std::vector<Frame>{} : std::vector<Frame>{*it};
            }
            compare(got, rows[i].want, l.address);
        }
    }
};

// The pan/tilt decision from the joystick's words. `regions`: a dead band around the centre, the four
// diagonals, then the stronger axis by the two diagonals through the centre; `axes`: each axis on its own
// against the dead band; `stronger`: the stronger axis alone, no dead band. `speeds`: what the frame carries
// for a moving axis, from the distances of x and y to the centre and the decision; `lens`: the zoom (key 1)
// or focus (key 2) speed a lens frame carries at x, -1 for none, kAny where no lens frame is looked at.
using Reference = std::pair<int, int>(int x, int y);
using Speeds = std::pair<int, int>(int dx, int dy, int pan, int tilt);
using LensSpeed = int(int key, int x);
struct Decision {
    enum Rule : uint8_t { regions, axes, stronger, none } rule = regions;
    int lo = 62, hi = 66;                                            // the dead band
    enum Nowhere : uint8_t { stop, repeat, silent } nowhere = stop;  // a move that points nowhere
    Reference* own = nullptr;                                        // a protocol's own rule
    Speeds* speeds = nullptr;
    LensSpeed* lens = nullptr;
};
std::pair<int, int> reference(int x, int y, const Decision& r) {
    if (r.own) return r.own(x, y);
    const int pan = x < r.lo ? -1 : x > r.hi ? 1 : 0, tilt = y < r.lo ? -1 : y > r.hi ? 1 : 0;
    if (r.rule == Decision::axes || (r.rule == Decision::regions && pan && tilt)) return {pan, tilt};
    if (x < y && 128 - x > y) return {-1, 0};
    if (x > y && 128 - x < y) return {1, 0};
    if (128 - x > y && x > y) return {0, -1};
    if (x < y && 128 - x < y) return {0, 1};
    return {0, 0};
}

// ORX1000: no dead band on pan; tilt up above 0x40, down below 0x3F.
std::pair<int, int> orx1000(int x, int y) { return {x < 0x40 ? -1 : x > 0x40, y > 0x40 ? 1 : -(y < 0x3F)}; }
// INOS: the larger distance from the centre wins, a tie goes to tilt, and a tilt not above it is down.
std::pair<int, int> inos(int x, int y) {
    const int dx = x - 0x40, dy = y - 0x40;
    if (std::abs(dx) <= std::abs(dy)) return {0, dy < 1 ? -1 : 1};
    return {dx < 0 ? -1 : 1, 0};
}

// The speeds of a move, each protocol by its own rule.
std::pair<int, int> distance(int dx, int dy, int, int) { return {dx, dy}; }
template <int S>
std::pair<int, int> fixed(int, int, int, int) {
    return {S, S};
}
// Panasonic: a quarter of the distance, one hex digit.
std::pair<int, int> quarter_digit(int dx, int dy, int, int) {
    return {std::min(dx / 4, 15), std::min(dy / 4, 15)};
}
// AutoDome: a quarter of the distance; the pan speed's 5-bit field keeps four bits in the 7-bit bytes.
std::pair<int, int> autodome_speeds(int dx, int dy, int, int) { return {dx / 4 & 0xF, dy / 4}; }
// Vicon: 16 per step, in 11 bits.
std::pair<int, int> vicon_speeds(int dx, int dy, int, int) { return {dx * 16 & 0x7FF, dy * 16 & 0x7FF}; }
// HUNT: one speed for both, four times the larger distance, never 0 and at most 239.
std::pair<int, int> hunt_speeds(int dx, int dy, int, int) {
    const int s = std::max(dx, dy) * 4 & 0xFC;
    return {s ? std::min(s, 239) : 1, s ? std::min(s, 239) : 1};
}
// STX-framed: fast from 31 on, judged by the pan distance unless the move is up or down alone.
std::pair<int, int> two_step(int dx, int dy, int pan, int) {
    const int s = (pan ? dx : dy) >= 31;
    return {s, s};
}
// Three-byte: an eighth of each distance, the tilt's from bit 3, OR-ed into one 6-bit field.
std::pair<int, int> three_byte_speeds(int dx, int dy, int pan, int tilt) {
    const int p = dx / 8, t = dy / 8, data = (pan && tilt ? t * 8 | p : pan ? p : t * 8) & 0x3F;
    return {data & 7, data >> 3 & 7};
}
// Letter-command: four times each distance.
std::pair<int, int> times_four(int dx, int dy, int, int) { return {dx * 4 & 0xFC, dy * 4 & 0xFF}; }
// SPD variant: 56 and more as 64.
std::pair<int, int> shaped(int dx, int dy, int, int) { return {dx >= 56 ? 64 : dx, dy >= 56 ? 64 : dy}; }
// ScanDome: an eighth of the distance, at least one step.
std::pair<int, int> eighth(int dx, int dy, int, int) { return {std::max(dx / 8, 1), std::max(dy / 8, 1)}; }

int dist(int x) { return std::abs(x - 0x40); }
int raw_lens(int, int x) { return x != 0x40 ? dist(x) : kAny; }
// Panasonic: the nibble, high side (x - 64) / 16 (0 is the stop), low side (64 - x) / 16 OR 4, spoken as
// its low two bits. From x = 128 on the high side's nibbles are the low side's.
int nibble_lens(int, int x) {
    if (x == 0x40 || x >= 0x80 || (x > 0x40 && dist(x) < 16)) return kAny;
    return x > 0x40 ? dist(x) / 16 : (dist(x) / 16 | 4) & 3;
}
// AutoDome: zoom (x - 64) AND 0x78, doubled, 0x7F from bit 7 on; focus none of its own.
int autodome_lens(int key, int x) {
    const int z = (dist(x) & 0x78) * 2;
    return x == 0x40 ? kAny : key == 1 ? (z & 0x80 ? 0x7F : z) : 0;
}
int spd_lens(int key, int x) { return x == 0x40 ? kAny : key == 1 ? dist(x) / 8 : 0x40; }
int eighth_lens(int, int x) { return x == 0x40 ? kAny : dist(x) / 8; }
int srx_lens(int, int x) { return x == 0x40 ? kAny : 4; }
int two_step_lens(int, int x) { return x == 0x40 ? kAny : dist(x) >= 31; }
// Letter-command: four times the distance below the centre, four times x above it.
int letter_lens(int, int x) { return x <= 0x40 ? dist(x) * 4 & 0xFF : x * 4 & 0xFC; }
// HUNT: four times the distance, never 0, at most 239.
int hunt_lens(int, int x) {
    const int s = dist(x) * 4 & 0xFF;
    return x == 0x40 ? kAny : s ? std::min(s, 239) : 1;
}
// EZ and F2E: an eighth of the distance, at most 7; no focus speed.
int ez_lens(int key, int x) { return x == 0x40 ? kAny : key == 1 ? std::min(dist(x) / 8, 7) : -1; }

// Each protocol once, with what sets it apart: its move decision, its lens keys (per key, what x = 0, 32,
// 63, 64, 65, 80 and 127 ask for: '-' wide/near/close, '+' tele/far/open, '0' a stop, '.' no lens frame,
// '?' left open; no string: other keys resend the last word), its preset operations (go to, store, clear,
// each with the highest number its frame carries where that is not 255), the addresses its field takes
// and a command that names one.
struct Proto {
    Line line;
    Decision move;
    const char* keys[3];  // zoom, focus, iris
    const char* presets = "";
    std::vector<int> addresses = {};
    Row probe = {kStop, {S}};
};
const Decision kAxes{.rule = Decision::axes}, kNoSweep{.rule = Decision::none};
const char *const kPlain = "----+++", *const kStopped = "---0+++", *const kNone = "0000000",
                  *const kNo = ".......";
const std::vector<int> kByte = {0, 1, 255};
// clang-format off
const Proto kProtos[] = {
    {{"pelco-d", 0x1600}, {.speeds = distance}, {kPlain, kPlain, kPlain}, "gsc", {0, 1, 127, 255}},
    {{"pelco-d-tvi", 0x1600, 5, 5, 3}, {.rule = Decision::axes, .speeds = fixed<0x24>}, {kPlain, "++++---", kPlain}, "", kByte},
    {{"pelco-p", 0x1601}, {.speeds = distance, .lens = raw_lens}, {kStopped, "+++0---", kNone}, "gsc", {1, 2, 31, 32}},
    {{"samsung-e", 0x1904}, {.lo = 48, .hi = 80, .speeds = distance}, {kStopped, kStopped, kNone}, "gs", kByte},
    {{"panasonic", 0x1602}, {.speeds = quarter_digit, .lens = nibble_lens}, {"---00++", "---00++", kNo}, "g256s156", {0, 1, 9, 10, 99}, {go(1), {O, GO(1)}}},
    {{"autodome", 0x200}, {.speeds = autodome_speeds, .lens = autodome_lens}, {kStopped, kStopped, kPlain}, "gs", {0, 1, 255, 256, 257, 0x1234}},
    {{"autodome", 0x201}, {}, {kStopped, kStopped, kNone}, "gs", {1, 256, 0xFFFF}},
    {{"vcc4", 0x300}, kAxes, {kPlain, "---.+++", kNo}, "gs"},  // opens every command to all heads (address 0)
    {{"vicon", 0x2202}, {.rule = Decision::axes, .speeds = vicon_speeds}, {kStopped, kStopped, kPlain}, "gs", {0, 1, 15, 16, 0x23, 255}},
    {{"hikc", 0x808, -1, 5}, {.nowhere = Decision::repeat}, {kPlain, kPlain, kPlain}, "gsc"},
    {{"hda", 0x809, -1, 5}, {}, {kPlain, kPlain, kPlain}, "gs"},
    {{"c1080b", 0x2302}, {}, {kPlain, "++++---", kPlain}, "sc", kByte, {set(1), {SET(1)}}},
    {{"ptc107", 0x1600, 5, 2, 0, PTC107_PTZ}, {}, {kStopped, kStopped, kNo}, "", kByte},
    {{"ptc203", 0x1600, 5, 2, 0, PTC203_PTZ}, {}, {kStopped, kStopped, kNo}},
    {{"ez", 0x1400}, {.rule = Decision::axes, .lo = 64, .hi = 64, .speeds = distance, .lens = ez_lens}, {kStopped, kStopped, kPlain}, "gsc", {0, 1, 255, 256, 0x123, 0xFFF}},
    {{"f2e", 0x2300}, {.rule = Decision::axes, .lo = 64, .hi = 64, .speeds = distance, .lens = ez_lens}, {kStopped, kStopped, kPlain}, "gsc", {0, 1, 256, 0xFFF}},
    {{"orx1000", 0x1500, 123}, {.own = orx1000}, {kPlain, kPlain, kNo}, "", {0, 1, 9, 10, 99, 100, 123, 999}, {kStop, {S, S}}},
    {{"hunt", 0x801}, {.rule = Decision::axes, .lo = 63, .hi = 65, .nowhere = Decision::silent, .speeds = hunt_speeds, .lens = hunt_lens}, {"---.+++", "---.+++", kPlain}, "gs", {0, 1, 31, 32, 1023}, {go(1), {GO(1)}}},
    {{"inos", 0x900}, {.own = inos, .speeds = fixed<0x30>}, {kPlain, nullptr, nullptr}, "", kByte, {CmdBuilder(0xE0A6), {S}}},
    {{"inos-v900", 0x901}, kNoSweep, {}, "gs", kByte, {go(1), {GO(1), V(Kind::query_other, kAny)}}},
    {{"smartfarm", 0x1600, 5, 2, 0, PTZAction_SMARTFARM}, {}, {kPlain, "++++---", kPlain}, "", kByte},
    {{"c1080pt", 0x302}, kNoSweep, {kPlain, kPlain, kPlain}, "gsc", kByte, {go(1), {GO(1)}}},
    {{"c1080pt-wonwoo", 0x303}, kNoSweep, {kPlain, kPlain, kPlain}, "gsc", kByte, {aux(1), {ON(1)}}},
    {{"sj", 0x1903}, {.rule = Decision::stronger}, {kStopped, kStopped, kNone}, "g23s15", kByte},
    {{"srx-100b", 0x1901}, {.rule = Decision::axes, .speeds = fixed<0x3F>, .lens = srx_lens}, {kStopped, kStopped, kNone}, "", kByte},
    {{"adi", 0x100}, kNoSweep, {"---++++", "---++++", kPlain}, "g", kByte, {go(2), {GO(2)}}},
    {{"stx-framed", 0x1200}, {.speeds = two_step, .lens = two_step_lens}, {kStopped, kStopped, kNone}, "", kByte},
    {{"three-byte", 0x1300}, {.speeds = three_byte_speeds}, {kStopped, kStopped, kNone}, "g", {0, 1, 0x3F}},
    {{"letter-command", 0x2200}, {.speeds = times_four, .lens = letter_lens}, {kPlain, kPlain, kNo}, "gs", {0, 1, 127, 128, 0x3FFF}, {go(1), {GO(1)}}},
    {{"spd", 0x1900}, {.rule = Decision::axes, .speeds = distance, .lens = spd_lens}, {kStopped, kStopped, kNone}, "gsc", kByte},
    {{"spd-variant", 0x2201}, {.rule = Decision::axes, .speeds = shaped, .lens = eighth_lens}, {kStopped, kStopped, kNone}, "gsc", kByte},
    {{"scandome", 0x802}, {.rule = Decision::axes, .speeds = eighth}, {"---?+++", "---?+++", nullptr}, "gsc", kByte, {set(1), {SET(1)}}},
    {{"scandome2", 0x804}, {.rule = Decision::stronger, .speeds = fixed<7>}, {"---?+++", "---?+++", nullptr}, "", kByte},
};
// clang-format on

TEST_F(CrossCheck, MoveDecisionSweep) {
    const uint8_t points[] = {0, 1, 20, 47, 48, 49, 61, 62, 63, 64, 65, 66, 67, 79, 80, 81, 100, 126, 127};
    for (const Proto& p : kProtos) {
        if (p.move.rule == Decision::none) continue;
        std::vector<Row> rows;
        std::pair<int, int> last{0, 0};
        for (uint8_t x : points) {
            for (uint8_t y : points) {
                auto [pan, tilt] = reference(x, y, p.move);
                if (p.move.nowhere == Decision::repeat && !pan && !tilt) std::tie(pan, tilt) = last;
                last = {pan, tilt};
                Want w = pan || tilt ? M(pan, tilt) : S;
                if (p.move.speeds)
                    std::tie(w.pan_speed, w.tilt_speed) = p.move.speeds(dist(x), dist(y), pan, tilt);
                std::vector<Want> want{w};
                if (p.move.nowhere == Decision::silent && !pan && !tilt) want.clear();
                rows.push_back({ms(x, y), want});
            }
        }
        SCOPED_TRACE(p.line.model);
        check(p.line, rows, {Kind::move, Kind::stop});
    }
}

// The number closing a frame's first clause ("zoom tele 3"), -1 when it has none.
int spoken_speed(const Frame& f) {
    const std::string_view m = std::string_view(f.meaning).substr(0, std::string_view(f.meaning).find(','));
    const size_t at = m.find_last_not_of("0123456789");
    return at + 1 < m.size() && m[at] == ' ' ? std::atoi(m.data() + at + 1) : -1;
}

// The lens keys' directions at the seven points, then the zoom and focus speeds over every x: the first lens
// frame of the key's kind must carry the protocol's.
TEST_F(CrossCheck, LensKeySweep) {
    const uint8_t points[] = {0, 32, 63, 64, 65, 80, 127};
    const Kind kinds[] = {Kind::zoom, Kind::focus, Kind::iris};
    for (const Proto& p : kProtos) {
        std::vector<Row> rows;
        for (uint16_t action = 1; action <= 3; ++action) {
            for (size_t i = 0; p.keys[action - 1] && i < std::size(points); ++i) {
                const char c = p.keys[action - 1][i];
                if (c == '?') continue;
                const Kind k = kinds[action - 1];
                rows.push_back({ms(points[i], 0x40, action),
                                c == '.' ? std::vector<Want>{}
                                         : std::vector<Want>{c == '0' ? S : V(k, c == '+' ? 1 : -1)}});
            }
        }
        SCOPED_TRACE(p.line.model);
        check(p.line, rows, {Kind::zoom, Kind::focus, Kind::iris, Kind::stop});
        for (uint16_t key = 1; p.move.lens && key <= 2; ++key) {
            for (int x = 0; x <= 0xFF; ++x) {
                const int want = p.move.lens(key, x);
                if (want == kAny) continue;
                const std::vector<Frame> got =
                    run(p.line, *ptzcam::find_protocol(p.line.proto), ms(static_cast<uint8_t>(x), 0x40, key));
                const auto f = std::find_if(got.begin(), got.end(),
                                            [&](const Frame& g) { return g.kind == kinds[key - 1]; });
                ASSERT_NE(f, got.end()) << "key " << key << " x " << x << show(got);
                EXPECT_EQ(spoken_speed(*f), want) << "key " << key << " x " << x << show({*f});
            }
        }
    }
}

// The Pelco-D aux table in the vocabulary's words: what aux code v, on or off, asks the camera for.
std::vector<Want> pelco_d_aux(int v, bool on) {
    const auto in = [&v](int lo, int hi) { return v >= lo && v <= hi; };
    if (v == 110) v = 561;
    if (v == 111) v = 551;
    if (in(1, 7) || v == 9) return {on ? ON(v) : OFF(v)};
    if (v == 130) return {I(on ? 1 : -1), S};
    if (v == 502) return {SET(244)};
    if (v == 533 || v == 534) return {GO(v - 500)};
    if (in(551, 558)) return {V(Kind::other, v - 550)};
    if (in(560, 568)) return {V(Kind::other, v - 560)};
    if (in(570, 578)) return {V(Kind::other, v - 570 + 16)};
    if (v == 588) return {GO(on ? 88 : 89)};
    if (v == 590 || v == 592) return {SET(v - 500 + !on)};
    if (v == 595) return {SET(95)};
    if (in(596, 599)) return {GO(on && v != 596 ? v - 500 : 96)};
    if (in(711, 718)) return {V(Kind::other, v - 710 + 32)};
    if (in(721, 728)) return {V(Kind::other, v - 720 + 16)};
    if (v == 730 || v == 731) return {I(v == 730 ? 1 : -1), S};
    if (v == 740) return {};
    return {on ? GO(v & 0xFF) : SET(v & 0xFF)};
}

// The C1080B: Pelco-D's table with menu keys and camera settings of its own, without the store of preset
// 244, the patterns past 4 and the tours and scans; what it does not know goes to the preset of the code's
// low byte, on or off.
std::vector<Want> c1080b_aux(int v, bool on) {
    const auto in = [&v](int lo, int hi) { return v >= lo && v <= hi; };
    if (v == 595 || v == 730) return {MENU("menu or enter")};
    if (v == 731) return {MENU("menu escape")};
    if (in(930, 941)) return {O};  // camera reset and settings
    if (v == 502 || in(555, 560) || in(565, 578) || in(711, 728)) return {GO(v & 0xFF)};
    const std::vector<Want> w = pelco_d_aux(v, on);
    return w.size() == 1 && w[0].kind == Kind::set_preset && w[0].value == (v & 0xFF)
               ? std::vector{GO(v & 0xFF)}
               : w;
}

// The C1080PT: the C1080B's menu keys and camera settings, Pelco-D's meaning for everything else.
std::vector<Want> c1080pt_aux(int v, bool on) {
    if (v == 595 || v == 730 || v == 731 || (v >= 930 && v <= 941)) return c1080b_aux(v, on);
    return pelco_d_aux(v, on);
}

// Over TVI: the menu keys and the menu as on the line, every other code as a preset.
std::vector<Want> tvi_aux(int v, bool on) {
    if (v == 730 || v == 731 || v == 595) return pelco_d_aux(v, on);
    return {on ? GO(v & 0xFF) : SET(v & 0xFF)};
}

// Pelco-P: the aux outputs and the menu as Pelco-D has them, the menu keys on the iris alone; nothing else.
std::vector<Want> pelco_p_aux(int v, bool on) {
    if ((v >= 1 && v <= 7) || v == 9 || v == 595) return pelco_d_aux(v, on);
    if (v == 730 || v == 731) return {I(v == 730 ? 1 : -1)};
    return {};
}

// AutoDome (variable speed): the menu keys, then every code as an aux output of the fixed-length frame
// (up to 255 the value reads back whole; aux 46 on is the menu's own value).
std::vector<Want> autodome_aux(int v, bool on) {
    if (v == 595 || (v == 46 && on)) return {MENU(nullptr)};
    if (v == 730) return {F(1)};
    if (v == 731) return {I(1)};
    return {on ? ON(v) : OFF(v)};
}

// SRX-100B: outputs 1 to 4 and 150 on and off, the others on only; anything else goes out as an output off
// that names none.
std::vector<Want> srx_aux(int v, bool on) {
    const bool both = (v >= 1 && v <= 4) || v == 150;
    const bool on_only = (v >= 100 && v <= 103) || v == 151 || (v >= 200 && v <= 202);
    return {both || (on && on_only) ? (on ? ON(v) : OFF(v)) : OFF(0)};
}

// EZ ('e') and F2E ('f'): aux 602 (EZ: off only), the menu keys, outputs 701 to 704, patterns, tours and
// scans by index. ScanDome ('s') has no patterns and its menu key enters too; scandome2 ('2') has neither
// patterns nor tours nor 602.
template <char P>
std::vector<Want> index_aux(int v, bool on) {
    const auto in = [&v](int lo, int hi) { return v >= lo && v <= hi; };
    if ((v == 602 && P != '2' && !(P == 'e' && on)) || in(701, 704)) return {on ? ON(v) : OFF(v)};
    if (P == 's' && (v == 595 || v == 730)) return {MENU("menu or enter")};
    if (v == 595 || v == 730 || v == 731)
        return {MENU(v == 595 ? "menu" : v == 730 ? "menu enter" : "menu escape")};
    if ((in(551, 558) && P != 's' && P != '2') || (in(711, 718) && P != '2') || in(721, 728))
        return {V(Kind::other, v - (v < 711 ? 550 : v < 721 ? 710 : 720))};
    return {};
}

// SPD: patterns, the menu keys and autofocus; nothing else.
std::vector<Want> spd_aux(int v, bool on) {
    switch (v) {
        case 110: return {OTHER(on ? "set pattern start" : "set pattern stop")};
        case 111: return {OTHER("run pattern")};
        case 595: return {MENU(on ? "menu on" : "menu off")};
        case 730: return {MENU("menu enter")};
        case 731: return {MENU("menu escape")};
        case 740: return {MENU("menu off")};
        case 900: return {OTHER("autofocus on or off")};
        case 902: return {OTHER("one-shot autofocus")};
        default: return {};
    }
}

TEST_F(CrossCheck, AuxTableSweep) {
    struct Table {
        Line line;
        std::vector<Want> (*aux)(int, bool);
        std::vector<int> codes;
    };
    std::vector<int> all(1101), low(256);
    std::iota(all.begin(), all.end(), 0);
    std::iota(low.begin(), low.end(), 0);
    low.insert(low.end(), {595, 730, 731});
    const Table tables[] = {
        {{"pelco-d", 0x1600}, pelco_d_aux, all},     {{"pelco-d-tvi", 0x1600, 5, 5, 3}, tvi_aux, all},
        {{"c1080b", 0x2303}, c1080b_aux, all},       {{"c1080pt", 0x302}, c1080pt_aux, all},
        {{"pelco-p", 0x1601}, pelco_p_aux, all},     {{"autodome", 0x200}, autodome_aux, low},
        {{"srx-100b", 0x1901}, srx_aux, all},        {{"ez", 0x1400}, index_aux<'e'>, all},
        {{"f2e", 0x2300}, index_aux<'f'>, all},      {{"scandome", 0x802}, index_aux<'s'>, all},
        {{"scandome2", 0x804}, index_aux<'2'>, all}, {{"spd", 0x1900}, spd_aux, all},
    };
    for (const Table& t : tables) {
        std::vector<Row> rows;
        for (int v : t.codes)
            for (bool on : {true, false}) rows.push_back({aux(static_cast<uint16_t>(v), on), t.aux(v, on)});
        check(t.line, rows);
    }
}

// Whatever the recorder sends, every byte a driver puts on the line is a frame its decoder reads whole, to
// the channel's camera: moves over the plane and every action, presets, every aux code on and off, the
// keyboard pass-through and the position commands.
TEST_F(CrossCheck, EveryFrameReads) {
    std::vector<Bytes> cmds = {kStop, CmdBuilder(0xE0A4).pos(900, 1500, 4000), CmdBuilder(0xE0A6),
                               CmdBuilder(0xE0A0).action(0x11).xy(0x80, 0x85), CmdBuilder(0xE015)};
    for (uint8_t x : {0, 30, 61, 64, 67, 100, 127})
        for (uint8_t y : {0, 61, 64, 67, 127})
            for (uint16_t action = 0; action <= 4; ++action) cmds.push_back(ms(x, y, action));
    for (uint16_t n : {0, 1, 9, 16, 255, 300}) {
        cmds.push_back(go(n));
        cmds.push_back(set(n));
        cmds.push_back(clr(n));
    }
    for (int v = 0; v <= 1100; ++v)
        for (bool on : {true, false}) cmds.push_back(aux(static_cast<uint16_t>(v), on));
    for (const Proto& proto : kProtos) {
        const Line& l = proto.line;
        const ptzcam::Protocol* p = setup(l);
        ASSERT_NE(p, nullptr);
        const bool vcc4 = std::string_view(l.proto) == "vcc4";
        for (const Bytes& cmd : cmds) {
            for (const Frame& f : run(l, *p, cmd)) {
                ASSERT_EQ(f.status, Status::ok) << l.proto << " " << l.model << show({f}) << "\n"
                                                << ::testing::PrintToString(cmd);
                if (!vcc4 || f.address != 0) {
                    ASSERT_EQ(f.address, l.address) << l.proto << show({f});
                }
            }
        }
    }
}

// Preset numbers across each protocol's range: go to (from offset 12), store and clear (from the action
// field), one letter each in `ops`; the camera must read the number the command named.
TEST_F(CrossCheck, PresetNumbers) {
    for (const Proto& p : kProtos) {
        std::vector<Row> rows;
        for (const char* op = p.presets; *op; ++op) {
            char* end = nullptr;
            const long given = std::strtol(op + 1, &end, 10);
            const int top = end == op + 1 ? 255 : static_cast<int>(given);
            // Numbers above 255 go out as their low byte where the frame has a byte for them.
            const bool wide = top == 255 && std::string_view(p.line.proto) != "autodome";
            for (int n = 1; n <= (wide ? 300 : top); n += n < top ? 1 : 300 - top) {
                const auto u = static_cast<uint16_t>(n);
                const int m = wide ? n & 0xFF : n;
                if (*op == 'g') rows.push_back({go(u), {GO(m)}});
                if (*op == 's') rows.push_back({set(u), {SET(m)}});
                if (*op == 'c') rows.push_back({clr(u), {V(Kind::clear_preset, m)}});
            }
            op = end - 1;
        }
        check(p.line, rows, {Kind::goto_preset, Kind::set_preset, Kind::clear_preset});
    }
}

// Absolute positions across their ranges: Pelco-D sends tilt, zoom and pan as three frames of their low 16
// bits, the C1080PT family one frame of all three, EZ and F2E pan and tilt in tenths of a degree (pan
// counted from 3599) and zoom raw, a zoom of 0 going out as 1.
TEST_F(CrossCheck, SetPositionValues) {
    enum Form { pelco, one, tenths };
    const std::pair<Line, Form> lines[] = {
        {{"pelco-d", 0x1600}, pelco}, {{"c1080pt", 0x302}, one}, {{"c1080pt-wonwoo", 0x306}, one},
        {{"ez", 0x1400}, tenths},     {{"f2e", 0x2301}, tenths},
    };
    for (const auto& [l, form] : lines) {
        std::vector<Row> rows;
        for (uint32_t pan = 0; pan < (form == tenths ? 3600u : 36000u); pan += form == tenths ? 37 : 997) {
            for (uint32_t tilt : {0u, 1u, 450u, 900u, 9000u, 0x12345u}) {
                const uint32_t zoom = pan / 7, p16 = pan & 0xFFFF, t16 = tilt & 0xFFFF, z16 = zoom & 0xFFFF;
                const Bytes cmd = CmdBuilder(0xE0A4).pos(pan, tilt, zoom);
                if (form == pelco) rows.push_back({cmd, {POS(0, t16, 0), POS(0, 0, z16), POS(p16, 0, 0)}});
                if (form == one) rows.push_back({cmd, {POS(p16, t16, z16)}});
                if (form == tenths && tilt <= 900) rows.push_back({cmd, {POS(pan, tilt, zoom ? zoom : 1)}});
            }
        }
        check(l, rows);
    }
}

// Each protocol's address field across its range: the decoder must name the camera the channel is set to.
TEST_F(CrossCheck, AddressRange) {
    for (const Proto& p : kProtos) {
        for (int a : p.addresses) {
            Line l = p.line;
            l.address = a;
            check(l, {p.probe});
        }
    }
}

// The OEM editions: the TOSK edition's C1080B sends its stop and has its focus keys the usual way round,
// and its HDA moves carry a fixed pan byte; the ravel edition's HIK-C enters the menu as preset 95, and its
// HDA moves carry no speeds (the direction stays).
TEST_F(CrossCheck, OemEditions) {
    board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", "1");
    // clang-format off
    check({"c1080b", 0x2302}, {
        {kStop, {S}}, {mv(0x60, 0, 2), {O, F(1)}}, {mv(0x40, 0, 2), {O, F(-1)}},
    });
    check({"hda", 0x809, -1, 5}, {
        {mv(0x20, 0x60), {M(-1, 1)}}, {mv(0x40, 0x20), {M(0, -1)}},
    });
    board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", "0");
    board.set_sysvar("/proc/orv_con_vars/support_ravel_oem", "1");
    check({"hikc", 0x808, -1, 5}, {
        {aux(730), {GO(95)}}, {aux(731), {I(-1)}},
    });
    check({"hda", 0x809, -1, 5}, {
        {mv(0x20, 0x60), {M(-1, 1)}}, {mv(0x60, 0x40), {M(1, 0)}}, {aux(595), {I(1), I(1)}},
    });
    // clang-format on
}

// The other way round: a head made of the decoders' answers, and the driver's report must carry what the
// head said (status, then three values: a position, or the INOS pan step, or the INOS-V900 switch word).
// A head on the line made of the decoder's answers: every frame the driver writes is answered 2 ms later.
void answering(SimBoard& board, const ptzcam::Protocol* p, const ptzcam::HeadState& head, int address) {
    board.on_write = [p, head, address](SimBoard& b, const std::string& dev, const Bytes& data) {
        for (size_t at = 0; at < data.size();) {
            const Frame f = p->decode(data.data() + at, data.size() - at);
            if (f.status != Status::ok) break;
            const ptzcam::Answer r = p->answer(f, head, address);
            if (r.size) b.queue_reply(dev, b.now() + 2000, Bytes(r.bytes, r.bytes + r.size));
            at += f.length;
        }
    };
}

TEST_F(CrossCheck, AnswersReadBack) {
    ptzcam::HeadState head;
    head.pan = 9000, head.tilt = 1500, head.zoom = 4000, head.switches = 0x1234, head.sensor = 0x56;
    head.temperature = -250, head.humidity = 600, head.dust1 = 7, head.dust2 = 9, head.version_result = 42;
    struct Case {
        Line line;
        Bytes cmd;
        uint32_t report[4];  // status, three values
    };
    const Case cases[] = {
        {{"pelco-d", 0x1600}, CmdBuilder(0xE0A6), {1, 9000, 1500, 4000}},
        {{"c1080pt", 0x302}, CmdBuilder(0xE0A6), {1, 9000, 1500, 4000}},
        {{"c1080pt-wonwoo", 0x303}, CmdBuilder(0xE0A6), {1, 9000, 1500, 4000}},
        {{"ez", 0x1400, 0x123}, CmdBuilder(0xE0A6), {1, 900, 150, 4000}},  // tenths of a degree
        {{"f2e", 0x2300}, CmdBuilder(0xE0A6), {1, 900, 150, 4000}},
        {{"inos", 0x900}, mv(0x60, 0x40), {0, 64, 0, 0}},  // a full turn is 256 steps
        {{"inos-v900", 0x901}, set(5), {0, 0x1234, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line.proto);
        const ptzcam::Protocol* p = setup(c.line);
        ASSERT_NE(p, nullptr);
        answering(board, p, head, c.line.address);
        run(c.line, *p, c.cmd);
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        for (size_t i = 0; i < 4; ++i)
            EXPECT_EQ(rd32(reports[0]->data.data() + 16 + 4 * i), c.report[i]) << i;
    }
    // The INOS-V900's full poll and version check; the next report carries the sensor block (temperature in
    // its low 16 bits, signed, dust 1 above it; humidity, dust 2 above it).
    uint8_t sensor = 0;
    EXPECT_EQ(INOSV900_get_sensor_data(*d, 2, 5, sensor), 0);
    EXPECT_EQ(sensor, 0x56);
    EXPECT_EQ(INOSV900_check_fw_version(*d, 2, 5), 42);
    board.clear_calls();
    run({"inos-v900", 0x901}, *ptzcam::find_protocol("inos-v900"), CmdBuilder(0xE0A6));
    const auto reports = board.find("ioctl", "/dev/con2rec");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(rd32(reports[0]->data.data() + 24), 7u << 16 | 0xFF06);
    EXPECT_EQ(rd32(reports[0]->data.data() + 28), 9u << 16 | 600);
    board.on_write = nullptr;
}

TEST_F(CrossCheck, CameraFirmwareUpgrade) {
    // An image through the C1080B channel: the handshake (its size frame names the size), the image in
    // blocks of 1024, the trailer with the image's sum. The image rides in the datagram itself, so it goes
    // in through the receive buffer.
    channel(0, 2, 0x2302, 5, 7);
    start();
    ptzcam::UpgradeStream stream;
    for (uint32_t size : {0u, 1u, 1024u, 1500u, 2048u}) {
        SCOPED_TRACE(size);
        d->current_channel = 0;
        Bytes dg = CmdBuilder(0xF001, 0);
        dg.resize(16);
        wr32(dg.data() + 12, size);
        for (uint32_t i = 0; i < size; ++i) dg.push_back(static_cast<uint8_t>(i * 7 + 3));
        std::copy(dg.begin(), dg.end(), d->rx.begin());
        board.clear_calls();
        eptz_handler(*d, 0, d->rx.data());
        std::vector<Want> want = {O, O, O, V(Kind::other, static_cast<int>(size)), O};
        want.insert(want.end(), (size + 1023) / 1024 + 1, at(O, -1));  // the blocks, the trailer
        compare(read([&](const uint8_t* p, size_t n) { return stream.decode(p, n); }, writes(), false), want,
                5);
        EXPECT_FALSE(stream.in_image());
    }
}

}  // namespace
}  // namespace ptz::test
