#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

Bytes pd(uint16_t word, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(9, word, d1, d2)); }

// No model_id selects SMARTFARM: the driver is called as the dispatcher would, on port 2.
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
};

TEST_F(Smartfarm, TheWordAccumulatesUntilAStop) {
    const std::pair<std::vector<Bytes>, std::vector<Bytes>> rows[] = {
        {{mv(0x30, 0x50)}, {pd(0x0C, 0x10, 0x10)}},
        {{mv(0x20, 0x40), mv(0x40, 0x30)},
         {pd(0x04, 0x20, 0), pd(0x14, 0x20, 0x10)}},  // down keeps the pan speed
        {{mv(0x20, 0x40), mv(0x50, 0x40)},
         {pd(0x04, 0x20, 0), pd(0x06, 0x10, 0)}},                                // left then right: both bits
        {{mv(0x20, 0x40), mv(63, 63)}, {pd(0x04, 0x20, 0), pd(0x04, 0x20, 0)}},  // on a diagonal: no change
        {{mv(0x70, 0, 1)}, {pd(0x25, 0, 3), pd(0x20, 0, 0)}},
        {{mv(0x40, 0, 1)}, {pd(0x25, 0, 0), pd(0x40, 0, 0)}},
        {{mv(0x50, 0, 2)}, {pd(0x27, 0, 1), pd(0x100, 0, 0)}},
        {{mv(0x20, 0x40), mv(0x00, 0, 2)}, {pd(0x04, 0x20, 0), pd(0x27, 0, 4), pd(0x84, 0x20, 0)}},
        {{mv(0x20, 0x40), mv(0x40, 0, 3)}, {pd(0x04, 0x20, 0), pd(0x400, 0, 0)}},  // iris replaces the word
        {{mv(0x41, 0, 3)}, {pd(0x200, 0, 0)}},
        {{mv(0x20, 0x40, 0, 1), mv(0x40, 0x60)}, {pd(0x04, 0x20, 0), pd(0, 0, 0), pd(0x08, 0, 0x20)}},
        {{mv(0x20, 0x40), mv(0x10, 0x10, 5)}, {pd(0x04, 0x20, 0), pd(0x04, 0x20, 0)}},  // no such action
        {{mv(0x20, 0x40), CmdBuilder(0xE013), mv(0x40, 0x60)},
         {pd(0x04, 0x20, 0), pd(0, 0, 0), pd(0x08, 0, 0x20)}},
        {{CmdBuilder(0xE014).arg16(3)}, {}},
    };
    for (const auto& [cmds, frames] : rows) {
        d->drv = {};
        board.clear_calls();
        for (const Bytes& c : cmds) run(c);
        EXPECT_EQ(writes(), frames);
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
    std::string zeros;
    for (int i = 0; i < 20; ++i) zeros += "00 ";
    // What is logged from the rlen line on. The reader is the INOS pan answer's (tested there on time,
    // late, twice and never); here the dump of what it collected.
    const std::pair<Script, std::string> rows[] = {
        {{{20000, status}}, "SMARTFARM : rlen is 0\n"},  // found at 0: nothing dumped
        {{{20000, noisy}}, "SMARTFARM : rlen is 2\nff 09 "},
        {{{20000, {0xFF, 0x09, 0x00}}},
         "SMARTFARM : rlen is 3\n00 00 00 "},  // short: the count, zeros behind it
        {stream(3000000, {0x55}),
         "SMARTFARM : rlen is 128\n" + zeros},  // keeps sending: the buffer's 128 bytes
    };
    for (const auto& [script, tail] : rows) {
        answer_writes(board, script);
        const int64_t t0 = board.now();
        run(CmdBuilder(0xE013));
        EXPECT_EQ(writes(), std::vector<Bytes>{pd(0, 0, 0)});
        EXPECT_LE(board.now() - t0, 10000 + 35000 + 2000000);
        const std::string text = log_text(board);
        EXPECT_EQ(text.substr(std::min(text.find("SMARTFARM : rlen"), text.size())), tail);
        silence(board, *d);
    }
}

}  // namespace
}  // namespace ptz::test
