// A throwaway board directory for the tests that run the real programs:
// the system variables and device nodes ptzsvr-host looks for, a
// configuration image, and the processes started on it, ended afterwards.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace ptz::proc {

namespace fs = std::filesystem;
using Bytes = std::vector<uint8_t>;

inline std::string slurp(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline std::string hex(const Bytes& b) {
    std::string s;
    char t[4];
    for (size_t i = 0; i < b.size(); ++i) {
        std::snprintf(t, sizeof t, i ? " %02x" : "%02x", b[i]);
        s += t;
    }
    return s;
}

// Whether `done` holds within about 5 s.
inline bool eventually(const auto& done) {
    for (int i = 0; i < 500 && !done(); ++i) usleep(10000);
    return done();
}

// Starts a program with standard output and error going to `out`.
inline pid_t spawn(const std::vector<std::string>& args, const fs::path& out) {
    const pid_t pid = fork();
    if (pid == 0) {
        const int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        dup2(fd, 1), dup2(fd, 2);
        std::vector<char*> argv;
        for (const std::string& a : args) argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// clang-format off
struct Result { int status; std::string out; };
// clang-format on

inline Result run(const std::vector<std::string>& args, const fs::path& out) {
    const pid_t pid = spawn(args, out);
    int st = 0;
    waitpid(pid, &st, 0);
    return {WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st), slurp(out)};
}

// The validity word, then channel 0: a Pelco-D camera (model 0x1600) at
// address 1 on RS-485 port 2, 8 data bits, with the file's baud, stop and
// parity selectors.
inline std::string conf_image(char baud, char stop = 0, char parity = 0) {
    std::string img(64 * 4016, '\0');
    img.replace(0, 4, "\x78\x56\x34\x12");
    img[2990] = 2, img[2996] = 1, img[2999] = 0x16;
    img[2992] = baud, img[2993] = stop, img[2995] = parity;
    return img;
}

class BoardTest : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/ptzboard.XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        for (const char* var : {"video_ch_cnt", "coc_type", "rs485_type", "model"})
            put(std::string("proc/orv_sys_vars/") + var, var[0] == 'v' ? "4" : "0");
        put("dev/con2rec", conf_image(3));  // 9600 8N1
        put("dev/dio", "");
        put("dev/misc/vdrv0", "");
    }
    void TearDown() override {
        end_children();
        std::error_code ignored;
        fs::remove_all(dir_, ignored);
    }
    void end_children() {
        for (pid_t p : children_) kill(p, SIGTERM), waitpid(p, nullptr, 0);
        children_.clear();
    }
    void put(const std::string& rel, const std::string& content) {
        fs::create_directories((dir_ / rel).parent_path());
        std::ofstream(dir_ / rel, std::ios::binary) << content;
    }
#ifdef PTZSVR_HOST_PATH
    // ptzsvr-host serving the board, its trace in trace.jsonl, its output in daemon.txt.
    pid_t start_host() {
        const pid_t pid =
            spawn({PTZSVR_HOST_PATH, "--board", dir_.string(), "--trace", (dir_ / "trace.jsonl").string()},
                  dir_ / "daemon.txt");
        children_.push_back(pid);
        EXPECT_TRUE(eventually(
            [&] { return fs::exists(dir_ / "tmp/ptzsvr.sock") || waitpid(pid, nullptr, WNOHANG) == pid; }));
        EXPECT_TRUE(fs::exists(dir_ / "tmp/ptzsvr.sock")) << slurp(dir_ / "daemon.txt");
        return pid;
    }
#endif
    // Complete trace lines (the daemon may be writing one) holding all of `parts`.
    int in_trace(const std::vector<std::string>& parts) const {
        std::istringstream text(slurp(dir_ / "trace.jsonl"));
        int n = 0;
        for (std::string line; std::getline(text, line) && !text.eof();)
            n += std::ranges::all_of(parts, [&](const auto& p) { return line.find(p) != std::string::npos; });
        return n;
    }
    // A datagram socket at `path`, as the daemon binds it.
    int listen_at(const fs::path& path) {
        fs::create_directories(path.parent_path());
        const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_un addr{AF_UNIX, {}};
        path.string().copy(addr.sun_path, sizeof addr.sun_path - 1);
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
        int size = 1 << 20;
        setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &size, sizeof size);
        return fd;
    }

    // `d` as one datagram to the socket at `path`.
    static void send_to(const fs::path& path, const Bytes& d) {
        const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un addr{AF_UNIX, {}};
        path.string().copy(addr.sun_path, sizeof addr.sun_path - 1);
        EXPECT_EQ(sendto(fd, d.data(), d.size(), 0, reinterpret_cast<sockaddr*>(&addr), sizeof addr),
                  static_cast<ssize_t>(d.size()));
        close(fd);
    }

    fs::path dir_;
    std::vector<pid_t> children_;
};

}  // namespace ptz::proc
