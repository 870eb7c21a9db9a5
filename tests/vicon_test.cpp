#include "tests/fixture.h"

namespace ptz::test {
namespace {

// Address 0x23: headers 82 13 (basic), 82 43 (preset), 82 53 (move).
const Bytes kBasic{0x82, 0x13}, kPreset{0x82, 0x43}, kMove{0x82, 0x53};
const Bytes kStop{0, 0, 0, 0};

Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}
Bytes move(uint8_t dir, uint8_t pan_hi, uint8_t pan_lo, uint8_t tilt_hi, uint8_t tilt_lo) {
    return {dir, 0, 0, 0, pan_hi, pan_lo, tilt_hi, tilt_lo};
}
Bytes preset(uint8_t op, uint8_t n) { return {0, 0, 0, 0, op, n, 0x70, 0x70}; }
Bytes aux(uint16_t code, bool on = true) { return CmdBuilder(0xE090).arg16(code).action(on ? 0x0101 : 0); }

class Vicon : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x2202, 0x23);
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd) {
        board.clear_calls();
        handle(0, cmd);
        return writes();
    }
};

TEST_F(Vicon, Frames) {
    struct Case {
        const char* name;
        Bytes cmd;
        std::vector<Bytes> frames;
        const char* log = nullptr;
    };
    const Case cases[] = {
        {"left-up, speeds 0x200", mv(0x20, 0x60), {{0x82, 0x53}, {0x50, 0, 0, 0, 0x04, 0x00, 0x04, 0x00}}},
        {"centre: no direction, no speed", mv(64, 64), {kMove, move(0, 0, 0, 0, 0)}},
        {"61/67 move", mv(61, 67), {kMove, move(0x50, 0, 0x30, 0, 0x30)}},
        {"62/66 do not, but keep their speeds", mv(62, 66), {kMove, move(0, 0, 0x20, 0, 0x20)}},
        {"no stronger axis inside the band", mv(62, 64), {kMove, move(0, 0, 0x20, 0, 0)}},
        {"right-down", mv(67, 0), {kMove, move(0x28, 0, 0x30, 0x08, 0)}},
        {"speed 0x800 keeps bit 11", mv(0xC0, 0x40), {kMove, move(0x20, 0x10, 0, 0, 0)}},
        {"stop after a move", mv(0x20, 0x40, 0, 1), {kMove, move(0x40, 0x04, 0, 0, 0), kBasic, kStop}},
        {"zoom wide", mv(0x3F, 0, 1), {kBasic, {0, 0x40, 0, 0}}},
        {"zoom at centre", mv(0x40, 0, 1), {kBasic, kStop}},
        {"zoom tele, no stop after it", mv(0x41, 0, 1, 1), {kBasic, {0, 0x20, 0, 0}}},
        {"focus low", mv(0x3F, 0, 2), {kBasic, {0, 0x10, 0, 0}}},
        {"focus at centre", mv(0x40, 0, 2), {kBasic, kStop}},
        {"focus high", mv(0x41, 0, 2), {kBasic, {0, 0x08, 0, 0}}},
        {"iris close at centre", mv(0x40, 0, 3), {kBasic, {0, 0x02, 0, 0}}},
        {"iris open", mv(0x41, 0, 3), {kBasic, {0, 0x04, 0, 0}}},
        {"unknown action", mv(0x20, 0x40, 4), {}},
        {"stop", CmdBuilder(0xE013), {kBasic, kStop}},
        {"go to preset",
         CmdBuilder(0xE014).arg16(300),
         {kPreset, preset(0x10, 0x2C)},
         "VICON : goto preset 300\n"},
        {"store preset", CmdBuilder(0xE020).action(7), {kPreset, preset(0x11, 7)}, "VICON : set preset 7\n"},
        {"no clear preset", CmdBuilder(0xE022).action(7), {}},
        {"menu", aux(595), {kBasic, {0, 0x04, 0, 0}}, "PTZSVR : vicon aux(595)\n"},
        {"enter", aux(730, false), {kBasic, {0, 0x04, 0, 0}}},
        {"escape", aux(731), {kBasic, {0, 0x02, 0, 0}}},
        {"aux 1", aux(1), {kBasic, {0, 0, 0x40, 0}}},
        {"aux 3, off alike", aux(3, false), {kBasic, {0, 0, 0x10, 0}}, "PTZSVR : vicon aux(3)\n"},
        {"aux 6", aux(6), {kBasic, {0, 0, 0x02, 0}}},
        {"aux 7", aux(7), {kBasic, kStop}},
        {"aux 9", aux(9), {kBasic, kStop}},
        {"aux 32", aux(32), {kBasic, kStop}},
        {"aux 259 has low byte 3", aux(259), {kBasic, {0, 0, 0x10, 0}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(run(c.cmd), c.frames);
        if (c.log) {
            EXPECT_TRUE(logged(c.log));
        }
    }
}

// A 1 ms transmit enable before each of the two writes, then the line time
// alone: 2 and 4 bytes at 9600 baud.
TEST_F(Vicon, Waits) {
    const int64_t t0 = board.now();
    run(CmdBuilder(0xE013));
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{1000, 10000, 4166, 1000, 10000, 8332}));
    const auto w = board.find("write", "/dev/ttyS2");
    ASSERT_EQ(w.size(), 2u);
    EXPECT_EQ(w[0]->t - t0, 11000);
    EXPECT_EQ(w[1]->t - w[0]->t, 4166 + 11000);
}

}  // namespace
}  // namespace ptz::test
