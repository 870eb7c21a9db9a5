#include "protocols/rs485/pelco_p.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes f(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) {
    const PelcoPFrame b = pelcop_frame(1, cmd, d1, d2);
    return Bytes(b.begin(), b.end());
}
Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}
Bytes aux(uint16_t code, bool on) { return CmdBuilder(0xE090).arg16(code).action(on ? 0x0101 : 0); }

class PelcoP : public DaemonTest {
protected:
    void SetUp() override {
        for (const auto& [ch, camera] : {std::pair{0, 1}, {1, 33}, {2, 0}, {3, 32}})
            channel(ch, 2, 0x1601, camera);
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd, int ch = 0) {
        board.clear_calls();
        handle(ch, cmd);
        return writes();
    }
};

// All rows run in turn on one daemon, so a frame that inherited bits or
// speeds from the command before it would show.
TEST_F(PelcoP, Commands) {
    const Bytes stop = f(0);
    // clang-format off
    const std::pair<Bytes, std::vector<Bytes>> cases[] = {
        // left, then up; right; the diagonals at the band edges and at full deflection
        {mv(0x20, 0x40), {f(0x04, 0x20, 0)}}, {mv(0x40, 0x60), {f(0x08, 0, 0x20)}},
        {mv(0x50, 0x40), {f(0x02, 0x10, 0)}}, {mv(61, 67), {f(0x0C, 3, 3)}}, {mv(67, 61), {f(0x12, 3, 3)}},
        {mv(0, 0), {f(0x14, 0x40, 0x40)}}, {mv(0xFF, 0xFF), {f(0x0A, 0xBF, 0xBF)}},
        // 62 and 66 are no diagonal; the centre and both ties are a stop
        {mv(62, 70), {f(0x08, 0, 6)}}, {mv(66, 58), {f(0x10, 0, 6)}},
        {mv(64, 64), {stop}}, {mv(63, 63), {stop}}, {mv(63, 65), {stop}},
        // zoom tele at the raw speed, wide, stop; focus near above the centre, far below; no iris
        {mv(0xC0, 0, 1), {f(0x20, 0x80)}}, {mv(0x10, 0, 1), {f(0x40, 0x30)}}, {mv(0x40, 0, 1), {stop}},
        {mv(0x50, 0, 2), {f(0x200, 0x10)}}, {mv(0x30, 0, 2), {f(0x100, 0x10)}}, {mv(0xFF, 0, 3), {stop}},
        // stop after action; stop; presets: go to (offset 12), store, clear (action); no set position
        {mv(0x20, 0x40, 0, 1), {f(0x04, 0x20, 0), stop}}, {CmdBuilder(0xE013), {stop}},
        {CmdBuilder(0xE014).arg16(300), {f(0x07, 0, 44)}}, {CmdBuilder(0xE020).action(0x105), {f(3, 0, 5)}},
        {CmdBuilder(0xE022).action(7), {f(0x05, 0, 7)}}, {CmdBuilder(0xE0A4).pos(1, 2, 3), {}},
        // aux outputs 3 and 9, not 8; menu enter and escape on the iris keys, no stop; menu; nothing else
        {aux(3, true), {f(0x09, 0, 3)}}, {aux(9, false), {f(0x0B, 0, 9)}}, {aux(8, true), {}},
        {aux(730, false), {f(0x400)}}, {aux(731, true), {f(0x800)}}, {aux(595, false), {f(0x03, 0, 95)}},
        {aux(599, true), {}}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(run(cases[i].first), cases[i].second);
    }
}

TEST_F(PelcoP, WireBytesAddressWrapWaitAndLogs) {
    // The command bytes carry bits 8..14 and 0..6; the XOR covers STX and ETX.
    EXPECT_EQ(run(mv(0x30, 0, 2)), (std::vector<Bytes>{{0xA0, 0x00, 0x01, 0x00, 0x10, 0x00, 0xAF, 0x1E}}));
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 35000}));
    for (const auto& [ch, a] : {std::pair<int, uint8_t>{1, 0x00}, {2, 0x1F}, {3, 0x1F}})  // cameras 33, 0, 32
        EXPECT_EQ(run(CmdBuilder(0xE013), ch),
                  (std::vector<Bytes>{{0xA0, a, 0, 0, 0, 0, 0xAF, static_cast<uint8_t>(0x0F ^ a)}}));
    run(aux(3, true));
    EXPECT_TRUE(logged("PELCO-P AUX 3 257\n") && logged("aux 3 on\n"));
    run(aux(595, true));
    EXPECT_TRUE(logged("pelco-p menu\n"));
}

}  // namespace
}  // namespace ptz::test
