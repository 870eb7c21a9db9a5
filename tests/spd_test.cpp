#include "protocols/rs485/spd.h"

#include <cstdlib>

#include "tests/rs485_rows.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

Bytes spd(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0, uint8_t d3 = 0) {
    return bytes(spd_frame(1, cmd, d1, d2, d3));
}
// Every frame: 1 ms transmit settle, the write's own 10 ms settle, 11 bytes of line time at 9600 baud, 10 ms.
const Waits kFrameWaits{1000, 10000, 22916, 10000};

class Spd : public RowTest {
protected:
    void SetUp() override {
        channel(0, 2, 6400, 1);
        channel(1, 2, 8705, 1);
        start();
    }
};

TEST_F(Spd, SpdFrames) {
    // clang-format off
    const Row rows[] = {
        // pan right, byte for byte, and its trace
        {mv(0x7F, 0x40), {{0xA0, 0x01, 0x00, 0x00, 0x02, 0x3F, 0x00, 0x00, 0xFF, 0xAF, 0xBE}}, "SPD : 0002, 3f, 00, 00\n", kFrameWaits},
        // the speed of an axis that does not move (the other moves and the lens keys are the cross-check's)
        {mv(0x20, 0x41), {spd(0x04, 0x20, 1)}, "SPD_SEND : A0 01 00 00 04 20 01 00 FF AF DA \n"},
        // no iris: a stop, traced
        {mv(0x50, 0x50, 3), {spd(0)}, "unknown sub command[3] "},
        // stop after any action
        {mv(0x20, 0x40, 0, 1), {spd(0x04, 0x20, 0), spd(0)}, "SPD : stop after action\n"},
        {mv(0x50, 0, 1, 1), {spd(0x20, 0, 0, 2), spd(0)}},
        {CmdBuilder(0xE013), {spd(0)}},
        // go to preset n as n - 1 from offset 12, preset 0 as preset 1
        {CmdBuilder(0xE014).arg16(5), {spd(0x07, 4, 0xFF, 0xFF)}, "SPD : goto preset 4\n"},
        {CmdBuilder(0xE014).arg16(0), {spd(0x07, 0, 0xFF, 0xFF)}, "SPD : goto preset 0\n"},
        // store and clear from the action field, each confirmed
        {CmdBuilder(0xE020).action(3), {spd(0x03, 2, 0xFF, 0xFF), spd(0x67, 0, 2, 0xFF)}, "SPD : set preset 2\n"},
        {CmdBuilder(0xE022).action(0), {spd(0x05, 0, 0xFF, 0xFF), spd(0x67, 0, 0, 0xFF)}, "SPD : clear preset 0\n"},
        // aux: the traces where on and off send the same frame, the bytes the camera does not look at (the
        // table is the cross-check's)
        {aux(111, false), {spd(0x71, 1, 0, 0xFF)}}, {aux(730), {spd(0x100, 0, 0, 0xFF)}}, {aux(731), {spd(0x200, 0, 0, 0xFF)}},
        {aux(900, true), {spd(0x45, 1, 0xFF, 0xFF)}, "AF On\n"}, {aux(900, false), {spd(0x45, 1, 0xFF, 0xFF)}, "AF Off\n"},
        {aux(1, true), {}, "SPD : AUX 1\n"},
        {CmdBuilder(0xE0A4), {}},
    };
    // clang-format on
    check(0, rows);
}

TEST_F(Spd, VariantFrames) {
    // clang-format off
    const Row rows[] = {
        // speed 1 and speed 0 made 1 where no axis moves (the moves and lens speeds are the cross-check's);
        // the lens keys at the centre and other actions are tagged stops
        {mv(0x41, 0x40), {spd(0, 1, 1, 0x11)}}, {mv(0x40, 0, 1), {spd(0, 0, 0, 0x11)}},
        {mv(0x40, 0, 2), {spd(0, 0, 0, 0x11)}}, {mv(0x50, 0, 3), {spd(0, 0, 0, 0x11)}},
        // stop after action is not looked at
        {mv(0x20, 0x40, 0, 1), {spd(0x04, 0x20, 1, 0x11)}},
        {CmdBuilder(0xE013), {spd(0)}},
        {CmdBuilder(0xE014).arg16(0), {spd(0x07, 0, 0xFF, 0xFF)}},
        // 1 ms in place of the acknowledgement
        {CmdBuilder(0xE020).action(10), {spd(0x03, 9, 0xFF, 0xFF), spd(0x67, 0, 9, 0xFF)}, nullptr, kFrameWaits + Waits{1000} + kFrameWaits},
        {CmdBuilder(0xE022).action(2), {spd(0x05, 1, 0xFF, 0xFF), spd(0x67, 0, 1, 0xFF)}},
        // sequences 0..5 on or off; every other code is the digital zoom with the code's low byte
        {aux(711, false), {spd(0x21, 0, 0, 0xFF)}, "run sequence(0)\n"},
        {aux(716, true), {spd(0x21, 5, 0, 0xFF)}, "run sequence(5)\n"},
        {aux(717, true), {spd(0x8001, 717 & 0xFF, 1, 0xFF)}, "digital zoom on\n"},
        {aux(710, false), {spd(0x8001, 710 & 0xFF, 0, 0xFF)}, "digital zoom off\n"},
    };
    // clang-format on
    check(1, rows);
    for (const std::string& l : board.logs()) EXPECT_EQ(l.find("SPD : 0"), std::string::npos) << l;
}

// Storing a preset waits for the camera's acknowledgement: 100 tries for the header, 1 ms apart, then a drain
// that ends at 10 more bytes or at the first quiet read. The byte it traces is never taken from the line.
TEST_F(Spd, PresetAcknowledgement) {
    const Bytes ack{0xA0, 0x01, 0x00, 0x00, 0x03, 0x02, 0xFF, 0xFF, 0x5A, 0xFF, 0xAF};
    const int64_t settled = 22916 + 10000;  // from the write to the first read
    // line: after the first frame's write; polls: 1 ms sleeps between the two frames
    // clang-format off
    struct Case { const char* name; Script line; size_t polls; const char* log; };
    const Case cases[] = {
        {"arrives", {{0, ack}}, 9, "spd : found header[a0]\n"},
        {"arrives 30 ms late", {{settled + 30000, ack}}, 39, "spd : found header[a0]\n"},
        {"never arrives", {}, 100, "spd : can't find header\n"},
        {"after noise", {{0, {0x11, 0x22}}, {settled + 5000, ack}}, 14, "spd : found header[a0]\n"},
        // the traced byte is the routine's own, not the ninth byte of the answer (0x5A)
        {"traced byte", {{0, ack}}, 9, "spd_receive_ack 00\n"},
        // the drain stops at the first quiet read, leaving the rest on the line
        {"in two bursts", {{0, Bytes(ack.begin(), ack.begin() + 4)}, {settled + 5000, Bytes(ack.begin() + 4, ack.end())}}, 3, "spd_receive_ack 00\n"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start();
        d->logger.common_init();
        answer_writes(board, c.line, [](const Bytes& f) { return f[4] == 0x03; });
        handle(0, CmdBuilder(0xE020).action(3));
        EXPECT_EQ(writes(), (std::vector<Bytes>{spd(0x03, 2, 0xFF, 0xFF), spd(0x67, 0, 2, 0xFF)}));
        EXPECT_EQ(sleeps(), kFrameWaits + Waits(c.polls, 1000) + kFrameWaits);
        EXPECT_TRUE(log_has(c.log)) << c.log;
        EXPECT_TRUE(log_has("SPD : set preset 2\n"));
    }
}

}  // namespace
}  // namespace ptz::test
