#include "protocols/rs485/samsung_e.h"

#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

Bytes ctl(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) { return bytes(samsunge_control(1, cmd, d1, d2)); }
Bytes key(uint8_t cmd, uint8_t data) { return bytes(samsunge_preset_menu(1, cmd, data)); }

using SamsungE = RowTest;

// At 115200 baud, so that every frame waits the 10 ms minimum rather than its line time.
TEST_F(SamsungE, Commands) {
    channel(0, 2, 0x1904, 1, 7);
    start();
    const Bytes stop = ctl(0);
    // clang-format off
    const Row rows[] = {
        // right-up byte for byte, and the stop after it: the checksum is the complement of the sum of all
        // but the A0 (0x284 here)
        {mv(0xFF, 0xFF, 0, 1), {{0xA0, 0xFE, 0x01, 0x01, 0x00, 0x06, 0xBF, 0xBF, 0x7B}, stop}, nullptr,
         Waits(4, 10000)},
        // stop; no clear preset (moves, go to and store are the cross-check's)
        {CmdBuilder(0xE013), {stop}}, {CmdBuilder(0xE022).action(7), {}},
        // menu enter, escape, exit, menu on and off; every other aux code c is (c + 13) mod 256
        {aux(730, false), {key(0x18, 0xFF)}}, {aux(731, true), {key(0x17, 0)}},
        {aux(740, true), {key(0x17, 0)}}, {aux(595, true), {key(0x17, 1)}, nullptr, {10000, 10000}},
        {aux(595, false), {key(0x17, 0)}},
        {aux(243, false), {key(0, 0xFF)}}};
    // clang-format on
    check(0, rows);
}

}  // namespace
}  // namespace ptz::test
