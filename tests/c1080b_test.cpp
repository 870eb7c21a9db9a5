#include <array>
#include <map>
#include <numeric>
#include <string>

#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

// 9600 baud: the no-wait variant still waits the doubled line time of 7 bytes.
constexpr uint32_t kLine = 35000, kNoWait = 14582;

Bytes frame(int cmd, int d1, int d2) {
    return bytes(
        pelcod_frame(1, static_cast<uint16_t>(cmd), static_cast<uint8_t>(d1), static_cast<uint8_t>(d2)));
}

class C1080B : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x2302, 1);
        channel(1, 4, 0x2303, 1);
        start();
    }
    // The pause after each frame (after the transmit-enable settle).
    std::vector<uint32_t> pauses() const {
        std::vector<uint32_t> out;
        for (uint32_t s : sleeps())
            if (s != 10000) out.push_back(s);
        return out;
    }
};

TEST_F(C1080B, MovesKeepTheirSpeeds) {
    struct Case {
        const char* name;
        bool tosk;
        std::vector<Bytes> cmds;
        std::vector<Bytes> expected;
        std::vector<uint32_t> waits;
    };
    const Bytes diag = mv(90, 70);  // right-up, pan 26, tilt 6
    // clang-format off
    const Case cases[] = {
        {"left on a fresh daemon", false, {mv(0x20, 0x40)}, {frame(0x04, 16, 0)}, {kNoWait}},
        {"left keeps the diagonal's tilt", false, {diag, mv(0x20, 0x40)}, {frame(0x0A, 26, 6), frame(0x04, 16, 6)}, {kNoWait, kNoWait}},
        {"up keeps the pan", false, {mv(30, 10), mv(0x40, 0x60)}, {frame(0x14, 34, 54), frame(0x08, 34, 16)}, {kNoWait, kNoWait}},
        {"right-down, left-up", false, {mv(67, 61), mv(61, 67)}, {frame(0x12, 3, 3), frame(0x0C, 3, 3)}, {kNoWait, kNoWait}},
        {"down, right", false, {mv(0x40, 0x20), mv(0x60, 0x40)}, {frame(0x10, 0, 16), frame(0x02, 16, 16)}, {kNoWait, kNoWait}},
        {"centre: word 0, speeds kept", false, {diag, mv(64, 64)}, {frame(0x0A, 26, 6), frame(0, 26, 6)}, {kNoWait, kNoWait}},
        {"stop zeroes and sends nothing", false, {diag, CmdBuilder(0xE013), mv(0x20, 0x40)}, {frame(0x0A, 26, 6), frame(0x04, 16, 0)}, {kNoWait, kNoWait}},
        {"tosk stop is sent", true, {CmdBuilder(0xE013)}, {frame(0, 0, 0)}, {kLine}},
        {"go to zeroes and sends nothing", false, {diag, CmdBuilder(0xE014).arg16(5), mv(0x20, 0x40)}, {frame(0x0A, 26, 6), frame(0x04, 16, 0)}, {kNoWait, kNoWait}},
        {"zoom: speed frame, word with kept speeds", false, {diag, mv(127, 0, 1)}, {frame(0x0A, 26, 6), frame(0x25, 0, 3), frame(0x20, 26, 6)}, {kNoWait, kLine, kNoWait}},
        {"zoom at 64 is wide", false, {mv(64, 0, 1)}, {frame(0x25, 0, 0), frame(0x40, 0, 0)}, {kLine, kNoWait}},
        {"tosk focus below 65 is near", true, {mv(20, 0, 2)}, {frame(0x27, 0, 2), frame(0x100, 0, 0)}, {kLine, kNoWait}},
        {"iris zeroes the speeds", false, {diag, mv(10, 0, 3), mv(65, 0, 3)}, {frame(0x0A, 26, 6), frame(0x400, 0, 0), frame(0x200, 0, 0)}, {kNoWait, kNoWait, kNoWait}},
        {"unknown action: word 0", false, {diag, mv(10, 0, 4)}, {frame(0x0A, 26, 6), frame(0, 26, 6)}, {kNoWait, kNoWait}},
        {"stop after action", false, {mv(90, 70, 0, 1), mv(0x20, 0x40)}, {frame(0x0A, 26, 6), frame(0, 0, 0), frame(0x04, 16, 0)}, {kNoWait, kNoWait, kNoWait}},
        {"store, clear preset", false, {CmdBuilder(0xE020).action(0x105), CmdBuilder(0xE022).action(7)}, {frame(0x03, 0, 5), frame(0x05, 0, 7)}, {kLine, kLine}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", c.tosk ? "1" : "0");
        start();
        for (const Bytes& cmd : c.cmds) handle(0, cmd);
        EXPECT_EQ(writes(), c.expected);
        EXPECT_EQ(pauses(), c.waits);
    }
    handle(0, CmdBuilder(0xE014).arg16(300));
    handle(0, mv(10, 0, 3));
    EXPECT_TRUE(logged("PELCOD : goto preset 300\n"));
    EXPECT_TRUE(logged("IRIS close\n"));

    // One pair of speeds for every C1080B port; a single-axis move leaves its
    // canonical x/y in the command.
    handle(0, diag);
    Bytes left = mv(0x10, 0x41);
    left.resize(kMinCommandBuffer);
    eptz_handler(*d, 1, left.data());
    EXPECT_EQ(board.writes("/dev/ttyS3"), std::vector<Bytes>{frame(0x04, 16, 6)});
    EXPECT_EQ(left[off::x], 48);
    EXPECT_EQ(left[off::y], 64);
    Bytes up = mv(0x41, 0x70);
    up.resize(kMinCommandBuffer);
    eptz_handler(*d, 1, up.data());
    EXPECT_EQ(up[off::x], 64);
    EXPECT_EQ(up[off::y], 80);
}

// What each aux code asks for is the cross-check's sweep; here what it cannot read: the bytes of the camera
// settings, the pause after each frame (none for the menu keys and the settings), the held iris key and the
// reset's wait, the log of a code the table does not name, and that every aux forgets the kept pan speed.
TEST_F(C1080B, AuxTableSweep) {
    // command, data 1 on / off, data 2 on / off
    static const std::map<int, std::array<int, 5>> kSettings = {
        {931, {0x7E01, 2, 3, 0, 0}}, {932, {0x7E01, 5, 5, 0, 0}}, {933, {0x7E09, 0, 3, 0, 0}},
        {934, {0x7E09, 1, 2, 0, 0}}, {935, {0x7E09, 4, 4, 0, 0}}, {936, {0x7E0A, 2, 3, 0, 0}},
        {937, {0x7E0C, 2, 3, 0, 0}}, {938, {0x7E3F, 1, 2, 0, 0}}, {939, {0x7E3F, 3, 0, 0, 0}},
        {940, {0x7E33, 1, 2, 1, 2}}, {941, {0x7E34, 2, 1, 2, 1}}};
    const auto in = [](int v, int lo, int hi) { return v >= lo && v <= hi; };
    std::vector<int> values(1001);
    std::iota(values.begin(), values.end(), 0);
    values.insert(values.end(), {1024, 4660, 65535});
    for (int v : values) {
        for (bool on : {true, false}) {
            SCOPED_TRACE(std::to_string(v) + (on ? " on" : " off"));
            d->drv.c1080b_pan_speed = 9;
            board.clear_calls();
            handle(0, CmdBuilder(on ? 0xE091 : 0xE090)
                          .arg16(static_cast<uint16_t>(v))
                          .action(on ? 0x0101 : 0x0100));
            const std::vector<Bytes> w = writes();
            if (const auto e = kSettings.find(v); e != kSettings.end()) {
                const auto& [cmd, d1_on, d1_off, d2_on, d2_off] = e->second;
                ASSERT_EQ(w, std::vector<Bytes>{frame(cmd, on ? d1_on : d1_off, on ? d2_on : d2_off)});
            } else {
                // Every other function carries its number in data 2 only.
                for (const Bytes& f : w) ASSERT_EQ(f.at(4), 0);
            }
            std::vector<uint32_t> waits(w.size(), v == 730 || v == 731 || in(v, 930, 941) ? kNoWait : kLine);
            if (v == 930) waits.insert(waits.begin(), 2000000);
            if (v == 130) waits.insert(waits.begin() + 1, 1000000);
            ASSERT_EQ(pauses(), waits);
            const bool named = in(v, 1, 7) || v == 9 || v == 110 || v == 111 || v == 130 || v == 533 ||
                               v == 534 || in(v, 551, 554) || in(v, 561, 564) || v == 588 || v == 590 ||
                               v == 592 || in(v, 595, 599) || v == 730 || v == 731 || v == 740 ||
                               in(v, 930, 941);
            ASSERT_EQ(logged("pelcod unknown aux command sent to preset, " + std::to_string(v) + "\n"),
                      !named);
            ASSERT_TRUE(logged("C1080B AUX " + std::to_string(v) + " " + (on ? "257" : "256") + "\n"));
            ASSERT_EQ(d->drv.c1080b_pan_speed, 0);
        }
    }
}

TEST_F(C1080B, CameraResetThermalAndCoaxAutomatic) {
    // Aux 930: configuration, ports and tdm groups set up again; no other
    // driver's state touched.
    d->drv.pelcod.command = 0x04;
    d->drv.hikc_last_code = 0x09;
    handle(0, CmdBuilder(0xE091).arg16(930).action(0x0101));
    EXPECT_EQ(board.find("ioctl", "/dev/con2rec").size(), 1u);
    EXPECT_EQ(board.find("close", "/dev/ttyS2").size(), 1u);
    EXPECT_EQ(board.find("open", "/dev/ttyS2").size(), 1u);
    EXPECT_EQ(d->drv.pelcod.command, 0x04);
    EXPECT_EQ(d->drv.hikc_last_code, 0x09);

    // A thermal target point is logged; nothing goes on the line.
    board.clear_calls();
    Bytes th = CmdBuilder(0xFFE0, 0);
    wr16(th.data() + 12, 1), wr16(th.data() + 14, 2), wr16(th.data() + 16, 3), wr16(th.data() + 18, 4);
    handle(0, th);
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(logged("############ send THERMAL_XY(1, 2, 3, 4)\n"));

    // Coax-automatic with a format other than HDA's and HIK-C's is 769.
    sysvar("coc_type", 6);
    channel(2, 6, 0x1600);
    start();
    handle(2, CmdBuilder(0xE020, 2).action(5));
    EXPECT_EQ(board.writes("/dev/ttyS3"), std::vector<Bytes>{frame(0x03, 0, 5)});
    EXPECT_TRUE(logged("PTZAction_C1080B e020h\n"));
}

}  // namespace
}  // namespace ptz::test
