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
    void edition(bool ravel, bool tosk) {
        board.set_sysvar("/proc/orv_con_vars/support_ravel_oem", ravel ? "1" : "0");
        board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", tosk ? "1" : "0");
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd) {
        board.clear_calls();
        d->last_cmd = {};  // each command on its own, not as a repeat of the last
        handle(3, cmd);
        return coax_frames();
    }
};

// The pan/tilt byte as the camera's key map reads, region by region.
uint8_t reference_direction(int x, int y) {
    if (x <= 61 && y >= 67) return 0x0C;
    if (x <= 61 && y <= 61) return 0x14;
    if (y >= 67 && x >= 67) return 0x0A;
    if (y <= 61 && x >= 67) return 0x12;
    if (x < y && 128 - x > y) return 0x04;
    if (x > y && 128 - x < y) return 0x02;
    if (128 - x > y && x > y) return 0x10;
    if (x < y && 128 - x < y) return 0x08;
    return 0x00;
}
uint8_t reference_speed(int v) { return static_cast<uint8_t>(std::abs(v - 64) * 4 % 256); }

TEST_F(Hda, PanTiltOverTheWholePlane) {
    for (int x = 0; x < 128; ++x) {
        for (int y = 0; y < 128; ++y) {
            const Bytes expected{0, reference_direction(x, y), reference_speed(x), reference_speed(y)};
            ASSERT_EQ(run(CmdBuilder(0xE011, 3).xy(static_cast<uint8_t>(x), static_cast<uint8_t>(y))),
                      std::vector<Bytes>{expected})
                << x << "," << y;
        }
    }
}

Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0) { return CmdBuilder(0xE011, 3).action(action).xy(x, y); }
Bytes aux(uint16_t v, uint16_t action = 0) { return CmdBuilder(0xE090, 3).arg16(v).action(action); }

TEST_F(Hda, KeysPresetsAndMenuByEdition) {
    struct Case {
        const char* name;
        bool ravel, tosk;
        Bytes cmd;
        std::vector<Bytes> expected;
    };
    const Case cases[] = {
        {"x = 0 wraps to pan speed 0", false, false, mv(0, 64), {{0, 0x04, 0, 0}}},
        {"x = 127 is pan speed 252", false, false, mv(127, 64), {{0, 0x02, 252, 0}}},
        {"zoom wide below 65", false, false, mv(64, 64, 1), {{0, 0x40, 0, 0}}},
        {"zoom tele", false, false, mv(65, 70, 1), {{0, 0x20, 4, 24}}},
        {"focus at 64 is near, in b0", false, false, mv(64, 64, 2), {{0x01, 0, 0, 0}}},
        {"focus at 65 is far, in b1", false, false, mv(65, 64, 2), {{0, 0x80, 4, 0}}},
        {"iris close", false, false, mv(10, 64, 3), {{0x04, 0, 216, 0}}},
        {"iris open", false, false, mv(80, 64, 3), {{0x02, 0, 64, 0}}},
        {"other action keeps only speeds", false, false, mv(80, 70, 4), {{0, 0, 64, 24}}},
        {"stop after action clears all four bytes",
         false,
         false,
         CmdBuilder(0xE012, 3).xy(0x20, 0x40).stop_after(1),
         {{0, 0x04, 128, 0}, {0, 0, 0, 0}}},
        {"ravel: no speeds", true, false, mv(0x20, 0x40), {{0, 0x04, 0, 0}}},
        {"ravel wins over tosk", true, true, mv(0x70, 0x40), {{0, 0x02, 0, 0}}},
        {"tosk: fixed pan speed whatever x", false, true, mv(0, 0x50), {{0, 0x0C, 0x32, 64}}},
        {"tosk at the centre", false, true, mv(64, 64), {{0, 0, 0x32, 0}}},
        {"stop", false, false, CmdBuilder(0xE013, 3), {{0, 0, 0, 0}}},
        {"go to preset 300 from arg16", false, false, CmdBuilder(0xE014, 3).arg16(300), {{0, 0x07, 0, 44}}},
        {"store preset from action", false, false, CmdBuilder(0xE020, 3).action(0x105), {{0, 0x03, 0, 5}}},
        {"clear preset sends nothing", false, false, CmdBuilder(0xE022, 3).action(5), {}},
        {"menu: store 95, then the same with enter",
         false,
         false,
         aux(595),
         {{0, 3, 0, 0x5F}, {2, 3, 0, 0x5F}}},
        {"ravel menu: enter twice", true, false, aux(595, 0x101), {{2, 0, 0, 0}, {2, 0, 0, 0}}},
        {"enter", false, false, aux(730), {{2, 0, 0, 0}}},
        {"escape", false, false, CmdBuilder(0xE091, 3).arg16(731), {{4, 0, 0, 0}}},
        {"unknown aux only logs", false, false, aux(596), {}},
        {"other msg id", false, false, CmdBuilder(0xE0A4, 3), {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        edition(c.ravel, c.tosk);
        EXPECT_EQ(run(c.cmd), c.expected);
    }
}

TEST_F(Hda, LogLinesAndWaits) {
    struct Case {
        Bytes cmd;
        std::vector<std::string> lines;
        std::vector<uint32_t> sleeps;
    };
    const Case cases[] = {
        // The move line prints b0, the literal "0x02x", b1 and the pan speed.
        {CmdBuilder(0xE011, 3).xy(0x20, 0x50).osd(1).stop_after(1),
         {"HDA msg_id[e011],action[0],addr[9],x[32],y[80], is_osd_cmd", "PTZSVR : HDA 00, 0x02x, 12, 128\n",
          "\t stop after action, wait 30ms\n"},
         {30000}},
        {mv(64, 64, 2), {"PTZSVR : HDA 01, 0x02x, 0, 0\n"}, {}},
        {CmdBuilder(0xE013, 3), {"PTZSVR : HDA stop\n"}, {}},
        {CmdBuilder(0xE014, 3).arg16(300), {"ptzsvr : HDA goto preset 300\n"}, {}},
        {CmdBuilder(0xE020, 3).action(0x105), {"ptzsvr : HDA save preset 261\n"}, {}},
        {aux(595, 0x101), {"HDA AUX 595 257\n", "HDA menu\n", "HDA enter\n"}, {}},
        {aux(731), {"HDA esc\n"}, {}},
        {aux(596), {"HDA unkown aux command sent to preset, 596\n"}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lines.front());
        run(c.cmd);
        for (const std::string& l : c.lines) EXPECT_TRUE(logged(l)) << l;
        EXPECT_EQ(sleeps(), c.sleeps);
    }
}

TEST_F(Hda, RepeatedCommandIsDroppedAndAutomaticFormat3ChoosesHda) {
    handle(3, mv(0x20, 0x40));
    handle(3, mv(0x20, 0x40));
    EXPECT_EQ(coax_frames().size(), 1u);
    EXPECT_TRUE(logged("ptzsvr : same command for ch 3\n"));

    sysvar("coc_type", 6);
    channel(1, 6, 0x2302);
    board.formats[1] = 3;
    start();
    handle(1, CmdBuilder(0xE014, 1).arg16(7));
    EXPECT_EQ(coax_frames(), (std::vector<Bytes>{{0, 0x07, 0, 7}}));
    EXPECT_TRUE(board.writes("/dev/ttyS3").empty());
}

}  // namespace
}  // namespace ptz::test
