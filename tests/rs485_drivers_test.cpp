// The small RS-485 drivers: one table of rows per camera, and the few tests a table cannot hold.
#include "protocols/rs485/pelco_p.h"
#include "protocols/rs485/samsung_e.h"
#include "protocols/rs485/spd.h"
#include "tests/rs485_rows.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

Bytes pp(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) { return bytes(pelcop_frame(1, cmd, d1, d2)); }
Bytes ctl(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) { return bytes(samsunge_control(1, cmd, d1, d2)); }
Bytes key(uint8_t cmd, uint8_t data) { return bytes(samsunge_preset_menu(1, cmd, data)); }
// SPD frames, also the SRX-100B's.
Bytes spd(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0, uint8_t d3 = 0) {
    return bytes(spd_frame(1, cmd, d1, d2, d3));
}
// Every SPD frame: 1 ms transmit settle, the write's 10 ms settle, 11 bytes of line time at 9600 baud, 10 ms.
const Waits kSpdWaits{1000, 10000, 22916, 10000};

// Vicon at address 0x24 (an even one, so that the frame type stands alone in its bits): headers 82 14
// (basic), 82 44 (preset), 82 54 (move).
const Bytes kBasic{0x82, 0x14}, kPreset{0x82, 0x44}, kMove{0x82, 0x54}, kViconStop{0, 0, 0, 0};
Bytes vmove(uint8_t dir, uint8_t pan_hi, uint8_t pan_lo, uint8_t tilt_hi, uint8_t tilt_lo) {
    return {dir, 0, 0, 0, pan_hi, pan_lo, tilt_hi, tilt_lo};
}
Bytes basic(uint8_t cmd, uint8_t aux = 0) { return {0, cmd, aux, 0}; }
Bytes vpreset(uint8_t op, uint8_t n) { return {0, 0, 0, 0, op, n, 0x70, 0x70}; }

// SJ: 40 letter addr data [extra] sum, address 1; 'M' frames carry 01, 'P' frames 00.
Bytes sj(char letter, uint8_t data) {
    Bytes f{0x40, static_cast<uint8_t>(letter), 0x01, data};
    if (letter == 'M') f.push_back(0x01);
    if (letter == 'P') f.push_back(0x00);
    uint8_t sum = 0;
    for (uint8_t b : f) sum = static_cast<uint8_t>(sum + b);
    f.push_back(sum);
    return f;
}

// ORX1000 at address 123: the digits 1, 3, 2 in that order.
Bytes orx(uint8_t cmd, uint8_t data) {
    return {0x11, 0x23, 0x32, cmd, data, static_cast<uint8_t>(0x11 + 0x23 + 0x32 + cmd + data)};
}
Bytes hunt(uint8_t cmd, uint8_t speed) {  // address 0x45: 02 05
    return {0xFA, cmd, 2, 5, speed, 0, static_cast<uint8_t>((0xFA + cmd + 7 + speed) & 0x7F)};
}

// ScanDome: A5 addr cmd d1 d2 55 sum, address 1.
Bytes sd(uint8_t cmd, uint8_t d1, uint8_t d2) {
    Bytes f{0xA5, 0x01, cmd, d1, d2, 0x55, 0};
    for (size_t i = 0; i < 6; ++i) f[6] = static_cast<uint8_t>(f[6] + f[i]);
    return f;
}
const Bytes kSdStop = sd(0x10, 0x0D, 0x88);
Bytes htx(uint16_t action, uint8_t x, uint8_t y) { return CmdBuilder(0xE0A0).action(action).xy(x, y); }
// 0.5 ms transmit settle, the write's 10 ms settle, 7 bytes of line time at 9600 baud; 100 ms between stops.
const Waits kFrame{500, 10000, 14582}, kGap{100000};

// 02 addr cmd data 03 sum, the sum of bytes 0..4 AND 7F, address 1.
Bytes stx(uint8_t cmd, uint8_t data) {
    Bytes f{0x02, 0x01, cmd, data, 0x03};
    f.push_back(static_cast<uint8_t>((0x02 + 0x01 + cmd + data + 0x03) & 0x7F));
    return f;
}
// addr cmd 80|data, the data masked to six bits under a non-zero command.
Bytes three(uint8_t addr, uint8_t cmd, uint8_t data) {
    return {addr, cmd, static_cast<uint8_t>(0x80 | (cmd ? data & 0x3F : data))};
}
// 50 81 FF letter [data [data]] 00 for address 0x1FF.
Bytes letter(char l, std::initializer_list<uint8_t> data = {}) {
    Bytes f{0x50, 0x83, 0xFF, static_cast<uint8_t>(l)};
    for (uint8_t b : data) f.push_back(b);
    f.push_back(0x00);
    return f;
}

// ADI: addr ... S with all bytes adding up to 0, address 1.
Bytes adi(Bytes f) {
    uint8_t sum = 0;
    for (uint8_t b : f) sum = static_cast<uint8_t>(sum + b);
    f.push_back(static_cast<uint8_t>(0x100 - sum));
    return f;
}
Bytes plain(uint8_t cmd) { return adi({0x01, cmd}); }
Bytes drive(uint8_t cmd, uint8_t speed) { return adi({0x01, 0xC0, cmd, speed}); }
Bytes menu(uint8_t v) { return adi({0x01, 0xCC, v}); }
Bytes adi_preset(uint8_t op, uint8_t n) { return adi({0x01, 0xC7, op, n}); }
// Speeds 9 and 10 go out as 8 and 11.
uint8_t speed(int v) { return static_cast<uint8_t>(v == 9 ? 8 : v == 10 ? 11 : v); }

using Rs485 = RowTest;

// The moves, lens keys, preset numbers, addresses and aux tables are the cross-check's; these rows pin what
// its decoders cannot see: waits, checksums byte for byte, traces, bytes a camera ignores, state.
TEST_F(Rs485, OneTablePerDriver) {
    // clang-format off
    const Driver drivers[] = {
        // every frame waits 35 ms
        {"Pelco-P", 0x1601, 1, {
            // focus far (x below the centre), byte for byte: command bits 8..14 and 0..6, XOR over STX to ETX
            {mv(0x30, 0, 2), {{0xA0, 0x00, 0x01, 0x00, 0x10, 0x00, 0xAF, 0x1E}}},
            {mv(0x20, 0x40, 0, 1), {pp(0x04, 0x20, 0), pp(0)}, nullptr, {10000, 35000, 10000, 35000}},
            {CmdBuilder(0xE013), {pp(0)}}}},
        // cameras 33 and 0 wrap round to line addresses 0 and 31
        {"Pelco-P 33", 0x1601, 33, {{CmdBuilder(0xE013), {{0xA0, 0x00, 0, 0, 0, 0, 0xAF, 0x0F}}}}},
        {"Pelco-P 0", 0x1601, 0, {{CmdBuilder(0xE013), {{0xA0, 0x1F, 0, 0, 0, 0, 0xAF, 0x10}}}}},
        // at 115200 baud, so that every frame waits the 10 ms minimum rather than its line time
        {"Samsung-E", 0x1904, 1, {
            // right-up byte for byte, and the stop after it: the checksum is the complement of the sum of all
            // but the A0 (0x284 here)
            {mv(0xFF, 0xFF, 0, 1), {{0xA0, 0xFE, 0x01, 0x01, 0x00, 0x06, 0xBF, 0xBF, 0x7B}, ctl(0)}, nullptr, Waits(4, 10000)},
            // stop; no clear preset
            {CmdBuilder(0xE013), {ctl(0)}}, {CmdBuilder(0xE022).action(7), {}},
            // menu enter, escape, exit, menu on and off; every other aux code c is (c + 13) mod 256
            {aux(730, false), {key(0x18, 0xFF)}}, {aux(731, true), {key(0x17, 0)}},
            {aux(740, true), {key(0x17, 0)}}, {aux(595, true), {key(0x17, 1)}, nullptr, {10000, 10000}},
            {aux(595, false), {key(0x17, 0)}},
            {aux(243, false), {key(0, 0xFF)}}}, 7},
        {"SPD", 6400, 1, {
            // pan right, byte for byte, and its trace
            {mv(0x7F, 0x40), {{0xA0, 0x01, 0x00, 0x00, 0x02, 0x3F, 0x00, 0x00, 0xFF, 0xAF, 0xBE}}, "SPD : 0002, 3f, 00, 00\n", kSpdWaits},
            // the speed of an axis that does not move
            {mv(0x20, 0x41), {spd(0x04, 0x20, 1)}, "SPD_SEND : A0 01 00 00 04 20 01 00 FF AF DA \n"},
            // no iris: a stop, traced
            {mv(0x50, 0x50, 3), {spd(0)}, "unknown sub command[3] "},
            // stop after any action
            {mv(0x20, 0x40, 0, 1), {spd(0x04, 0x20, 0), spd(0)}, "SPD : stop after action\n"},
            {mv(0x50, 0, 1, 1), {spd(0x20, 0, 0, 2), spd(0)}},
            {CmdBuilder(0xE013), {spd(0)}},
            // go to preset n as n - 1 from offset 12, preset 0 as preset 1
            {CmdBuilder(0xE014).arg16(5), {spd(0x07, 4, 0xFF, 0xFF)}, "SPD : goto preset 4\n"},
            {CmdBuilder(0xE014).arg16(0), {spd(0x07, 0, 0xFF, 0xFF)}, "SPD : goto preset 0\n"},
            // store and clear from the action field, each confirmed
            {CmdBuilder(0xE020).action(3), {spd(0x03, 2, 0xFF, 0xFF), spd(0x67, 0, 2, 0xFF)}, "SPD : set preset 2\n"},
            {CmdBuilder(0xE022).action(0), {spd(0x05, 0, 0xFF, 0xFF), spd(0x67, 0, 0, 0xFF)}, "SPD : clear preset 0\n"},
            // aux: the traces where on and off send the same frame, the bytes the camera does not look at
            {aux(111, false), {spd(0x71, 1, 0, 0xFF)}}, {aux(730), {spd(0x100, 0, 0, 0xFF)}}, {aux(731), {spd(0x200, 0, 0, 0xFF)}},
            {aux(900, true), {spd(0x45, 1, 0xFF, 0xFF)}, "AF On\n"}, {aux(900, false), {spd(0x45, 1, 0xFF, 0xFF)}, "AF Off\n"},
            {aux(1, true), {}, "SPD : AUX 1\n"},
            {CmdBuilder(0xE0A4), {}}}},
        {"SPD variant", 8705, 1, {
            // speed 1 and speed 0 made 1 where no axis moves, untraced; the lens keys at the centre and other
            // actions are tagged stops
            {mv(0x41, 0x40), {spd(0, 1, 1, 0x11)}, "!SPD : 0"}, {mv(0x40, 0, 1), {spd(0, 0, 0, 0x11)}},
            {mv(0x40, 0, 2), {spd(0, 0, 0, 0x11)}}, {mv(0x50, 0, 3), {spd(0, 0, 0, 0x11)}},
            // stop after action is not looked at
            {mv(0x20, 0x40, 0, 1), {spd(0x04, 0x20, 1, 0x11)}},
            {CmdBuilder(0xE013), {spd(0)}},
            {CmdBuilder(0xE014).arg16(0), {spd(0x07, 0, 0xFF, 0xFF)}},
            // 1 ms in place of the acknowledgement
            {CmdBuilder(0xE020).action(10), {spd(0x03, 9, 0xFF, 0xFF), spd(0x67, 0, 9, 0xFF)}, nullptr, kSpdWaits + Waits{1000} + kSpdWaits},
            {CmdBuilder(0xE022).action(2), {spd(0x05, 1, 0xFF, 0xFF), spd(0x67, 0, 1, 0xFF)}},
            // sequences 0..5 on or off; every other code is the digital zoom with the code's low byte
            {aux(711, false), {spd(0x21, 0, 0, 0xFF)}, "run sequence(0)\n"},
            {aux(716, true), {spd(0x21, 5, 0, 0xFF)}, "run sequence(5)\n"},
            {aux(717, true), {spd(0x8001, 717 & 0xFF, 1, 0xFF)}, "digital zoom on\n"},
            {aux(710, false), {spd(0x8001, 710 & 0xFF, 0, 0xFF)}, "digital zoom off\n"}}},
        {"SRX-100B", 6401, 1, {
            // both speeds whichever axis moves; no stop after an action
            {mv(0x10, 0x40, 0, 1), {spd(0x04, 0x3F, 0x3F)}},
            // the SPD sender's waits
            {CmdBuilder(0xE013), {spd(0x0400)}, nullptr, kSpdWaits},
            // no presets
            {CmdBuilder(0xE014).arg16(2), {}}, {CmdBuilder(0xE020).action(2), {}},
            {aux(1, true), {spd(0x4F, 5, 0xFF, 0xFF)}, "SRX-100B : aux(1h:101h)"},
            {aux(5, true), {spd(0, 0xFF, 0xFF, 0xFF)}, "--> aux 0000h, ffh\n"}}},
        {"Vicon", 0x2202, 0x24, {
            // left-up, byte for byte; 62 and 66 do not move, but keep their speeds; a stop after a move
            {mv(0x20, 0x60), {{0x82, 0x54}, {0x50, 0, 0, 0, 0x04, 0x00, 0x04, 0x00}}},
            {mv(62, 66), {kMove, vmove(0, 0, 0x20, 0, 0x20)}},
            {mv(0x20, 0x40, 0, 1), {kMove, vmove(0x40, 0x04, 0, 0, 0), kBasic, kViconStop}},
            // zoom tele with no stop after it; no other action
            {mv(0x41, 0, 1, 1), {kBasic, basic(0x20)}}, {mv(0x20, 0x40, 4), {}},
            // stop, after a 1 ms transmit enable per write the line time alone (2 and 4 bytes at 9600 baud); go
            // to (offset 12) and store (action) a preset; no clear preset
            {CmdBuilder(0xE013), {kBasic, kViconStop}, nullptr, {1000, 10000, 4166, 1000, 10000, 8332}},
            {CmdBuilder(0xE014).arg16(300), {kPreset, vpreset(0x10, 0x2C)}, "VICON : goto preset 300\n"},
            {CmdBuilder(0xE020).action(7), {kPreset, vpreset(0x11, 7)}, "VICON : set preset 7\n"},
            {CmdBuilder(0xE022).action(7), {}},
            // menu, enter, escape; aux outputs 1 to 6 by the low five bits, on or off alike, where the low byte
            // is below 32
            {aux(595), {kBasic, basic(0x04)}, "PTZSVR : vicon aux(595)\n"},
            {aux(730, false), {kBasic, basic(0x04)}}, {aux(731), {kBasic, basic(0x02)}},
            {aux(1), {kBasic, basic(0, 0x40)}}, {aux(3, false), {kBasic, basic(0, 0x10)}},
            {aux(6), {kBasic, basic(0, 0x02)}}, {aux(7), {kBasic, kViconStop}}, {aux(33), {kBasic, kViconStop}},
            {aux(259), {kBasic, basic(0, 0x10)}}}},
        {"SJ", 6403, 1, {
            // no stop after an action
            {mv(0x10, 0x40, 0, 1), {sj('C', 0x04)}},
            {CmdBuilder(0xE013), {sj('C', 0)}, nullptr, {10000, 35000}},
            // go to 9 byte for byte; no clear
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
            {CmdBuilder(0xE090).arg16(101).action(0x0100), {sj('C', 0x70)}}}},
        // the aux keys, the dropped preset and the stop sent twice (with no minimum wait: 6 bytes of line time)
        {"ORX1000", 0x1500, 123, {
            {mv(0x60, 0x60, 3), {orx(0, 0)}},  {aux(1, true), {orx(0x6B, 0)}},
            {aux(2, false), {orx(0x6C, 0)}},   {aux(11, true), {orx(0x63, 0)}},   {aux(12, false), {orx(0x64, 0)}},
            {aux(13, true), {orx(0x5F, 0)}},   {aux(5, true), {orx(0, 0)}},       {CmdBuilder(0xE014).arg16(3), {}},
            {aux(13, false), {orx(0, 0x44)}},
            {CmdBuilder(0xE013), {orx(0, 0x40), orx(0, 0x40)}, nullptr, {10000, 12500, 10000, 12500}}}},
        {"HUNT", 0x801, 0x45, {
            // no command at the centre, the iris at speed 1; the speed limit, after a 0.5 ms enable and 7 bytes
            // of line time; a preset by its low byte
            {mv(0x40, 0, 1), {hunt(0, 1)}},
            {mv(0x40, 0, 3), {hunt(10, 1)}},
            // a lens key's speed is the pan distance's, the first trace the larger distance's
            {mv(0x41, 0x48, 1), {hunt(11, 4)}, "HUNT speed is 1, 8 ==> 20h\n"},
            {mv(0x50, 0x70, 6), {hunt(0, 0xC0)}},  // no such action: command 0 at the pan/tilt speed
            {mv(0x7F, 0x48), {hunt(7, 0xEF)}, "HUNT speed is 63, 8 ==> efh\n", {500, 10000, 14582}},
            {CmdBuilder(0xE014).arg16(0x1209), {hunt(0x76, 9)}, "HUNT speed is 0, 0 ==> 9h\n"},
            {CmdBuilder(0xE020).action(0x105), {hunt(0x75, 5)}},
            {aux(1, true), {hunt(0, 0)}},
            {CmdBuilder(0xE013), {hunt(1, 0), hunt(2, 0), hunt(3, 0), hunt(4, 0), hunt(11, 0), hunt(12, 0), hunt(13, 0), hunt(14, 0)}}}},
        {"ScanDome", 2050, 1, {
            // pan at 0x50, byte for byte
            {mv(0x50, 0x40), {{0xA5, 0x01, 0x10, 0x0D, 0xA8, 0x55, 0xC0}}, "ScanDome(1) msg_id[e011],action[0],addr[1],x[80],y[64]\n"},
            // stop after a pan/tilt move: a stop at once and another 100 ms later
            {mv(0x50, 0x40, 0, 1), {sd(0x10, 0x0D, 0xA8), kSdStop, kSdStop}, "PTZSVR : send stop for scandome\n", kFrame + kFrame + kGap + kFrame},
            // nothing at the centre; a stop 100 ms after a lens key when asked; no iris
            {mv(0x40, 0, 1), {}}, {mv(0x40, 0, 1, 1), {kSdStop}, nullptr, kGap + kFrame},
            {mv(0x41, 0, 2, 1), {sd(0x10, 0x04, 0x88), kSdStop}, nullptr, kFrame + kGap + kFrame},
            {mv(0x3F, 0, 3), {}},
            // stop twice, 100 ms apart
            {CmdBuilder(0xE013), {kSdStop, kSdStop}, nullptr, kFrame + kGap + kFrame},
            {CmdBuilder(0xE022).action(9), {sd(0x26, 0x80, 0x89)}, "CLEAR preset 9\n"},
            // the HTX keyboard passes through
            {htx(0x1A5, 3, 4), {sd(0xA5, 3, 4)}, "PTZSVR : special command from HTX keyboard 1a5h - 03h, 04h\n"},
            {aux(595, false), {sd(0x19, 0x80, 0x80)}, "PTZSVR : scandome2 aux control(595,0)\n"}}},
        {"scandome2", 2052, 1, {
            // stop after a pan/tilt move once and at once, untraced; none after a lens key; nothing at the centre
            {mv(0x7F, 0x40, 0, 1), {sd(0x10, 0x0D, 0xF8), kSdStop}, "!ScanDome(", kFrame + kFrame},
            {mv(0x41, 0, 1, 1), {sd(0x10, 0x0F, 0x88)}}, {mv(0x40, 0, 1), {}},
            {mv(0x41, 0, 2, 1), {sd(0x10, 0x04, 0x88)}},
            {CmdBuilder(0xE013), {kSdStop}, nullptr, kFrame},
            {CmdBuilder(0xE020).action(3), {}}, {CmdBuilder(0xE014).arg16(3), {}},
            {CmdBuilder(0xE022).action(3), {}},
            {htx(0x21, 0x80, 0x7F), {sd(0x21, 0x80, 0x7F)}, "PTZSVR : special command from HTX keyboard 21h - 80h, 7fh\n"},
            {aux(595, true), {sd(0x19, 0x80, 0x80)}, "PTZSVR : scandome2 aux control(595)\n"}}},
        {"STX", 0x1200, 1, {
            // no minimum: the line time of 6 bytes alone
            {CmdBuilder(0xE013), {{0x02, 0x01, 0x00, 0x00, 0x03, 0x06}}, nullptr, {10000, 12500}},
            // the step from x even for actions without a command
            {mv(0, 0, 3), {stx(0, '1')}},
            {CmdBuilder(0xE014).arg16(1), {}}, {CmdBuilder(0xE020).action(1), {}}, {aux(1, true), {}}}},
        {"three-byte", 0x1300, 1, {
            {CmdBuilder(0xE013), {three(1, 0, 0)}},
            // going to a preset waits 50 ms after the line time of 3 bytes; storing does not
            {CmdBuilder(0xE014).arg16(0x0107), {three(0x41, 0x07, 0)}, nullptr, {10000, 6250, 50000}},
            {CmdBuilder(0xE020).action(5),
             {{0x41, 0x05, 0x80}, {0x41, 0x00, 0x84}, {0x41, 0x00, 0x85}, {0xC1, 0x03, 0xA4}},
             nullptr, {10000, 6250, 10000, 6250, 10000, 6250, 10000, 6250}},
            {CmdBuilder(0xE022).action(5), {}}, {aux(1, true), {}}}},
        // the address bytes wrap
        {"three-byte 0x50", 0x1300, 0x50, {{CmdBuilder(0xE020).action(1), {{0x90, 0x01, 0x80}, {0x90, 0x00, 0x84}, {0x90, 0x00, 0x85}, three(0x10, 3, 100)}}}},
        {"letter", 0x2200, 0x1FF, {
            {CmdBuilder(0xE014).arg16(0x0109), {letter('c', {0x09})}, nullptr, {10000, 35000}},
            {CmdBuilder(0xE020).action(0x0102), {letter('s', {0x02})}},
            {aux(1, true), {}},
            // a stop stops each running motion in order, and then nothing runs; a centred move still counts
            // as running; other actions start nothing
            {CmdBuilder(0xE013), {}},
            {CmdBuilder(0xE013), {letter('X'), letter('K'), letter('G')}, nullptr, {}, {mv(2, 0, 2), mv(0, 64), mv(0, 0, 1)}},
            {CmdBuilder(0xE013), {}, nullptr, {}, {mv(2, 0, 2), mv(0, 64), mv(0, 0, 1), CmdBuilder(0xE013)}},
            {CmdBuilder(0xE013), {letter('X')}, nullptr, {}, {mv(64, 64)}},
            {CmdBuilder(0xE013), {letter('K')}, nullptr, {}, {mv(0, 0, 1)}},
            {CmdBuilder(0xE013), {}, nullptr, {}, {mv(0, 0, 3)}}}},
        {"ADI", 256, 1, {
            // drive frames wait 60 ms, plain and menu frames 20 ms
            {mv(54, 64), {drive(0x81, 8)}, "1 c0 81 \n", {10000, 60000}},
            // stop after a pan/tilt move only
            {mv(0x50, 63, 0, 1), {drive(0x82, 0x10), plain(0x83), plain(0x86)}, "\nPT STOP"},
            {mv(0x50, 0, 1, 1), {plain(0x8A)}},
            // no other action
            {mv(65, 0, 4), {}},
            {CmdBuilder(0xE013), {{0x01, 0x83, 0x7C}, plain(0x86), plain(0x89), plain(0x8C), plain(0x92)}, "1 92 6d \n"},
            // the preset frame is not traced
            {CmdBuilder(0xE014).arg16(5), {adi_preset(2, 4)}, "ADI : goto preset 5\n"},
            {CmdBuilder(0xE014).arg16(5), {adi_preset(2, 4)}, "!1 c7"},
            // storing traces the action field but sends the number at offset 12
            {CmdBuilder(0xE020).action(0x10).arg16(3), {adi_preset(1, 2)}, "ADI : set preset 10h\n"},
            {aux(730, false), {menu(1)}, "AD enter\n"}, {aux(731, true), {menu(2)}, "AD esc\n"},
            {aux(595, true), {menu(1)}, "AD menu\n", {10000, 20000}}, {aux(596, true), {}}}},
    };
    // clang-format on
    check(drivers);
}

// Whatever the command, the models without an encoder log it in their own name and write to no device: a
// guessed frame could move another camera on the shared bus.
TEST_F(Rs485, NoEncoderLogsInItsOwnNameAndKeepsTheLineQuiet) {
    const std::pair<uint16_t, const char*> models[] = {
        {0x500, "RAVEL"},         {0x501, "MODEL_0x501"}, {0x600, "CRR1600"},       {0x800, "DMAX"},
        {0x803, "MODEL_0x803"},   {0x805, "MODEL_0x805"}, {0x1100, "MODEL_0x1100"}, {0x1800, "RVISION"},
        {0x1902, "MODEL_0x1902"}, {0x2000, "TOKINA"}};
    for (const auto& [model, name] : models) {
        channel(0, 2, model, 7);
        start();
        send(CmdBuilder(0xE011).xy(0x20, 0x50));
        send(CmdBuilder(0xE091).arg16(595).action(0x101));
        EXPECT_TRUE(board.find("write").empty()) << name;
        const std::string text = std::string(name) + " : no encoder yet, nothing sent: port(2) msg_id[e0";
        EXPECT_TRUE(logged(text + "11],action[0],addr[7],x[32],y[80]\n")) << name;
        EXPECT_TRUE(logged(text + "91],action[101],addr[7],x[83],y[2]\n")) << name;
    }
}

using Adi = OneCamera<0, 2, 256, 1, RowTest>;

// Pan first, then tilt, each on its own: below 63 and above 64 drive; 63 and 64 release a moving axis.
TEST_F(Adi, PanTiltSweep) {
    for (uint8_t x : kSweep)
        for (uint8_t y : kSweep)
            for (bool moving : {false, true}) {
                SCOPED_TRACE(testing::Message() << "x=" << int(x) << " y=" << int(y) << " moving=" << moving);
                std::vector<Bytes> want;
                if (x < 63) want.push_back(drive(0x81, speed(63 - x)));
                if (x > 64) want.push_back(drive(0x82, speed(x - 64)));
                if ((x == 63 || x == 64) && moving) want.push_back(plain(0x53));
                if (y < 63) want.push_back(drive(0x85, speed(63 - y)));
                if (y > 64) want.push_back(drive(0x84, speed(y - 64)));
                if ((y == 63 || y == 64) && moving) want.push_back(plain(0x86));
                d->drv = {};
                if (moving) handle(0, mv(0, 0));
                EXPECT_EQ(run(0, mv(x, y)), want);
            }
}

TEST_F(Adi, MovingFlagsAreSharedAndCleared) {
    channel(1, 4, 256, 2);
    start();
    const Bytes to2 = adi({0x02, 0x53});
    struct Case {
        const char* name;
        std::vector<std::pair<int, Bytes>> before;  // (channel, command)
        std::vector<Bytes> centred;                 // what a centred pan on channel 1 then writes
    };
    const Case cases[] = {
        {"after a pan on another port", {{0, mv(0, 64)}}, {to2}},
        {"released once", {{0, mv(0, 64)}, {1, mv(64, 64)}}, {}},
        {"after a tilt move only tilt is released", {{0, mv(64, 0)}}, {adi({0x02, 0x86})}},
        {"a stop clears", {{0, mv(0, 64)}, {0, CmdBuilder(0xE013)}}, {}},
        {"a preset clears", {{0, mv(0, 64)}, {0, CmdBuilder(0xE014).arg16(1)}}, {}},
        {"a store clears", {{0, mv(0, 64)}, {0, CmdBuilder(0xE020).arg16(1)}}, {}},
        {"stop after action keeps them", {{0, mv(0, 64, 0, 1)}}, {to2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        d->drv = {};
        for (const auto& [ch, cmd] : c.before) handle(ch, cmd);
        board.clear_calls();
        handle(1, mv(64, 64));
        EXPECT_EQ(writes("/dev/ttyS3"), c.centred);
    }
}

using Spd = OneCamera<0, 2, 6400, 1, RowTest>;

// Storing a preset waits for the camera's acknowledgement: 100 tries for the header, 1 ms apart, then a drain
// that ends at 10 more bytes or at the first quiet read. The byte it traces is never taken from the line.
TEST_F(Spd, PresetAcknowledgement) {
    const Bytes ack{0xA0, 0x01, 0x00, 0x00, 0x03, 0x02, 0xFF, 0xFF, 0x5A, 0xFF, 0xAF};
    const int64_t settled = 22916 + 10000;  // from the write to the first read
    // line: after the first frame's write; polls: 1 ms sleeps between the two frames
    // clang-format off
    struct Case { const char* name; Script line; size_t polls; const char* log; };
    const Case cases[] = {
        {"arrives", {{0, ack}}, 9, "spd : found header[a0]\n"},
        {"arrives 30 ms late", {{settled + 30000, ack}}, 39, "spd : found header[a0]\n"},
        {"never arrives", {}, 100, "spd : can't find header\n"},
        {"after noise", {{0, {0x11, 0x22}}, {settled + 5000, ack}}, 14, "spd : found header[a0]\n"},
        // the traced byte is the routine's own, not the ninth byte of the answer (0x5A)
        {"traced byte", {{0, ack}}, 9, "spd_receive_ack 00\n"},
        // the drain stops at the first quiet read, leaving the rest on the line
        {"in two bursts", {{0, Bytes(ack.begin(), ack.begin() + 4)}, {settled + 5000, Bytes(ack.begin() + 4, ack.end())}}, 3, "spd_receive_ack 00\n"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start();
        d->logger.common_init();
        answer_writes(board, c.line, [](const Bytes& f) { return f[4] == 0x03; });
        handle(0, CmdBuilder(0xE020).action(3));
        EXPECT_EQ(writes(), (std::vector<Bytes>{spd(0x03, 2, 0xFF, 0xFF), spd(0x67, 0, 2, 0xFF)}));
        EXPECT_EQ(sleeps(), kSpdWaits + Waits(c.polls, 1000) + kSpdWaits);
        EXPECT_TRUE(log_has(c.log)) << c.log;
        EXPECT_TRUE(log_has("SPD : set preset 2\n"));
    }
}

using Orx1000 = OneCamera<0, 2, 0x1500, 123, RowTest>;

TEST_F(Orx1000, AMoveIsResentTwiceThroughTheMainLoopAndAStopEndsIt) {
    const auto idle = [this](int ms) {
        for (int i = 0; i < ms; ++i) d->run_once();
    };
    send(mv(0x20, 0x20));
    idle(1000);
    const auto w = board.find("write", "/dev/ttyS2");
    ASSERT_EQ(w.size(), 3u);  // a re-sent move does not arm the repeat again
    for (size_t i = 0; i < w.size(); ++i) EXPECT_EQ(w[i]->data, orx(0, 0x46));
    for (size_t i = 1; i < w.size(); ++i) EXPECT_GT(w[i]->t - w[i - 1]->t, 100000);
    EXPECT_TRUE(logged("PTZSVR : call eptz_handler by repeat_count(2)\n"));
    EXPECT_TRUE(logged("PTZSVR : call eptz_handler by repeat_count(1)\n"));
    // A stop 50 ms after a move cancels its repeat; an aux never arms one.
    board.clear_calls();
    send(mv(0x60, 0x40));
    idle(50);
    send(CmdBuilder(0xE013));
    send(aux(1, true));
    idle(1000);
    EXPECT_EQ(writes(), (std::vector<Bytes>{orx(0, 0x48), orx(0, 0x40), orx(0, 0x40), orx(0x6B, 0)}));
    // Once the re-sends are over, a new move is re-sent again.
    board.clear_calls();
    send(mv(0x20, 0x20));
    idle(1000);
    EXPECT_EQ(writes().size(), 3u);
}

}  // namespace
}  // namespace ptz::test
