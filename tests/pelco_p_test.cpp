#include "protocols/rs485/pelco_p.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes bytes(const PelcoPFrame& b) { return Bytes(b.begin(), b.end()); }
Bytes f(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) { return bytes(pelcop_frame(1, cmd, d1, d2)); }

using PelcoP = DaemonTest;

// All rows run in turn on one daemon, so a frame that inherited bits or
// speeds from the command before it would show. Every frame waits 35 ms.
TEST_F(PelcoP, Commands) {
    for (const auto& [ch, camera] : {std::pair{0, 1}, {1, 33}, {2, 0}}) channel(ch, 2, 0x1601, camera);
    start();
    const auto run = [this](const Bytes& cmd, int ch = 0) {
        board.clear_calls();
        handle(ch, cmd);
        return writes();
    };
    const Bytes stop = f(0);
    // clang-format off
    const std::pair<Bytes, std::vector<Bytes>> cases[] = {
        // focus far (x below the centre), byte for byte: command bits 8..14 and 0..6, XOR over STX to ETX
        {mv(0x30, 0, 2), {{0xA0, 0x00, 0x01, 0x00, 0x10, 0x00, 0xAF, 0x1E}}},
        // stop after action; stop (moves, lens keys, presets and the aux table are the cross-check's)
        {mv(0x20, 0x40, 0, 1), {f(0x04, 0x20, 0), stop}}, {CmdBuilder(0xE013), {stop}}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(run(cases[i].first), cases[i].second);
        std::vector<uint32_t> waits;
        for (size_t k = 0; k < cases[i].second.size(); ++k) waits.insert(waits.end(), {10000, 35000});
        EXPECT_EQ(sleeps(), waits);
    }
    // Cameras 33 and 0 wrap round to line addresses 0 and 31.
    for (const auto& [ch, a] : {std::pair<int, uint8_t>{1, 0x00}, {2, 0x1F}})
        EXPECT_EQ(run(CmdBuilder(0xE013), ch),
                  (std::vector<Bytes>{{0xA0, a, 0, 0, 0, 0, 0xAF, static_cast<uint8_t>(0x0F ^ a)}}));
}

}  // namespace
}  // namespace ptz::test
