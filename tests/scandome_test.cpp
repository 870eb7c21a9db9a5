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

TEST_F(ScanDome, ScanDomeFrames) {
    // clang-format off
    const Row rows[] = {
        // pan at 0x50, byte for byte (the moves and the lens keys are the cross-check's)
        {mv(0x50, 0x40), {{0xA5, 0x01, 0x10, 0x0D, 0xA8, 0x55, 0xC0}}, "ScanDome(1) msg_id[e011],action[0],addr[1],x[80],y[64]\n"},
        // stop after a pan/tilt move: a stop at once and another 100 ms later
        {mv(0x50, 0x40, 0, 1), {sd(0x10, 0x0D, 0xA8), kStop, kStop}, "PTZSVR : send stop for scandome\n", kFrame + kFrame + kGap + kFrame},
        // nothing at the centre; a stop 100 ms after a lens key when asked; no iris
        {mv(0x40, 0, 1), {}}, {mv(0x40, 0, 1, 1), {kStop}, nullptr, kGap + kFrame},
        {mv(0x41, 0, 2, 1), {sd(0x10, 0x04, 0x88), kStop}, nullptr, kFrame + kGap + kFrame},
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
        // stop after a pan/tilt move once and at once; none after a lens key; nothing at the centre
        {mv(0x7F, 0x40, 0, 1), {sd(0x10, 0x0D, 0xF8), kStop}, nullptr, kFrame + kFrame},
        {mv(0x41, 0, 1, 1), {sd(0x10, 0x0F, 0x88)}}, {mv(0x40, 0, 1), {}},
        {mv(0x41, 0, 2, 1), {sd(0x10, 0x04, 0x88)}},
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

}  // namespace
}  // namespace ptz::test
