#include <cmath>

#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

// A5 addr cmd d1 d2 55 sum, address 1.
Bytes sd(uint8_t cmd, uint8_t d1, uint8_t d2) {
    Bytes f{0xA5, 0x01, cmd, d1, d2, 0x55, 0};
    for (size_t i = 0; i < 6; ++i) f[6] = static_cast<uint8_t>(f[6] + f[i]);
    return f;
}
const Bytes kStop = sd(0x10, 0x0D, 0x88);

Bytes htx(uint16_t action, uint8_t x, uint8_t y) { return CmdBuilder(0xE0A0).action(action).xy(x, y); }

// One speed nibble: 8 plus an eighth of the distance, truncated toward zero; where that leaves 8, one step
// either way outside the dead band. Two nibbles added into one byte.
int nibble(int v) {
    const int s = 8 + static_cast<int>(std::trunc((v - 64) / 8.0));
    return s != 8 ? s : v >= 67 ? 9 : v < 62 ? 7 : 8;
}
uint8_t scandome_speeds(int x, int y) { return static_cast<uint8_t>(nibble(x) * 16 + nibble(y)); }

// scandome2: full speed along the stronger axis.
uint8_t full_speed(int x, int y) {
    switch (stronger(x, y)) {
        case Way::left: return 0x18;
        case Way::right: return 0xF8;
        case Way::down: return 0x81;
        case Way::up: return 0x8F;
        default: return 0x88;
    }
}

// 0.5 ms transmit settle, the write's 10 ms settle, 7 bytes of line time at 9600 baud; 100 ms between stops.
const Waits kFrame{500, 10000, 14582}, kGap{100000};

class ScanDome : public RowTest {
protected:
    void SetUp() override {
        channel(0, 2, 2050, 1);
        channel(1, 2, 2052, 1);
        start();
    }
};

TEST_F(ScanDome, PanTiltSweep) {
    sweep(0, [](int x, int y) { return sd(0x10, 0x0D, scandome_speeds(x, y)); });
    sweep(1, [](int x, int y) { return sd(0x10, 0x0D, full_speed(x, y)); });
}

TEST_F(ScanDome, ScanDomeFrames) {
    // clang-format off
    const Row rows[] = {
        // pan at 0x50, byte for byte; one step at 0x3C (the rest of the plane is swept above)
        {mv(0x50, 0x40), {{0xA5, 0x01, 0x10, 0x0D, 0xA8, 0x55, 0xC0}}, "ScanDome(1) msg_id[e011],action[0],addr[1],x[80],y[64]\n"},
        {mv(0x3C, 0x40), {sd(0x10, 0x0D, 0x78)}},
        // stop after a pan/tilt move: a stop at once and another 100 ms later
        {mv(0x50, 0x40, 0, 1), {sd(0x10, 0x0D, 0xA8), kStop, kStop}, "PTZSVR : send stop for scandome\n", kFrame + kFrame + kGap + kFrame},
        // zoom in, out, nothing at the centre; focus; each with a stop 100 ms after when asked
        {mv(0x41, 0, 1), {sd(0x10, 0x0E, 0x88)}}, {mv(0x3F, 0, 1), {sd(0x10, 0x0C, 0x88)}},
        {mv(0x40, 0, 1), {}}, {mv(0x40, 0, 1, 1), {kStop}, nullptr, kGap + kFrame},
        {mv(0x41, 0, 2, 1), {sd(0x10, 0x04, 0x88), kStop}, nullptr, kFrame + kGap + kFrame},
        {mv(0x3F, 0, 2), {sd(0x10, 0x03, 0x88)}},
        {mv(0x3F, 0, 3), {}},
        // stop twice, 100 ms apart
        {CmdBuilder(0xE013), {kStop, kStop}, nullptr, kFrame + kGap + kFrame},
        {CmdBuilder(0xE022).action(9), {sd(0x26, 0x80, 0x89)}, "CLEAR preset 9\n"},
        // the HTX keyboard passes through
        {htx(0x1A5, 3, 4), {sd(0xA5, 3, 4)}, "PTZSVR : special command from HTX keyboard 1a5h - 03h, 04h\n"},
        {aux(595, false), {sd(0x19, 0x80, 0x80)}, "PTZSVR : scandome2 aux control(595,0)\n"},
    };
    // clang-format on
    check(0, rows);
}

TEST_F(ScanDome, ScanDome2Frames) {
    // clang-format off
    const Row rows[] = {
        // full speed; stop after a pan/tilt move once and at once
        {mv(0x00, 0x40), {sd(0x10, 0x0D, 0x18)}}, {mv(0x40, 0x40), {sd(0x10, 0x0D, 0x88)}},
        {mv(0x7F, 0x40, 0, 1), {sd(0x10, 0x0D, 0xF8), kStop}, nullptr, kFrame + kFrame},
        // its own zoom keys; focus as ScanDome's; no stop after either
        {mv(0x41, 0, 1, 1), {sd(0x10, 0x0F, 0x88)}}, {mv(0x3F, 0, 1), {sd(0x10, 0x0B, 0x88)}},
        {mv(0x40, 0, 1), {}}, {mv(0x41, 0, 2, 1), {sd(0x10, 0x04, 0x88)}},
        {mv(0x3F, 0, 2), {sd(0x10, 0x03, 0x88)}},
        {CmdBuilder(0xE013), {kStop}, nullptr, kFrame},
        {CmdBuilder(0xE020).action(3), {}}, {CmdBuilder(0xE014).arg16(3), {}},
        {CmdBuilder(0xE022).action(3), {}},
        {htx(0x21, 0x80, 0x7F), {sd(0x21, 0x80, 0x7F)}, "PTZSVR : special command from HTX keyboard 21h - 80h, 7fh\n"},
        {aux(595, true), {sd(0x19, 0x80, 0x80)}, "PTZSVR : scandome2 aux control(595)\n"},
    };
    // clang-format on
    check(1, rows);
    for (const std::string& l : board.logs()) EXPECT_EQ(l.rfind("ScanDome(", 0), std::string::npos) << l;
}

// The family's aux table, each model its own column; data 2 counts up across a range.
TEST_F(ScanDome, AuxSweep) {
    for (const bool two : {false, true}) {
        const auto want = [two](int v, bool on) -> std::vector<Bytes> {
            if (v == 595) return {sd(0x19, 0x80, 0x80)};
            if (v == 602 && !two) return {sd(on ? 0x28 : 0x29, 0x80, 0x80)};
            if (v >= 701 && v <= 704)
                return {sd(on ? 0x2C : 0x2D, 0x80, static_cast<uint8_t>(0x81 + v - 701))};
            if (v >= 711 && v <= 718 && !two) return {sd(0x13, 0x80, static_cast<uint8_t>(0x81 + v - 711))};
            if (v >= 721 && v <= 728) return {sd(0x17, 0x80, static_cast<uint8_t>(0x81 + v - 721))};
            if (v == 730) return {two ? sd(0x10, 0x48, 0x80) : sd(0x19, 0x80, 0x80)};
            if (v == 731) return {sd(0x1F, 0x80, 0x80)};
            return {};
        };
        for (int v = 0; v <= 1100; ++v)
            for (const bool on : {true, false})
                ASSERT_EQ(run(two, aux(static_cast<uint16_t>(v), on)), want(v, on))
                    << two << " " << v << " " << on;
    }
}

// The main loop does not pass the HTX keyboard's messages on: only eptz_handler reaches the drivers with
// them.
TEST_F(ScanDome, HtxKeyboardIsNotPassedByTheMainLoop) {
    send(htx(0x21, 1, 2));
    EXPECT_TRUE(writes().empty());
}

}  // namespace
}  // namespace ptz::test
