#include "devices/report.h"
#include "protocols/rs485/pelco_d.h"
#include "serial/serial.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0) { return CmdBuilder(0xE011).action(action).xy(x, y); }
Bytes aux(uint16_t v, bool on) { return CmdBuilder(0xE091).arg16(v).action(on ? 257 : 0); }

// ORX1000 at address 123: the digits 1, 3, 2 in that order.
Bytes orx(uint8_t cmd, uint8_t data) {
    return {0x11, 0x23, 0x32, cmd, data, static_cast<uint8_t>(0x11 + 0x23 + 0x32 + cmd + data)};
}

class Orx1000 : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1500, 123);
        start();
    }
    void idle(int ms) {
        for (int i = 0; i < ms; ++i) d->run_once();
    }
};

TEST_F(Orx1000, Frames) {
    const std::pair<Bytes, std::vector<Bytes>> rows[] = {
        {mv(0x20, 0x20), {orx(0, 0x46)}},
        {mv(0x40, 0x3F), {orx(0, 0x40)}},
        {mv(0x40, 0x3E), {orx(0, 0x42)}},
        {mv(0x60, 0x41), {orx(0, 0x49)}},
        {mv(0x41, 0x40), {orx(0, 0x48)}},
        {mv(0x40, 0, 1), {orx(0xA0, 0)}},
        {mv(0x41, 0, 1), {orx(0xA3, 0)}},
        {mv(0x40, 0, 2), {orx(0xAC, 0)}},
        {mv(0x41, 0, 2), {orx(0xAF, 0)}},
        {mv(0x60, 0x60, 3), {orx(0, 0)}},
        {CmdBuilder(0xE013), {orx(0, 0x40), orx(0, 0x40)}},
        {aux(1, true), {orx(0x6B, 0)}},
        {aux(2, false), {orx(0x6C, 0)}},
        {aux(11, true), {orx(0x63, 0)}},
        {aux(12, false), {orx(0x64, 0)}},
        {aux(13, true), {orx(0x5F, 0)}},
        {aux(13, false), {orx(0, 0x44)}},
        {aux(5, true), {orx(0, 0)}},
        {CmdBuilder(0xE014).arg16(3), {}},
    };
    for (const auto& [cmd, frames] : rows) {
        board.clear_calls();
        handle(0, cmd);
        EXPECT_EQ(writes(), frames);
    }
    handle(0, aux(13, false));
    EXPECT_TRUE(logged("PTZSVR : orx1000 aux control(13,0)\n"));
    handle(0, CmdBuilder(0xE013));
    EXPECT_TRUE(logged("ORX1000 stop!!\n"));
    // Address 7: hundreds 0, units 7, tens 0; no minimum beyond the line time of 6 bytes.
    channel(0, 2, 0x1500, 7);
    start();
    handle(0, CmdBuilder(0xE013));
    EXPECT_EQ(writes()[0], (Bytes{0x10, 0x27, 0x30, 0x00, 0x40, 0xA7}));
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 12500, 10000, 12500}));
}

TEST_F(Orx1000, AMoveIsResentTwiceThroughTheMainLoopAndAStopEndsIt) {
    send(mv(0x20, 0x20));
    idle(1000);
    auto w = board.find("write", "/dev/ttyS2");
    ASSERT_EQ(w.size(), 3u);  // a re-sent move does not arm the repeat again
    for (size_t i = 0; i < w.size(); ++i) EXPECT_EQ(w[i]->data, orx(0, 0x46));
    for (size_t i = 1; i < w.size(); ++i) EXPECT_GT(w[i]->t - w[i - 1]->t, 100000);
    EXPECT_TRUE(logged("PTZSVR : call eptz_handler by repeat_count(2)\n"));
    EXPECT_TRUE(logged("PTZSVR : call eptz_handler by repeat_count(1)\n"));
    EXPECT_EQ(d->repeat_count, 0);

    // A stop 50 ms after the move cancels the repeat; an aux never arms it.
    board.clear_calls();
    send(mv(0x60, 0x40));
    idle(50);
    send(CmdBuilder(0xE013));
    send(aux(1, true));
    idle(1000);
    EXPECT_EQ(writes(), (std::vector<Bytes>{orx(0, 0x48), orx(0, 0x40), orx(0, 0x40), orx(0x6B, 0)}));
}

Bytes hunt(uint8_t cmd, uint8_t speed, uint16_t addr = 0x45) {
    Bytes f{0xFA, cmd, static_cast<uint8_t>((addr >> 5) & 0x1F), static_cast<uint8_t>(addr & 0x1F), speed, 0};
    unsigned sum = 0;
    for (uint8_t b : f) sum += b;
    f.push_back(static_cast<uint8_t>(sum & 0x7F));
    return f;
}

class Hunt : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x801, 0x45);
        start();
    }
};

TEST_F(Hunt, FramesSpeedLimitStopAndPresets) {
    const std::pair<Bytes, std::vector<Bytes>> rows[] = {
        {mv(0x40, 0x40), {}},                  // centred: nothing at all
        {mv(0x60, 0x40), {hunt(4, 0x80)}},     // right, four times the distance
        {mv(0x7F, 0x40), {hunt(4, 239)}},      // 0xFC is limited to 239
        {mv(0x00, 0x40), {hunt(3, 1)}},        // 0x40 * 4 wraps to 0: the slowest speed
        {mv(0x70, 0x10), {hunt(8, 0xC0)}},     // right-down
        {mv(62, 66), {hunt(5, 8)}},            // 62 is already left, 66 already up
        {mv(64, 0x20), {hunt(2, 0x80)}},       // down
        {mv(0x41, 0, 1), {hunt(11, 4)}},       // zoom in
        {mv(0x40, 0, 1), {hunt(0, 1)}},        // zoom centred
        {mv(0x30, 0, 2), {hunt(14, 0x40)}},    // focus near
        {mv(0x40, 0, 3), {hunt(10, 1)}},       // iris close
        {mv(0x50, 0x70, 6), {hunt(0, 0xC0)}},  // no such action: command 0 at the pan/tilt speed
        {CmdBuilder(0xE014).arg16(0x1234), {hunt(0x76, 0x34)}},
        {CmdBuilder(0xE020).action(0x105), {hunt(0x75, 5)}},
        {aux(1, true), {hunt(0, 0)}},
        {CmdBuilder(0xE013),
         {hunt(1, 0), hunt(2, 0), hunt(3, 0), hunt(4, 0), hunt(11, 0), hunt(12, 0), hunt(13, 0),
          hunt(14, 0)}},
    };
    for (const auto& [cmd, frames] : rows) {
        board.clear_calls();
        handle(0, cmd);
        EXPECT_EQ(writes(), frames);
    }
    board.clear_calls();
    handle(0, mv(0x7F, 0x48));
    EXPECT_TRUE(logged("HUNT speed is 63, 8 ==> efh\n"));
    // 0.5 ms transmit enable, then the block: 7 bytes at 9600 baud.
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{500, 10000, 14582}));
    handle(0, CmdBuilder(0xE014).arg16(9));
    EXPECT_TRUE(logged("HUNT speed is 0, 0 ==> 9h\n"));
}

TEST_F(Hunt, DirectionSweep) {
    const auto direction = [](int x, int y) -> int {
        if (x >= 66) return y >= 66 ? 7 : y < 63 ? 8 : 4;
        if (x > 62 && x < 66) return (y > 62 && y < 66) ? 0 : y > 65 ? 1 : 2;
        return y >= 66 ? 5 : y < 63 ? 6 : 3;
    };
    for (int x = 0; x < 128; x += 3) {
        for (int y = 0; y < 128; y += 3) {
            board.clear_calls();
            handle(0, mv(static_cast<uint8_t>(x), static_cast<uint8_t>(y)));
            const auto w = writes();
            const int expected = direction(x, y);
            ASSERT_EQ(w.size(), expected ? 1u : 0u) << x << "," << y;
            if (expected) {
                EXPECT_EQ(w[0][1], expected) << x << "," << y;
            }
        }
    }
}

class Inos : public DaemonTest {
protected:
    void SetUp() override {
        channel(2, 2, 0x900, 5);
        start();
    }
    static Bytes pd(uint16_t word, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(5, word, d1, d2)); }
};

TEST_F(Inos, MovePulseThenPanQueryAndReport) {
    struct Row {
        Bytes cmd;
        std::vector<Bytes> frames;
    };
    const Row rows[] = {
        {mv(0x60, 0x48), {pd(0x02, 0x30, 0), pd(0, 0, 0)}},
        {mv(0x40, 0x40), {pd(0x10, 0, 0x30), pd(0, 0, 0)}},  // centred is a move down
        {mv(0x30, 0x58), {pd(0x08, 0, 0x30), pd(0, 0, 0)}},  // |dx| <= |dy|: tilt wins
        {mv(0x20, 0x38), {pd(0x04, 0x30, 0), pd(0, 0, 0)}},
        {mv(0x40, 0, 1), {pd(0x40, 0, 0), pd(0, 0, 0)}},
        {mv(0x41, 0, 1), {pd(0x20, 0, 0), pd(0, 0, 0)}},
        {mv(0x41, 0, 2), {pd(0x20, 0, 0), pd(0, 0, 0)}},  // no word of its own: the last one again
        {CmdBuilder(0xE0A6, 2), {pd(0, 0, 0)}},
        {CmdBuilder(0xE013, 2), {}},  // a move stops by itself
    };
    for (const Row& r : rows) {
        board.clear_calls();
        Bytes cmd = r.cmd;
        wr16(cmd.data() + off::channel, 2);
        handle(2, cmd);
        EXPECT_EQ(writes(), r.frames);
    }
    handle(2, mv(0x41, 0, 2));
    EXPECT_TRUE(logged("PTZSVR : INOS 0020h\n"));
    EXPECT_TRUE(logged("INOS msg_id[e011],action[2],addr[5],x[65],y[0]"));
    EXPECT_TRUE(logged("\tx = 1\n"));
    EXPECT_TRUE(logged("\ty = -64\n"));
}

TEST_F(Inos, PanAnswerOnTimeLateNoisyTwiceOrNever) {
    struct Row {
        const char* name;
        std::vector<std::pair<int64_t, Bytes>> replies;  // after the zero frame, at us
        uint32_t pan;
        const char* rlen;
        const char* dump = "";
    };
    const Row rows[] = {
        {"on time",
         {{30000, {0xFF, 0x05, 0x2A, 0x00}}},
         0x2A,
         "PTZSVR : rlen is 0\n",
         "ff 05 2a 00 00 00 00 "},
        {"after noise", {{30000, {0x01, 0x02, 0xFF, 0x05, 0x2B, 0x00}}}, 0x2B, "PTZSVR : rlen is 2\n"},
        {"twice",
         {{30000, {0xFF, 0x05, 0x2C, 0}}, {40000, {0xFF, 0x05, 0x11, 0}}},
         0x2C,
         "PTZSVR : rlen is 0\n"},
        {"bad checksum is not looked at", {{30000, {0xFF, 0x05, 0x2D, 0x99}}}, 0x2D, "PTZSVR : rlen is 0\n"},
        {"never", {}, 0, "PTZSVR : rlen is 0\n"},
        {"late", {{2200000, {0xFF, 0x05, 0x2E, 0x00}}}, 0, "PTZSVR : rlen is 0\n"},
        {"short", {{30000, {0xFF, 0x05}}}, 0, "PTZSVR : rlen is 2\n", "00 00 00 00 00 00 00 "},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        start();
        board.on_write = [&r](SimBoard& b, const std::string& dev, const Bytes& f) {
            if (f[3] != 0) return;  // the zero frame ends the pulse
            for (const auto& [at, bytes] : r.replies) b.queue_reply(dev, b.now() + at, bytes);
        };
        const int64_t t0 = board.now();
        handle(2, CmdBuilder(0xE011, 2).xy(0x60, 0x48));
        // pulse: settle, 35 ms, 100 ms, settle, 35 ms, 100 ms; then at most 2 s for the answer
        const auto s = sleeps();
        ASSERT_GE(s.size(), 6u);
        EXPECT_EQ(std::vector<uint32_t>(s.begin(), s.begin() + 6),
                  (std::vector<uint32_t>{10000, 35000, 100000, 10000, 35000, 100000}));
        EXPECT_LE(board.now() - t0, 290000 + 2000000);
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0]->data, bytes(build_report(0, 2, 0, r.pan, 0, 0)));
        EXPECT_TRUE(logged(r.rlen));
        std::string text;
        for (const std::string& l : board.logs()) text += l;
        EXPECT_NE(text.find(r.dump), std::string::npos) << r.dump;
        EXPECT_TRUE(logged(" size : 24\n"));
        board.on_write = nullptr;
        board.advance(3000000);
        for (uint8_t sink[64]; port_read(*d, 2, sink, 64) != kNothingRead;) {
        }
    }
    // A silent head holds the loop for its wait only: two queries queued together are both served.
    board.clear_calls();
    const int64_t t0 = board.now();
    board.queue_datagram(t0, CmdBuilder(0xE0A6, 2));
    board.queue_datagram(t0, CmdBuilder(0xE0A6, 2));
    for (int pass = 0;
         pass < 100 && (board.datagrams_pending() || board.find("ioctl", "/dev/con2rec").size() < 2); ++pass)
        d->run_once();
    EXPECT_EQ(writes().size(), 2u);
    EXPECT_LE(board.now() - t0, 2 * (45000 + 2000000));
}

}  // namespace
}  // namespace ptz::test
