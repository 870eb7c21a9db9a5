// The real ptzsvr-host on a throwaway board whose RS-485 port 2 is a
// pseudo-terminal: commands go in through the socket, camera frames come out
// on the terminal, and the trace tells what the daemon asked of the system.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;
using Clock = std::chrono::steady_clock;
constexpr auto kPatience = std::chrono::seconds(5);

// Little-endian, as the recorder lays out its records. The test builds them
// itself: it sees the daemon only from outside, like the recorder does.
void put_le(uint8_t* p, uint32_t v, int width) {
    for (int i = 0; i < width; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// Channel 0 on RS-485 port 2: Pelco-D camera 1, with the given baud index,
// 8 data bits, even parity, one stop bit.
std::string conf_image(uint8_t baud_index) {
    constexpr size_t kChannelRecord = 4016;
    std::string img(64 * kChannelRecord, '\0');
    auto* b = reinterpret_cast<uint8_t*>(img.data());
    put_le(b, 0x12345678, 4);
    b[2990] = 2;           // PTZ port
    b[2992] = baud_index;  // 2: 4800, 3: 9600
    b[2993] = 0;           // one stop bit
    b[2994] = 0;           // 8 data bits
    b[2995] = 1;           // even parity
    put_le(b + 2996, 1, 2);
    put_le(b + 2998, 0x1600, 2);
    return img;
}

Bytes command(uint16_t msg_id, uint16_t action, uint8_t x, uint8_t y) {
    Bytes m(28, 0);
    put_le(m.data(), msg_id, 2);
    put_le(m.data() + 4, 24, 4);
    put_le(m.data() + 10, action, 2);
    m[12] = x;
    m[13] = y;
    return m;
}

const Bytes kPanLeft = command(0xE011, 0, 0x20, 0x40);

std::string hex(const Bytes& b) {
    std::string s;
    char two[3];
    for (const uint8_t v : b) {
        std::snprintf(two, sizeof two, "%02x", v);
        s += two;
    }
    return s;
}

bool eventually(const std::function<bool()>& done) {
    for (const auto end = Clock::now() + kPatience; Clock::now() < end;) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return done();
}

class HostRunnerTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/ptzhost.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        for (const auto& [var, value] : {std::pair{"video_ch_cnt", "4"}, std::pair{"coc_type", "0"},
                                         std::pair{"rs485_type", "0"}, std::pair{"model", "0"}}) {
            put(std::string("proc/orv_sys_vars/") + var, value);
        }
        put("dev/con2rec", conf_image(2));
        put("dev/dio", "");
        put("dev/misc/vdrv0", "");

        master_ = posix_openpt(O_RDWR | O_NOCTTY);
        ASSERT_GE(master_, 0);
        ASSERT_EQ(grantpt(master_), 0);
        ASSERT_EQ(unlockpt(master_), 0);
        fcntl(master_, F_SETFD, FD_CLOEXEC);
        termios raw;
        ASSERT_EQ(tcgetattr(master_, &raw), 0);
        cfmakeraw(&raw);
        ASSERT_EQ(tcsetattr(master_, TCSANOW, &raw), 0);
        const char* slave = ptsname(master_);
        ASSERT_NE(slave, nullptr);
        // Held open so that the daemon closing the port on a reload does not
        // hang up the terminal under the test.
        slave_ = open(slave, O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_GE(slave_, 0);
        ASSERT_EQ(symlink(slave, (dir_ / "dev/ttyS2").c_str()), 0);

        const std::string out = dir_ / "stdout.txt", err = dir_ / "stderr.txt", trace = dir_ / "trace.jsonl";
        child_ = fork();
        ASSERT_GE(child_, 0);
        if (child_ == 0) {
            dup2(open(out.c_str(), O_WRONLY | O_CREAT, 0644), 1);
            dup2(open(err.c_str(), O_WRONLY | O_CREAT, 0644), 2);
            execl(PTZSVR_HOST_PATH, "ptzsvr-host", "--board", dir_.c_str(), "--trace", trace.c_str(),
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        ASSERT_TRUE(eventually([&] { return fs::exists(dir_ / "tmp/ptzsvr.sock") || exited(); }));
        ASSERT_FALSE(exited()) << slurp("stderr.txt");
    }

    void TearDown() override {
        if (child_ > 0 && !exited()) {
            kill(child_, SIGTERM);
            waitpid(child_, nullptr, 0);
        }
        if (HasFailure()) std::cerr << "daemon log:\n" << slurp("stderr.txt");
        if (slave_ >= 0) close(slave_);
        if (master_ >= 0) close(master_);
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }

    void put(const std::string& rel, const std::string& content) {
        fs::create_directories((dir_ / rel).parent_path());
        std::ofstream(dir_ / rel, std::ios::binary) << content;
    }

    std::string slurp(const std::string& rel) const {
        std::ifstream in(dir_ / rel, std::ios::binary);
        std::ostringstream s;
        s << in.rdbuf();
        return s.str();
    }

    // Complete lines only: the daemon may be writing the next one.
    std::vector<std::string> trace_lines() const {
        std::vector<std::string> lines;
        const std::string text = slurp("trace.jsonl");
        for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
            lines.push_back(text.substr(at, end - at));
        }
        return lines;
    }

    // Number of trace lines that contain every one of `parts`.
    int count_in_trace(std::initializer_list<std::string> parts) const {
        int n = 0;
        for (const std::string& line : trace_lines()) {
            bool all = true;
            for (const std::string& p : parts) all = all && line.find(p) != std::string::npos;
            n += all ? 1 : 0;
        }
        return n;
    }

    bool exited() {
        if (child_ <= 0) return true;
        if (waitpid(child_, nullptr, WNOHANG) != child_) return false;
        child_ = -1;
        return true;
    }

    void send(const Bytes& datagram) const {
        const int fd = socket(AF_UNIX, SOCK_DGRAM, 0);
        ASSERT_GE(fd, 0);
        sockaddr_un addr{};
        addr.sun_family = AF_UNIX;
        const std::string path = (dir_ / "tmp/ptzsvr.sock").string();
        ASSERT_LT(path.size(), sizeof addr.sun_path);
        std::memcpy(addr.sun_path, path.data(), path.size());
        EXPECT_EQ(
            sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof addr),
            static_cast<ssize_t>(datagram.size()));
        close(fd);
    }

    // What the camera receives: `n` bytes, or fewer if the line stays silent
    // for `quiet`.
    Bytes line_bytes(size_t n, std::chrono::milliseconds quiet = kPatience) const {
        Bytes got;
        const auto end = Clock::now() + quiet;
        while (got.size() < n && Clock::now() < end) {
            pollfd p{master_, POLLIN, 0};
            if (poll(&p, 1, 20) <= 0) continue;
            uint8_t buf[64];
            const ssize_t r = read(master_, buf, std::min(sizeof buf, n - got.size()));
            if (r > 0) got.insert(got.end(), buf, buf + r);
        }
        return got;
    }

    termios line_termios() const {
        termios t{};
        EXPECT_EQ(tcgetattr(slave_, &t), 0);
        return t;
    }

    fs::path dir_;
    int master_ = -1;
    int slave_ = -1;
    pid_t child_ = -1;
};

TEST_F(HostRunnerTest, CommandsReachThePseudoTerminalAsPelcoDFrames) {
    EXPECT_EQ(slurp("tmp/ptzsvr.pid"), std::to_string(child_));

    struct Case {
        const char* what;
        Bytes datagram;
        Bytes frame;
    };
    const Case cases[] = {
        {"pan left", kPanLeft, {0xFF, 0x01, 0x00, 0x04, 0x20, 0x00, 0x25}},
        {"stop", command(0xE013, 0, 0, 0), {0xFF, 0x01, 0x00, 0x00, 0x00, 0x00, 0x01}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        send(c.datagram);
        EXPECT_EQ(hex(line_bytes(c.frame.size())), hex(c.frame));
        EXPECT_EQ(hex(line_bytes(1, std::chrono::milliseconds(200))), "") << "bytes after the frame";
    }

    // A pseudo-terminal keeps the speed and stop bits the daemon set but
    // always reports 8 data bits without parity, so parity is checked in the
    // trace below.
    const termios t = line_termios();
    EXPECT_EQ(cfgetospeed(&t), static_cast<speed_t>(B4800));
    EXPECT_EQ(t.c_cflag & CSIZE, static_cast<tcflag_t>(CS8));
    EXPECT_EQ(t.c_cflag & CSTOPB, 0u);

    const std::vector<std::string> lines = trace_lines();
    ASSERT_FALSE(lines.empty());
    long long last_t = -1;
    for (const std::string& line : lines) {
        ASSERT_TRUE(line.starts_with("{\"t\":") && line.ends_with("}")) << line;
        const long long t_us = std::stoll(line.substr(5));
        EXPECT_GE(t_us, last_t) << line;
        last_t = t_us;
    }
    EXPECT_GE(count_in_trace({R"("op":"tcsetattr")", R"("dev":"/dev/ttyS2")", R"("baud":4800)",
                              R"("data_bits":8)", R"("parity":"even")", R"("stop_bits":1)", R"("ret":0)"}),
              1);
    EXPECT_EQ(count_in_trace(
                  {R"("op":"write")", R"("dev":"/dev/ttyS2")", R"("data":"ff010004200025")", R"("ret":7)"}),
              1);
    EXPECT_GE(count_in_trace({R"("op":"sleep")", R"("us":)"}), 2);
    EXPECT_GE(count_in_trace({R"("op":"open")", R"("dev":"/dev/con2rec")"}), 1);
    EXPECT_GE(count_in_trace({R"("op":"ioctl")", R"("dev":"/dev/con2rec")", R"("req":"0x66")"}), 1);
    // Log records go to standard error and into the trace as text.
    EXPECT_GE(count_in_trace({R"("op":"log")", R"("text":")", R"(\n")"}), 1);
    EXPECT_NE(slurp("stderr.txt").find('\n'), std::string::npos);
}

TEST_F(HostRunnerTest, Sigusr1ReloadsTheConfigurationFileAsItIsNow) {
    send(kPanLeft);
    ASSERT_EQ(line_bytes(7).size(), 7u);
    const termios before = line_termios();
    ASSERT_EQ(cfgetospeed(&before), static_cast<speed_t>(B4800));

    put("dev/con2rec", conf_image(3));
    const int opens_before = count_in_trace({R"("op":"open")", R"("dev":"/dev/ttyS2")"});
    ASSERT_EQ(kill(child_, SIGUSR1), 0);
    // The reload reopens the port; commands sent before that would still
    // meet the old settings.
    ASSERT_TRUE(eventually([&] {
        return count_in_trace({R"("op":"open")", R"("dev":"/dev/ttyS2")"}) > opens_before;
    }));

    send(kPanLeft);
    EXPECT_EQ(hex(line_bytes(7)), "ff010004200025");
    const termios after = line_termios();
    EXPECT_EQ(cfgetospeed(&after), static_cast<speed_t>(B9600));
    EXPECT_GE(count_in_trace({R"("op":"tcsetattr")", R"("baud":9600)", R"("parity":"even")"}), 1);
    EXPECT_FALSE(exited()) << "SIGUSR1 must not end the daemon";
}

}  // namespace
