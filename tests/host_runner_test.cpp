// The real ptzsvr-host on a throwaway board whose RS-485 port 2 is a
// pseudo-terminal: commands go in through the socket, camera frames come out
// on the terminal, and the trace tells what the daemon asked of the system.
#include <poll.h>
#include <stdlib.h>
#include <termios.h>

#include "process_fixture.h"

namespace {

using namespace ptz::proc;

// Channel 0's line settings as the file stores them, and how they must show.
// clang-format off
struct Settings { char baud, stop, parity; speed_t speed; std::vector<std::string> trace; };
// clang-format on
const Settings kAtStart{2, 0, 1, B4800, {R"("baud":4800)", R"("parity":"even")", R"("stop_bits":1)"}};
const Settings kReloaded{3, 1, 2, B9600, {R"("baud":9600)", R"("parity":"odd")", R"("stop_bits":2)"}};

// Channel 0 with settings `s`, and channel 1: an ORX1000 head (model 0x1500)
// on the same line at address 123.
std::string conf_image(const Settings& s) {
    std::string img = ptz::proc::conf_image(s.baud, s.stop, s.parity);
    img.replace(4016 + 2990, 10, img.substr(2990, 10));
    img[4016 + 2996] = 123, img[4016 + 2999] = 0x15;
    return img;
}

class HostRunnerTest : public BoardTest {
protected:
    void SetUp() override {
        BoardTest::SetUp();
        put("dev/con2rec", conf_image(kAtStart));
        camera_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_EQ(grantpt(camera_) | unlockpt(camera_), 0);
        // Held open so that the daemon closing the port on a reload does not
        // hang up the terminal.
        port_ = open(ptsname(camera_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        ASSERT_EQ(symlink(ptsname(camera_), (dir_ / "dev/ttyS2").c_str()), 0);
        child_ = start_host();
    }

    void TearDown() override {
        close(port_), close(camera_);
        BoardTest::TearDown();
    }

    void send(const Bytes& datagram) const { send_to(dir_ / "tmp/ptzsvr.sock", datagram); }

    // What the camera receives until the line is silent for 300 ms (5 s before the first byte).
    Bytes line_bytes() const {
        Bytes rx;
        uint8_t b;
        pollfd p{camera_, POLLIN, 0};
        while (poll(&p, 1, rx.empty() ? 5000 : 300) > 0 && read(camera_, &b, 1) == 1) rx.push_back(b);
        return rx;
    }

    int camera_ = -1, port_ = -1;
    pid_t child_ = -1;
};

// First an ORX1000 move on channel 1, in real time: it is sent, then re-sent
// twice by the main loop, and then the line is quiet. The loop re-sends once
// more than 100 ms of its clock have passed since the first send's stamp
// (taken after its 25 ms of line time) or since the last re-send; the trace's
// log records follow those clock readings within microseconds (0.5 ms allowed
// for a busy machine), whereas the writes follow a 10 ms transmit-enable
// sleep and carry its jitter.
// Then channel 0's Pelco-D frames with the settings the daemon started with,
// and with those of the file as rewritten before SIGUSR1. A pseudo-terminal
// keeps speed and stop bits but always reports 8 data bits without parity, so
// parity is checked in the trace.
TEST_F(HostRunnerTest, FramesReachTheTerminalWithTheFilesSettingsAlsoAfterSigusr1) {
    EXPECT_EQ(slurp(dir_ / "tmp/ptzsvr.pid"), std::to_string(child_));
    Bytes move(28, 0);  // msg_id 0xE011 on channel 1, pan left with tilt down
    move[0] = 0x11, move[1] = 0xE0, move[4] = 24, move[8] = 1, move[12] = 0x20, move[13] = 0x20;
    send(move);
    const Bytes frame{0x11, 0x23, 0x32, 0x00, 0x46, 0xAC};
    Bytes three;
    for (int i = 0; i < 3; ++i) three.insert(three.end(), frame.begin(), frame.end());
    EXPECT_EQ(line_bytes(), three);
    std::vector<long long> at;  // the first write, then each re-send's log record
    std::istringstream text(slurp(dir_ / "trace.jsonl"));
    for (std::string line; std::getline(text, line);)
        if ((at.empty() && line.find("1123320046ac") != std::string::npos) ||
            line.find("call eptz_handler by repeat_count") != std::string::npos)
            at.push_back(std::stoll(line.substr(line.find(R"("t":)") + 4)));
    ASSERT_EQ(at.size(), 3u);
    EXPECT_GT(at[1] - at[0], 100000 + 25000 - 500);
    EXPECT_GT(at[2] - at[1], 100000 - 500);

    Bytes pan_left = move;  // channel 0, tilt still
    pan_left[8] = 0, pan_left[13] = 0x40;
    const std::vector<std::string> open_port{R"("op":"open")", R"("dev":"/dev/ttyS2")"};
    for (const Settings* s : {&kAtStart, &kReloaded}) {
        SCOPED_TRACE(s->trace[0]);
        if (s == &kReloaded) {
            put("dev/con2rec", conf_image(*s));
            const int opens = in_trace(open_port);
            ASSERT_EQ(kill(child_, SIGUSR1), 0);
            // Commands sent before the port is reopened still meet the old settings.
            ASSERT_TRUE(eventually([&] { return in_trace(open_port) > opens; }));
        }
        send(pan_left);
        EXPECT_EQ(line_bytes(), (Bytes{0xFF, 0x01, 0x00, 0x04, 0x20, 0x00, 0x25}));
        termios t{};
        ASSERT_EQ(tcgetattr(port_, &t), 0);
        EXPECT_EQ(cfgetospeed(&t), s->speed);
        EXPECT_EQ((t.c_cflag & CSTOPB) != 0, s->stop != 0);
        std::vector<std::string> line = s->trace;
        line.insert(line.end(), {R"("op":"tcsetattr")", R"("dev":"/dev/ttyS2")", R"("ret":0)"});
        EXPECT_GE(in_trace(line), 1);
    }

    // The trace's writes and log records are read above and by the node test;
    // the transmit-enable sleeps show too, and log records also go to standard error.
    EXPECT_GE(in_trace({R"("op":"sleep")", R"("us":)"}), 2);
    EXPECT_NE(slurp(dir_ / "daemon.txt").find('\n'), std::string::npos);
}

}  // namespace
