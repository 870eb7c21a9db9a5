#include <cstdlib>

#include "tests/fixture.h"

namespace ptz::test {
namespace {

class Hda : public DaemonTest {
protected:
    void SetUp() override {
        channel(3, 5, 0x809, 9);
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd) {
        board.clear_calls();
        d->last_cmd = {};  // each command on its own, not as a repeat of the last
        handle(3, cmd);
        return coax_frames();
    }
};

// The speeds over the whole plane as the camera reads them; the cross-check reads the direction byte.
uint8_t reference_speed(int v) { return static_cast<uint8_t>(std::abs(v - 64) * 4 % 256); }

TEST_F(Hda, SpeedsOverTheWholePlane) {
    for (int x = 0; x < 128; ++x) {
        for (int y = 0; y < 128; ++y) {
            const auto f = run(CmdBuilder(0xE011, 3).xy(static_cast<uint8_t>(x), static_cast<uint8_t>(y)));
            ASSERT_EQ(f.size(), 1u);
            ASSERT_EQ(f[0], (Bytes{0, f[0][1], reference_speed(x), reference_speed(y)})) << x << "," << y;
        }
    }
}

Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0) { return CmdBuilder(0xE011, 3).action(action).xy(x, y); }
Bytes aux(uint16_t v, uint16_t action = 0) { return CmdBuilder(0xE090, 3).arg16(v).action(action); }

TEST_F(Hda, KeysPresetsMenuAndEditions) {
    struct Case {
        bool ravel, tosk;
        Bytes cmd;
        std::vector<Bytes> expected;
        const char* log;  // one line the command must log
    };
    // clang-format off
    const Case cases[] = {
        // The format's "0x02x" is literal text: b0, the text, b1, the pan speed.
        {false, false, CmdBuilder(0xE011, 3).xy(0x20, 0x50).osd(1), {{0, 0x0C, 128, 64}}, "PTZSVR : HDA 00, 0x02x, 12, 128\n"},
        {false, false, mv(0, 64), {{0, 0x04, 0, 0}}, "HDA msg_id[e011],action[0],addr[9],x[0],y[64], is_osd_cmd"},
        {false, false, mv(64, 64, 1), {{0, 0x40, 0, 0}}, nullptr},
        {false, false, mv(65, 70, 1), {{0, 0x20, 4, 24}}, nullptr},
        {false, false, mv(64, 64, 2), {{0x01, 0, 0, 0}}, "PTZSVR : HDA 01, 0x02x, 0, 0\n"},  // focus near in b0
        {false, false, mv(65, 64, 2), {{0, 0x80, 4, 0}}, nullptr},                          // focus far in b1
        {false, false, mv(10, 64, 3), {{0x04, 0, 216, 0}}, nullptr},
        {false, false, mv(80, 64, 3), {{0x02, 0, 64, 0}}, nullptr},
        {false, false, mv(80, 70, 4), {{0, 0, 64, 24}}, nullptr},
        {false, false, CmdBuilder(0xE012, 3).xy(0x20, 0x40).stop_after(1), {{0, 0x04, 128, 0}, {0, 0, 0, 0}}, "\t stop after action, wait 30ms\n"},
        {true, false, mv(0x20, 0x40), {{0, 0x04, 0, 0}}, nullptr},
        {true, true, mv(0x70, 0x40), {{0, 0x02, 0, 0}}, nullptr},
        {false, true, mv(0, 0x50), {{0, 0x0C, 0x32, 64}}, nullptr},
        {false, true, mv(64, 64), {{0, 0, 0x32, 0}}, nullptr},
        {false, false, CmdBuilder(0xE013, 3), {{0, 0, 0, 0}}, "PTZSVR : HDA stop\n"},
        {false, false, CmdBuilder(0xE014, 3).arg16(300), {{0, 0x07, 0, 44}}, "ptzsvr : HDA goto preset 300\n"},
        {false, false, CmdBuilder(0xE020, 3).action(0x105), {{0, 0x03, 0, 5}}, "ptzsvr : HDA save preset 261\n"},
        {false, false, CmdBuilder(0xE022, 3).action(5), {}, nullptr},
        {false, false, aux(595, 0x101), {{0, 3, 0, 0x5F}, {2, 3, 0, 0x5F}}, "HDA AUX 595 257\n"},
        {true, false, aux(595), {{2, 0, 0, 0}, {2, 0, 0, 0}}, "HDA enter\n"},
        {false, false, aux(730), {{2, 0, 0, 0}}, "HDA enter\n"},
        {false, false, CmdBuilder(0xE091, 3).arg16(731), {{4, 0, 0, 0}}, "HDA esc\n"},
        {false, false, aux(596), {}, "HDA unkown aux command sent to preset, 596\n"},
        {false, false, CmdBuilder(0xE0A4, 3), {}, nullptr},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.cmd));
        board.set_sysvar("/proc/orv_con_vars/support_ravel_oem", c.ravel ? "1" : "0");
        board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", c.tosk ? "1" : "0");
        start();
        EXPECT_EQ(run(c.cmd), c.expected);
        EXPECT_TRUE(!c.log || logged(c.log)) << c.log;
        EXPECT_EQ(sleeps(),
                  c.cmd[off::stop_after_action] ? std::vector<uint32_t>{30000} : std::vector<uint32_t>{});
    }
}

}  // namespace
}  // namespace ptz::test
