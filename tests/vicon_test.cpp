#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

// Address 0x24 (an even one, so that the frame type stands alone in its bits): headers 82 14 (basic),
// 82 44 (preset), 82 54 (move).
const Bytes kBasic{0x82, 0x14}, kPreset{0x82, 0x44}, kMove{0x82, 0x54}, kStop{0, 0, 0, 0};

Bytes move(uint8_t dir, uint8_t pan_hi, uint8_t pan_lo, uint8_t tilt_hi, uint8_t tilt_lo) {
    return {dir, 0, 0, 0, pan_hi, pan_lo, tilt_hi, tilt_lo};
}
Bytes basic(uint8_t cmd, uint8_t aux = 0) { return {0, cmd, aux, 0}; }
Bytes preset(uint8_t op, uint8_t n) { return {0, 0, 0, 0, op, n, 0x70, 0x70}; }

using Vicon = OneCamera<0, 2, 0x2202, 0x24, RowTest>;

TEST_F(Vicon, Frames) {
    // clang-format off
    const Row rows[] = {
        // left-up, byte for byte; 62 and 66 do not move, but keep their speeds; a stop after a move (the
        // other moves are the cross-check's)
        {mv(0x20, 0x60), {{0x82, 0x54}, {0x50, 0, 0, 0, 0x04, 0x00, 0x04, 0x00}}},
        {mv(62, 66), {kMove, move(0, 0, 0x20, 0, 0x20)}},
        {mv(0x20, 0x40, 0, 1), {kMove, move(0x40, 0x04, 0, 0, 0), kBasic, kStop}},
        // zoom tele with no stop after it; no other action (the lens keys are the cross-check's)
        {mv(0x41, 0, 1, 1), {kBasic, basic(0x20)}}, {mv(0x20, 0x40, 4), {}},
        // stop, after a 1 ms transmit enable per write the line time alone (2 and 4 bytes at 9600 baud); go
        // to (offset 12) and store (action) a preset; no clear preset
        {CmdBuilder(0xE013), {kBasic, kStop}, nullptr, {1000, 10000, 4166, 1000, 10000, 8332}},
        {CmdBuilder(0xE014).arg16(300), {kPreset, preset(0x10, 0x2C)}, "VICON : goto preset 300\n"},
        {CmdBuilder(0xE020).action(7), {kPreset, preset(0x11, 7)}, "VICON : set preset 7\n"},
        {CmdBuilder(0xE022).action(7), {}},
        // menu, enter, escape; aux outputs 1 to 6 by the low five bits, on or off alike, where the low byte
        // is below 32
        {aux(595), {kBasic, basic(0x04)}, "PTZSVR : vicon aux(595)\n"},
        {aux(730, false), {kBasic, basic(0x04)}}, {aux(731), {kBasic, basic(0x02)}},
        {aux(1), {kBasic, basic(0, 0x40)}}, {aux(3, false), {kBasic, basic(0, 0x10)}},
        {aux(6), {kBasic, basic(0, 0x02)}}, {aux(7), {kBasic, kStop}}, {aux(33), {kBasic, kStop}},
        {aux(259), {kBasic, basic(0, 0x10)}}};
    // clang-format on
    check(0, rows);
}

}  // namespace
}  // namespace ptz::test
