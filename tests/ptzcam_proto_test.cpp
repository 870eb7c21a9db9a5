// The ptzcam protocol library: golden frames written from each protocol's description, its failures, the
// cameras' answers and a garbage sweep. Built only into its own test program (see tools/ptzcam/proto).
#ifdef PTZCAM_PROTO_TESTS
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "proto.h"

namespace ptzcam {
namespace {

using Bytes = std::vector<uint8_t>;

// Checksum helpers, each from its protocol's words.
uint8_t add(const Bytes& b, size_t from, size_t to) {  // inclusive
    unsigned s = 0;
    for (size_t i = from; i <= to; ++i) s += b[i];
    return uint8_t(s);
}
Bytes pd(uint8_t a, uint8_t c1, uint8_t c2, uint8_t d1, uint8_t d2) {  // Pelco-D: sum of bytes 1..5
    Bytes b{0xFF, a, c1, c2, d1, d2};
    b.push_back(add(b, 1, 5));
    return b;
}
Bytes ext(uint8_t a, uint8_t cmd, Bytes data = Bytes(6)) {  // 11-byte FF frame: sum of bytes 1..9
    Bytes b{0xFF, a, 0x00, cmd};
    b.insert(b.end(), data.begin(), data.end());
    b.push_back(add(b, 1, 9));
    return b;
}
Bytes with(Bytes b, size_t at, uint8_t v) {
    b[at] = v;
    return b;
}

Frame run(const char* proto, const Bytes& b) {
    const Protocol* p = find_protocol(proto);
    EXPECT_NE(p, nullptr) << proto;
    return p ? p->decode(b.data(), b.size()) : Frame{};
}

struct Golden {
    const char* proto;
    Bytes bytes;
    Kind kind;
    int address, pan, tilt, value;
    const char* meaning;
};

void check(const Golden& g) {
    SCOPED_TRACE(std::string(g.proto) + ": " + g.meaning);
    const Frame f = run(g.proto, g.bytes);
    EXPECT_EQ(f.status, Status::ok) << f.reason;
    EXPECT_EQ(f.length, g.bytes.size());
    EXPECT_EQ(f.kind, g.kind);
    EXPECT_EQ(f.address, g.address);
    EXPECT_EQ(f.pan, g.pan);
    EXPECT_EQ(f.tilt, g.tilt);
    EXPECT_EQ(f.value, g.value);
    EXPECT_STREQ(f.meaning, g.meaning);
}

constexpr Kind M = Kind::move, S = Kind::stop, Z = Kind::zoom, F = Kind::focus, I = Kind::iris,
               GP = Kind::goto_preset, SP = Kind::set_preset, CP = Kind::clear_preset, AN = Kind::aux_on,
               AF = Kind::aux_off, MN = Kind::menu, POS = Kind::set_position, Q = Kind::query_position,
               QO = Kind::query_other, O = Kind::other;

TEST(PtzcamProto, PelcoFamilyGoldens) {
    // clang-format off
    const Golden cases[] = {
        // the joystick example: left at 0x40 - x; accumulated left and up; stop
        {"pelco-d", pd(1, 0, 0x04, 0x20, 0), M, 1, -0x20, 0, 0, "pan left 32"},
        {"pelco-d", pd(1, 0, 0x0C, 0x20, 0x20), M, 1, -0x20, 0x20, 0, "pan left 32, tilt up 32"},
        {"pelco-d", pd(2, 0, 0x12, 0x3F, 0x10), M, 2, 0x3F, -0x10, 0, "pan right 63, tilt down 16"},
        {"pelco-d", pd(1, 0, 0x06, 0x10, 0), M, 1, 0, 0, 0, "pan left and right 16"},
        {"pelco-d", pd(1, 0, 0, 0, 0), S, 1, 0, 0, 0, "stop"},
        {"pelco-d", pd(1, 0, 0x20, 0, 0), Z, 1, 0, 0, 1, "zoom tele"},
        {"pelco-d", pd(1, 0, 0x24, 0x08, 0), M, 1, -8, 0, 0, "pan left 8, zoom tele"},
        {"pelco-d", pd(1, 1, 0x00, 0, 0), F, 1, 0, 0, -1, "focus near"},
        {"pelco-d", pd(1, 0, 0x80, 0, 0), F, 1, 0, 0, 1, "focus far"},
        {"pelco-d", pd(1, 2, 0x00, 0, 0), I, 1, 0, 0, 1, "iris open"},
        {"pelco-d", pd(1, 4, 0x00, 0, 0), I, 1, 0, 0, -1, "iris close"},
        {"pelco-d", pd(1, 0, 0x03, 0, 5), SP, 1, 0, 0, 5, "set preset 5"},
        {"pelco-d", pd(1, 0, 0x05, 0, 5), CP, 1, 0, 0, 5, "clear preset 5"},
        {"pelco-d", pd(1, 0, 0x07, 0, 0xF4), GP, 1, 0, 0, 244, "go to preset 244"},
        {"pelco-d", pd(1, 0, 0x09, 0, 3), AN, 1, 0, 0, 3, "aux 3 on"},
        {"pelco-d", pd(1, 0, 0x0B, 0, 9), AF, 1, 0, 0, 9, "aux 9 off"},
        {"pelco-d", pd(1, 0, 0x1F, 0, 16), O, 1, 0, 0, 16, "set pattern start 16"},
        {"pelco-d", pd(1, 0, 0x23, 0, 33), O, 1, 0, 0, 33, "run pattern 33"},
        {"pelco-d", pd(1, 0, 0x25, 0, 11), O, 1, 0, 0, 11, "set zoom speed 11"},
        {"pelco-d", pd(1, 0, 0x4B, 0x23, 0x28), POS, 1, 0, 0, 0, "set pan position 9000"},
        {"pelco-d", pd(1, 0, 0x55, 0, 0), Q, 1, 0, 0, 2, "query zoom position"},
        {"pelco-d", pd(1, 0, 0x59, 0x23, 0x28), O, 1, 0, 0, 9000, "pan position reply 9000"},
        // the TVI record: FF FF addr c1 c2 FF d1 d2 sum 00, fixed speed 0x24
        {"pelco-d-tvi", {0xFF, 0xFF, 3, 0, 0x04, 0xFF, 0x24, 0, 0x2B, 0}, M, 3, -0x24, 0, 0, "pan left 36"},
        {"pelco-d-tvi", {0xFF, 0xFF, 3, 1, 0x00, 0xFF, 0, 0, 0x04, 0}, F, 3, 0, 0, -1, "focus near"},
        // C1080B: menu keys, settings, reset, and the upgrade handshake
        {"c1080b", pd(1, 0, 0x1E, 0, 0), MN, 1, 0, 0, 0, "menu or enter"},
        {"c1080b", pd(1, 0, 0x06, 0, 0), MN, 1, 0, 0, 0, "menu escape"},
        {"c1080b", pd(1, 0x7E, 0x09, 4, 0), O, 1, 0, 0, 0, "camera setting 0x7e09 4 0"},
        {"c1080b", pd(1, 0x90, 0x30, 0, 0x0B), O, 1, 0, 0, 0, "camera reset"},
        {"c1080b", pd(1, 0x90, 0x10, 0x11, 0x22), O, 1, 0, 0, 0, "upgrade start code"},
        {"c1080b", pd(1, 0x58, 0x01, 0x02, 0x03), O, 1, 0, 0, 0x010203, "upgrade file size 66051"},
        {"c1080b", pd(1, 0, 0x08, 0, 16), M, 1, 0, 16, 0, "tilt up 16"},
        // C1080PT: set position and position request, extended frames
        {"c1080pt", ext(1, 0x91, {0x23, 0x28, 0x05, 0xDC, 0x0F, 0xA0}), POS, 1, 0, 0, 0,
         "set position pan 9000 tilt 1500 zoom 4000"},
        {"c1080pt", ext(1, 0x93), Q, 1, 0, 0, 0, "query position"},
        {"c1080pt", pd(1, 0, 0x06, 0, 0), MN, 1, 0, 0, 0, "menu escape"},
        {"c1080pt-wonwoo", ext(4, 0x93), Q, 4, 0, 0, 0, "query position"},
        {"c1080pt-wonwoo", pd(4, 0, 0x27, 0, 2), O, 4, 0, 0, 2, "set focus speed 2"},
        // INOS-V900: presets short, requests and settings extended; a = -300 has sign byte 0
        {"inos-v900", pd(1, 0, 0x03, 0, 5), SP, 1, 0, 0, 5, "set preset 5"},
        {"inos-v900", ext(1, 0x93), QO, 1, 0, 0, 0, "query sensor and switch status"},
        {"inos-v900", ext(1, 0xA1, {0, 0, 0x01, 0x2C, 0, 0}), O, 1, 0, 0, 0, "setting 0xa1 -300"},
        {"inos-v900", ext(1, 0xB1, {0, 0, 0x00, 0x14, 0, 0}), O, 1, 0, 0, 0, "setting 0xb1 20"},
        {"inos-v900", ext(1, 0xAB, {0, 0, 0x00, 0xFA, 0, 0}), O, 1, 0, 0, 0, "temperature reply -250"},
        {"inos", pd(1, 0, 0x10, 0, 0x30), M, 1, 0, -0x30, 0, "tilt down 48"},
        {"smartfarm", pd(1, 0, 0x0C, 0x10, 0x10), M, 1, -16, 16, 0, "pan left 16, tilt up 16"},
    };
    // clang-format on
    for (const Golden& g : cases) check(g);
}

}  // namespace
}  // namespace ptzcam
#endif
