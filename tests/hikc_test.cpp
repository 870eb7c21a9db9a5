#include "protocols/coax/hikc.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes hik(uint8_t code, uint8_t d0 = 0, uint8_t d1 = 0) { return bytes(hikc_frame(code, d0, d1, 0, 0)); }

using Hikc = OneCamera<3, 5, 0x808, 9>;

TEST_F(Hikc, FramesAcrossTheVocabulary) {
    // clang-format off
    struct Case { const char* name; Bytes cmd; std::vector<Bytes> expected; };
    const Case cases[] = {
        {"centre on a fresh daemon re-sends code 0", CmdBuilder(0xE011, 3).xy(64, 64), {hik(0x00)}},
        {"left-up", CmdBuilder(0xE011, 3).xy(61, 67), {hik(0x0A, 6, 6)}},
        {"left-down, speeds capped at 63", CmdBuilder(0xE011, 3).xy(0, 0), {hik(0x0B, 63, 63)}},
        {"right-up", CmdBuilder(0xE011, 3).xy(127, 67), {hik(0x0C, 6, 63)}},
        {"right-down", CmdBuilder(0xE011, 3).xy(67, 61), {hik(0x0D, 6, 6)}},
        {"left", CmdBuilder(0xE011, 3).xy(0x20, 0x40), {hik(0x09, 0, 63)}},
        {"right, pan speed 2", CmdBuilder(0xE011, 3).xy(65, 64), {hik(0x08, 0, 2)}},
        {"from 0xC0 up the speed wraps", CmdBuilder(0xE011, 3).xy(0xC1, 0x40), {hik(0x08, 0, 2)}},
        {"for tilt too", CmdBuilder(0xE011, 3).xy(0x40, 0xC0), {hik(0x06, 0, 0)}},
        {"down", CmdBuilder(0xE011, 3).xy(0x40, 0x30), {hik(0x07, 32, 0)}},
        {"up", CmdBuilder(0xE012, 3).xy(0x40, 0x50), {hik(0x06, 32, 0)}},
        {"zoom wide below 65", CmdBuilder(0xE011, 3).action(1).xy(64, 64), {hik(0x12)}},
        {"zoom tele", CmdBuilder(0xE011, 3).action(1).xy(65, 64), {hik(0x13, 0, 2)}},
        {"focus near", CmdBuilder(0xE011, 3).action(2).xy(10, 64), {hik(0x11, 0, 63)}},
        {"focus far", CmdBuilder(0xE011, 3).action(2).xy(70, 64), {hik(0x10, 0, 12)}},
        {"iris close", CmdBuilder(0xE011, 3).action(3).xy(64, 64), {hik(0x0E)}},
        {"iris open", CmdBuilder(0xE011, 3).action(3).xy(90, 64), {hik(0x0F, 0, 52)}},
        {"stop after action", CmdBuilder(0xE011, 3).xy(0x20, 0x40).stop_after(1), {hik(0x09, 0, 63), hik(0x14)}},
        {"stop", CmdBuilder(0xE013, 3), {hik(0x14)}},
        {"run pattern", CmdBuilder(0xE090, 3).arg16(551), {hik(0x1A)}},
        {"menu", CmdBuilder(0xE090, 3).arg16(595), {hik(0x17, 0x5F)}},
        {"line scan", CmdBuilder(0xE090, 3).arg16(599), {hik(0x55)}},
        {"patrol 712 is preset 36", CmdBuilder(0xE090, 3).arg16(712), {hik(0x17, 36)}},
        {"enter", CmdBuilder(0xE090, 3).arg16(730), {hik(0x0F)}},
        {"escape", CmdBuilder(0xE090, 3).arg16(731), {hik(0x0E)}},
        {"left limit", CmdBuilder(0xE090, 3).arg16(805), {hik(0x55, 1, 0x10)}},
        {"right limit", CmdBuilder(0xE091, 3).arg16(806), {hik(0x55, 1, 1)}},
        {"unknown aux only logs", CmdBuilder(0xE090, 3).arg16(715), {}},
        {"unknown msg id", CmdBuilder(0xE0A4, 3), {}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        board.clear_calls();
        d->last_cmd = {};  // each case on its own, not as a repeat of the last
        handle(3, c.cmd);
        EXPECT_EQ(coax_frames(), c.expected);
    }
}

TEST_F(Hikc, KeepsTheLastMoveCodeAndWaitsBeforeItsStop) {
    handle(3, CmdBuilder(0xE011, 3).xy(0x20, 0x40));
    handle(3, CmdBuilder(0xE011, 3).xy(64, 64).stop_after(1));
    EXPECT_EQ(coax_frames(), (std::vector<Bytes>{hik(0x09, 0, 63), hik(0x09), hik(0x14)}));
    EXPECT_EQ(sleeps(), std::vector<uint32_t>{30000});
    EXPECT_TRUE(logged("\t stop after action, wait 30ms\n"));
    EXPECT_TRUE(logged("PTZSVR : HIK-C 09h, 0, 0\n"));
}

}  // namespace
}  // namespace ptz::test
