#include "protocols/rs485/pelco_p.h"

#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

Bytes bytes(const PelcoPFrame& b) { return Bytes(b.begin(), b.end()); }
Bytes f(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) { return bytes(pelcop_frame(1, cmd, d1, d2)); }

using PelcoP = RowTest;

// Every frame waits 35 ms.
TEST_F(PelcoP, Commands) {
    for (const auto& [ch, camera] : {std::pair{0, 1}, {1, 33}, {2, 0}}) channel(ch, 2, 0x1601, camera);
    start();
    const Bytes stop = f(0);
    // clang-format off
    const Row rows[] = {
        // focus far (x below the centre), byte for byte: command bits 8..14 and 0..6, XOR over STX to ETX
        {mv(0x30, 0, 2), {{0xA0, 0x00, 0x01, 0x00, 0x10, 0x00, 0xAF, 0x1E}}},
        // stop after action; stop (moves, lens keys, presets and the aux table are the cross-check's)
        {mv(0x20, 0x40, 0, 1), {f(0x04, 0x20, 0), stop}, nullptr, {10000, 35000, 10000, 35000}},
        {CmdBuilder(0xE013), {stop}}};
    // clang-format on
    check(0, rows);
    // Cameras 33 and 0 wrap round to line addresses 0 and 31.
    for (const auto& [ch, a] : {std::pair<int, uint8_t>{1, 0x00}, {2, 0x1F}})
        EXPECT_EQ(run(ch, CmdBuilder(0xE013)),
                  (std::vector<Bytes>{{0xA0, a, 0, 0, 0, 0, 0xAF, static_cast<uint8_t>(0x0F ^ a)}}));
}

}  // namespace
}  // namespace ptz::test
