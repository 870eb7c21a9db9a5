// Faults from outside the daemon: a serial adapter that fails or vanishes,
// a configuration image that is short or garbage, a pid file path with a
// planted link. The daemon must keep serving and log what it does.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "common/util.h"
#include "os/target_os.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

const Bytes kPanLeftFrame{0xFF, 0x01, 0x00, 0x04, 0x20, 0x00, 0x25};
const Bytes kStopFrame{0xFF, 0x01, 0x00, 0x00, 0x00, 0x00, 0x01};
constexpr int kSigUsr1 = 10;

class Robustness : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1600);
        good_image = board.config;
        start();
    }

    void reload() {
        board.queue_signal(board.now(), kSigUsr1);
        d->run_once();
        d->run_once();
    }

    int handled() const {
        int n = 0;
        for (const std::string& l : board.logs()) n += l.rfind("KVORN_0628 : hdr->msg_id=", 0) == 0 ? 1 : 0;
        return n;
    }

    std::vector<long> write_results(const std::string& dev) const {
        std::vector<long> out;
        for (const SimCall* c : board.find("write", dev)) out.push_back(c->ret);
        return out;
    }

    Bytes good_image;
};

TEST_F(Robustness, AdapterPulledMidBurstThenBack) {
    send(CmdBuilder(0xE011).xy(0x20, 0x40));
    board.failing.insert("/dev/ttyS2");
    send(CmdBuilder(0xE013));
    send(CmdBuilder(0xE011).xy(0x20, 0x40));
    // Both commands were still encoded and tried on the dead line.
    EXPECT_EQ(write_results("/dev/ttyS2"), (std::vector<long>{7, -1, -1}));
    EXPECT_EQ(handled(), 3);

    board.failing.erase("/dev/ttyS2");
    board.clear_calls();
    send(CmdBuilder(0xE013));
    EXPECT_EQ(writes(), std::vector<Bytes>{kStopFrame});
}

TEST_F(Robustness, AdapterGoneAtReloadThenBack) {
    board.remove_device("/dev/ttyS2");
    reload();
    EXPECT_TRUE(board.find("write", "/dev/ttyS2").empty());
    send(CmdBuilder(0xE011).xy(0x20, 0x40));
    EXPECT_EQ(handled(), 1);
    EXPECT_TRUE(logged("PTZSVR : write_serial_block for fd -1, data 7\n"));

    board.add_device("/dev/ttyS2");
    reload();
    board.clear_calls();
    send(CmdBuilder(0xE011).xy(0x20, 0x40));
    EXPECT_EQ(writes(), std::vector<Bytes>{kPanLeftFrame});
}

TEST_F(Robustness, ShortOrGarbageImageOnReloadThenGoodAgain) {
    Bytes garbage(kMaxChannels * kChannelRecordSize);
    std::mt19937 rng(20240611);
    for (uint8_t& b : garbage) b = static_cast<uint8_t>(rng());
    wr32(garbage.data(), kConfValid);
    struct Case {
        const char* what;
        Bytes image;
        bool channel0_refused;
    };
    const Case cases[] = {
        {"only the validity word", Bytes(good_image.begin(), good_image.begin() + 4), true},
        {"cut inside channel 0 before its model", Bytes(good_image.begin(), good_image.begin() + 2998), true},
        {"garbage behind a valid word", garbage, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        board.config = c.image;
        reload();
        board.clear_calls();
        for (int ch = 0; ch < kMaxChannels; ++ch)
            send(CmdBuilder(0xE011, static_cast<uint16_t>(ch)).xy(0x20, 0x40));
        EXPECT_EQ(handled(), kMaxChannels);
        if (c.channel0_refused) {
            EXPECT_TRUE(board.find("write", "/dev/ttyS2").empty());
        }

        board.config = good_image;
        reload();
        board.clear_calls();
        d->drv = {};
        send(CmdBuilder(0xE011).xy(0x20, 0x40));
        EXPECT_EQ(writes(), std::vector<Bytes>{kPanLeftFrame});
    }
}

TEST(StartUp, ImageOfOnlyTheValidityWordServesNothing) {
    SimBoard board;
    board.config = {0x78, 0x56, 0x34, 0x12};
    for (const char* v : {"video_ch_cnt", "coc_type", "rs485_type", "model"})
        board.set_sysvar(std::string("/proc/orv_sys_vars/") + v, "0");
    board.add_device("/dev/ttyS2");
    Daemon d(board);
    int status = 0;
    ASSERT_TRUE(d.startup(status));
    board.queue_datagram(board.now(), CmdBuilder(0xE011).xy(0x20, 0x40));
    while (board.datagrams_pending()) d.run_once();
    EXPECT_TRUE(board.find("write", "/dev/ttyS2").empty());
    bool refused = false;
    for (const std::string& l : board.logs())
        refused |= l == "PTZSVR : eptz_handler() : CH(0) : PTZ port of this channel is not set : port(0)\n";
    EXPECT_TRUE(refused);
}

// The daemon runs as root and writes its pid file in a directory every
// process may write: the board backend must never follow a link there.
TEST(PidFile, BoardBackendNeverFollowsALink) {
    namespace fs = std::filesystem;
    char tmpl[] = "/tmp/ptzpid.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path dir = tmpl;
    const fs::path victim = dir / "victim";
    std::ofstream(victim) << "keep";
    const auto content = [](const fs::path& p) {
        std::ifstream in(p);
        std::stringstream s;
        s << in.rdbuf();
        return s.str();
    };

    struct Case {
        const char* what;
        const char* name;
        const char* link_to;  // nullptr: no link planted
        int result;
    };
    const Case cases[] = {
        {"link to an existing file", "a.pid", "victim", -1},
        {"dangling link", "b.pid", "created-through-link", -1},
        {"stale pid file", "c.pid", nullptr, 0},
    };
    TargetOs os;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const fs::path pid = dir / c.name;
        if (c.link_to != nullptr)
            ASSERT_EQ(symlink((dir / c.link_to).c_str(), pid.c_str()), 0);
        else
            std::ofstream(pid) << "999999";
        EXPECT_EQ(write_pid_file(os, pid.c_str()), c.result);
        if (c.link_to == nullptr) {
            EXPECT_EQ(content(pid), std::to_string(getpid()));
        }
    }
    EXPECT_EQ(content(victim), "keep");
    EXPECT_FALSE(fs::exists(dir / "created-through-link"));
    fs::remove_all(dir);
}

}  // namespace
}  // namespace ptz::test
