#include "core/report.h"
#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

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
