#include "protocols/rs485/spd.h"
#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

Bytes srx(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0, uint8_t d3 = 0) {
    return bytes(spd_frame(1, cmd, d1, d2, d3));
}

using Srx100b = OneCamera<0, 2, 6401, 1, RowTest>;

TEST_F(Srx100b, PanTiltSweep) {
    sweep(0, [](int x, int y) { return srx(axis_bits(x, y), 0x3F, 0x3F, 0); });
}

TEST_F(Srx100b, Frames) {
    // clang-format off
    const Row rows[] = {
        // zoom and focus at speed 4, nothing at 64; no iris; no stop after an action
        {mv(65, 0, 1), {srx(0x0420, 0, 0, 4)}}, {mv(63, 0, 1), {srx(0x0440, 0, 0, 4)}},
        {mv(64, 0, 1), {srx(0)}},
        {mv(65, 0, 2), {srx(0x0200, 0, 0, 4)}}, {mv(63, 0, 2), {srx(0x0100, 0, 0, 4)}},
        {mv(64, 0, 2), {srx(0)}},
        {mv(0x50, 0, 3), {srx(0)}}, {mv(0x10, 0x40, 0, 1), {srx(0x04, 0x3F, 0x3F)}},
        // the SPD sender's waits
        {CmdBuilder(0xE013), {srx(0x0400)}, nullptr, {1000, 10000, 22916, 10000}},
        // no presets
        {CmdBuilder(0xE014).arg16(2), {}}, {CmdBuilder(0xE020).action(2), {}},
        {aux(1, true), {srx(0x4F, 5, 0xFF, 0xFF)}, "SRX-100B : aux(1h:101h)"},
        {aux(5, true), {srx(0, 0xFF, 0xFF, 0xFF)}, "--> aux 0000h, ffh\n"},
    };
    // clang-format on
    check(0, rows);
}

// Aux: the command word and the first data byte by the camera's table, then FF, FF.
TEST_F(Srx100b, AuxSweep) {
    const auto want = [](int v, bool on) -> std::pair<uint8_t, uint8_t> {
        if (v >= 1 && v <= 4) return {0x4F, static_cast<uint8_t>("\x05\x07\x03\x01"[v - 1] - !on)};
        if (v == 150) return {on ? 0x1B : 0x1F, 0};
        if (!on) return {0, 0xFF};
        if (v >= 100 && v <= 103) return {"\xF5\xF3\xF7\xF9"[v - 100], 0xFF};
        if (v == 151) return {0x1F, 0xFF};
        if (v >= 200 && v <= 202) return {0xFB, static_cast<uint8_t>(v - 200)};
        return {0, 0xFF};
    };
    for (int v = 0; v <= 300; ++v) {
        for (bool on : {true, false}) {
            const auto [c, data] = want(v, on);
            ASSERT_EQ(run(0, aux(static_cast<uint16_t>(v), on)), std::vector<Bytes>{srx(c, data, 0xFF, 0xFF)})
                << v << " " << on;
        }
    }
}

}  // namespace
}  // namespace ptz::test
