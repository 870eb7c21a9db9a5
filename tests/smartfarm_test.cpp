#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "serial/serial.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}
Bytes pd(uint16_t word, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(9, word, d1, d2)); }

// No model of the dispatch table selects SMARTFARM: the driver is called as the dispatcher would, on port 2.
class Smartfarm : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1600, 9);
        start();
    }
    void run(Bytes cmd) {
        cmd.resize(kMinCommandBuffer, 0);
        PTZAction_SMARTFARM(*d, 2, 9, cmd.data());
    }
    std::string log_text() const {
        std::string text;
        for (const std::string& l : board.logs()) text += l;
        return text;
    }
};

TEST_F(Smartfarm, TheWordAccumulatesUntilAStop) {
    struct Row {
        const char* name;
        std::vector<Bytes> cmds;
        std::vector<Bytes> frames;
    };
    const Row rows[] = {
        {"left-up", {mv(0x30, 0x50)}, {pd(0x0C, 0x10, 0x10)}},
        {"down keeps the pan speed",
         {mv(0x20, 0x40), mv(0x40, 0x30)},
         {pd(0x04, 0x20, 0), pd(0x14, 0x20, 0x10)}},
        {"left then right sends both",
         {mv(0x20, 0x40), mv(0x50, 0x40)},
         {pd(0x04, 0x20, 0), pd(0x06, 0x10, 0)}},
        {"on a diagonal nothing changes",
         {mv(0x20, 0x40), mv(63, 63)},
         {pd(0x04, 0x20, 0), pd(0x04, 0x20, 0)}},
        {"zoom high", {mv(0x70, 0, 1)}, {pd(0x25, 0, 3), pd(0x20, 0, 0)}},
        {"zoom at the centre is low", {mv(0x40, 0, 1)}, {pd(0x25, 0, 0), pd(0x40, 0, 0)}},
        {"focus high", {mv(0x50, 0, 2)}, {pd(0x27, 0, 1), pd(0x100, 0, 0)}},
        {"focus low adds to a pan",
         {mv(0x20, 0x40), mv(0x00, 0, 2)},
         {pd(0x04, 0x20, 0), pd(0x27, 0, 4), pd(0x84, 0x20, 0)}},
        {"iris close replaces the word",
         {mv(0x20, 0x40), mv(0x40, 0, 3)},
         {pd(0x04, 0x20, 0), pd(0x400, 0, 0)}},
        {"iris open", {mv(0x41, 0, 3)}, {pd(0x200, 0, 0)}},
        {"stop after the action clears",
         {mv(0x20, 0x40, 0, 1), mv(0x40, 0x60)},
         {pd(0x04, 0x20, 0), pd(0, 0, 0), pd(0x08, 0, 0x20)}},
        {"no such action: the state again",
         {mv(0x20, 0x40), mv(0x10, 0x10, 5)},
         {pd(0x04, 0x20, 0), pd(0x04, 0x20, 0)}},
        {"a stop clears",
         {mv(0x20, 0x40), CmdBuilder(0xE013), mv(0x40, 0x60)},
         {pd(0x04, 0x20, 0), pd(0, 0, 0), pd(0x08, 0, 0x20)}},
        {"presets are not understood", {CmdBuilder(0xE014).arg16(3)}, {}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        d->drv = {};
        board.clear_calls();
        for (const Bytes& c : r.cmds) run(c);
        EXPECT_EQ(writes(), r.frames);
    }
    EXPECT_TRUE(logged("SMARTFARM : msg_id[e014],action[0],addr[9],x[3],y[0]"));
    run(mv(0x40, 0, 3));
    EXPECT_TRUE(logged("IRIS close\n"));
    EXPECT_EQ(count_sleeps(35000), 1u);
}

TEST_F(Smartfarm, StatusAfterAStop) {
    const Bytes status{0xFF, 0x09, 0x00, 0x00, 0x12, 0x34, 0x4F};
    Bytes noisy{0x01, 0x02};
    noisy.insert(noisy.end(), status.begin(), status.end());
    std::vector<std::pair<int64_t, Bytes>> stream;  // a byte every millisecond for 3 s, never a start byte
    for (int64_t t = 0; t < 3000000; t += 1000) stream.emplace_back(t, Bytes{0x55});
    std::string zeros;
    for (int i = 0; i < 20; ++i) zeros += "00 ";
    struct Row {
        const char* name;
        std::vector<std::pair<int64_t, Bytes>> replies;
        const char* rlen;
        const char* dump;  // the bytes logged after it
    };
    const Row rows[] = {
        {"on time: found at 0, nothing dumped", {{20000, status}}, "SMARTFARM : rlen is 0\n", ""},
        {"after noise", {{20000, noisy}}, "SMARTFARM : rlen is 2\n", "ff 09 "},
        {"twice", {{20000, status}, {20000, status}}, "SMARTFARM : rlen is 0\n", ""},
        {"short: the count collected, zeros behind it",
         {{20000, {0xFF, 0x09, 0x00}}},
         "SMARTFARM : rlen is 3\n",
         "00 00 00 "},
        {"late", {{2100000, status}}, "SMARTFARM : rlen is 0\n", ""},
        {"never", {}, "SMARTFARM : rlen is 0\n", ""},
        {"keeps sending: the buffer's 128 bytes, nothing behind them", stream, "SMARTFARM : rlen is 128\n",
         zeros.c_str()},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        board.clear_calls();
        board.on_write = [&r](SimBoard& b, const std::string& dev, const Bytes&) {
            for (const auto& [at, bytes] : r.replies) b.queue_reply(dev, b.now() + at, bytes);
        };
        const int64_t t0 = board.now();
        run(CmdBuilder(0xE013));
        EXPECT_EQ(writes(), std::vector<Bytes>{pd(0, 0, 0)});
        EXPECT_LE(board.now() - t0, 10000 + 35000 + 2000000);
        const std::string text = log_text();
        const size_t at = text.find(r.rlen);
        ASSERT_NE(at, std::string::npos);
        EXPECT_EQ(text.substr(at + std::string(r.rlen).size()), r.dump);
        board.on_write = nullptr;
        board.advance(3000000);
        for (uint8_t sink[64]; port_read(*d, 2, sink, 64) != kNothingRead;) {
        }
    }
}

}  // namespace
}  // namespace ptz::test
