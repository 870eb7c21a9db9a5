#include <algorithm>
#include <string>

#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes f(uint8_t dev, uint8_t cmd, const std::string& data) {
    Bytes b(5 + data.size() + 1);
    b[0] = 0xFF, b[1] = 0x30, b[2] = dev, b[3] = 0x00, b[4] = cmd;
    std::copy(data.begin(), data.end(), b.begin() + 5);
    b.back() = 0xEF;
    return b;
}
const Bytes kOpen = f(0x30, 0x90, "0");
const Bytes kInit0 = f(0x30, 0x8F, "0"), kInit1 = f(0x30, 0x8F, "1");
// To device 0x31, address 1.
Bytes g(uint8_t cmd, const std::string& data) { return f(0x31, cmd, data); }

Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}

class Vcc4 : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x300, 1);
        channel(1, 2, 0x300, 1, 7);  // 115200 baud: the 5 ms minimum outlasts the line time
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd, int ch = 0) {
        board.clear_calls();
        handle(ch, cmd);
        return writes();
    }
    size_t count_logs(const std::string& text) const {
        const auto l = board.logs();
        return static_cast<size_t>(std::count(l.begin(), l.end(), text));
    }
};

TEST_F(Vcc4, InitialisationPairOnFirstCommandAndBroadcastAddresses) {
    const std::pair<uint16_t, bool> cases[] = {{0, true},  {16, true},  {32, true},   {48, true},
                                               {1, false}, {17, false}, {0x40, false}};
    for (const auto& [addr, every_time] : cases) {
        SCOPED_TRACE(addr);
        channel(0, 2, 0x300, addr);
        start();
        const uint8_t dev = static_cast<uint8_t>(addr | 0x30);
        const std::vector<Bytes> init{kOpen, kInit0, kInit1, f(dev, 0xB5, "1")}, plain{kOpen, init[3]};
        EXPECT_EQ(run(CmdBuilder(0xE090).arg16(602)), init);
        EXPECT_EQ(run(CmdBuilder(0xE090).arg16(602)), every_time ? init : plain);
    }
}

TEST_F(Vcc4, Commands) {
    run(CmdBuilder(0xE013));  // past the first command's initialisation
    struct Case {
        const char* name;
        Bytes cmd;
        std::vector<Bytes> after_open;
        const char* log = nullptr;
    };
    const Case cases[] = {
        {"centre: minimum speeds", mv(0x40, 0x40), {g(0x50, "008"), g(0x51, "008"), g(0x60, "00")}},
        {"left-up", mv(0x20, 0x60), {g(0x50, "180"), g(0x51, "120"), g(0x60, "21")}},
        {"61/67 move", mv(61, 67), {g(0x50, "024"), g(0x51, "01B"), g(0x60, "21")}},
        {"62/66 do not", mv(62, 66), {g(0x50, "018"), g(0x51, "012"), g(0x60, "00")}},
        {"right-down, full", mv(0xFF, 0), {g(0x50, "8F4"), g(0x51, "240"), g(0x60, "12")}},
        {"no stop after a move", mv(0x20, 0x40, 0, 1), {g(0x50, "180"), g(0x51, "008"), g(0x60, "20")}},
        {"preset 10 is ':'", CmdBuilder(0xE014).arg16(10), {g(0x50, "300"), g(0x51, "260"), g(0x8A, ":")}},
        {"store preset", CmdBuilder(0xE020).action(5), {g(0x89, "5")}, "VCC4 set preset : 35\n"},
        {"store goes on as aux", CmdBuilder(0xE020).action(5).arg16(602), {g(0x89, "5"), g(0xB5, "1")}},
        {"aux 602 on", CmdBuilder(0xE091).arg16(602).action(0x0101), {g(0xB5, "0")}, "VCC4 aux : 25a\n"},
        {"other aux", CmdBuilder(0xE090).arg16(603).action(0x0101), {}, "VCC4 aux : 25b\n"},
        {"zoom wide, speed 8 limited to 7", mv(0, 0, 1), {g(0xB4, "00"), g(0xA2, "1")}, "zoom : 8h\n"},
        {"zoom tele", mv(0xFF, 0, 1), {g(0xB4, "00"), g(0xA2, "2")}, "zoom : 17h\n"},
        {"slow zoom still sends 00", mv(0x48, 0, 1), {g(0xB4, "00"), g(0xA2, "2")}, "zoom : 1h\n"},
        {"zoom at centre is wide", mv(0x40, 0, 1), {g(0xB4, "00"), g(0xA2, "1")}},
        {"focus far", mv(65, 0, 2), {g(0xA1, "1"), g(0xA1, "2")}},
        {"focus near", mv(63, 0, 2), {g(0xA1, "1"), g(0xA1, "3")}},
        {"focus at centre", mv(64, 0, 2), {g(0xA1, "1")}},
        {"no iris", mv(0xFF, 0, 3), {}},
        {"stop",
         CmdBuilder(0xE013),
         {g(0xA2, "0"), f(0x30, 0x53, "0"), g(0xB1, "1"), g(0x90, "1")},
         "STOP\n"},
        {"no clear preset", CmdBuilder(0xE022).action(5), {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<Bytes> expected{kOpen};
        expected.insert(expected.end(), c.after_open.begin(), c.after_open.end());
        EXPECT_EQ(run(c.cmd), expected);
        if (c.log) {
            EXPECT_TRUE(logged(c.log));
        }
    }
}

// Every frame is followed by exactly one read of whatever has arrived.
TEST_F(Vcc4, AnswerReads) {
    const std::tuple<const char*, int64_t, size_t, size_t> cases[] = {
        {"answered at once", 0, 4, 0},
        {"silent head", -1, 0, 4},
        {"late answers are read by the next frame", 20000, 3, 1},
    };
    for (const auto& [name, delay, acks, errors] : cases) {
        SCOPED_TRACE(name);
        start();
        run(CmdBuilder(0xE013));
        board.on_write = [delay = delay](SimBoard& b, const std::string& dev, const Bytes&) {
            if (delay >= 0) b.queue_reply(dev, b.now() + delay, {0xFE, 0x30, 0x31, 0x12, 0x8A, 0xEF});
        };
        ASSERT_EQ(run(CmdBuilder(0xE014).arg16(1)).size(), 4u);
        EXPECT_EQ(count_logs("ACK : 12h8ah\n"), acks);
        EXPECT_EQ(count_logs("receive error\n"), errors);
        EXPECT_EQ(board.find("read", "/dev/ttyS2").size(), 4u);
        board.on_write = nullptr;
    }
}

TEST_F(Vcc4, Waits) {
    run(CmdBuilder(0xE013));
    const std::tuple<const char*, int, uint32_t> cases[] = {
        {"9600 baud: 7 bytes of line time", 0, 14582},
        {"115200 baud: the 5 ms minimum", 1, 5000},
    };
    for (const auto& [name, ch, line] : cases) {
        SCOPED_TRACE(name);
        run(CmdBuilder(0xE020).action(1), ch);  // 0x90 '0', 0x89 '1': two 7-byte frames
        EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, line, 30000, 10000, line, 30000}));
        const auto w = board.find("write", "/dev/ttyS2"), r = board.find("read", "/dev/ttyS2");
        ASSERT_EQ(r.size(), 2u);
        EXPECT_EQ(r[1]->t - w[1]->t, int64_t{line});
        EXPECT_EQ(w[1]->t - r[0]->t, 30000 + 10000);
    }
}

}  // namespace
}  // namespace ptz::test
