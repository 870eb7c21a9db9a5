// The common library's process and system utilities: on the simulated board
// with scripted children, /proc entries and TCP rows, and for real on the
// host for counting and supervising.
#include <unistd.h>

#include <string>

#include "common/log.h"
#include "common/util.h"
#include "os/sim_board.h"
#include "os/target_os.h"
#include "tests/fixture.h"
#include "tests/process_fixture.h"

namespace ptz::test {
namespace {

using Outcome = SimProcess::Outcome;
using Lines = std::vector<std::string>;

// A simulated board with the library registered at `level` (not registered
// when negative), its calls so far forgotten.
struct Lib {
    SimBoard b;
    Logger lg{b};
    explicit Lib(int level = -1) {
        if (level >= 0) lg.common_init(), lg.set_level_by_prefix("LIB_COMMON", level);
        b.clear_calls();
    }
    Lines spawns() const {
        Lines out;
        for (const SimCall* c : b.find("spawn")) out.push_back(c->dev + ": " + c->text);
        return out;
    }
};

TEST(ProcessUtil, CountByCommandLine) {
    using namespace std::string_literals;
    Lib f(1);
    f.b.set_file("/proc/1/cmdline", "init"s);
    f.b.set_file("/proc/12/cmdline", "/usr/bin/ptzsvr"s);
    f.b.set_file("/proc/13/cmdline", "/usr/bin/ptzsvr\0-x"s);  // first argument alone counts
    f.b.set_file("/proc/14/cmdline", "/usr/bin/ptzsvr2"s);
    f.b.set_file("/proc/self/cmdline", "/usr/bin/ptzsvr"s);  // not a process number
    f.b.set_file("/proc/net/tcp", "");
    f.b.add_device("/proc/15/stat");  // a process whose command line cannot be read
    EXPECT_EQ(count_process_by_cmdline(f.b, f.lg, "/usr/bin/ptzsvr"), 2);
    EXPECT_EQ(f.b.logs(), Lines{"[LIB_COMMON(0)]/proc/15/cmdline open error\n"});
    EXPECT_EQ(count_process_by_cmdline(f.b, f.lg, "init"), 1);
    EXPECT_EQ(count_process_by_cmdline(f.b, f.lg, "nothing"), 0);
    // At most 255 bytes of a command line are compared.
    f.b.set_file("/proc/16/cmdline", std::string(300, 'a'));
    EXPECT_EQ(count_process_by_cmdline(f.b, f.lg, std::string(255, 'a').c_str()), 1);

    Lib empty;
    EXPECT_EQ(count_process_by_cmdline(empty.b, f.lg, "init"), -1);  // no /proc at all
}

TEST(ProcessUtil, RunAndSuperviseRestartsUntilForkFails) {
    Lib f(1);
    f.b.processes = {
        {Outcome::exits, 3}, {Outcome::signaled, 9}, {Outcome::stopped, 19}, {Outcome::exec_fails, 2}};
    EXPECT_EQ(run_and_supervise(f.b, f.lg, "recorder"), -1);
    EXPECT_EQ(f.spawns(), Lines(5, "fork: recorder"));  // the fifth is the failing one
    EXPECT_EQ(f.b.find("wait").size(), 4u);
    // Only the fork error carries a level (which the logger's own test filters); the other lines go
    // through the plain log.
    const Lines expected = {
        "================== RS : pid 5000 status is 768 ====================\n",
        "\t process is exited, status is 3\n",
        "================== RS : pid 5001 status is 9 ====================\n",
        "\t process is signaled by 9\n",
        "================== RS : pid 5002 status is 4991 ====================\n",
        "\t signal is stopped by 19 4991\n",
        // the child that cannot exec reports and leaves with -9
        "recorder exec fail\n",
        "================== RS : pid 5003 status is 63232 ====================\n",
        "\t process is exited, status is 247\n",
        "[LIB_COMMON(0)]recorder fork error\n",
    };
    EXPECT_EQ(f.b.logs(), expected);
}

TEST(ProcessUtil, Runapps) {
    using Fn = int (*)(Os&, Logger&, const char*, const char*, const char*, const char*, const char*);
    // clang-format off
    struct Row { const char* name; Fn fn; Outcome outcome; const char* spawn; size_t waits; Lines logs; };
    const auto child = [](char n) { return "[LIB_COMMON(2)] new child" + std::string(1, n) + ".. : pid(5000) - cp a b  ignored\n"; };
    const auto fails = [](char n) { return "exec" + std::string(1, n) + " failed 2 in child process : No such file or directory\n"; };
    const std::string cmd = "  cmd : cp a b  ignored\n";
    const Row rows[] = {
        {"runapp1 waits", runapp1, Outcome::exits, "fork: cp a b", 1, {child('1')}},
        {"runapp1 exec fails", runapp1, Outcome::exec_fails, "fork: cp a b", 1, {fails('1'), child('1')}},
        {"runapp2 exec fails, with the command", runapp2, Outcome::exec_fails, "fork: cp a b", 0, {fails('2'), cmd, child('2')}},
        {"runapp3 exec fails, with the command", runapp3, Outcome::exec_fails, "fork: cp a b", 0, {fails('3'), cmd, child('3')}},
        {"runapp4 exec fails, with the command", runapp4, Outcome::exec_fails, "vfork: cp a b", 0, {fails('4'), cmd, child('4')}},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        Lib f(2);
        f.b.processes = {{r.outcome, 2}};
        EXPECT_EQ(r.fn(f.b, f.lg, "cp", "a", "b", nullptr, "ignored"), 0);
        EXPECT_EQ(f.spawns(), Lines{r.spawn});
        EXPECT_EQ(f.b.find("wait").size(), r.waits);
        EXPECT_EQ(f.b.logs(), r.logs);
        // No process: the fork error, through the plain log.
        f.b.clear_calls();
        EXPECT_EQ(r.fn(f.b, f.lg, "cp", nullptr, nullptr, nullptr, nullptr), -1);
        EXPECT_EQ(f.b.logs(), Lines{"\nrunapp process fork error\n"});
    }
}

TEST(ProcessUtil, TcpQueues) {
    const std::string header =
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid  timeout inode\n";
    // The watched address is a build setting: rows name it as the kernel prints it.
    char watched[16];
    std::snprintf(watched, sizeof watched, "%08X", tcp_watch_address());
    const std::string me = watched;
    const auto row = [](const std::string& local, const char* queues) {
        return "   0: " + local + " 0100007F:1F90 01 " + queues +
               " 00:00000000 00000000     0        0 12345 1 00000000 20 4 30 10 -1\n";
    };
    // clang-format off
    struct Case { const char* name; std::string text; Lines logs; };
    // clang-format on
    const Case cases[] = {
        {"watched address, queues read as decimal",
         header + row(me + ":0050", "00000010:00000200") + row("FFFFFFFF:0050", "00000001:00000001"),
         {"[LIB_COMMON(2)]Total Memory( tcp )  : (T)10/(R)200\n"}},
        {"the header alone, a short line and a line without the trailing newline",
         header + "\n  \n" + row(me + ":0051", "00000003:00000004").substr(0, 140),
         {"[LIB_COMMON(2)]Total Memory( tcp )  : (T)3/(R)4\n"}},
        {"a header-looking first row is skipped", row(me + ":0050", "00000010:00000200"), {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Lib f(2);
        f.b.set_file("/proc/net/tcp", c.text);
        EXPECT_EQ(print_tcp_tx_q(f.b, f.lg), 0);
        EXPECT_EQ(f.b.logs(), c.logs);
    }
    Lib none(1);
    EXPECT_EQ(print_tcp_tx_q(none.b, none.lg), 0);
    EXPECT_EQ(none.b.logs(), Lines{"[LIB_COMMON(0)]print_tcp_tx_q : /proc/net/tcp read failed\n"});
}

// For real on the host: the library started through the board backend.
class HostProcesses : public proc::BoardTest {};

TEST_F(HostProcesses, CountFindsAStartedProcessAndSuperviseRestartsOne) {
    TargetOs os;
    Logger lg{os};
    const std::string name = "ptz-count-probe-" + std::to_string(getpid());
    const auto count = [&] { return count_process_by_cmdline(os, lg, name.c_str()); };
    ASSERT_EQ(count(), 0);
    const pid_t child = fork();
    if (child == 0) {
        execl("/bin/sleep", name.c_str(), "30", static_cast<char*>(nullptr));
        _exit(127);
    }
    children_.push_back(child);
    EXPECT_TRUE(proc::eventually([&] { return count() != 0; }));
    EXPECT_EQ(count(), 1);

    // A supervised child that exits is started again.
    const proc::fs::path marks = dir_ / "runs", program = dir_ / "child";
    put("child", "#!/bin/sh\necho run >> " + marks.string() + "\nexit 3\n");
    proc::fs::permissions(program, proc::fs::perms::owner_all);
    const pid_t supervisor = fork();
    if (supervisor == 0) {
        run_and_supervise(os, lg, program.c_str());
        _exit(1);
    }
    children_.push_back(supervisor);
    EXPECT_TRUE(proc::eventually([&] { return proc::slurp(marks).size() >= 3 * 4; }));  // "run\n" 3 times
    EXPECT_EQ(waitpid(supervisor, nullptr, WNOHANG), 0);  // it never returned on its own
}

}  // namespace
}  // namespace ptz::test
