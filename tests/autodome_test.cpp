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
Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}
Bytes aux(uint16_t code, bool on) { return CmdBuilder(0xE091).arg16(code).action(on ? 0x0101 : 0); }

constexpr int kVar = 0, kFixed = 1;

class AutoDome : public DaemonTest {
protected:
    void SetUp() override {
        channel(kVar, 2, 0x200, 1);
        channel(kFixed, 2, 0x201, 1);
        channel(2, 2, 0x200, 0x100);
        channel(3, 2, 0x201, 0);
        channel(4, 2, 0x200, 1, 0);  // 1200 baud: 8 bytes take longer than 35 ms
        start();
    }
    std::vector<Bytes> run(int ch, const Bytes& cmd) {
        board.clear_calls();
        handle(ch, cmd);
        return writes();
    }
};

// The same joystick input through both forms.
TEST_F(AutoDome, MovesAndLensKeys) {
    struct Case {
        Bytes cmd;
        Payload var;
        uint16_t fixed;
        const char* log = nullptr;
    };
    const Case cases[] = {
        {mv(0x20, 0x40), {8, 0x40, 0x02}, 0x1000},   // left, speed 8 in bits 11..15
        {mv(4, 0x40), {15, 0x78, 0x02}, 0x1000},     // speed 15 arrives whole
        {mv(0, 0x40), {16, 0x00, 0x02}, 0x1000},     // speed 16 loses its top bit
        {mv(0xC0, 0x40), {32, 0x00, 0x01}, 0x0010},  // right: speed 32 masked to 0
        {mv(0x40, 0x20), {8, 0, 0x04}, 0x0008},      // down carries the tilt speed
        {mv(0x40, 0x60), {8, 0, 0x08}, 0x0800},
        {mv(0x20, 0x70), {12, 0x40, 0x0A}, 0x1800},  // diagonals too
        {mv(0x20, 0x10), {12, 0x40, 0x06}, 0x1008},
        {mv(0x60, 0x60), {8, 0x40, 0x09}, 0x0810},
        {mv(0x60, 0x30), {4, 0x40, 0x05}, 0x0018},
        {mv(61, 67), {0, 0, 0x0A}, 0x1800},  // both just outside the band
        {mv(62, 70), {1, 0, 0x08}, 0x0800},  // 62 is in the band: up wins
        {mv(62, 63), {0, 0, 0x02}, 0x1000},  // inside it the stronger axis still moves
        {mv(63, 63), {0, 0, 0}, 0},          // tie x = y
        {mv(62, 66), {0, 0, 0}, 0},          // tie x + y = 128
        {mv(0xFF, 0, 1), {0x70, 0, 0x20}, 0x0004, "zoom in, 112\n"},
        {mv(0x47, 0, 1), {0, 0, 0x20}, 0x0004, "zoom in, 0\n"},
        {mv(0, 0, 1), {0x7F, 0, 0x10}, 0x0400, "zoom out, 128\n"},  // 0x80 becomes 0x7F
        {mv(64, 0, 1), {0, 0, 0}, 0},
        {mv(65, 0, 2), {0, 0x01, 0}, 0x0002},
        {mv(63, 0, 2), {0, 0, 0x40}, 0x0200},
        {mv(64, 0, 2), {0, 0, 0}, 0},
        {mv(64, 0, 3), {0, 0x02, 0}, 0, "PTZCORE : IRIS close\n"},
        {mv(65, 0, 3), {0, 0x04, 0}, 0, "PTZCORE : IRIS open\n"},
        {mv(0x20, 0x40, 4), {0, 0, 0}, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "row " << (&c - cases));
        EXPECT_EQ(run(kVar, c.cmd), std::vector<Bytes>{var(c.var)});
        if (c.log) {
            EXPECT_TRUE(logged(c.log));
        }
        EXPECT_EQ(run(kFixed, c.cmd), std::vector<Bytes>{fs(c.fixed)});
    }
}

TEST_F(AutoDome, StopPresetsAuxAndAddress) {
    struct Case {
        const char* name;
        int ch;
        Bytes cmd;
        std::vector<Bytes> frames;
        const char* log = nullptr;
    };
    const Bytes stop = var({0, 0, 0});
    const Case cases[] = {
        {"stop", kVar, CmdBuilder(0xE013), {stop}},
        {"fixed: stop", kFixed, CmdBuilder(0xE013), {fs(0)}},
        {"stop after a zoom", kVar, mv(0x48, 0, 1, 1), {var({16, 0, 0x20}), stop}},
        {"fixed: no stop after", kFixed, mv(0x20, 0x40, 0, 1), {fs(0x1000)}},
        {"go to preset from offset 12", kVar, CmdBuilder(0xE014).arg16(3), {fl(0x0503)}},
        {"store preset from action", kVar, CmdBuilder(0xE020).action(3), {{0x86, 0, 0, 7, 4, 3, 0x14}}},
        {"no clear preset", kVar, CmdBuilder(0xE022).action(3), {}},
        {"aux off", kVar, aux(5, false), {fl(0x0205)}, "PTZSVR : philips autodome aux control(5)\n"},
        {"aux on", kVar, aux(5, true), {fl(0x0105)}},
        {"aux 1024 is the last output", kVar, aux(1024, true), {fl(0x0500)}},
        {"menu", kVar, aux(595, false), {fl(302)}, "bosh menu\n"},
        {"menu enter", kVar, aux(730, false), {var({0x40, 0x01, 0})}, "bosh enter\n"},
        {"menu escape", kVar, aux(731, true), {var({0, 0x04, 0})}, "bosh esc\n"},
        {"aux 1025", kVar, aux(1025, true), {fl(1125)}},
        {"aux 1026", kVar, aux(1026, false), {fl(1126)}},
        {"aux 1027", kVar, aux(1027, true), {}},
        {"fixed: no aux", kFixed, aux(595, true), {}},
        {"address 0x100 keeps its high byte", 2, CmdBuilder(0xE013), {{0x87, 1, 0xFF, 5, 0, 0, 0, 0x0C}}},
        {"fixed: address 0", 3, CmdBuilder(0xE013), {{0x86, 0, 0xFF, 2, 0, 0, 0x07}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(run(c.ch, c.cmd), c.frames);
        if (c.log) {
            EXPECT_TRUE(logged(c.log));
        }
    }
}

// Each control frame has its own transmit enable before the one every block
// write makes; fixed-length commands have only the latter.
TEST_F(AutoDome, Waits) {
    const std::tuple<const char*, int, Bytes, int64_t, std::vector<uint32_t>> cases[] = {
        {"variable speed", kVar, mv(0x20, 0x40), 11000, {1000, 10000, 35000}},
        {"at 1200 baud", 4, CmdBuilder(0xE013), 11000, {1000, 10000, 133332}},
        {"fixed speed", kFixed, mv(0x20, 0x40), 10500, {500, 10000, 35000}},
        {"fixed length", kVar, CmdBuilder(0xE014).arg16(3), 10000, {10000, 35000}},
    };
    for (const auto& [name, ch, cmd, before_write, expected] : cases) {
        SCOPED_TRACE(name);
        const int64_t t0 = board.now();
        run(ch, cmd);
        EXPECT_EQ(sleeps(), expected);
        const auto w = board.find("write", "/dev/ttyS2");
        ASSERT_FALSE(w.empty());
        EXPECT_EQ(w[0]->t - t0, before_write);
    }
}

}  // namespace
}  // namespace ptz::test
