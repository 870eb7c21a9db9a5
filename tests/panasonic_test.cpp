#include <string>

#include "tests/fixture.h"

namespace ptz::test {
namespace {

// STX "AD" address text ETX; control texts of 7 characters are short frames, of 15 long ones.
Bytes pana(std::string text, const std::string& addr) {
    if (text.size() == 7 || text.size() == 15) text = (text.size() == 7 ? ";GC7:" : ";GCF:") + text;
    const std::string frame = "\x02" + ("AD" + addr) + text + "\x03";
    return Bytes(frame.begin(), frame.end());
}
Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE012).action(action).xy(x, y).stop_after(stop);
}
using Texts = std::vector<std::string>;

class Panasonic : public DaemonTest {
protected:
    void SetUp() override {
        for (const auto& [ch, camera] : {std::pair{0, 1}, {1, 7}, {2, 100}}) channel(ch, 2, 0x1602, camera);
        start();
    }
    // The power/on-line frame leads every command.
    void expect(const Bytes& cmd, const Texts& texts, int ch = 0, const std::string& addr = "01") {
        board.clear_calls();
        handle(ch, cmd);
        std::vector<Bytes> expected{pana(";RON:7", addr)};
        for (const std::string& t : texts) expected.push_back(pana(t, addr));
        EXPECT_EQ(writes(), expected);
    }
};

TEST_F(Panasonic, Commands) {
    // clang-format off
    const std::pair<Bytes, Texts> cases[] = {
        // the stop after action byte is not looked at (moves and lens keys are the cross-check's)
        {mv(0, 64, 0, 1), {"90288F0"}},
        // stop: pan/tilt, then lens; store preset 1; nothing for clear preset and aux
        {CmdBuilder(0xE013), {"9028100", "9034008"}},
        {CmdBuilder(0xE020).action(1), {"D810000", "00219F0:0022640"}},
        // past the last preset two hex digits hold (156) nothing but the power frame (200 would recall 44;
        // it comes last, for its trace)
        {CmdBuilder(0xE020).action(157), {}}, {CmdBuilder(0xE022).action(1), {}},
        {CmdBuilder(0xE090).arg16(3), {}}, {CmdBuilder(0xE020).action(200), {}}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        expect(cases[i].first, cases[i].second);
    }
    EXPECT_TRUE(logged("pana_set_preset : preset 200 out of range(1~156), not stored\n"));
    handle(0, mv(0x20, 0x40));
    EXPECT_TRUE(logged("pan_spd : 32, 8\n"));  // the distance and the digit
}

TEST_F(Panasonic, AddressDigitsWaitsAndReceiveDrain) {
    expect(CmdBuilder(0xE013), {"9028100", "9034008"}, 1, "07");
    expect(CmdBuilder(0xE013), {"9028100", "9034008"}, 2, "10");  // a third digit has no room
    EXPECT_EQ(sleeps(),
              (std::vector<uint32_t>{10000, 25000, 10000, 37500, 10000, 37500}));  // 12, 18, 18 bytes
    // The receive side is emptied before a long frame, at most 100 bytes of it.
    board.queue_reply("/dev/ttyS2", board.now(), Bytes(150, 0x55));
    expect(CmdBuilder(0xE014).arg16(2), {"2021400:2022010"});
    EXPECT_TRUE(logged("pana_clear_recv : 100\n"));
}

}  // namespace
}  // namespace ptz::test
