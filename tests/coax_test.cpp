// HIK-C and HDA over the video cable, and the PTC107/PTC203 controllers: every move and lens key over the
// joystick plane against the frames the cameras' rules give, each aux table swept whole, then the commands
// the sweeps do not reach.
#include <cstdlib>
#include <numeric>

#include "protocols/coax/hikc.h"
#include "protocols/drivers.h"
#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

uint8_t u8(int v) { return static_cast<uint8_t>(v); }

// The region edges, the centre, a speed of exactly 64, and past the byte's half where the speeds wrap.
constexpr uint8_t kPlane[] = {0, 1, 32, 61, 62, 63, 64, 65, 66, 67, 90, 127, 0xC0, 0xC1, 0xFF};

// By Way: none, left-up, left-down, right-up, right-down, left, right, down, up.
constexpr uint8_t kHikcCode[] = {0, 0x0A, 0x0B, 0x0C, 0x0D, 0x09, 0x08, 0x07, 0x06};
constexpr uint8_t kHdaBits[] = {0, 0x0C, 0x14, 0x0A, 0x12, 0x04, 0x02, 0x10, 0x08};

Bytes hik(int code, int d0 = 0, int d1 = 0) { return bytes(hikc_frame(u8(code), u8(d0), u8(d1), 0, 0)); }

// A move's code is kept for the next move that names none (the centre, an unknown action).
Bytes hikc_move(int action, int x, int y, uint8_t& last) {
    const uint8_t lens[] = {0x12, 0x13, 0x11, 0x10, 0x0E, 0x0F};  // zoom, focus, iris: below 65, from 65
    if (action == 0 && diagonal_first(x, y) != Way::none) last = kHikcCode[int(diagonal_first(x, y))];
    if (action >= 1 && action <= 3) last = lens[(action - 1) * 2 + (x >= 65)];
    const auto speed = [](int v) { return std::min(std::abs(v - 64) * 2 % 256, 63); };
    return hik(last, speed(y), speed(x));
}

Bytes hda_move(int action, int x, int y, bool ravel, bool tosk) {
    Bytes f(4, 0);
    if (action == 0) f[1] = kHdaBits[int(diagonal_first(x, y))];
    if (action == 1) f[1] = x < 65 ? 0x40 : 0x20;
    if (action == 2) f[x < 65 ? 0 : 1] = x < 65 ? 0x01 : 0x80;
    if (action == 3) f[0] = x < 65 ? 0x04 : 0x02;
    if (!ravel) f[2] = tosk ? 0x32 : u8(std::abs(x - 64) * 4), f[3] = u8(std::abs(y - 64) * 4);
    return f;
}

using Data = std::array<uint8_t, 10>;
Bytes ptc(const char* cmd, const Data& data) {
    Bytes f(16, 0);
    f[0] = 0x02, f[1] = 0x01, f[2] = u8(cmd[0]), f[3] = u8(cmd[1]);
    std::copy(data.begin(), data.end(), f.begin() + 4);
    f[14] = u8(std::accumulate(f.begin() + 1, f.begin() + 14, 0));
    f[15] = 0x04;
    return f;
}

std::vector<Bytes> ptc_move(bool ptc203, int action, int x, int y) {
    const Way w = diagonal_first(x, y);
    const bool up = w == Way::up || w == Way::left_up || w == Way::right_up;
    const bool down = w == Way::down || w == Way::left_down || w == Way::right_down;
    Data d{};
    if (action == 0 && w != Way::none && w != Way::up && w != Way::down) d[0] = u8((x + 64) * 2), d[1] = 1;
    if (action == 0 && down) d[2] = u8(ptc203 ? (64 - y) * 2 : 64 - y), d[3] = 1;
    if (action == 0 && up) d[2] = u8(ptc203 ? ~((y + 64) * 2) : 63 - y), d[3] = 1;
    if (action == 1) d[4] = x > 64 ? 0x01 : x < 64 ? 0x80 : 0;
    if (action == 2 && x != 64) d[6] = x > 64 ? 0x80 : 0x01, d[7] = u8(std::abs(x - 64) / 10);
    d[8] = !ptc203;
    if (action > 2) return {};
    if (!ptc203 || action == 2) return {ptc("MA", d)};
    return {ptc("MA", d), ptc("AF", {u8(action ? 0x81 : 0x80), 0, 0, 0, d[4]})};
}

class Coax : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 5, 0x808, 9);   // HIK-C
        channel(1, 5, 0x809, 9);   // HDA
        channel(2, 2, 0x1600, 1);  // the PTC controllers' line
        edition(false, false);
    }
    void edition(bool ravel, bool tosk) {
        board.set_sysvar("/proc/orv_con_vars/support_ravel_oem", ravel ? "1" : "0");
        board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", tosk ? "1" : "0");
        start();
    }
    // Channel 2 stands for the PTC107, channel 3 for the PTC203; both are called as a dispatch entry would.
    std::vector<Bytes> run(int ch, const Bytes& cmd) {
        board.clear_calls();
        d->last_cmd = {};  // each command on its own, not as a repeat of the last
        if (ch < 2) return handle(ch, cmd), coax_frames();
        Bytes buf = cmd;
        buf.resize(kMinCommandBuffer);
        (ch == 3 ? PTC203_PTZ : PTC107_PTZ)(*d, 2, 1, buf.data());
        return writes();
    }
};

TEST_F(Coax, MovesAndLensKeysOverThePlane) {
    for (const bool ravel : {false, true}) {
        for (const bool tosk : {false, true}) {
            edition(ravel, tosk);
            uint8_t last = 0;
            for (uint16_t action = 0; action <= 4; ++action) {
                for (uint8_t x : kPlane) {
                    for (uint8_t y : kPlane) {
                        SCOPED_TRACE(testing::Message()
                                     << ravel << tosk << " " << action << ": " << +x << "," << +y);
                        ASSERT_EQ(run(0, mv(x, y, action)),
                                  std::vector<Bytes>{hikc_move(action, x, y, last)});
                        ASSERT_EQ(run(1, mv(x, y, action)),
                                  std::vector<Bytes>{hda_move(action, x, y, ravel, tosk)});
                        ASSERT_EQ(run(2, mv(x, y, action)), ptc_move(false, action, x, y));
                        ASSERT_EQ(run(3, mv(x, y, action)), ptc_move(true, action, x, y));
                    }
                }
            }
        }
    }
}

std::vector<Bytes> hikc_aux(int v, bool ravel) {
    if (v == 551) return {hik(0x1A)};
    if (v == 595 || (v == 730 && ravel)) return {hik(0x17, 95)};
    if (v == 599) return {hik(0x55)};
    if (v >= 711 && v <= 714) return {hik(0x17, v + 92)};  // patrols as presets 35-38
    if (v == 730 || v == 731) return {hik(v == 730 ? 0x0F : 0x0E)};
    if (v == 805 || v == 806) return {hik(0x55, 1, v == 805 ? 0x10 : 1)};
    return {};
}

// The menu is two frames, the second the first with b0 forced to 2.
std::vector<Bytes> hda_aux(int v, bool ravel) {
    if (v == 730 || v == 731) return {{u8(v == 730 ? 2 : 4), 0, 0, 0}};
    if (v == 595 && ravel) return {{2, 0, 0, 0}, {2, 0, 0, 0}};
    if (v == 595) return {{0, 3, 0, 95}, {2, 3, 0, 95}};
    return {};
}

// An unknown value is only logged by both, never sent as a preset.
TEST_F(Coax, AuxTables) {
    for (const bool ravel : {false, true}) {
        edition(ravel, false);
        for (int v = 0; v <= 1100; ++v) {
            SCOPED_TRACE(testing::Message() << ravel << " " << v);
            const Bytes cmd = aux(static_cast<uint16_t>(v), v % 2);
            const std::string value = std::to_string(v), act = v % 2 ? " 257\n" : " 0\n";
            ASSERT_EQ(run(0, cmd), hikc_aux(v, ravel));
            ASSERT_EQ(logged("HIK-C unkown aux command sent to preset, " + value + "\n"),
                      hikc_aux(v, ravel).empty());
            ASSERT_TRUE(logged("HIK-C AUX " + value + act));
            ASSERT_EQ(run(1, cmd), hda_aux(v, ravel));
            ASSERT_EQ(logged("HDA unkown aux command sent to preset, " + value + "\n"),
                      hda_aux(v, ravel).empty());
            ASSERT_TRUE(logged("HDA AUX " + value + act));
        }
    }
}

TEST_F(Coax, WhatTheSweepsDoNotReach) {
    struct Case {
        int ch;
        Bytes cmd;
        std::vector<Bytes> expected;
        const char* log;  // one line the command must log
    };
    // clang-format off
    const Case cases[] = {
        {0, mv(64, 64), {hik(0x00)}, "HIK-C msg_id[e011],action[0],addr[9],x[64],y[64]"},  // a fresh daemon's code is 0
        {0, mv(0x20, 0x40, 0, 1), {hik(0x09, 0, 63), hik(0x14)}, "PTZSVR : HIK-C 09h, 63, 0\n"},
        {0, CmdBuilder(0xE0A4), {}, nullptr},
        // The format's "0x02x" is literal text: b0, the text, b1, the pan speed.
        {1, CmdBuilder(0xE011, 1).xy(0x20, 0x50).osd(1), {{0, 0x0C, 128, 64}}, "PTZSVR : HDA 00, 0x02x, 12, 128\n"},
        {1, CmdBuilder(0xE012).xy(0x20, 0x40).stop_after(1), {{0, 0x04, 128, 0}, {0, 0, 0, 0}}, "\t stop after action, wait 30ms\n"},
        {1, CmdBuilder(0xE014).arg16(300), {{0, 0x07, 0, 44}}, nullptr},  // b0 and b2, which no decoder reads
        {1, CmdBuilder(0xE020).action(0x105), {{0, 0x03, 0, 5}}, nullptr},
        {1, CmdBuilder(0xE022).action(5), {}, nullptr},
        {2, CmdBuilder(0xE013).xy(3, 4), {{0x02, 0x01, 0x4D, 0x41, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x8F, 0x04}}, "PTC107_PTZ msg_id[0xe013],action[0],addr[1],x[3],y[4]\n"},
        {3, CmdBuilder(0xE013), {ptc("MA", {})}, "stop\n"},
        {3, CmdBuilder(0xE014).arg16(3), {}, "PTC203_PTZ msg_id[0xe014],action[0],addr[1],x[3],y[0]\n"},
        {2, CmdBuilder(0xE010), {}, "\n"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.cmd));
        start();
        EXPECT_EQ(run(c.ch, c.cmd), c.expected);
        EXPECT_TRUE(!c.log || logged(c.log)) << c.log;
        // The coax drivers wait 30 ms before the stop after a move; the PTC203 takes 15 ms more a frame.
        std::vector<uint32_t> pauses;
        for (size_t i = 0; c.ch >= 2 && i < c.expected.size(); ++i) {
            pauses.insert(pauses.end(), {10000, 35000});
            if (c.ch == 3) pauses.push_back(15000);
        }
        if (c.ch < 2 && c.cmd[off::stop_after_action]) pauses.push_back(30000);
        EXPECT_EQ(sleeps(), pauses);
    }
}

}  // namespace
}  // namespace ptz::test
