#include <algorithm>
#include <tuple>

#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes pd(uint16_t cmd, uint8_t d1, uint8_t d2, uint8_t addr = 1) {
    return bytes(pelcod_frame(addr, cmd, d1, d2));
}

class MainLoop : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1600, 1);
        channel(1, 2, 0x1600, 2);
        for (int k = 0; k < 40; ++k) preset_entry(0, k, static_cast<uint16_t>(100 + k));
        preset_entry(0, 60, 0x2A);  // lies inside channel 1's record
        start();
    }
};

// Each row's datagrams `before` are handled first, their writes forgotten.
TEST_F(MainLoop, MessageTableRewritesBeforeDispatch) {
    const Bytes abs_move = CmdBuilder(0xE0A4).pos(1, 2, 3);
    // clang-format off
    struct Case { const char* name; Bytes datagram; std::vector<Bytes> expected; std::vector<Bytes> before = {}; bool stops = false; };
    const Case cases[] = {
        {"go to preset looks up entry", CmdBuilder(0xE014).arg16(3), {pd(0x07, 0, 103)}},
        {"store preset looks up entry", CmdBuilder(0xE020).action(4), {pd(0x03, 0, 104)}},
        {"clear preset looks up entry", CmdBuilder(0xE022).action(5), {pd(0x05, 0, 105)}},
        {"aux 3 is entry 19", CmdBuilder(0xE090).arg16(3).action(0x101), {pd(0x07, 0, 119)}},
        {"aux 113 is the menu key", CmdBuilder(0xE090).arg16(113), {pd(0x03, 0, 95)}},
        {"aux 114 is enter", CmdBuilder(0xE090).arg16(114), {pd(0x200, 0, 0), pd(0, 0, 0)}},
        {"aux 115 is escape", CmdBuilder(0xE090).arg16(115), {pd(0x400, 0, 0), pd(0, 0, 0)}},
        {"aux 116 skips menu exit", CmdBuilder(0xE090).arg16(116), {}},
        {"0xE091 passes aux unchanged", CmdBuilder(0xE091).arg16(3).action(0x101), {pd(0x09, 0, 3)}},
        {"0xE114 is go to preset without look-up", CmdBuilder(0xE114).arg16(3), {pd(0x07, 0, 3)}},
        {"0xE120 is store without look-up", CmdBuilder(0xE120).action(4), {pd(0x03, 0, 4)}},
        {"0xE122 is clear without look-up", CmdBuilder(0xE122).action(5), {pd(0x05, 0, 5)}},
        {"unknown id dropped", CmdBuilder(0xE015).action(5), {}},
        {"channel 64 dropped", CmdBuilder(0xE011, 64).xy(0x20, 0x40), {}},
        {"a look-up far into the following records", CmdBuilder(0xE014).arg16(60), {pd(0x07, 0, 0x2A)}},
        {"preset entry past the image dropped", CmdBuilder(0xE014).arg16(0xFFFF), {}},
        {"entry past the image via aux dropped", CmdBuilder(0xE090).arg16(0xFFF0), {}},
        {"short datagram reads the rest as it stands", Bytes{0x13, 0xE0}, {pd(0, 0, 0)}},
        {"stop first after an absolute move", CmdBuilder(0xE014).arg16(2), {pd(0, 0, 0), pd(0x07, 0, 102)}, {abs_move}, true},
        {"stop only once", CmdBuilder(0xE014).arg16(2), {pd(0x07, 0, 102)}, {abs_move, CmdBuilder(0xE014).arg16(2)}},
        {"a move clears the flag", CmdBuilder(0xE014).arg16(2), {pd(0x07, 0, 102)}, {CmdBuilder(0xE0A6), CmdBuilder(0xE011).xy(0x20, 0x40)}},
        {"the flag is per channel", CmdBuilder(0xE014).arg16(2), {pd(0x07, 0, 102)}, {CmdBuilder(0xE0AA, 1)}},
        {"an alias never stops first", CmdBuilder(0xE114).arg16(9), {pd(0x07, 0, 9)}, {CmdBuilder(0xE0AA)}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        d->drv = {};
        d->rx.fill(0);
        d->azimuth = {};
        for (const Bytes& b : c.before) send(b);
        board.clear_calls();
        send(c.datagram);
        EXPECT_EQ(writes(), c.expected);
        EXPECT_EQ(logged("PTZSVR : send stop(0) if last command was azi\n"), c.stops);
    }
}

TEST_F(MainLoop, RepeatsTheStoredCommandUnderTheVirtualClock) {
    for (const int channels : {4, 0}) {  // no video channel, no repeat
        SCOPED_TRACE(channels);
        sysvar("video_ch_cnt", channels);
        start();
        d->repeat_count = 3;  // as a driver that wants its move repeated arms it
        send(CmdBuilder(0xE011, 1).xy(0x20, 0x40));
        board.clear_calls();
        const int64_t t0 = board.now();
        for (int i = 0; i < 1000; ++i) d->run_once();  // one second of idle passes
        const auto w = board.find("write", "/dev/ttyS2");
        ASSERT_EQ(w.size(), channels ? 3u : 0u);
        for (size_t i = 0; i < w.size(); ++i) EXPECT_EQ(w[i]->data, pd(0x04, 0x20, 0, 2));
        for (size_t i = 1; i < w.size(); ++i) EXPECT_GT(w[i]->t - w[i - 1]->t, 100000);
        EXPECT_EQ(d->repeat_count, channels ? 0 : 3);
        EXPECT_EQ(logged("PTZSVR : call eptz_handler by repeat_count(3)\n"), channels != 0);
        EXPECT_TRUE(channels || (board.now() - t0 == 1000000 && board.calls.empty()));  // 1 ms a quiet pass
    }
}

TEST_F(MainLoop, SignalsReloadTheConfigurationAndStopUpgrades) {
    send(CmdBuilder(0xE013));
    channel(0, 2, 0x1600, 1, /*baud*/ 5, /*data*/ 1, /*parity*/ 2, /*stop*/ 1);
    board.queue_signal(board.now() + 5000, 10);
    board.queue_signal(board.now() + 6000, 12);
    for (int i = 0; i < 10; ++i) d->run_once();
    EXPECT_TRUE(logged("PTZSVR : update configuration\n"));
    EXPECT_TRUE(logged("PTZSVR : stop coc upgrade\n"));
    EXPECT_EQ(d->stop_coc_upgrade, 1);
    EXPECT_EQ(board.find("open", "/dev/ttyS2").size(), 1u);  // reopened
    board.clear_calls();
    send(CmdBuilder(0xE013));
    const auto set = board.find("tcsetattr", "/dev/ttyS2");
    ASSERT_EQ(set.size(), 1u);
    const LineSettings& l = set[0]->line;
    EXPECT_EQ(std::tie(l.baud, l.data_bits, l.parity, l.stop_bits),
              std::make_tuple(38400u, 7, Parity::odd, 2));
    // A reload does not wait for the validity word again.
    board.config[0] = 0;
    board.queue_signal(board.now() + 10, 10);
    for (int i = 0; i < 10; ++i) d->run_once();
    EXPECT_EQ(count_sleeps(5000000), 0u);
}

using Startup = DaemonTest;

// Model 523 shifts the on-board ports by one; coc type 7 puts the coax mux on port 4.
TEST_F(Startup, WaitsForAPublishedConfigurationAndLogsTheMachine) {
    sysvar("model", 523);
    sysvar("coc_type", 7);
    board.set_sysvar("/proc/orv_sys_vars/video_ch_cnt", std::string(31, '0') + "4");  // 31 bytes are read
    channel(0, 3, 0x1600);
    board.publish_config(board.now() + 12000000, board.config);
    board.config[0] = 0;
    int status = 0;
    ASSERT_TRUE(boot(status));
    EXPECT_EQ(board.find("ioctl", "/dev/con2rec").size(), 4u);
    EXPECT_EQ(count_sleeps(5000000), 3u);
    EXPECT_EQ(std::ranges::count(board.logs(), "ptzsvr_load_conf()\n"), 1);
    EXPECT_EQ(board.written_files["/tmp/ptzsvr.pid"], "4242");
    EXPECT_TRUE(logged("system_variable_set_model() : model = 523\n"));
    EXPECT_TRUE(logged("PTZSVR : __model = 523, __max_coc_channels = 0, __coc_type = 7\n"));
    EXPECT_EQ(board.find("open", "/dev/ttyS3").size(), 2u);
}

TEST_F(Startup, MissingRecorderDeviceIsFatal) {
    board.remove_device("/dev/con2rec");
    int status = 0;
    EXPECT_FALSE(boot(status));
    EXPECT_EQ(status, -1);
    EXPECT_TRUE(logged("PTZSVR : open ipc_sock failed (-1)\n"));
}

}  // namespace
}  // namespace ptz::test
