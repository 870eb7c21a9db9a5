#include <algorithm>
#include <string>

#include "tests/fixture.h"

namespace ptz::test {
namespace {

// FF 30 device 00 command data EF.
Bytes f(uint8_t dev, uint8_t cmd, const std::string& data) {
    const std::string s = std::string{'\xFF', '\x30', char(dev), '\0', char(cmd)} + data + '\xEF';
    return Bytes(s.begin(), s.end());
}
const Bytes kOpen = f(0x30, 0x90, "0"), kInit0 = f(0x30, 0x8F, "0"), kInit1 = f(0x30, 0x8F, "1");
// To device 0x31, address 1.
Bytes g(uint8_t cmd, const std::string& data) { return f(0x31, cmd, data); }

class Vcc4 : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x300, 1, 7);  // 115200 baud: the 5 ms minimum outlasts the line time
        channel(1, 2, 0x300, 1);     // 9600 baud: 7 bytes take 14.582 ms
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd, int ch = 0) {
        board.clear_calls();
        handle(ch, cmd);
        return writes();
    }
};

TEST_F(Vcc4, InitialisationPairOnFirstCommandAndBroadcastAddresses) {
    // addresses 0, 16, 32 and 48 share the device character 0x30 of the frames every head takes
    const std::pair<uint16_t, bool> cases[] = {{0, true},  {16, true}, {32, true},
                                               {48, true}, {1, false}, {0x40, false}};
    for (const auto& [addr, every_time] : cases) {
        SCOPED_TRACE(addr);
        channel(0, 2, 0x300, addr);
        start();
        const std::vector<Bytes> init{kOpen, kInit0, kInit1, f(static_cast<uint8_t>(addr | 0x30), 0xB5, "1")},
            plain{kOpen, init[3]};
        EXPECT_EQ(run(CmdBuilder(0xE090).arg16(602)), init);
        EXPECT_EQ(run(CmdBuilder(0xE090).arg16(602)), every_time ? init : plain);
    }
}

// Every command opens with 0x90 '0'; every frame waits 10 ms, 5 ms and 30 ms.
TEST_F(Vcc4, Commands) {
    run(CmdBuilder(0xE013));  // past the first command's initialisation
    // clang-format off
    struct Row { Bytes cmd; std::vector<Bytes> after_open = {}; const char* log = nullptr; };
    const Row cases[] = {
        // pan and tilt speeds 12 and 9 per step from the centre, at least 8; the drive: 1 right/up,
        // 2 left/down, 0 inside 62..66; the stop after action byte is not looked at
        {mv(0x40, 0x40), {g(0x50, "008"), g(0x51, "008"), g(0x60, "00")}},
        {mv(61, 67), {g(0x50, "024"), g(0x51, "01B"), g(0x60, "21")}},
        {mv(62, 66), {g(0x50, "018"), g(0x51, "012"), g(0x60, "00")}},
        {mv(0xFF, 0), {g(0x50, "8F4"), g(0x51, "240"), g(0x60, "12")}},
        {mv(0x20, 0x40, 0, 1), {g(0x50, "180"), g(0x51, "008"), g(0x60, "20")}},
        // go to preset 10 (':'); a store goes on as an aux command; aux 602 on
        {CmdBuilder(0xE014).arg16(10), {g(0x50, "300"), g(0x51, "260"), g(0x8A, ":")}},
        {CmdBuilder(0xE020).action(5).arg16(602), {g(0x89, "5"), g(0xB5, "1")}, "VCC4 set preset : 35\n"},
        {CmdBuilder(0xE091).arg16(602).action(0x0101), {g(0xB5, "0")}, "VCC4 aux : 25a\n"},
        // zoom wide (also at the centre) and tele: the speed frame always carries "00"
        {mv(0, 0, 1), {g(0xB4, "00"), g(0xA2, "1")}, "zoom : 8h\n"},
        {mv(0xFF, 0, 1), {g(0xB4, "00"), g(0xA2, "2")}, "zoom : 17h\n"},
        {mv(0x40, 0, 1), {g(0xB4, "00"), g(0xA2, "1")}},
        // focus far, manual first; nothing for iris, clear preset and other aux codes; stop
        {mv(65, 0, 2), {g(0xA1, "1"), g(0xA1, "2")}},
        {mv(0xFF, 0, 3)}, {CmdBuilder(0xE022).action(5)}, {CmdBuilder(0xE090).arg16(603).action(0x0101)},
        {CmdBuilder(0xE013), {g(0xA2, "0"), f(0x30, 0x53, "0"), g(0xB1, "1"), g(0x90, "1")}, "STOP\n"}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        std::vector<Bytes> expected{kOpen};
        expected.insert(expected.end(), cases[i].after_open.begin(), cases[i].after_open.end());
        EXPECT_EQ(run(cases[i].cmd), expected);
        EXPECT_TRUE(!cases[i].log || logged(cases[i].log)) << cases[i].log;
        std::vector<uint32_t> waits;
        for (size_t k = 0; k < expected.size(); ++k) waits.insert(waits.end(), {10000, 5000, 30000});
        EXPECT_EQ(sleeps(), waits);
    }
}

// After its line time each frame reads the head's answer once, whatever has arrived, and pauses 30 ms:
// answers that arrive 20 ms after their frame are read by the next one, the last one not at all.
TEST_F(Vcc4, AnswerReads) {
    run(CmdBuilder(0xE013), 1);
    board.on_write = [](SimBoard& b, const std::string& dev, const Bytes&) {
        b.queue_reply(dev, b.now() + 20000, {0xFE, 0x30, 0x31, 0x12, 0x8A, 0xEF});
    };
    ASSERT_EQ(run(CmdBuilder(0xE014).arg16(1), 1).size(), 4u);
    const auto l = board.logs();
    EXPECT_EQ(std::count(l.begin(), l.end(), "ACK : 12h8ah\n"), 3);
    EXPECT_EQ(std::count(l.begin(), l.end(), "receive error\n"), 1);
    const auto w = board.find("write", "/dev/ttyS2"), r = board.find("read", "/dev/ttyS2");
    ASSERT_EQ(r.size(), 4u);
    EXPECT_EQ(r[0]->t - w[0]->t, 14582);  // 7 bytes at 9600 baud
    EXPECT_EQ(w[1]->t - r[0]->t, 30000 + 10000);
}

}  // namespace
}  // namespace ptz::test
