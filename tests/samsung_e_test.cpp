#include "protocols/rs485/samsung_e.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes ctl(uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) {
    const SamsungEFrame f = samsunge_control(1, cmd, d1, d2);
    return Bytes(f.begin(), f.end());
}
Bytes key(uint8_t cmd, uint8_t data) {
    const SamsungEFrame f = samsunge_preset_menu(1, cmd, data);
    return Bytes(f.begin(), f.end());
}
Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}
Bytes aux(uint16_t code, bool on) { return CmdBuilder(0xE091).arg16(code).action(on ? 0x0101 : 0); }

class SamsungE : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1904, 1, 7);  // 115200 baud: 9 bytes take less line time than the minimum wait
        start();
    }
    std::vector<Bytes> run(const Bytes& cmd) {
        board.clear_calls();
        handle(0, cmd);
        return writes();
    }
};

TEST_F(SamsungE, Commands) {
    const Bytes stop = ctl(0);
    // clang-format off
    const std::pair<Bytes, std::vector<Bytes>> cases[] = {
        // the diagonals just outside the 48..80 band
        {mv(47, 81), {ctl(0x05, 17, 17)}}, {mv(47, 47), {ctl(0x09, 17, 17)}},
        {mv(81, 81), {ctl(0x06, 17, 17)}}, {mv(81, 47), {ctl(0x0A, 17, 17)}},
        // 48 and 80 on either axis are inside it (other protocols would move diagonally): the stronger
        // axis moves alone; the centre and both ties are a stop
        {mv(48, 30), {ctl(0x08, 0, 34)}}, {mv(80, 100), {ctl(0x04, 0, 36)}}, {mv(30, 48), {ctl(0x01, 34, 0)}},
        {mv(100, 80), {ctl(0x02, 36, 0)}}, {mv(64, 64), {stop}}, {mv(50, 50), {stop}}, {mv(50, 78), {stop}},
        // zoom tele, wide, stop, without speed; focus above and below the centre; iris is a stop
        {mv(0xFF, 0, 1), {ctl(0x2000)}}, {mv(0, 0, 1), {ctl(0x4000)}}, {mv(0x40, 0, 1), {stop}},
        {mv(0x41, 0, 2), {ctl(0x0200)}}, {mv(0x3F, 0, 2), {ctl(0x0100)}}, {mv(0xFF, 0, 3), {stop}},
        // stop after action; stop; go to (offset 12) and store (action) a preset; no clear preset
        {mv(0x20, 0x40, 0, 1), {ctl(0x01, 0x20, 0), stop}}, {CmdBuilder(0xE013), {stop}},
        {CmdBuilder(0xE014).arg16(0x105), {key(0x19, 5)}}, {CmdBuilder(0xE020).action(0x107), {key(0x50, 7)}},
        {CmdBuilder(0xE022).action(7), {}},
        // menu enter, escape, exit, menu on and off; every other aux code c is (c + 13) mod 256
        {aux(730, false), {key(0x18, 0xFF)}}, {aux(731, true), {key(0x17, 0)}},
        {aux(740, true), {key(0x17, 0)}}, {aux(595, true), {key(0x17, 1)}}, {aux(595, false), {key(0x17, 0)}},
        {aux(3, true), {key(16, 0xFF)}}, {aux(243, false), {key(0, 0xFF)}}};
    // clang-format on
    for (size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(run(cases[i].first), cases[i].second);
    }
}

TEST_F(SamsungE, WireBytesWaitAndLogs) {
    // The complement of the sum mod 256 (here 0x204), the A0 left out.
    EXPECT_EQ(run(mv(0, 0xFF, 0, 1)),
              (std::vector<Bytes>{{0xA0, 0xFE, 0x01, 0x01, 0x00, 0x05, 0x40, 0xBF, 0xFB},
                                  {0xA0, 0xFE, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0xFF}}));
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 10000, 10000, 10000}));
    for (const char* line :
         {"scc641_ptz msg_id[e011],action[0],addr[1],x[0],y[255]", "channel[0], body_size[20]", "stop[1]\n",
          "Samsung-E : 0005, 40, bf\n", "\tstop after action\n"})
        EXPECT_TRUE(logged(line)) << line;
    EXPECT_EQ(run(aux(595, true)),
              (std::vector<Bytes>{{0xA0, 0xFE, 0x01, 0x03, 0x17, 0x01, 0xFF, 0xFF, 0xE7}}));
}

}  // namespace
}  // namespace ptz::test
