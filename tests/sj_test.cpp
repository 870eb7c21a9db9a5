#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

// 40 letter addr data [extra] sum, address 1; 'M' frames carry 01, 'P' frames 00.
Bytes sj(char letter, uint8_t data) {
    Bytes f{0x40, static_cast<uint8_t>(letter), 0x01, data};
    if (letter == 'M') f.push_back(0x01);
    if (letter == 'P') f.push_back(0x00);
    uint8_t sum = 0;
    for (uint8_t b : f) sum = static_cast<uint8_t>(sum + b);
    f.push_back(sum);
    return f;
}

using Sj = OneCamera<0, 2, 6403, 1, RowTest>;

TEST_F(Sj, Frames) {
    // clang-format off
    const Row rows[] = {
        // no stop after an action (the moves and lens keys are the cross-check's)
        {mv(0x10, 0x40, 0, 1), {sj('C', 0x04)}},
        {CmdBuilder(0xE013), {sj('C', 0)}, nullptr, {10000, 35000}},
        // go to 9 byte for byte (the preset numbers are the cross-check's); no clear
        {CmdBuilder(0xE014).arg16(9), {{0x40, 0x4D, 0x01, 0x59, 0x01, 0xE8}}},
        {CmdBuilder(0xE022).action(5), {}},
        // auxiliaries 0..5 on and off; unknown codes switch auxiliary 0
        {aux(0, true), {sj('P', 0x20)}, "SJ : aux (0h:101h) "},
        {aux(0, false), {sj('P', 0x10)}, "--> P, 10h\n"},
        {aux(1, true), {sj('P', 0x23)}}, {aux(1, false), {sj('P', 0x13)}},
        {aux(2, true), {sj('P', 0x24)}}, {aux(2, false), {sj('P', 0x14)}},
        {aux(3, true), {sj('P', 0x21)}}, {aux(3, false), {sj('P', 0x11)}},
        {aux(4, true), {sj('P', 0x22)}}, {aux(4, false), {sj('P', 0x12)}},
        {aux(5, true), {sj('P', 0x25)}}, {aux(5, false), {sj('P', 0x15)}},
        {aux(6, true), {sj('P', 0x20)}}, {aux(1000, false), {sj('P', 0x10)}},
        // 100 and 101 test the action against 0x0100: "on" (0x0101) is not it
        {aux(100, true), {sj('C', 0x50)}, "--> C, 50h\n"}, {aux(101, true), {sj('C', 0x60)}},
        {CmdBuilder(0xE090).arg16(100).action(0x0100), {sj('C', 0x70)}, "SJ : aux (64h:100h) "},
        {CmdBuilder(0xE090).arg16(101).action(0x0100), {sj('C', 0x70)}},
    };
    // clang-format on
    check(0, rows);
}

}  // namespace
}  // namespace ptz::test
