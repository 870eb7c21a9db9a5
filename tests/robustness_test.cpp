// Faults from outside the daemon: a serial adapter that fails or vanishes,
// a configuration image that is short or garbage, a pid file path with a
// planted link. The daemon must keep serving and recover once the fault ends.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <random>

#include "common/util.h"
#include "os/target_os.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

using Robustness = DaemonTest;

TEST_F(Robustness, KeepsServingThroughAFaultAndRecoversAfterIt) {
    channel(0, 2, 0x1600);
    const Bytes good = board.config;
    Bytes garbage(good.size());
    std::ranges::generate(garbage, std::mt19937(20240611));
    wr32(garbage.data(), kConfValid);
    const auto reload = [&](const Bytes& image) {
        board.config = image;
        board.queue_signal(board.now(), 10);  // SIGUSR1
        d->run_once(), d->run_once();
    };
    const std::string tty = "/dev/ttyS2";
    using Rets = std::vector<long>;

    struct Fault {
        const char* what;
        std::optional<Rets> tty_writes;  // what writes to the line return during the fault, if predictable
        std::string log;                 // also logged during the fault
        std::function<void()> cause, end;
    };
    const Fault faults[] = {
        {"adapter fails while open", Rets{-1}, "", [&] { board.failing.insert(tty); },
         [&] { board.failing.erase(tty); }},
        {"adapter gone at reload", Rets{}, "PTZSVR : write_serial_block for fd -1, data 7\n",
         [&] { board.remove_device(tty), reload(good); }, [&] { board.add_device(tty), reload(good); }},
        {"validity word only, at start-up", Rets{},
         "PTZSVR : eptz_handler() : CH(0) : PTZ port of this channel is not set : port(0)\n",
         [&] { board.config.resize(4), start(); }, [&] { reload(good); }},
        {"garbage behind a valid word", std::nullopt, "", [&] { reload(garbage); }, [&] { reload(good); }},
    };
    for (const Fault& f : faults) {
        SCOPED_TRACE(f.what);
        board.config = good;
        start();
        f.cause();
        board.clear_calls();
        for (int ch = 0; ch < kMaxChannels; ++ch)
            send(CmdBuilder(0xE011, static_cast<uint16_t>(ch)).xy(0x20, 0x40));
        const auto handled = [](const std::string& l) { return l.starts_with("KVORN_0628 : hdr->msg_id="); };
        EXPECT_EQ(std::ranges::count_if(board.logs(), handled), kMaxChannels);
        Rets results;
        for (const SimCall* c : board.find("write", tty)) results.push_back(c->ret);
        EXPECT_EQ(results, f.tty_writes.value_or(results));
        EXPECT_TRUE(f.log.empty() || logged(f.log)) << f.log;

        f.end();
        board.clear_calls();
        send(CmdBuilder(0xE011).xy(0x20, 0x40));
        EXPECT_EQ(writes(), (std::vector<Bytes>{{0xFF, 0x01, 0x00, 0x04, 0x20, 0x00, 0x25}}));
    }
}

// The daemon runs as root and writes its pid file in a directory every
// process may write: the board backend must never follow a link there.
TEST(PidFile, BoardBackendNeverFollowsALink) {
    namespace fs = std::filesystem;
    char tmpl[] = "/tmp/ptzpid.XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path dir = tmpl;
    const auto text = [&](const char* name) {
        std::ifstream in(dir / name);
        return std::string(std::istreambuf_iterator<char>(in), {});
    };
    std::ofstream(dir / "victim") << "keep";
    std::ofstream(dir / "stale.pid") << "999999";
    ASSERT_EQ(symlink("victim", (dir / "link.pid").c_str()), 0);
    ASSERT_EQ(symlink("created", (dir / "dangling.pid").c_str()), 0);
    TargetOs os;
    const std::pair<const char*, int> cases[] = {{"link.pid", -1}, {"dangling.pid", -1}, {"stale.pid", 0}};
    for (const auto& [name, result] : cases)
        EXPECT_EQ(write_pid_file(os, (dir / name).c_str()), result) << name;
    EXPECT_EQ(text("victim"), "keep");
    EXPECT_FALSE(fs::exists(dir / "created"));
    EXPECT_EQ(text("stale.pid"), std::to_string(getpid()));
    fs::remove_all(dir);
}

}  // namespace
}  // namespace ptz::test
