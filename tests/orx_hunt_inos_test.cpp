#include "core/report.h"
#include "protocols/rs485/pelco_d.h"
#include "tests/rs485_rows.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

// ORX1000 at address 123: the digits 1, 3, 2 in that order.
Bytes orx(uint8_t cmd, uint8_t data) {
    return {0x11, 0x23, 0x32, cmd, data, static_cast<uint8_t>(0x11 + 0x23 + 0x32 + cmd + data)};
}

using Orx1000 = OneCamera<0, 2, 0x1500, 123, RowTest>;

TEST_F(Orx1000, Frames) {
    // The moves, lens keys and addresses are read back by the cross-check; the aux keys, the dropped preset
    // and the stop sent twice (with no minimum wait: 6 bytes of line time) are the head's own.
    // clang-format off
    const Row rows[] = {
        {mv(0x60, 0x60, 3), {orx(0, 0)}},  {aux(1, true), {orx(0x6B, 0)}},
        {aux(2, false), {orx(0x6C, 0)}},   {aux(11, true), {orx(0x63, 0)}},   {aux(12, false), {orx(0x64, 0)}},
        {aux(13, true), {orx(0x5F, 0)}},   {aux(5, true), {orx(0, 0)}},       {CmdBuilder(0xE014).arg16(3), {}},
        {aux(13, false), {orx(0, 0x44)}},
        {CmdBuilder(0xE013), {orx(0, 0x40), orx(0, 0x40)}, nullptr, {10000, 12500, 10000, 12500}},
    };
    // clang-format on
    check(0, rows);
}

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

Bytes hunt(uint8_t cmd, uint8_t speed) {  // address 0x45: 02 05
    return {0xFA, cmd, 2, 5, speed, 0, static_cast<uint8_t>((0xFA + cmd + 7 + speed) & 0x7F)};
}

using Hunt = OneCamera<0, 2, 0x801, 0x45, RowTest>;

TEST_F(Hunt, FramesSpeedLimitStopAndPresets) {
    const Row rows[] = {
        // the moves and the lens speeds are the cross-check's; no command at the centre, the iris at speed 1;
        // the speed limit, after a 0.5 ms enable and 7 bytes of line time; a preset by its low byte
        {mv(0x40, 0, 1), {hunt(0, 1)}},
        {mv(0x40, 0, 3), {hunt(10, 1)}},
        // a lens key's speed is the pan distance's, the first trace the larger distance's
        {mv(0x41, 0x48, 1), {hunt(11, 4)}, "HUNT speed is 1, 8 ==> 20h\n"},
        {mv(0x50, 0x70, 6), {hunt(0, 0xC0)}},  // no such action: command 0 at the pan/tilt speed
        {mv(0x7F, 0x48), {hunt(7, 0xEF)}, "HUNT speed is 63, 8 ==> efh\n", {500, 10000, 14582}},
        {CmdBuilder(0xE014).arg16(0x1209), {hunt(0x76, 9)}, "HUNT speed is 0, 0 ==> 9h\n"},
        {CmdBuilder(0xE020).action(0x105), {hunt(0x75, 5)}},
        {aux(1, true), {hunt(0, 0)}},
        {CmdBuilder(0xE013),
         {hunt(1, 0), hunt(2, 0), hunt(3, 0), hunt(4, 0), hunt(11, 0), hunt(12, 0), hunt(13, 0),
          hunt(14, 0)}},
    };
    check(0, rows);
}

class Inos : public DaemonTest {
protected:
    void SetUp() override {
        channel(2, 2, 0x900, 5);
        start();
    }
    static Bytes pd(uint16_t word, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(5, word, d1, d2)); }
};

TEST_F(Inos, MovesArePulses) {
    const std::pair<Bytes, std::vector<Bytes>> rows[] = {
        {mv(0x60, 0x48), {pd(0x02, 0x30, 0), pd(0, 0, 0)}},
        {mv(0x41, 0, 1), {pd(0x20, 0, 0), pd(0, 0, 0)}},
        {CmdBuilder(0xE0A6, 2), {pd(0, 0, 0)}},
        {CmdBuilder(0xE013, 2), {}},                         // a move stops by itself
        {mv(0x10, 0x10, 2), {pd(0x20, 0, 0), pd(0, 0, 0)}},  // no word of its own: the last one again
    };
    for (const auto& [cmd, frames] : rows) {
        board.clear_calls();
        handle(2, cmd);
        EXPECT_EQ(writes(), frames);
    }
    EXPECT_TRUE(logged("INOS msg_id[e011],action[2],addr[5],x[16],y[16]"));
    EXPECT_TRUE(logged("\tx = -48\n"));
    EXPECT_TRUE(logged("PTZSVR : INOS 0020h\n"));
    // settle, 35 ms, 100 ms, settle, 35 ms, 100 ms; then the answer's wait
    const auto s = sleeps();
    EXPECT_EQ(std::vector<uint32_t>(s.begin(), s.begin() + 6),
              (std::vector<uint32_t>{10000, 35000, 100000, 10000, 35000, 100000}));
}

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

}  // namespace
}  // namespace ptz::test
