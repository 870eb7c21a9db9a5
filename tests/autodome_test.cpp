#include <array>

#include "tests/fixture.h"

namespace ptz::test {
namespace {

// Frames for address 1 (sent as 00 00), the 7-bit sum added by hand.
Bytes summed(Bytes f) {
    unsigned s = 0;
    for (uint8_t b : f) s += b;
    f.push_back(static_cast<uint8_t>(s & 0x7F));
    return f;
}
// Variable-speed control by its payload: data, word bits 8..14, word bits 0..6.
using Payload = std::array<uint8_t, 3>;
Bytes var(Payload p) { return summed({0x87, 0, 0, 0x05, p[0], p[1], p[2]}); }
Bytes fs(uint16_t w) { return summed({0x86, 0, 0, 0x02, uint8_t(w >> 8), uint8_t(w)}); }
Bytes fl(uint16_t v) { return summed({0x86, 0, 0, 0x07, uint8_t(v >> 8), uint8_t(v)}); }

constexpr int kVar = 0, kFixed = 1;

class AutoDome : public DaemonTest {
protected:
    void SetUp() override {
        channel(kVar, 2, 0x200, 1);
        channel(kFixed, 2, 0x201, 1);
        channel(2, 2, 0x200, 0x100);
        start();
    }
    std::vector<Bytes> run(int ch, const Bytes& cmd, const char* log = nullptr) {
        board.clear_calls();
        handle(ch, cmd);
        EXPECT_TRUE(!log || logged(log)) << log;
        return writes();
    }
};

// The same joystick input through both forms. A control frame has its own
// transmit enable (1 ms, 0.5 ms fixed-speed) before the one every block write makes.
TEST_F(AutoDome, MovesAndLensKeys) {
    // clang-format off
    struct Row { Bytes cmd; Payload var; uint16_t fixed; const char* log = nullptr; };
    const Row cases[] = {
        // left at speed 8 (bits 11..15), the tilt byte carrying it too (the other moves and the lens speeds
        // are the cross-check's); zoom in; out at full speed sends 0x7F for 0x80; iris (the centre closes);
        // no other action
        {mv(0x20, 0x40), {8, 0x40, 0x02}, 0x1000},
        {mv(0xFF, 0, 1), {0x70, 0, 0x20}, 0x0004, "zoom in, 112\n"},
        {mv(0, 0, 1), {0x7F, 0, 0x10}, 0x0400, "zoom out, 128\n"},
        {mv(64, 0, 3), {0, 0x02, 0}, 0, "PTZCORE : IRIS close\n"},
        {mv(65, 0, 3), {0, 0x04, 0}, 0, "PTZCORE : IRIS open\n"}, {mv(0x20, 0x40, 4), {0, 0, 0}, 0}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(run(kVar, cases[i].cmd, cases[i].log), std::vector<Bytes>{var(cases[i].var)});
        EXPECT_EQ(sleeps(), (std::vector<uint32_t>{1000, 10000, 35000}));
        EXPECT_EQ(run(kFixed, cases[i].cmd), std::vector<Bytes>{fs(cases[i].fixed)});
        EXPECT_EQ(sleeps(), (std::vector<uint32_t>{500, 10000, 35000}));
    }
}

TEST_F(AutoDome, StopPresetsAuxAndAddress) {
    const Bytes stop = var({0, 0, 0});
    // clang-format off
    struct Row { int ch; Bytes cmd; std::vector<Bytes> frames = {}; const char* log = nullptr; };
    const Row cases[] = {
        // stop, also to address 0x100: the high byte from the address itself, the low one from address - 1;
        // a stop after a zoom, but not from the fixed-speed form
        {kVar, CmdBuilder(0xE013), {stop}}, {kFixed, CmdBuilder(0xE013), {fs(0)}},
        {2, CmdBuilder(0xE013), {{0x87, 1, 0xFF, 5, 0, 0, 0, 0x0C}}},
        {kVar, mv(0x48, 0, 1, 1), {var({16, 0, 0x20}), stop}}, {kFixed, mv(0x20, 0x40, 0, 1), {fs(0x1000)}},
        // go to preset (offset 12); no clear preset; store preset (action), byte for byte
        {kVar, CmdBuilder(0xE014).arg16(3), {fl(0x0503)}}, {kVar, CmdBuilder(0xE022).action(3), {}},
        {kVar, CmdBuilder(0xE020).action(3), {{0x86, 0, 0, 7, 4, 3, 0x14}}},
        // aux outputs up to 1024, off and on; 1025 and 1026 are codes of their own, 1027 nothing; menu, enter,
        // escape
        {kVar, aux(5, false), {fl(0x0205)}, "PTZSVR : philips autodome aux control(5)\n"},
        {kVar, aux(1024, true), {fl(0x0500)}}, {kVar, aux(1025, true), {fl(1125)}},
        {kVar, aux(1026, false), {fl(1126)}}, {kVar, aux(1027, true)},
        {kVar, aux(595, false), {fl(302)}, "bosh menu\n"}, {kFixed, aux(595, true)},
        {kVar, aux(730, false), {var({0x40, 0x01, 0})}, "bosh enter\n"},
        {kVar, aux(731, true), {var({0, 0x04, 0})}, "bosh esc\n"}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(run(cases[i].ch, cases[i].cmd, cases[i].log), cases[i].frames);
    }
    run(kVar, CmdBuilder(0xE014).arg16(3));  // fixed-length commands have no transmit enable of their own
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 35000}));
}

}  // namespace
}  // namespace ptz::test
