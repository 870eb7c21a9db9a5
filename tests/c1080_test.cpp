// The C1080 family on its serial line: the C1080B's kept speeds, aux table and camera settings; the
// C1080PT's and its WONWOO variant's position reads, reports, zoom boxes and aux tables. What each frame
// means is the cross-check's; here the bytes it cannot read, the pauses and the log.
#include <map>
#include <numeric>
#include <string>

#include "core/report.h"
#include "protocols/coax/c1080pt.h"
#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

// 9600 baud: the no-wait variant still waits the doubled line time of 7 bytes.
constexpr uint32_t kLine = 35000, kNoWait = 14582;

Bytes frame(int addr, int cmd, int d1 = 0, int d2 = 0) {
    return bytes(pelcod_frame(static_cast<uint8_t>(addr), static_cast<uint16_t>(cmd),
                              static_cast<uint8_t>(d1), static_cast<uint8_t>(d2)));
}

Bytes b(int cmd, int d1, int d2) { return frame(1, cmd, d1, d2); }

// The C1080PT and its WONWOO variant at address 3 unless said: channels 0-3 are WONWOO modes 0-3, channel 4
// WONWOO at address 256, channel 5 the C1080PT, channel 6 the C1080PT at address 256; the C1080B at address
// 1 on channel 7 and, on a port of its own, channel 8.
constexpr uint16_t kWonwooModel[4] = {773, 772, 771, 774};  // by mode

Bytes f(int cmd, int d1 = 0, int d2 = 0) { return frame(3, cmd, d1, d2); }
Bytes position(uint16_t p, uint16_t t, uint16_t z) { return bytes(c1080pt_frame(3, 0x91, p, t, z)); }
Bytes reply(uint16_t p, uint16_t t, uint16_t z) { return bytes(c1080pt_frame(3, 0x9B, p, t, z)); }

Bytes box(uint16_t x, uint16_t y, uint16_t w, uint16_t h, uint8_t zoom_out = 0) {
    CmdBuilder c(0xE0AA, 1);
    wr16(c.b.data() + 10, x), wr16(c.b.data() + 12, y), wr16(c.b.data() + 14, w), wr16(c.b.data() + 16, h);
    c.b[18] = zoom_out;
    return c;
}

// The camera answers the n-th position request (from 1) with answers[n-1]; an empty answer is silence.
class C1080 : public DaemonTest {
protected:
    std::vector<Bytes> answers;
    size_t requests = 0;
    void SetUp() override {
        board.on_write = [this](SimBoard& sb, const std::string& dev, const Bytes& data) {
            if (data.size() != 11 || data[3] != 0x93) return;
            const size_t n = requests++;
            if (n < answers.size() && !answers[n].empty()) sb.queue_reply(dev, sb.now() + 20000, answers[n]);
        };
        for (int mode = 0; mode < 4; ++mode) channel(mode, 2, kWonwooModel[mode], 3);
        channel(4, 2, kWonwooModel[0], 256);
        channel(5, 2, 770, 3);
        channel(6, 2, 770, 256);
        channel(7, 2, 0x2302, 1);
        channel(8, 4, 0x2303, 1);
        start();
    }
    // The pause after each frame and the held keys (the transmit-enable settle left out).
    std::vector<uint32_t> pauses() const {
        std::vector<uint32_t> out;
        for (uint32_t s : sleeps())
            if (s != 10000) out.push_back(s);
        return out;
    }
    // The camera's next answers, from a clean record of calls.
    void answering(std::vector<Bytes> a) {
        answers = std::move(a);
        requests = 0;
        board.clear_calls();
    }
};
class C1080B : public C1080 {};
class C1080PT : public C1080 {};

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
            handle(7, aux(static_cast<uint16_t>(v), on));
            const std::vector<Bytes> w = writes();
            if (const auto e = kSettings.find(v); e != kSettings.end()) {
                const auto& [cmd, d1_on, d1_off, d2_on, d2_off] = e->second;
                ASSERT_EQ(w, std::vector<Bytes>{b(cmd, on ? d1_on : d1_off, on ? d2_on : d2_off)});
            } else {
                // Every other function carries its number in data 2 only.
                for (const Bytes& f : w) ASSERT_EQ(f.at(4), 0);
            }
            std::vector<uint32_t> waits(w.size(), v == 730 || v == 731 || in(v, 930, 941) ? kNoWait : kLine);
            if (v == 930) waits.insert(waits.begin(), 2000000);
            if (v == 130) waits.insert(waits.begin() + 1, 1000000);
            ASSERT_EQ(pauses(), waits);
            // A value the table does not name is logged and goes out as a go to its low byte.
            ASSERT_EQ(logged("pelcod unknown aux command sent to preset, " + std::to_string(v) + "\n"),
                      w == std::vector<Bytes>{b(0x07, 0, v & 0xFF)});
            ASSERT_TRUE(logged("C1080B AUX " + std::to_string(v) + " " + (on ? "257" : "0") + "\n"));
            ASSERT_EQ(d->drv.c1080b_pan_speed, 0);
        }
    }
}

TEST_F(C1080B, CameraResetThermalAndCoaxAutomatic) {
    // Aux 930: configuration, ports and tdm groups set up again; no other
    // driver's state touched.
    d->drv.pelcod.command = 0x04;
    d->drv.hikc_last_code = 0x09;
    handle(7, aux(930));
    EXPECT_EQ(board.find("ioctl", "/dev/con2rec").size(), 1u);
    EXPECT_EQ(board.find("close", "/dev/ttyS2").size(), 1u);
    EXPECT_EQ(board.find("open", "/dev/ttyS2").size(), 1u);
    EXPECT_EQ(d->drv.pelcod.command, 0x04);
    EXPECT_EQ(d->drv.hikc_last_code, 0x09);

    // A thermal target point is logged; nothing goes on the line.
    board.clear_calls();
    Bytes th = CmdBuilder(0xFFE0, 0);
    wr16(th.data() + 12, 1), wr16(th.data() + 14, 2), wr16(th.data() + 16, 3), wr16(th.data() + 18, 4);
    handle(7, th);
    EXPECT_TRUE(writes().empty());
    EXPECT_TRUE(logged("############ send THERMAL_XY(1, 2, 3, 4)\n"));

    // Coax-automatic with a format other than HDA's and HIK-C's is 769.
    sysvar("coc_type", 6);
    channel(2, 6, 0x1600);
    start();
    handle(2, CmdBuilder(0xE020, 2).action(5));
    EXPECT_EQ(board.writes("/dev/ttyS3"), std::vector<Bytes>{b(0x03, 0, 5)});
    EXPECT_TRUE(logged("PTZAction_C1080B e020h\n"));
}

TEST_F(C1080PT, PositionReadAndReport) {
    const Bytes good = reply(12345, 4500, 2000);
    Bytes noisy = {0xFF, 0x00, 0x00, 0x42, 0x17};
    noisy.insert(noisy.end(), good.begin(), good.end());
    Bytes bad_sum = good;
    bad_sum[10] ^= 1;
    // The C1080PT logs each failed attempt but the last, the WONWOO its one failure; both name the whole
    // address, of which only the low byte goes on the line.
    struct Row {
        const char* name;
        int ch;
        std::vector<Bytes> answers;
        size_t requests;
        std::vector<uint32_t> pos;
        bool shrunk = false;
    };
    const Row rows[] = {
        {"first attempt", 5, {good}, 1, {12345, 4500, 2000}},
        {"third attempt", 5, {{}, {}, good}, 3, {12345, 4500, 2000}},
        {"never", 5, {}, 3, {0, 0, 0}},
        {"noise before the reply", 5, {noisy}, 1, {12345, 4500, 2000}},
        {"wrong checksum, then good", 5, {bad_sum, good}, 2, {12345, 4500, 2000}},
        {"below the horizon shrinks to 0", 5, {reply(100, 18801, 300)}, 1, {100, 0, 300}, true},
        {"18800 is still a tilt", 5, {reply(100, 18800, 300)}, 1, {100, 18800, 300}},
        {"address 256", 6, {}, 3, {0, 0, 0}},
        {"WONWOO: one attempt, the tilt as given", 1, {reply(300, 35500, 9000)}, 1, {300, 35500, 9000}},
        {"WONWOO silence", 2, {{}, good}, 1, {0, 0, 0}},
        {"WONWOO address 256", 4, {}, 1, {0, 0, 0}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        answering(r.answers);
        const int64_t t0 = board.now();
        handle(r.ch, CmdBuilder(0xE0A6, static_cast<uint16_t>(r.ch)).requester(1000).pos(7, 8, 9));
        // each request: 10 ms settle, 11 bytes at 9600 baud doubled (22916 us), a 0.3 s wait overrun by at
        // most one 1 ms poll
        EXPECT_LE(board.now() - t0,
                  static_cast<int64_t>(r.requests) * (10000 + 22916 + 300000 + 1000) + 1000);
        EXPECT_EQ(requests, r.requests);
        const bool wide = r.ch == 4 || r.ch == 6;
        EXPECT_EQ(writes(),
                  std::vector<Bytes>(r.requests, bytes(c1080pt_frame(wide ? 0 : 3, 0x93, 0, 0, 0))));
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0]->data,
                  bytes(build_report(1000, static_cast<uint32_t>(r.ch), 1, r.pos[0], r.pos[1], r.pos[2])));
        const std::string addr = wide ? "256" : "3";
        std::vector<std::string> lines, logs;
        for (size_t i = 1; r.ch >= 5 && i < r.requests; ++i)
            logs.push_back("ptzsvr(C1080PT_get_pos) : addr " + addr + " getpos failure. tryed " +
                           std::to_string(i) + " times\n");
        if (r.ch < 5 && r.pos == std::vector<uint32_t>{0, 0, 0})
            logs.push_back("ptzsvr(C1080PT_WONWOO_get_pos) : addr " + addr + " getpos failure\n");
        if (r.shrunk) logs.push_back("Z20B : shrink tilt 18801 -> 0\n");
        for (const std::string& l : board.logs())
            if (l.find("getpos failure") != std::string::npos || l.find("shrink") != std::string::npos)
                lines.push_back(l);
        EXPECT_EQ(lines, logs);
        // The C1080PT's trace shows the request's fields, not the position read.
        EXPECT_TRUE(logged(r.ch < 5 ? "C1080PT_WONWOO_send_get_pos for " + std::to_string(r.ch) + "\n"
                                    : "C1080PT : GET POS : 7, 8, 9\n"));
    }
}

TEST_F(C1080PT, ZoomBoxes) {
    // clang-format off
    struct Row { const char* name; int ch; Bytes cmd; Bytes answer; Bytes sent; const char* trace; };
    const Row rows[] = {
        // A click at the centre leaves everything where it is.
        {"click at the centre", 5, box(955, 535, 10, 10), reply(20000, 4500, 3000), position(20000, 4500, 3000), "getNewPtValue_Probe : 20000, 4500, 3000 - 960, 540\n"},
        // Probe at its widest (fov 27.30 degrees), 200 x 200 box centred 480 px right of the centre:
        // pan + 480/960 * 2730, tilt 0 - 0.5 clamped to 0, zoom 9.6 steps: 2457 + 0.6 * 273.
        {"box right of the centre", 5, box(1340, 440, 200, 200), reply(1000, 0, 273), position(2365, 0, 2620), "getNewPtValue_Probe : 1000, 0, 273 - 1440, 540\n"},
        {"a failed read computes from (0, 0, 0)", 5, box(955, 535, 10, 10), {}, position(0, 0, 273), "getNewPtValue_Probe : 0, 0, 0 - 960, 540\n"},
        {"zoom out goes to the widest zoom", 5, box(0, 0, 1920, 1080, 1), reply(20000, 4500, 3000), position(20000, 4500, 273), ""},
        // WONWOO: a 960 x 540 box at the centre doubles the magnification (two lens steps from a row) and
        // leaves pan and tilt, but each lens treats the tilt 35500 (5 degrees below the horizon) its own way.
        {"Z10B", 0, box(480, 270, 960, 540), reply(100, 35500, 6155), position(100, 18000, 12715), "getNewPtValue_Z10B : 100, 35500, 6155 -> 960, 540\n"},
        {"Z20B", 1, box(480, 270, 960, 540), reply(100, 35500, 8863), position(100, 35500, 12444), "getNewPtValue_Z20B : 100, -500, 8863 - 960, 540\n"},
        {"Z20B without the wrap", 2, box(480, 270, 960, 540), reply(100, 35500, 8863), position(100, 0, 12444), "getNewPtValue_Z20B : 100, 35500, 8863 - 960, 540\n"},
        {"IR Z30B", 3, box(480, 270, 960, 540), reply(100, 35500, 8082), position(100, 35500, 11450), "getNewPtValue_IR_Z30B : 100, -500, 8082 -> 960, 540\n"},
        {"WONWOO zoom out", 3, box(480, 270, 960, 540, 1), reply(100, 35500, 8082), position(100, 35500, 0), ""},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        answering({r.answer, r.answer, r.answer});
        handle(r.ch, r.cmd);
        const auto w = writes();
        ASSERT_FALSE(w.empty());
        EXPECT_EQ(w.back(), r.sent);
        // the geometry traces to standard output, a descriptor the daemon never opened
        std::string out;
        for (const SimCall* c : board.find("write"))
            if (c->fd == 1) out.append(c->data.begin(), c->data.end());
        EXPECT_NE(out.find(r.trace), std::string::npos) << out;
        EXPECT_EQ(out.empty(), *r.trace == 0);
    }
}

// Frames, pauses and log lines where the cross-check cannot tell. The C1080B keeps one pair of speeds for
// all its ports: a single-axis move sets its own axis at 16 and keeps the other's, a diagonal sets both,
// and presets, stop and iris zero them; its moves and the menu keys go without the 35 ms pause. The
// C1080PT's bytes that its decoder does not read (data 1, the speeds), its held iris key and camera reset;
// the WONWOO's frames without a pause and the numbers its aux lines log.
TEST_F(C1080, FramesPausesAndLog) {
    struct Row {
        const char* name;
        int ch;
        std::vector<Bytes> cmds;
        std::vector<Bytes> frames;
        std::vector<uint32_t> pauses;
        std::vector<const char*> logs = {};
        bool tosk = false;
    };
    const Bytes diag = mv(90, 70);  // right-up, pan 26, tilt 6
    // clang-format off
    const Row rows[] = {
        {"left on a fresh daemon", 7, {mv(0x20, 0x40)}, {b(0x04, 16, 0)}, {kNoWait}},
        {"left keeps the diagonal's tilt", 7, {diag, mv(0x20, 0x40)}, {b(0x0A, 26, 6), b(0x04, 16, 6)}, {kNoWait, kNoWait}},
        {"up keeps the pan", 7, {mv(30, 10), mv(0x40, 0x60)}, {b(0x14, 34, 54), b(0x08, 34, 16)}, {kNoWait, kNoWait}},
        {"right-down, left-up", 7, {mv(67, 61), mv(61, 67)}, {b(0x12, 3, 3), b(0x0C, 3, 3)}, {kNoWait, kNoWait}},
        {"down, right", 7, {mv(0x40, 0x20), mv(0x60, 0x40)}, {b(0x10, 0, 16), b(0x02, 16, 16)}, {kNoWait, kNoWait}},
        {"centre: word 0, speeds kept", 7, {diag, mv(64, 64)}, {b(0x0A, 26, 6), b(0, 26, 6)}, {kNoWait, kNoWait}},
        {"stop zeroes and sends nothing", 7, {diag, CmdBuilder(0xE013), mv(0x20, 0x40)}, {b(0x0A, 26, 6), b(0x04, 16, 0)}, {kNoWait, kNoWait}},
        {"tosk stop is sent", 7, {CmdBuilder(0xE013)}, {b(0, 0, 0)}, {kLine}, {}, true},
        {"go to zeroes, logs, sends nothing", 7, {diag, CmdBuilder(0xE014).arg16(300), mv(0x20, 0x40)}, {b(0x0A, 26, 6), b(0x04, 16, 0)}, {kNoWait, kNoWait}, {"PELCOD : goto preset 300\n"}},
        {"zoom: speed frame, word with kept speeds", 7, {diag, mv(127, 0, 1)}, {b(0x0A, 26, 6), b(0x25, 0, 3), b(0x20, 26, 6)}, {kNoWait, kLine, kNoWait}},
        {"tosk focus below 65 is near", 7, {mv(20, 0, 2)}, {b(0x27, 0, 2), b(0x100, 0, 0)}, {kLine, kNoWait}, {}, true},
        {"zoom at 64 is wide", 7, {mv(64, 0, 1)}, {b(0x25, 0, 0), b(0x40, 0, 0)}, {kLine, kNoWait}},
        {"iris zeroes the speeds", 7, {diag, mv(10, 0, 3), mv(65, 0, 3)}, {b(0x0A, 26, 6), b(0x400, 0, 0), b(0x200, 0, 0)}, {kNoWait, kNoWait, kNoWait}},
        {"unknown action: word 0", 7, {diag, mv(10, 0, 4)}, {b(0x0A, 26, 6), b(0, 26, 6)}, {kNoWait, kNoWait}},
        {"stop after action", 7, {mv(90, 70, 0, 1), mv(0x20, 0x40)}, {b(0x0A, 26, 6), b(0, 0, 0), b(0x04, 16, 0)}, {kNoWait, kNoWait, kNoWait}},
        {"store, clear preset", 7, {CmdBuilder(0xE020).action(0x105), CmdBuilder(0xE022).action(7)}, {b(0x03, 0, 5), b(0x05, 0, 7)}, {kLine, kLine}},
        {"C1080PT left", 5, {mv(0x20, 0x40)}, {f(0x04, 0x20, 0)}, {kLine}},
        {"C1080PT left-up, stop after", 5, {CmdBuilder(0xE012).xy(61, 67).stop_after(1)}, {f(0x0C, 3, 3), f(0)}, {kLine, kLine}},
        {"C1080PT zoom speed", 5, {mv(0xFF, 0, 1)}, {f(0x25, 0, 11), f(0x20)}, {kLine, kLine}},
        {"C1080PT iris, focus", 5, {mv(0x41, 0, 3), mv(0x40, 0, 2)}, {f(0x200), f(0x27), f(0x100)}, {kLine, kLine, kLine}, {"IRIS open\n"}},
        {"C1080PT presets", 5, {CmdBuilder(0xE014).arg16(300), CmdBuilder(0xE020).action(5), CmdBuilder(0xE022).action(6)}, {f(0x07, 0, 44), f(0x03, 0, 5), f(0x05, 0, 6)}, {kLine, kLine, kLine}, {"C1080PT : goto preset 300\n", "C1080PT : save preset 5\n", "C1080PT : clear preset 6\n"}},
        {"C1080PT menu keys", 5, {aux(595), aux(730), aux(731)}, {f(0x1E), f(0x1E), f(0x06)}, {kLine, kNoWait, kNoWait}, {"pelco-d menu\n", "pelco-d enter\n", "pelco-d esc\n"}},
        {"C1080PT held iris key", 5, {aux(130)}, {f(0x200), f(0)}, {kLine, 1000000, kLine}, {"manual iris open\n", "Send Stop\n"}},
        {"C1080PT camera reset", 5, {aux(930)}, {f(0x9030, 0, 0x0B)}, {2000000, kNoWait}, {"AUX_VAL_CAM_RESET\n"}},
        {"C1080PT scan log", 5, {aux(721)}, {f(0x23, 0, 17)}, {kLine}, {"run scan 1\n"}},
        {"C1080PT frame and auto scan logs", 5, {aux(598), aux(599)}, {f(0x07, 0, 98), f(0x07, 0, 99)}, {kLine, kLine}, {"frame scan\n", "auto scan\n"}},
        {"C1080PT unnamed aux", 5, {aux(8)}, {f(0x07, 0, 8)}, {kLine}, {"pelcod unkown aux command sent to preset, 8\n"}},
        {"WONWOO go to, no pause", 1, {CmdBuilder(0xE014, 1).arg16(12)}, {f(0x07, 0, 12)}, {kNoWait}, {"C1080PT_WONWOO msg_id[e014],action[0],addr[3],x[12],y[0]\r\n", "C1080PT_WONWOO : goto preset 12\n"}},
        {"WONWOO aux 3 off", 2, {aux(3, false)}, {f(0x0B, 0, 3)}, {kNoWait, 100000}, {"run aux 3 off\n"}},
        {"WONWOO aux 9 on", 2, {aux(9)}, {f(0x09, 0, 9)}, {kNoWait, 100000}, {"run aux 9 on\n"}},
        {"WONWOO pattern", 2, {aux(558)}, {f(0x07, 0, 98)}, {kNoWait, 100000}, {"run pattern 8\n"}},
        {"WONWOO tour", 2, {aux(718)}, {f(0x07, 0, 78)}, {kNoWait, 100000}, {"run tour 8\n"}},
        {"WONWOO scan", 2, {aux(721)}, {f(0x07, 0, 81)}, {kNoWait, 100000}, {"run scan 1\n"}},
        {"WONWOO group", 2, {aux(961)}, {f(0x07, 0, 101)}, {kNoWait, 100000}, {"run group 1\n"}},
        {"WONWOO unnamed aux", 2, {aux(8)}, {f(0x07, 0, 8)}, {kNoWait, 100000}, {"C1080PT_WONWOO : unkown aux command sent to preset, 8\n"}},
        {"WONWOO model line", 2, {aux(954, false)}, {f(0x03, 0, 253)}, {kNoWait, 100000}, {"C1080PT_WONWOO model 2, AUX 954,0\n"}},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        board.set_sysvar("/proc/orv_con_vars/support_tosk_oem", r.tosk ? "1" : "0");
        start();
        for (const Bytes& cmd : r.cmds) handle(r.ch, cmd);
        EXPECT_EQ(writes(), r.frames);
        EXPECT_EQ(pauses(), r.pauses);
        for (const char* l : r.logs) EXPECT_TRUE(logged(l)) << l;
    }

    // A single-axis move leaves its canonical x/y in the command; the speeds are shared with channel 8.
    handle(7, diag);
    const std::array<uint8_t, 4> single[] = {
        {0x10, 0x41, 48, 64}, {0x70, 0x41, 80, 64}, {0x41, 0x10, 64, 48}, {0x41, 0x70, 64, 80}};
    for (const auto& [x, y, cx, cy] : single) {
        Bytes c = mv(x, y);
        c.resize(kMinCommandBuffer);
        eptz_handler(*d, 8, c.data());
        EXPECT_EQ(std::pair(c[off::x], c[off::y]), std::pair(cx, cy)) << +x << "," << +y;
    }
    EXPECT_EQ(board.writes("/dev/ttyS3").front(), b(0x04, 16, 6));
}

// The WONWOO aux table as it reads.
std::vector<Bytes> wonwoo_aux(int aux, bool on, int mode) {
    auto go = [](int n) { return std::vector<Bytes>{f(0x07, 0, n)}; };
    auto store = [](int n) { return std::vector<Bytes>{f(0x03, 0, n)}; };
    if ((aux >= 1 && aux <= 7) || aux == 9) return {f(on ? 0x09 : 0x0B, 0, aux)};
    if (aux >= 551 && aux <= 558) return go(91 + aux - 551);
    if (aux >= 711 && aux <= 718) return go(71 + aux - 711);
    if (aux >= 721 && aux <= 728) return go(81 + aux - 721);
    if (aux >= 961 && aux <= 968) return go(101 + aux - 961);
    if (aux == 730 || aux == 731) return {f(0x27, 0, 2), f(aux == 730 ? 0x100 : 0x80), f(0)};
    if (aux == 740) return {};
    // clang-format off
    const std::pair<int, int> stores[] = {{501, 252}, {502, 244}, {503, 243}, {504, 245}, {505, 250}, {595, 95},
        {950, 248}, {951, 240}, {952, 241}, {953, 242}, {954, mode == 1 ? 250 : 253}, {955, 255}};
    // clang-format on
    for (const auto& [v, preset] : stores)
        if (aux == v) return store(preset);
    return on ? go(aux) : store(aux);
}

TEST_F(C1080PT, WonwooAuxTablePerMode) {
    for (int mode = 0; mode < 4; ++mode) {
        for (int v = 0; v <= 1000; ++v) {
            for (bool on : {true, false}) {
                board.clear_calls();
                handle(mode, aux(static_cast<uint16_t>(v), on));
                ASSERT_EQ(writes(), wonwoo_aux(v, on, mode)) << "mode " << mode << " aux " << v << " " << on;
                // 100 ms after every aux, and the menu keys are held for 100 ms
                ASSERT_EQ(count_sleeps(100000), v == 730 || v == 731 ? 2u : 1u) << v;
            }
        }
    }
}

}  // namespace
}  // namespace ptz::test
