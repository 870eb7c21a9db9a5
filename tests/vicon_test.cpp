#include "tests/fixture.h"

namespace ptz::test {
namespace {

// Address 0x24 (an even one, so that the frame type stands alone in its bits): headers 82 14 (basic),
// 82 44 (preset), 82 54 (move).
const Bytes kBasic{0x82, 0x14}, kPreset{0x82, 0x44}, kMove{0x82, 0x54}, kStop{0, 0, 0, 0};

Bytes move(uint8_t dir, uint8_t pan_hi, uint8_t pan_lo, uint8_t tilt_hi, uint8_t tilt_lo) {
    return {dir, 0, 0, 0, pan_hi, pan_lo, tilt_hi, tilt_lo};
}
Bytes basic(uint8_t cmd, uint8_t aux = 0) { return {0, cmd, aux, 0}; }
Bytes preset(uint8_t op, uint8_t n) { return {0, 0, 0, 0, op, n, 0x70, 0x70}; }

using Vicon = DaemonTest;

TEST_F(Vicon, Frames) {
    channel(0, 2, 0x2202, 0x24);
    start();
    // clang-format off
    struct Row { Bytes cmd; std::vector<Bytes> frames; const char* log = nullptr; };
    const Row cases[] = {
        // each axis on its own: left-up, byte for byte; 61 and 67 move; 62 and 66 do not, but keep their
        // speeds; right-down; a stop after a move
        {mv(0x20, 0x60), {{0x82, 0x54}, {0x50, 0, 0, 0, 0x04, 0x00, 0x04, 0x00}}},
        {mv(61, 67), {kMove, move(0x50, 0, 0x30, 0, 0x30)}}, {mv(62, 66), {kMove, move(0, 0, 0x20, 0, 0x20)}},
        {mv(67, 0), {kMove, move(0x28, 0, 0x30, 0x08, 0)}},
        {mv(0x20, 0x40, 0, 1), {kMove, move(0x40, 0x04, 0, 0, 0), kBasic, kStop}},
        // zoom tele with no stop after it; no other action (the lens keys are the cross-check's)
        {mv(0x41, 0, 1, 1), {kBasic, basic(0x20)}}, {mv(0x20, 0x40, 4), {}},
        // stop; go to (offset 12) and store (action) a preset; no clear preset
        {CmdBuilder(0xE013), {kBasic, kStop}},
        {CmdBuilder(0xE014).arg16(300), {kPreset, preset(0x10, 0x2C)}, "VICON : goto preset 300\n"},
        {CmdBuilder(0xE020).action(7), {kPreset, preset(0x11, 7)}, "VICON : set preset 7\n"},
        {CmdBuilder(0xE022).action(7), {}},
        // menu, enter, escape; aux outputs 1 to 6 by the low five bits, on or off alike, where the low byte
        // is below 32
        {aux(595), {kBasic, basic(0x04)}, "PTZSVR : vicon aux(595)\n"},
        {aux(730, false), {kBasic, basic(0x04)}}, {aux(731), {kBasic, basic(0x02)}},
        {aux(1), {kBasic, basic(0, 0x40)}}, {aux(3, false), {kBasic, basic(0, 0x10)}},
        {aux(6), {kBasic, basic(0, 0x02)}}, {aux(7), {kBasic, kStop}}, {aux(33), {kBasic, kStop}},
        {aux(259), {kBasic, basic(0, 0x10)}}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        board.clear_calls();
        handle(0, cases[i].cmd);
        EXPECT_EQ(writes(), cases[i].frames);
        EXPECT_TRUE(!cases[i].log || logged(cases[i].log)) << cases[i].log;
    }
    // A 1 ms transmit enable before each write, then the line time alone: 2 and 4 bytes at 9600 baud.
    board.clear_calls();
    handle(0, CmdBuilder(0xE013));
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{1000, 10000, 4166, 1000, 10000, 8332}));
}

// Every x with y at the centre and every y with x at the centre, against the
// move frame read straight from the protocol: direction thresholds 62/66, speed
// |v - 0x40| * 16 as bits 7..10 then bits 0..6.
TEST_F(Vicon, MoveSweep) {
    channel(0, 2, 0x2202, 0x24);
    start();
    const auto groups = [](int v) {
        const int s = (v < 0x40 ? 0x40 - v : v - 0x40) * 16;
        return std::pair<uint8_t, uint8_t>{static_cast<uint8_t>((s >> 7) & 0x0F),
                                           static_cast<uint8_t>(s & 0x7F)};
    };
    for (int axis = 0; axis < 2; ++axis) {
        for (int v = 0; v < 256; ++v) {
            const int x = axis == 0 ? v : 0x40, y = axis == 0 ? 0x40 : v;
            uint8_t dir = x > 66 ? 0x20 : x < 62 ? 0x40 : 0;
            if (y > 66) dir |= 0x10;
            if (y < 62) dir |= 0x08;
            const auto [ph, pl] = groups(x);
            const auto [th, tl] = groups(y);
            board.clear_calls();
            handle(0, mv(static_cast<uint8_t>(x), static_cast<uint8_t>(y)));
            ASSERT_EQ(writes(), (std::vector<Bytes>{kMove, move(dir, ph, pl, th, tl)}))
                << "x=" << x << " y=" << y;
        }
    }
}

}  // namespace
}  // namespace ptz::test
