#include <numeric>

#include "protocols/drivers.h"
#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

using Data = std::array<uint8_t, 10>;

Bytes ptc(const char* cmd, const Data& data) {
    Bytes f(16, 0);
    f[0] = 0x02, f[1] = 0x01, f[2] = static_cast<uint8_t>(cmd[0]), f[3] = static_cast<uint8_t>(cmd[1]);
    std::copy(data.begin(), data.end(), f.begin() + 4);
    f[14] = static_cast<uint8_t>(std::accumulate(f.begin() + 1, f.begin() + 14, 0u));
    f[15] = 0x04;
    return f;
}

class Ptc : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1600, 1);
        start();
    }
    std::vector<Bytes> run(bool ptc203, const Bytes& cmd) {
        board.clear_calls();
        Bytes buf = cmd;
        buf.resize(kMinCommandBuffer);
        (ptc203 ? PTC203_PTZ : PTC107_PTZ)(*d, 2, 1, buf.data());
        return writes();
    }
};

// The MA data of a pan/tilt move, region by region.
Data reference_move(bool ptc203, int x, int y) {
    const Way w = diagonal_first(x, y);
    const bool up = w == Way::up || w == Way::left_up || w == Way::right_up;
    const bool down = w == Way::down || w == Way::left_down || w == Way::right_down;
    const bool pan = w != Way::none && w != Way::up && w != Way::down;
    Data d{};
    if (pan) d[0] = static_cast<uint8_t>((x + 64) * 2 % 256), d[1] = 1;
    if (down) d[2] = static_cast<uint8_t>(ptc203 ? (64 - y) * 2 % 256 : 64 - y), d[3] = 1;
    if (up) d[2] = static_cast<uint8_t>(ptc203 ? ~((y + 64) * 2 % 256) : (63 - y + 256) % 256), d[3] = 1;
    if (!ptc203) d[8] = 1;
    return d;
}

TEST_F(Ptc, PanTiltOverThePlane) {
    for (bool ptc203 : {false, true}) {
        for (int x = 0; x < 128; ++x) {
            for (int y = 0; y < 128; ++y) {
                std::vector<Bytes> expected{ptc("MA", reference_move(ptc203, x, y))};
                if (ptc203) expected.push_back(ptc("AF", {0x80}));
                ASSERT_EQ(
                    run(ptc203, CmdBuilder(0xE011).xy(static_cast<uint8_t>(x), static_cast<uint8_t>(y))),
                    expected)
                    << ptc203 << " " << x << "," << y;
            }
        }
    }
}

TEST_F(Ptc, ZoomFocusStopAndWaits) {
    // clang-format off
    struct Case { const char* name; bool ptc203; Bytes cmd; std::vector<Bytes> expected; const char* log; };
    const Case cases[] = {
        {"PTC107 stop, exact bytes", false, CmdBuilder(0xE013).xy(3, 4), {{0x02, 0x01, 0x4D, 0x41, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x8F, 0x04}}, "PTC107_PTZ msg_id[0xe013],action[0],addr[1],x[3],y[4]\n"},
        {"PTC203 stop", true, CmdBuilder(0xE013), {ptc("MA", {})}, "stop\n"},
        {"PTC107 zoom out", false, CmdBuilder(0xE011).action(1).xy(10, 0), {ptc("MA", {0, 0, 0, 0, 0x80, 0, 0, 0, 1})}, "[ptc107] zoom out\n"},
        {"PTC107 zoom at 64", false, CmdBuilder(0xE011).action(1).xy(64, 0), {ptc("MA", {0, 0, 0, 0, 0, 0, 0, 0, 1})}, nullptr},
        {"PTC203 zoom in, AF keeps the zoom byte", true, CmdBuilder(0xE012).action(1).xy(70, 0), {ptc("MA", {0, 0, 0, 0, 0x01}), ptc("AF", {0x81, 0, 0, 0, 0x01})}, "[ptc203] zoom in\n"},
        {"PTC203 zoom at 64: empty MA, then AF", true, CmdBuilder(0xE011).action(1).xy(64, 9), {ptc("MA", {}), ptc("AF", {0x81})}, nullptr},
        {"PTC107 focus far", false, CmdBuilder(0xE011).action(2).xy(100, 0), {ptc("MA", {0, 0, 0, 0, 0, 0, 0x80, 3, 1})}, "focus far\n"},
        {"PTC203 focus near, no AF", true, CmdBuilder(0xE011).action(2).xy(10, 0), {ptc("MA", {0, 0, 0, 0, 0, 0, 0x01, 5})}, "focus near\n"},
        {"PTC203 left", true, CmdBuilder(0xE011).xy(0, 64), {ptc("MA", {0x80, 1}), ptc("AF", {0x80})}, "left\n"},
        {"iris: nothing", false, CmdBuilder(0xE011).action(3).xy(100, 0), {}, nullptr},
        {"ids past stop", true, CmdBuilder(0xE014).arg16(3), {}, "PTC203_PTZ msg_id[0xe014],action[0],addr[1],x[3],y[0]\n"},
        {"ids below move", false, CmdBuilder(0xE010), {}, "\n"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(run(c.ptc203, c.cmd), c.expected);
        EXPECT_TRUE(!c.log || logged(c.log)) << c.log;
        std::vector<uint32_t> pauses;
        for (size_t i = 0; i < c.expected.size(); ++i) {
            pauses.insert(pauses.end(), {10000, 35000});
            if (c.ptc203) pauses.push_back(15000);
        }
        EXPECT_EQ(sleeps(), pauses);
    }
}

}  // namespace
}  // namespace ptz::test
