#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

// addr ... S with all bytes adding up to 0, address 1.
Bytes adi(Bytes f) {
    uint8_t sum = 0;
    for (uint8_t b : f) sum = static_cast<uint8_t>(sum + b);
    f.push_back(static_cast<uint8_t>(0x100 - sum));
    return f;
}
Bytes plain(uint8_t cmd) { return adi({0x01, cmd}); }
Bytes drive(uint8_t cmd, uint8_t speed) { return adi({0x01, 0xC0, cmd, speed}); }
Bytes menu(uint8_t v) { return adi({0x01, 0xCC, v}); }
Bytes preset(uint8_t op, uint8_t n) { return adi({0x01, 0xC7, op, n}); }

// Speeds 9 and 10 go out as 8 and 11.
uint8_t speed(int v) { return static_cast<uint8_t>(v == 9 ? 8 : v == 10 ? 11 : v); }

using Adi = OneCamera<0, 2, 256, 1, RowTest>;

// Pan first, then tilt, each on its own: below 63 and above 64 drive; 63 and 64 release a moving axis.
TEST_F(Adi, PanTiltSweep) {
    for (uint8_t x : kSweep)
        for (uint8_t y : kSweep)
            for (bool moving : {false, true}) {
                SCOPED_TRACE(testing::Message() << "x=" << int(x) << " y=" << int(y) << " moving=" << moving);
                std::vector<Bytes> want;
                if (x < 63) want.push_back(drive(0x81, speed(63 - x)));
                if (x > 64) want.push_back(drive(0x82, speed(x - 64)));
                if ((x == 63 || x == 64) && moving) want.push_back(plain(0x53));
                if (y < 63) want.push_back(drive(0x85, speed(63 - y)));
                if (y > 64) want.push_back(drive(0x84, speed(y - 64)));
                if ((y == 63 || y == 64) && moving) want.push_back(plain(0x86));
                d->drv = {};
                if (moving) handle(0, mv(0, 0));
                EXPECT_EQ(run(0, mv(x, y)), want);
            }
}

TEST_F(Adi, Frames) {
    // clang-format off
    const Row rows[] = {
        // drive frames wait 60 ms, plain and menu frames 20 ms
        {mv(54, 64), {drive(0x81, 8)}, "1 c0 81 \n", {10000, 60000}},
        // stop after a pan/tilt move only
        {mv(0x50, 63, 0, 1), {drive(0x82, 0x10), plain(0x83), plain(0x86)}, "\nPT STOP"},
        {mv(0x50, 0, 1, 1), {plain(0x8A)}},
        // no other action (the lens keys are the cross-check's)
        {mv(65, 0, 4), {}},
        {CmdBuilder(0xE013), {{0x01, 0x83, 0x7C}, plain(0x86), plain(0x89), plain(0x8C), plain(0x92)}, "1 92 6d \n"},
        {CmdBuilder(0xE014).arg16(5), {preset(2, 4)}, "ADI : goto preset 5\n"},
        // storing traces the action field but sends the number at offset 12
        {CmdBuilder(0xE020).action(0x10).arg16(3), {preset(1, 2)}, "ADI : set preset 10h\n"},
        {aux(730, false), {menu(1)}, "AD enter\n"}, {aux(731, true), {menu(2)}, "AD esc\n"},
        {aux(595, true), {menu(1)}, "AD menu\n", {10000, 20000}}, {aux(596, true), {}},
    };
    // clang-format on
    check(0, rows);
    // The preset frame is not traced.
    board.clear_calls();
    handle(0, CmdBuilder(0xE014).arg16(5));
    for (const std::string& l : board.logs()) EXPECT_EQ(l.rfind("1 c7", 0), std::string::npos) << l;
}

TEST_F(Adi, MovingFlagsAreSharedAndCleared) {
    channel(1, 4, 256, 2);
    start();
    const Bytes to2 = adi({0x02, 0x53});
    struct Case {
        const char* name;
        std::vector<std::pair<int, Bytes>> before;  // (channel, command)
        std::vector<Bytes> centred;                 // what a centred pan on channel 1 then writes
    };
    const Case cases[] = {
        {"after a pan on another port", {{0, mv(0, 64)}}, {to2}},
        {"released once", {{0, mv(0, 64)}, {1, mv(64, 64)}}, {}},
        {"after a tilt move only tilt is released", {{0, mv(64, 0)}}, {adi({0x02, 0x86})}},
        {"a stop clears", {{0, mv(0, 64)}, {0, CmdBuilder(0xE013)}}, {}},
        {"a preset clears", {{0, mv(0, 64)}, {0, CmdBuilder(0xE014).arg16(1)}}, {}},
        {"a store clears", {{0, mv(0, 64)}, {0, CmdBuilder(0xE020).arg16(1)}}, {}},
        {"stop after action keeps them", {{0, mv(0, 64, 0, 1)}}, {to2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        d->drv = {};
        for (const auto& [ch, cmd] : c.before) handle(ch, cmd);
        board.clear_calls();
        handle(1, mv(64, 64));
        EXPECT_EQ(writes("/dev/ttyS3"), c.centred);
    }
}

}  // namespace
}  // namespace ptz::test
