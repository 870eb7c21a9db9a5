#include "protocols/rs485/spd.h"
#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

Bytes srx(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0, uint8_t d3 = 0) {
    return bytes(spd_frame(1, cmd, d1, d2, d3));
}

using Srx100b = OneCamera<0, 2, 6401, 1, RowTest>;

TEST_F(Srx100b, Frames) {
    // clang-format off
    const Row rows[] = {
        // both speeds whichever axis moves; no stop after an action (moves and lens keys are the
        // cross-check's)
        {mv(0x10, 0x40, 0, 1), {srx(0x04, 0x3F, 0x3F)}},
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

}  // namespace
}  // namespace ptz::test
