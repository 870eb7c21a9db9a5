// The RS-485 drivers: one table of rows per camera, and the few tests a table cannot hold.
#include <algorithm>
#include <functional>

#include "core/report.h"
#include "protocols/rs485/pelco_d.h"
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

// Pelco-D: FF addr word d1 d2 sum, address 1 unless given.
Bytes pd(uint16_t word, uint8_t d1 = 0, uint8_t d2 = 0, uint8_t addr = 1) {
    return bytes(pelcod_frame(addr, word, d1, d2));
}

// Panasonic: STX "AD" address text ETX; control texts of 7 characters are short frames, of 15 long ones.
Bytes pana(std::string text, const std::string& addr = "01") {
    if (text.size() == 7 || text.size() == 15) text = (text.size() == 7 ? ";GC7:" : ";GCF:") + text;
    const std::string frame = "\x02" + ("AD" + addr) + text + "\x03";
    return Bytes(frame.begin(), frame.end());
}
// The power/on-line frame that leads every command.
std::vector<Bytes> power(const std::string& addr) { return {pana(";RON:7", addr)}; }

// AutoDome frames for address 1 (sent as 00 00), the 7-bit sum added by hand.
Bytes summed(Bytes f) {
    unsigned s = 0;
    for (uint8_t b : f) s += b;
    f.push_back(static_cast<uint8_t>(s & 0x7F));
    return f;
}
// Variable-speed control by its payload (data, word bits 8..14, word bits 0..6); fixed-speed and
// fixed-length frames by their word.
Bytes var(uint8_t data, uint8_t hi, uint8_t lo) { return summed({0x87, 0, 0, 0x05, data, hi, lo}); }
Bytes fs(uint16_t w) { return summed({0x86, 0, 0, 0x02, uint8_t(w >> 8), uint8_t(w)}); }
Bytes fl(uint16_t v) { return summed({0x86, 0, 0, 0x07, uint8_t(v >> 8), uint8_t(v)}); }
const Bytes kAdStop = var(0, 0, 0);

// VC-C4: FF 30 device 00 command data EF; device 0x31 is address 1, 0x30 every head.
Bytes vc(uint8_t cmd, const std::string& data, uint8_t dev = 0x31) {
    const std::string s = std::string{'\xFF', '\x30', char(dev), '\0', char(cmd)} + data + '\xEF';
    return Bytes(s.begin(), s.end());
}
const Bytes kOpen = vc(0x90, "0", 0x30), kInit0 = vc(0x8F, "0", 0x30), kInit1 = vc(0x8F, "1", 0x30);
// Every VC-C4 frame waits 10 ms, 5 ms and 30 ms.
Waits vcc4_waits(size_t frames) {
    Waits w;
    while (frames--) w = w + Waits{10000, 5000, 30000};
    return w;
}

// The two WKC heads as their protocol sheet gives them.
// clang-format off
struct Head { uint16_t model; uint8_t start, family, sum_xor, ack; size_t ack_len; };
// clang-format on
const Head kEz{0x1400, 0xE5, 0x10, 0xA5, 0x5E, 7}, kF2e{0x2300, 0xFA, 0x50, 0x00, 0xCC, 3};
Bytes wkc(const Head& h, const Bytes& data, uint16_t addr = 0x123) {
    Bytes f{h.start, static_cast<uint8_t>(h.family | addr >> 8), static_cast<uint8_t>(addr)};
    for (uint8_t b : data) f.push_back(b);
    unsigned sum = 0;
    for (uint8_t b : f) sum += b;
    f.push_back(static_cast<uint8_t>(sum ^ h.sum_xor));
    return f;
}
Bytes ez(const Bytes& data) { return wkc(kEz, data); }
Bytes f2e(const Bytes& data) { return wkc(kF2e, data); }

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
            // no iris: a stop at speed 0
            {mv(0x50, 0x50, 3), {pp(0)}}, {CmdBuilder(0xE013), {pp(0)}}}},
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
            {aux(740, true), {spd(0xB1, 1, 0xFF, 0xFF)}, "special Menu Off\n"},
            {aux(1, true), {}, "SPD : AUX 1\n"},
            {CmdBuilder(0xE0A4), {}}}},
        {"SPD variant", 8705, 1, {
            // speed 1 and speed 0 made 1 where no axis moves, untraced; the lens keys at the centre and other
            // actions are tagged stops
            {mv(0x41, 0x40), {spd(0, 1, 1, 0x11)}, "!SPD : 0"}, {mv(0x40, 0, 1), {spd(0, 0, 0, 0x11)}},
            {mv(0x40, 0, 2), {spd(0, 0, 0, 0x11)}}, {mv(0x50, 0, 3), {spd(0, 0, 0, 0x11)}},
            // stop after action is not looked at
            {mv(0x20, 0x40, 0, 1), {spd(0x04, 0x20, 1, 0x11)}},
            // speeds up to 55 go as they are, from 56 at full speed
            {mv(0x77, 0x40), {spd(0x02, 55, 1, 0x11)}}, {mv(0x78, 0x40), {spd(0x02, 0x40, 1, 0x11)}},
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
            // the lens keys at speed 4 in data 3; a lens key at the centre: the all-zero word
            {mv(0x60, 0, 1), {spd(0x0420, 0, 0, 4)}}, {mv(0x20, 0, 2), {spd(0x0100, 0, 0, 4)}},
            {mv(0x40, 0, 2), {spd(0)}},
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
        // direction bits accumulate until a stop, an aux or a stop after action; every frame waits 35 ms
        {"Pelco-D", 0x1600, 1, {
            {mv(0x20, 0x40), {pd(0x04, 0x20, 0)}, nullptr, {10000, 35000}},
            {mv(0x40, 0x60), {pd(0x0C, 0x20, 0x20)}, nullptr, {}, {mv(0x20, 0x40)}},
            // a tie x = y and an unknown action send the state; iris open replaces the word
            {mv(63, 63), {pd(0x04, 0x20, 0)}, nullptr, {}, {mv(0x20, 0x40)}},
            {mv(0x10, 0x10, 7), {pd(0x04, 0x20, 0)}, nullptr, {}, {mv(0x20, 0x40)}},
            {mv(0x41, 0, 3), {pd(0x200)}, nullptr, {}, {mv(0x20, 0x40)}},
            // zoom tele at top speed, wide at speed 0 from the centre, focus far
            {mv(0xFF, 0, 1), {pd(0x25, 0, 11), pd(0x20)}}, {mv(0x40, 0, 1), {pd(0x25), pd(0x40)}},
            {mv(0x60, 0, 2), {pd(0x27, 0, 2), pd(0x80)}},
            {mv(0x20, 0x40, 0, 1), {pd(0x04, 0x20, 0), pd(0)}},
            {mv(0x40, 0x60), {pd(0x08, 0, 0x20)}, nullptr, {}, {mv(0x20, 0x40, 0, 1)}},
            {mv(0x40, 0x60), {pd(0x08, 0, 0x20)}, nullptr, {}, {mv(0x20, 0x40), CmdBuilder(0xE013)}},
            {mv(0x40, 0x60), {pd(0x08, 0, 0x20)}, nullptr, {}, {mv(0x20, 0x40), aux(3)}},
            {CmdBuilder(0xE013), {pd(0)}}, {CmdBuilder(0xE0AA), {}},
            // one row per way an aux rule logs itself; the menu keys are held for a second, then stopped
            {aux(3), {pd(0x09, 0, 3)}, "aux 3 on\n"},
            {aux(110), {pd(0x1F, 0, 1)}, "set pattern start 1\n"}, {aux(555), {pd(0x23, 0, 5)}, "run pattern 5\n"},
            {aux(712), {pd(0x23, 0, 0x22)}, "run Tour 2\n"}, {aux(723), {pd(0x23, 0, 0x13)}, "run Scan 3\n"},
            {aux(1000), {pd(0x07, 0, 0xE8)}, "pelcod unkown aux command sent to preset, 1000\n"},
            {aux(598, false), {pd(0x07, 0, 96)}, "stop scan\n"},
            {aux(731), {pd(0x400), pd(0)}, "pelco-d esc\n", {10000, 35000, 1000000, 10000, 35000}}}},
        // the stop after action byte is not looked at (moves and lens keys are the cross-check's); past the
        // last preset two hex digits hold (156) only the power frame (200 would recall 44)
        {"Panasonic", 0x1602, 1, {
            {CmdBuilder(0xE012).xy(0, 64).stop_after(1), {pana("90288F0")}},
            {mv(0x20, 0x40), {pana("9028880")}, "pan_spd : 32, 8\n"},  // the distance and the digit
            {CmdBuilder(0xE013), {pana("9028100"), pana("9034008")}},
            {CmdBuilder(0xE020).action(1), {pana("D810000"), pana("00219F0:0022640")}},
            {CmdBuilder(0xE020).action(157), {}}, {CmdBuilder(0xE022).action(1), {}},
            {CmdBuilder(0xE090).arg16(3), {}},
            {CmdBuilder(0xE020).action(200), {}, "pana_set_preset : preset 200 out of range(1~156), not stored\n"}},
         3, power("01")},
        // two address digits, a third has no room; 12, 18 and 18 bytes of line time
        {"Panasonic 7", 0x1602, 7, {{CmdBuilder(0xE013), {pana("9028100", "07"), pana("9034008", "07")}}}, 3, power("07")},
        {"Panasonic 100", 0x1602, 100, {
            {CmdBuilder(0xE013), {pana("9028100", "10"), pana("9034008", "10")}, nullptr, {10000, 25000, 10000, 37500, 10000, 37500}}},
         3, power("10")},
        // left at speed 8 (bits 11..15), the tilt byte carrying it too (the other moves and the lens speeds are
        // the cross-check's); zoom in; out at full speed sends 0x7F for 0x80; iris (the centre closes); no
        // other action. A control frame has its own 1 ms transmit enable before the one every write makes.
        {"AutoDome", 0x200, 1, {
            {mv(0x20, 0x40), {var(8, 0x40, 0x02)}, nullptr, {1000, 10000, 35000}},
            {mv(0xFF, 0, 1), {var(0x70, 0, 0x20)}, "zoom in, 112\n"},
            {mv(0, 0, 1), {var(0x7F, 0, 0x10)}, "zoom out, 128\n"},
            {mv(64, 0, 3), {var(0, 0x02, 0)}, "PTZCORE : IRIS close\n"},
            {mv(65, 0, 3), {var(0, 0x04, 0)}, "PTZCORE : IRIS open\n"}, {mv(0x20, 0x40, 4), {kAdStop}},
            {CmdBuilder(0xE013), {kAdStop}}, {mv(0x48, 0, 1, 1), {var(16, 0, 0x20), kAdStop}},
            // go to preset (offset 12), without a transmit enable of its own; no clear; store (action)
            {CmdBuilder(0xE014).arg16(3), {fl(0x0503)}, nullptr, {10000, 35000}},
            {CmdBuilder(0xE022).action(3), {}}, {CmdBuilder(0xE020).action(3), {{0x86, 0, 0, 7, 4, 3, 0x14}}},
            // aux outputs up to 1024, off and on; 1025 and 1026 are codes of their own, 1027 nothing; menu,
            // enter, escape
            {aux(5, false), {fl(0x0205)}, "PTZSVR : philips autodome aux control(5)\n"},
            {aux(1024, true), {fl(0x0500)}}, {aux(1025, true), {fl(1125)}},
            {aux(1026, false), {fl(1126)}}, {aux(1027, true), {}},
            {aux(595, false), {fl(302)}, "bosh menu\n"},
            {aux(730, false), {var(0x40, 0x01, 0)}, "bosh enter\n"},
            {aux(731, true), {var(0, 0x04, 0)}, "bosh esc\n"}}},
        // the same inputs in the fixed-speed form, with a 0.5 ms enable; no stop after an action, no menu
        {"AutoDome fixed", 0x201, 1, {
            {mv(0x20, 0x40), {fs(0x1000)}, nullptr, {500, 10000, 35000}},
            {mv(0xFF, 0, 1), {fs(0x0004)}}, {mv(0, 0, 1), {fs(0x0400)}}, {mv(64, 0, 3), {fs(0)}},
            {mv(65, 0, 3), {fs(0)}}, {mv(0x20, 0x40, 4), {fs(0)}}, {CmdBuilder(0xE013), {fs(0)}},
            {mv(0x20, 0x40, 0, 1), {fs(0x1000)}}, {aux(595, true), {}}}},
        // the high address byte from the address itself, the low one from address - 1
        {"AutoDome 0x100", 0x200, 0x100, {{CmdBuilder(0xE013), {{0x87, 1, 0xFF, 5, 0, 0, 0, 0x0C}}}}},
        // at 115200 baud, so that the 5 ms minimum outlasts the line time; a fresh head is initialised first
        {"VC-C4", 0x300, 1, {
            // pan and tilt speeds 12 and 9 per step from the centre, at least 8; the drive: 1 right/up,
            // 2 left/down, 0 inside 62..66; the stop after action byte is not looked at
            {mv(0x40, 0x40), {vc(0x50, "008"), vc(0x51, "008"), vc(0x60, "00")}, nullptr, vcc4_waits(6)},
            {mv(61, 67), {vc(0x50, "024"), vc(0x51, "01B"), vc(0x60, "21")}},
            {mv(62, 66), {vc(0x50, "018"), vc(0x51, "012"), vc(0x60, "00")}},
            {mv(0xFF, 0), {vc(0x50, "8F4"), vc(0x51, "240"), vc(0x60, "12")}},
            {mv(0x20, 0x40, 0, 1), {vc(0x50, "180"), vc(0x51, "008"), vc(0x60, "20")}},
            // go to preset 10 (':'); a store goes on as an aux command; aux 602 on
            {CmdBuilder(0xE014).arg16(10), {vc(0x50, "300"), vc(0x51, "260"), vc(0x8A, ":")}},
            {CmdBuilder(0xE020).action(5).arg16(602), {vc(0x89, "5"), vc(0xB5, "1")}, "VCC4 set preset : 35\n"},
            {CmdBuilder(0xE091).arg16(602).action(0x0101), {vc(0xB5, "0")}, "VCC4 aux : 25a\n"},
            // zoom wide (also at the centre) and tele: the speed frame always carries "00"
            {mv(0, 0, 1), {vc(0xB4, "00"), vc(0xA2, "1")}, "zoom : 8h\n"},
            {mv(0xFF, 0, 1), {vc(0xB4, "00"), vc(0xA2, "2")}, "zoom : 17h\n"},
            {mv(0x40, 0, 1), {vc(0xB4, "00"), vc(0xA2, "1")}},
            // focus far, manual first; nothing for iris, clear preset and other aux codes; stop
            {mv(65, 0, 2), {vc(0xA1, "1"), vc(0xA1, "2")}},
            {mv(0xFF, 0, 3), {}}, {CmdBuilder(0xE022).action(5), {}}, {CmdBuilder(0xE090).arg16(603).action(0x0101), {}},
            {CmdBuilder(0xE013), {vc(0xA2, "0"), vc(0x53, "0", 0x30), vc(0xB1, "1"), vc(0x90, "1")}, "STOP\n"}},
         7, {kOpen, kInit0, kInit1}},
        // the data bytes of every frame: bit 7 of 0xBF reads as left; a stop after action and a stop clear the
        // speeds; the WKC keyboard passes through
        {"EZ", kEz.model, 0x123, {
            {mv(0xFF, 0x40), {ez({0x00, 0xBF, 0x00})}},
            {mv(0x30, 0x48, 0, 1), {ez({0, 0x90, 0x88}), ez({0, 0, 0})}},
            {mv(0x60, 0, 2), {ez({0x04, 0, 0})}, nullptr, {}, {mv(0x30, 0x48, 0, 1)}},
            {mv(0x20, 0, 2), {ez({0x08, 0, 0})}, nullptr, {}, {mv(0x30, 0x48), CmdBuilder(0xE013)}},
            {CmdBuilder(0xE0A0).action(0x1C2).xy(3, 4), {ez({0xC2, 3, 4})}, "PTZSVR : special command from WKC keyboard 1c2h - 03h, 04h\n"},
            {CmdBuilder(0xE0AA), {}}}},
        // zoom carries the pan on; iris (the centre closes); no other action
        {"F2E", kF2e.model, 0x123, {
            {mv(0x30, 0x48), {f2e({0x80, 0x90, 0x88})}},
            {mv(0x48, 0, 1), {f2e({0x91, 0x90, 0x88})}, nullptr, {}, {mv(0x30, 0x48)}},
            {mv(0x40, 0, 2), {f2e({0, 0, 0})}}, {mv(0x40, 0, 3), {f2e({0x82, 0, 0})}},
            {mv(0x41, 0, 3), {f2e({0x81, 0, 0})}}, {mv(0x30, 0x30, 9), {f2e({0, 0, 0})}},
            {CmdBuilder(0xE013), {f2e({0, 0, 0})}}}},
        // moves are pulses: the word, then a stop, 100 ms after each; a stop has nothing left to stop; an
        // action with no word of its own sends the last one again
        {"INOS", 0x900, 5, {
            {mv(0x60, 0x48), {pd(0x02, 0x30, 0, 5), pd(0, 0, 0, 5)}, "\tx = 32\n"},
            {mv(0x41, 0, 1), {pd(0x20, 0, 0, 5), pd(0, 0, 0, 5)}, "PTZSVR : INOS 0020h\n"},
            {CmdBuilder(0xE0A6), {pd(0, 0, 0, 5)}}, {CmdBuilder(0xE013), {}},
            {mv(0x10, 0x10, 2), {pd(0x20, 0, 0, 5), pd(0, 0, 0, 5)}, "INOS msg_id[e011],action[2],addr[5],x[16],y[16]", {}, {mv(0x41, 0, 1)}}}},
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

using PelcoD = OneCamera<0, 2, 0x1600, 1, RowTest>;

TEST_F(PelcoD, PositionQueryReportsWhatTheCameraAnswers) {
    // The camera answers each query 20 ms after it, with noise before the
    // tilt answer and nothing at all for zoom.
    board.on_write = [](SimBoard& b, const std::string& dev, const Bytes& data) {
        if (data.size() != 7 || data[3] == 0x55) return;
        Bytes reply = pd(static_cast<uint8_t>(data[3] + 8), 0x12, data[3] == 0x51 ? 0x34 : 0x56);
        if (data[3] == 0x53) reply.insert(reply.begin(), {0xFF, 0x00, 0x00, 0x00});
        b.queue_reply(dev, b.now() + 20000, reply);
    };
    handle(0, CmdBuilder(0xE0A6, 0).requester(1234));
    const auto reports = board.find("ioctl", "/dev/con2rec");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0]->req, 6u);
    const Bytes expected = {0x14, 0x40, 0, 0, 24,   0,    0, 0, 0xD2, 0x04, 0, 0, 0, 0, 0, 0,
                            1,    0,    0, 0, 0x34, 0x12, 0, 0, 0x56, 0x12, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(reports[0]->data, expected);
    // The zoom query waited its whole 0.3 s limit.
    EXPECT_GE(board.elapsed(), 300000);
}

// Over TVI a Pelco-D channel's coax ports are 5 and 6 (port 6 only where the recorder has no status
// device to pick a coax protocol by the picture's format); every action is followed by a stop.
TEST_F(Rs485, PelcoDOverTvi) {
    const auto tvi = [](uint16_t cmd) { return bytes(pelcod_tvi_frame(7, cmd, 0, 0)); };
    sysvar("coc_type", 3);
    channel(1, 5, 0x1600, 7);
    start();
    // clang-format off
    const std::pair<Bytes, std::vector<Bytes>> cases[] = {
        {CmdBuilder(0xE011, 1).xy(0x10, 0x70), {bytes(pelcod_tvi_frame(7, 0x0C, 0x24, 0x24)), tvi(0)}},  // fixed speed
        {CmdBuilder(0xE011, 1).action(1).xy(0x50, 0), {tvi(0x25), tvi(0x20), tvi(0)}},
        {CmdBuilder(0xE011, 1).action(2).xy(0x50, 0), {tvi(0x27), tvi(0x100), tvi(0)}},  // focus is reversed
        {CmdBuilder(0xE020, 1).action(3), {}},  // presets are ignored
    };
    // clang-format on
    for (const auto& [cmd, frames] : cases) {
        board.clear_calls();
        handle(1, cmd);
        EXPECT_EQ(coax_frames(), frames);
        EXPECT_TRUE(sleeps().empty());
        // The transmit request carries the channel, not a port.
        for (const SimCall* call : board.find("ioctl", "/dev/av_devs"))
            EXPECT_EQ(rd32(call->data.data()), 1u);
    }
    board.remove_device("/dev/vin_devs"), board.remove_device("/dev/av_devs");
    for (int port : {6, 7}) {
        channel(1, port, 0x1600, 7);
        start();
        handle(1, CmdBuilder(0xE013, 1));
        EXPECT_EQ(log_has("PELCO_D_TVI msg_id[e013]"), port == 6) << port;
    }
}

// The receive side is emptied before a long frame, at most 100 bytes of it.
TEST_F(Rs485, PanasonicDrainsTheReceiveSide) {
    channel(0, 2, 0x1602, 1);
    start();
    board.queue_reply("/dev/ttyS2", board.now(), Bytes(150, 0x55));
    EXPECT_EQ(run(0, CmdBuilder(0xE014).arg16(2)),
              (std::vector<Bytes>{pana(";RON:7"), pana("2021400:2022010")}));
    EXPECT_TRUE(logged("pana_clear_recv : 100\n"));
}

// Addresses 0, 16, 32 and 48 share the device character 0x30 of the frames every head takes, and are
// initialised before every command; the others before the first only.
TEST_F(Rs485, Vcc4InitialisationPair) {
    for (const uint16_t addr : {0, 16, 32, 48, 1, 0x40}) {
        SCOPED_TRACE(addr);
        channel(0, 2, 0x300, addr);
        start();
        const Bytes aux = vc(0xB5, "1", static_cast<uint8_t>(addr | 0x30));
        const std::vector<Bytes> init{kOpen, kInit0, kInit1, aux}, plain{kOpen, aux};
        EXPECT_EQ(run(0, CmdBuilder(0xE090).arg16(602)), init);
        EXPECT_EQ(run(0, CmdBuilder(0xE090).arg16(602)), addr % 16 == 0 && addr < 64 ? init : plain);
    }
}

// After its line time each frame reads the head's answer once, whatever has arrived, and pauses 30 ms:
// answers that arrive 20 ms after their frame are read by the next one, the last one not at all.
TEST_F(Rs485, Vcc4AnswerReads) {
    channel(0, 2, 0x300, 1);  // 9600 baud: 7 bytes take 14.582 ms
    start();
    run(0, CmdBuilder(0xE013));
    board.on_write = [](SimBoard& b, const std::string& dev, const Bytes&) {
        b.queue_reply(dev, b.now() + 20000, {0xFE, 0x30, 0x31, 0x12, 0x8A, 0xEF});
    };
    ASSERT_EQ(run(0, CmdBuilder(0xE014).arg16(1)).size(), 4u);
    const auto l = board.logs();
    EXPECT_EQ(std::count(l.begin(), l.end(), "ACK : 12h8ah\n"), 3);
    EXPECT_EQ(std::count(l.begin(), l.end(), "receive error\n"), 1);
    const auto w = board.find("write", "/dev/ttyS2"), r = board.find("read", "/dev/ttyS2");
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(r[0]->t - w[0]->t, 14582);
    EXPECT_EQ(w[1]->t - r[0]->t, 30000 + 10000);
}

class Wkc : public RowTest {
protected:
    void boot(const Head& h, uint16_t addr = 0x123, int baud = 3) {
        channel(0, 2, h.model, addr, baud);
        start();
        Bytes ack(h.ack_len + 1, 0x11);
        ack[0] = h.ack;
        answer_writes(board, {{2000, ack}});  // every frame is answered 2 ms after it
    }
};

// Each frame: 1 ms enable, the block (10 ms enable, then its line time or the 1 ms minimum), then the
// answer's polls.
TEST_F(Wkc, FrameWaitsAndTheKeyboardThroughTheMainLoop) {
    for (const auto& [head, baud, wait] : {std::tuple{&kEz, 3, 10416u}, {&kEz, 7, 1000u}}) {
        boot(*head, 1, baud);
        handle(0, aux(595));  // 5 bytes
        const auto s = sleeps();
        ASSERT_GE(s.size(), 3u);
        EXPECT_EQ(Waits(s.begin(), s.begin() + 3), (Waits{1000, 10000, wait}));
    }
    // The main loop does not list the keyboard's own message: it never reaches the driver.
    board.clear_calls();
    send(CmdBuilder(0xE0A0).action(0x1C2).xy(3, 4));
    EXPECT_TRUE(writes().empty());
}

// The query's answer: C5, pan 0x7079 (900), tilt 0x01E0 (45), zoom 0x0203, one unused byte.
const Bytes kPosition{0xC5, 0x70, 0x79, 0x01, 0xE0, 0x02, 0x03, 0x00};

TEST_F(Wkc, GetPositionOnTimeLateNoisyTwiceShortOrNever) {
    Bytes noise(19, 0x33), more_noise(20, 0x33);
    noise.insert(noise.end(), kPosition.begin(), kPosition.end());
    more_noise.insert(more_noise.end(), kPosition.begin(), kPosition.end());
    const std::pair<Script, bool> rows[] = {
        {{{2000, kPosition}}, true},
        {{{2000, kPosition}, {2500, kPosition}}, true},
        {{{2000, noise}}, true},
        {{{2000, more_noise}}, false},  // each noise byte costs one of 20 attempts
        {{{60000, kPosition}}, false},
        {{{2000, Bytes(kPosition.begin(), kPosition.begin() + 4)}}, false},
        {{}, false},
        {stream(500000, {0x33}), false},
    };
    for (const auto& [script, ok] : rows) {
        boot(kEz, 1);
        answer_writes(board, script);
        const int64_t t0 = board.now();
        handle(0, CmdBuilder(0xE0A6, 0).requester(1234));
        EXPECT_LT(board.now() - t0, 60000);  // the write, then 40 polls at most
        EXPECT_EQ(writes(), (std::vector<Bytes>{wkc(kEz, {0x40}, 1)}));
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0]->data, bytes(ok ? build_report(1234, 0, 1, 900, 45, 0x203)
                                             : build_report(1234, 0, 0, ~0u, ~0u, ~0u)));
        EXPECT_TRUE(logged(ok ? "EZ : get pos(0) 900, 45, 515\n" : "EZ : get pos failed\n"));
        EXPECT_TRUE(logged("EZ : get pos returns 0\n"));
        silence(board, *d);
    }
}

TEST_F(Wkc, SetPositionAsksFirstForTheValuesItKeeps) {
    const auto sum = [](Bytes f) {
        unsigned s = 0;
        for (uint8_t b : f) s += b;
        f.push_back(static_cast<uint8_t>(s));
        return f;
    };
    const auto at = [](uint32_t p, uint32_t t, uint32_t z) { return CmdBuilder(0xE0A4).pos(p, t, z); };
    const Bytes ask_ez = wkc(kEz, {0x40}, 1), ask_f2e = wkc(kF2e, {0x40}, 1);
    // A negative value keeps the head's own: ask first; the frame then starts with AA, on EZ too. No answer
    // to the question: nothing more.
    const std::tuple<const Head*, Bytes, bool, std::vector<Bytes>> rows[] = {
        // head, command, answers, frames
        {&kEz, at(900, 0, 0), true, {sum({0x5E, 0x10, 0x01, 0xFF, 0x70, 0x79, 0, 0, 0, 1})}},
        {&kF2e, at(3599, 45, 7), true, {sum({0xAA, 0x50, 0x01, 0x71, 0, 0, 0x01, 0xE0, 0, 7})}},
        {&kEz, at(0, ~0u, 9), true, {ask_ez, sum({0xAA, 0x10, 0x01, 0xFF, 0x95, 0xFA, 0x01, 0xE0, 0, 9})}},
        {&kF2e, at(-5u, 0, ~0u), true, {ask_f2e, sum({0xAA, 0x50, 0x01, 0x71, 0x70, 0x79, 0, 0, 2, 3})}},
        {&kEz, at(10, ~0u, 0), false, {ask_ez}},
    };
    for (const auto& [head, cmd, answers, frames] : rows) {
        boot(*head, 1);
        answer_writes(board, answers ? Script{{1000, kPosition}} : Script{},
                      [](const Bytes& f) { return f.size() == 5; });
        handle(0, cmd);
        EXPECT_EQ(writes(), frames);
        silence(board, *d);
    }
}

using Inos = OneCamera<2, 2, 0x900, 5, RowTest>;

TEST_F(Inos, PanAnswerOnTimeLateNoisyTwiceOrNever) {
    // replies after the zero frame, and the dump from the rlen line on: no sum is checked; a short answer
    // reads as the count with zeros behind; a line that keeps sending runs to the time limit
    // clang-format off
    struct Row { Script replies; uint32_t pan; const char* dump; };
    const Row rows[] = {
        {{{30000, {0xFF, 0x05, 0x2A, 0x00}}}, 0x2A, "PTZSVR : rlen is 0\nff 05 2a 00 00 00 00 \n pan : 2a\n"},
        {{{30000, {0x01, 0x02, 0xFF, 0x05, 0x2B, 0x00}}}, 0x2B, "PTZSVR : rlen is 2\nff 05 2b 00 00 00 00 \n"},
        {{{30000, {0xFF, 0x05, 0x2C, 0x99}}, {40000, {0xFF, 0x05, 0x11, 0}}}, 0x2C, "rlen is 0\n"},
        {{{30000, {0xFF, 0x05}}}, 0, "PTZSVR : rlen is 2\n00 00 00 00 00 00 00 \n"},
        {{}, 0, "PTZSVR : rlen is 0\n"},
        {{{2200000, {0xFF, 0x05, 0x2E, 0x00}}}, 0, "PTZSVR : rlen is 0\n"},
        {stream(3000000, {0x33}), 0, "PTZSVR : rlen is 128\n"},
    };
    // clang-format on
    for (const Row& r : rows) {
        answer_writes(board, r.replies, [](const Bytes& f) { return f[3] == 0; });
        const int64_t t0 = board.now();
        handle(2, CmdBuilder(0xE011, 2).xy(0x60, 0x48));
        EXPECT_LE(board.now() - t0, 290000 + 2000000);
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0]->data, bytes(build_report(0, 2, 0, r.pan, 0, 0)));
        EXPECT_NE(log_text(board).find(r.dump), std::string::npos) << r.dump;
        EXPECT_TRUE(logged(" tilt : 0\n"));
        // settle, 35 ms and the 100 ms pulse for the move and for its stop; then the answer's wait
        const Waits s = sleeps();
        ASSERT_GE(s.size(), 6u);
        EXPECT_EQ(Waits(s.begin(), s.begin() + 6), (Waits{10000, 35000, 100000, 10000, 35000, 100000}));
        silence(board, *d);
    }
    // A silent head holds the loop for its wait only: two queries queued together are both served.
    const int64_t t0 = board.now();
    board.queue_datagram(t0, CmdBuilder(0xE0A6, 2));
    board.queue_datagram(t0, CmdBuilder(0xE0A6, 2));
    for (int pass = 0; pass < 100 && board.find("ioctl", "/dev/con2rec").size() < 2; ++pass) d->run_once();
    EXPECT_EQ(writes().size(), 2u);
    EXPECT_LE(board.now() - t0, 2 * (45000 + 2000000));
}

// The aux tables of the SPD pair, the ScanDome pair and EZ/F2E, every code on and off, against their rules;
// the bytes a camera does not look at count too.
TEST_F(Rs485, AuxTablesOverEveryCode) {
    using Frames = std::vector<Bytes>;
    const auto spd_aux = [](int v, bool on) -> Frames {
        switch (v) {
            case 110: return {on ? spd(0x71, 0, 0xFF, 0xFF) : spd(0x73, 0xFF, 0xFF, 0xFF)};
            case 111: return {spd(0x71, 1, 0, 0xFF)};
            case 595: return {spd(0xB1, !on, 0xFF, 0xFF)};
            case 730: return {spd(0x100, 0, 0, 0xFF)};
            case 731: return {spd(0x200, 0, 0, 0xFF)};
            case 740: return {spd(0xB1, 1, 0xFF, 0xFF)};
            case 900: return {spd(0x45, 1, 0xFF, 0xFF)};
            case 902: return {spd(0x45, 2, 0xFF, 0xFF)};
            default: return {};
        }
    };
    const auto variant_aux = [](int v, bool on) -> Frames {
        if (v >= 711 && v <= 716) return {spd(0x21, static_cast<uint8_t>(v - 711), 0, 0xFF)};
        return {spd(0x8001, static_cast<uint8_t>(v), on, 0xFF)};
    };
    // ScanDome, or scandome2 (`two`): (command, 0x80, data 2).
    const auto sd_aux = [](int v, bool on, bool two) -> Frames {
        const auto f = [](int cmd, int d2) {
            return Frames{sd(static_cast<uint8_t>(cmd), 0x80, static_cast<uint8_t>(d2))};
        };
        if (v == 595 || (v == 730 && !two)) return f(0x19, 0x80);
        if (v == 602 && !two) return f(on ? 0x28 : 0x29, 0x80);
        if (v >= 701 && v <= 704) return f(on ? 0x2C : 0x2D, 0x81 + v - 701);
        if (v >= 711 && v <= 718 && !two) return f(0x13, 0x81 + v - 711);
        if (v >= 721 && v <= 728) return f(0x17, 0x81 + v - 721);
        if (v == 730) return {sd(0x10, 0x48, 0x80)};
        if (v == 731) return f(0x1F, 0x80);
        return {};
    };
    // EZ, or F2E: one command byte, or the command, the index in the range and a zero.
    const auto wkc_aux = [](int v, bool on, bool f2e) -> Frames {
        const Head& h = f2e ? kF2e : kEz;
        const auto one = [&](int c) { return Frames{wkc(h, {static_cast<uint8_t>(c)}, 1)}; };
        const auto three = [&](int c, int first) {
            return Frames{wkc(h, {static_cast<uint8_t>(c), static_cast<uint8_t>(v - first), 0}, 1)};
        };
        if (v == 602) return f2e ? one(on ? 0x28 : 0x29) : on ? Frames{} : one(0x01);
        if (v == 595) return one(f2e ? 0x24 : 0xA3);
        if (v == 730) return one(f2e ? 0x2C : 0xA2);
        if (v == 731) return one(f2e ? 0x27 : 0xA1);
        if (v >= 551 && v <= 558) return three(f2e ? 0x13 : 0x8A, 551);
        if (v >= 701 && v <= 704) return three(f2e ? (on ? 0x18 : 0x19) : (on ? 0x8C : 0x8D), 701);
        if (v >= 711 && v <= 718) return three(f2e ? 0x12 : 0x86, 711);
        if (v >= 721 && v <= 728) return three(f2e ? 0x14 : 0x88, 721);
        return {};
    };
    const std::pair<uint16_t, std::function<Frames(int, bool)>> tables[] = {
        {6400, spd_aux},
        {8705, variant_aux},
        {2050, [&](int v, bool on) { return sd_aux(v, on, false); }},
        {2052, [&](int v, bool on) { return sd_aux(v, on, true); }},
        {kEz.model, [&](int v, bool on) { return wkc_aux(v, on, false); }},
        {kF2e.model, [&](int v, bool on) { return wkc_aux(v, on, true); }},
    };
    for (const auto& [model, want] : tables) {
        channel(0, 2, model, 1);
        start();
        for (int v = 0; v <= 1100; ++v)
            for (bool on : {true, false})
                ASSERT_EQ(run(0, aux(static_cast<uint16_t>(v), on)), want(v, on))
                    << model << " " << v << " " << on;
    }
}

}  // namespace
}  // namespace ptz::test
