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
        // aux: command, data, FF, FF
        {aux(1, true), {srx(0x4F, 5, 0xFF, 0xFF)}, "SRX-100B : aux(1h:101h)"},
        {aux(1, false), {srx(0x4F, 4, 0xFF, 0xFF)}, "--> aux 004fh, 4h\n"},
        {aux(2, true), {srx(0x4F, 7, 0xFF, 0xFF)}}, {aux(2, false), {srx(0x4F, 6, 0xFF, 0xFF)}},
        {aux(3, true), {srx(0x4F, 3, 0xFF, 0xFF)}}, {aux(3, false), {srx(0x4F, 2, 0xFF, 0xFF)}},
        {aux(4, true), {srx(0x4F, 1, 0xFF, 0xFF)}}, {aux(4, false), {srx(0x4F, 0, 0xFF, 0xFF)}},
        {aux(100, true), {srx(0xF5, 0xFF, 0xFF, 0xFF)}}, {aux(101, true), {srx(0xF3, 0xFF, 0xFF, 0xFF)}},
        {aux(102, true), {srx(0xF7, 0xFF, 0xFF, 0xFF)}}, {aux(103, true), {srx(0xF9, 0xFF, 0xFF, 0xFF)}},
        {aux(103, false), {srx(0, 0xFF, 0xFF, 0xFF)}},
        {aux(150, true), {srx(0x1B, 0, 0xFF, 0xFF)}}, {aux(150, false), {srx(0x1F, 0, 0xFF, 0xFF)}},
        {aux(151, true), {srx(0x1F, 0xFF, 0xFF, 0xFF)}}, {aux(151, false), {srx(0, 0xFF, 0xFF, 0xFF)}},
        {aux(200, true), {srx(0xFB, 0, 0xFF, 0xFF)}}, {aux(202, true), {srx(0xFB, 2, 0xFF, 0xFF)}},
        {aux(201, false), {srx(0, 0xFF, 0xFF, 0xFF)}},
        // an unknown code still sends command 0
        {aux(5, true), {srx(0, 0xFF, 0xFF, 0xFF)}, "--> aux 0000h, ffh\n"},
        {aux(203, true), {srx(0, 0xFF, 0xFF, 0xFF)}},
    };
    // clang-format on
    check(0, rows);
}

}  // namespace
}  // namespace ptz::test
