// The engineer's tools as real processes: ptzctl against a listening socket,
// ptzcam's monitor over a recorded line, and ptzsvr-host, ptzcam and ptzctl
// together reading back where a simulated head went.
#include <poll.h>
#include <sys/socket.h>

#include "process_fixture.h"

namespace {

using namespace ptz::proc;

class ToolsTest : public BoardTest {
protected:
    // ptzctl with `args`, then `more`.
    Result ctl(std::vector<std::string> args, const std::vector<std::string>& more = {}) {
        args.insert(args.begin(), PTZCTL_PATH);
        args.insert(args.end(), more.begin(), more.end());
        return run(args, dir_ / "ctl.txt");
    }
};

Bytes received(int fd) {
    Bytes b(0x70000);
    const ssize_t n = recv(fd, b.data(), b.size(), 0);
    b.resize(n < 0 ? 0 : static_cast<size_t>(n));
    return b;
}

// Every datagram as the daemon reads it: msg_id at 0, body_size (the bytes
// behind the 8-byte header) at 4, channel at 8, action at 10, x/y or a u16
// at 12, stop-after-action at 14, u32 pan/tilt/zoom at 12/16/20, requester
// at 24; the zoom box as u16 left/top/width/height from 10 and a flag at 18.
TEST_F(ToolsTest, PtzctlSendsEachMessageByteForByte) {
    const int fd = listen_at(dir_ / "tmp/ptzsvr.sock");
    // The arguments, and the datagram without the zeros that fill a command up to 28 bytes. A signed move
    // is read back below by the dry run and on the simulated head with the stop, a zoom box by the node test.
    // clang-format off
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"move", "5", "--stop", "63", "-64", "--cont"}, "12 e0 00 00 14 00 00 00 05 00 00 00 7f 00 01"},
        {{"move-raw", "1", "0x3e", "0xff"}, "11 e0 00 00 14 00 00 00 01 00 00 00 3e ff"},
        {{"zoom", "0", "in", "11"}, "11 e0 00 00 14 00 00 00 00 00 01 00 f0 40"},
        {{"focus", "2", "near", "--stop"}, "11 e0 00 00 14 00 00 00 02 00 02 00 30 40 01"},
        {{"goto", "1", "200"}, "14 e1 00 00 14 00 00 00 01 00 00 00 c8"},
        {{"store", "1", "5"}, "20 e1 00 00 14 00 00 00 01 00 05"},
        {{"clear", "1", "255"}, "22 e1 00 00 14 00 00 00 01 00 ff"},
        {{"goto-entry", "0", "3"}, "14 e0 00 00 14 00 00 00 00 00 00 00 03"},
        {{"aux", "0", "9", "on"}, "91 e0 00 00 14 00 00 00 00 00 01 01 09"},
        {{"aux", "0", "tour", "3", "off"}, "91 e0 00 00 14 00 00 00 00 00 00 00 c9 02"},
        {{"aux", "2", "esc", "on"}, "90 e0 00 00 14 00 00 00 02 00 01 01 73"},
        {{"aux-entry", "0", "3", "on"}, "90 e0 00 00 14 00 00 00 00 00 01 01 03"},
        {{"setpos", "0", "0x12345", "1500", "4000"}, "a4 e0 00 00 14 00 00 00 00 00 00 00 45 23 01 00 dc 05 00 00 a0 0f"},
        {{"getpos", "7", "--requester", "-5"}, "a6 e0 00 00 14 00 00 00 07 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 fb ff ff ff"},
        {{"zoombox", "0", "0", "0", "1920", "1080", "--out"}, "aa e0 00 00 14 00 00 00 00 00 00 00 00 00 80 07 38 04 01"},
        {{"bypass", "1", "ff0100", "0400"}, "a2 e0 00 00 14 00 00 00 01 00 05 00 ff 01 00 04"},
        {{"raw", "ffe0", "0102"}, "ff e0 01 02"},
    };
    // clang-format on
    for (const auto& [cmd, datagram] : rows) {
        const Result res = ctl({"--socket", (dir_ / "tmp/ptzsvr.sock").string()}, cmd);
        EXPECT_EQ(res.status, 0) << cmd[0] << ": " << res.out;
        std::string want = datagram;
        while (cmd[0] != "raw" && want.size() < 28 * 3 - 1) want += " 00";
        EXPECT_EQ(hex(received(fd)), want) << cmd[0] << " " << cmd[1];
    }

    // An image travels whole behind its size; --board finds the runner's socket.
    Bytes image(1500);
    for (size_t i = 0; i < image.size(); ++i) image[i] = static_cast<uint8_t>(i * 7);
    put("fw.bin", std::string(image.begin(), image.end()));
    EXPECT_EQ(ctl({"--board", dir_.string(), "upgrade", "2", (dir_ / "fw.bin").string()}).status, 0);
    const Bytes up = received(fd);
    ASSERT_EQ(up.size(), 16u + 1500u);
    EXPECT_EQ(hex(Bytes(up.begin(), up.begin() + 16)), "01 f0 00 00 e4 05 00 00 02 00 00 00 dc 05 00 00");
    EXPECT_TRUE(std::equal(image.begin(), image.end(), up.begin() + 16));
    close(fd);
}

// Refusals name what is wrong, exit non-zero and send nothing: one row per
// check (every range goes through the same one, so only the computed bounds
// have rows of their own). Then a socket path nobody listens on, help for the
// tool and for a command, and the dry run, which names the fields; none sends.
TEST_F(ToolsTest, PtzctlRefusesBadArgumentsWithoutSending) {
    const fs::path sock = dir_ / "tmp/ptzsvr.sock";
    const int fd = listen_at(sock);
    for (const auto& [name, size] : {std::pair{"big.bin", 393217}, {"max.bin", 393216}}) {
        std::ofstream(dir_ / name).close();
        fs::resize_file(dir_ / name, size);
    }
    // clang-format off
    const struct { std::vector<std::string> args; int status; std::string says; } rows[] = {
        {{"fly", "0"}, 2, "unknown command 'fly'"},
        {{"move", "0", "64", "0"}, 2, "pan speed 64 out of range -64..63"},
        {{"move", "0", "1", "2", "--sotp"}, 2, "unexpected option '--sotp'"},
        {{"stop", "1x"}, 2, "channel '1x' is not a number"},
        {{"stop"}, 2, "stop takes CH"},
        {{"zoom", "0", "out", "5"}, 2, "speed 5 out of range 0..4"},
        {{"aux", "0", "output", "8", "on"}, 2, "output 8 is not an auxiliary output"},
        {{"aux", "0", "dance", "on"}, 2, "unknown aux function 'dance'"},
        {{"aux", "0", "3", "maybe"}, 2, "'on' or 'off'"},
        {{"zoombox", "0", "1900", "0", "21", "10"}, 2, "box width 21 out of range 1..20"},
        {{"bypass", "0", "f"}, 2, "'f' is not hex bytes"},
        {{"upgrade", "0", (dir_ / "big.bin").string()}, 2, "has 393217 bytes; one datagram carries at most 393216"},
        {{"upgrade", "0", (dir_ / "none.bin").string()}, 2, "cannot read image"},
        {{"--socket", (dir_ / "nobody.sock").string(), "stop", "0"}, 1, "nobody listens on"},
        {{"--help"}, 0, "zoombox"},
        {{"aux", "--help"}, 0, "pattern-record"},
        {{"--dry-run", "move", "0", "-32", "16"}, 0, "pan left 32, tilt up 16"},
    };
    // clang-format on
    for (const auto& r : rows) {
        const Result res = ctl({"--socket", sock.string()}, r.args);
        EXPECT_EQ(res.status, r.status) << r.says;
        EXPECT_NE(res.out.find(r.says), std::string::npos) << res.out;
        EXPECT_TRUE(received(fd).empty()) << r.says;
        if (r.status == 2) {
            EXPECT_EQ(res.out.rfind("ptzctl: ", 0), 0u) << res.out;
            EXPECT_EQ(std::count(res.out.begin(), res.out.end(), '\n'), 1) << res.out;
        }
    }
    // The largest image fits one datagram (where the system lets a datagram be that large).
    const Result max = ctl({"--socket", sock.string(), "upgrade", "0", (dir_ / "max.bin").string()});
    if (max.status == 0) {
        EXPECT_EQ(received(fd).size(), 393232u);
    } else {
        EXPECT_NE(max.out.find("larger than this system allows"), std::string::npos) << max.out;
    }
    close(fd);
    // A socket that exists without a listener.
    const Result closed = ctl({"--socket", sock.string(), "stop", "0"});
    EXPECT_TRUE(closed.status == 1 && closed.out.find("nobody listens on") != std::string::npos)
        << closed.out;
}

}  // namespace

#ifdef PTZCAM_PATH

// Pelco-D: FF, address, command word, data 1, data 2, sum of bytes 1..5.
Bytes pelco_d(uint8_t addr, uint16_t word, uint8_t d1, uint8_t d2) {
    Bytes b{0xFF, addr, uint8_t(word >> 8), uint8_t(word), d1, d2};
    b.push_back(uint8_t(b[1] + b[2] + b[3] + b[4] + b[5]));
    return b;
}

// A line that two controllers share, one speaking Pelco-D and one Pelco-P,
// with noise, a corrupted frame and a frame cut short: auto mode finds both
// protocols and names every piece in order.
TEST_F(ToolsTest, MonitorDecodesARecordedMixedLineWithAutoDetection) {
    Bytes bad = pelco_d(1, 0x0004, 0x20, 0);
    bad.back() ^= 1;
    const std::vector<std::pair<Bytes, std::string>> pieces = {
        {{0x00, 0x13}, "pelco-d    ?        ?? noise"},
        {pelco_d(1, 0x0004, 0x20, 0), "pelco-d    addr 1   pan left 32"},
        {{0xA0, 0, 0, 4, 0x20, 0, 0xAF, 0x2B}, "pelco-p    addr 1   pan left 32"},  // XOR of bytes 0..6
        {pelco_d(2, 0x0007, 0, 3), "pelco-d    addr 2   go to preset 3"},
        {{0x55}, "?? noise"},
        {{0xA0, 4, 0, 3, 0, 9, 0xAF, 0x01}, "pelco-p    addr 5   set preset 9"},
        {bad, "pelco-d    ?        ?? bad checksum"},
        {pelco_d(1, 0, 0, 0), "pelco-d    addr 1   stop"},
        {{0xFF, 0x01, 0x00}, "?? truncated"},
    };
    Bytes stream;
    for (const auto& [bytes, _] : pieces) stream.insert(stream.end(), bytes.begin(), bytes.end());
    put("line.bin", std::string(stream.begin(), stream.end()));
    const Result res =
        run({PTZCAM_PATH, "monitor", "--file", (dir_ / "line.bin").string()}, dir_ / "mon.txt");
    EXPECT_EQ(res.status, 0);
    std::istringstream lines(res.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_EQ(line.rfind("auto: pelco-d (3 checked frames)", 0), 0u) << line;
    for (const auto& [bytes, says] : pieces) {
        ASSERT_TRUE(std::getline(lines, line)) << says;
        EXPECT_NE(line.find(says), std::string::npos) << line;
        EXPECT_NE(line.find("[" + hex(bytes) + "]"), std::string::npos) << line;
    }
    EXPECT_FALSE(std::getline(lines, line)) << line;
}

// On a live line the monitor only listens: what it reads is decoded, and not
// one byte goes back towards the line.
TEST_F(ToolsTest, MonitorOnADeviceNeverWrites) {
    const int bus = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_EQ(grantpt(bus) | unlockpt(bus), 0);
    children_.push_back(
        spawn({PTZCAM_PATH, "monitor", "--device", ptsname(bus), "--protocol", "pelco-d"}, dir_ / "mon.txt"));
    // Written before the monitor made its end raw, the bytes would echo back.
    ASSERT_TRUE(eventually([&] { return slurp(dir_ / "mon.txt").find("read only") != std::string::npos; }));
    const Bytes frames = {0xFF, 3, 0, 0x08, 0, 0x10, 0x1B, 0xFF, 3, 0, 0, 0, 0, 3};  // tilt up 16, stop
    ASSERT_EQ(write(bus, frames.data(), frames.size()), static_cast<ssize_t>(frames.size()));
    EXPECT_TRUE(eventually([&] {
        return slurp(dir_ / "mon.txt").find("addr 3   tilt up 16") != std::string::npos &&
               slurp(dir_ / "mon.txt").find("addr 3   stop") != std::string::npos;
    })) << slurp(dir_ / "mon.txt");
    pollfd p{bus, POLLIN, 0};
    EXPECT_EQ(poll(&p, 1, 200), 0) << "the monitor wrote to the line";
    close(bus);
}

// A board with one Pelco-D dome (address 1, 9600 8N1) on RS-485 port 2 for
// channel 0, played by ptzcam, and the host runner serving it.
class EndToEndTest : public ToolsTest {
protected:
    void start(const std::string& fault = "") {
        client_ = listen_at(dir_ / "tmp/ptzreport.sock");  // where a client takes the reports
        std::vector<std::string> cam = {PTZCAM_PATH, "camera", "--protocol", "pelco-d",
                                        "--address", "1",      "--link",     (dir_ / "dev/ttyS2").string()};
        if (!fault.empty()) cam.insert(cam.end(), {"--fault", fault});
        children_.push_back(spawn(cam, dir_ / "camera.txt"));
        ASSERT_TRUE(eventually([&] { return fs::is_symlink(dir_ / "dev/ttyS2"); }));
        start_host();
    }
    void TearDown() override {
        if (client_ >= 0) close(client_);
        ToolsTest::TearDown();
    }
    void command(const std::vector<std::string>& args) {
        EXPECT_EQ(ctl({"--board", dir_.string()}, args).status, 0) << args[0];
    }
    // The position report a query brings: 0x4014 with 24 bytes of body, then the
    // requester, channel, status, pan, tilt and zoom.
    std::vector<int64_t> query(int requester) {
        command({"getpos", "0", "--requester", std::to_string(requester)});
        Bytes r;
        EXPECT_TRUE(eventually([&] { return !(r.empty() ? r = received(client_) : r).empty(); }))
            << slurp(dir_ / "camera.txt");
        if (r.size() != 32) return {};
        EXPECT_EQ(hex(Bytes(r.begin(), r.begin() + 8)), "14 40 00 00 18 00 00 00");
        std::vector<int64_t> words;
        for (size_t at = 8; at < 32; at += 4) {
            const uint32_t v = r[at] | r[at + 1] << 8 | r[at + 2] << 16 | uint32_t(r[at + 3]) << 24;
            words.push_back(at == 8 ? int64_t(int32_t(v)) : int64_t(v));
        }
        return words;
    }
    int client_ = -1;
};

// The head turns at the commanded speeds; after a stop the daemon reads back
// exactly where it stands.
TEST_F(EndToEndTest, DaemonReadsBackWhereTheSimulatedHeadWent) {
    start();
    command({"move", "0", "30", "10"});  // right 30 and up 10 degrees a second
    usleep(800000);
    command({"stop", "0"});
    std::string out;
    long long pan = 0, tilt = 0, zoom = 0;
    const auto head_at = [&] {
        const size_t k = out.find("stop (head at pan ");
        return k != std::string::npos &&
               std::sscanf(out.c_str() + k, "stop (head at pan %lld tilt %lld zoom %lld)", &pan, &tilt,
                           &zoom) == 3;
    };
    ASSERT_TRUE(eventually([&] {
        out = slurp(dir_ / "camera.txt");
        return head_at();
    })) << out;
    EXPECT_NEAR(pan, 3 * tilt, 30);  // the two axes ran for the same time
    EXPECT_GT(pan, 2000);            // at least 0.67 s at 30 degrees a second
    EXPECT_EQ(query(1000), (std::vector<int64_t>{1000, 0, 1, pan, tilt, 0}));
}

// In real time, an answer that comes after the reply reader's 300 ms reads
// as 0, though the camera did answer each of the three queries.
TEST_F(EndToEndTest, AnswerAfterTheReplyWindowReadsAsZero) {
    start("late=400");
    command({"setpos", "0", "9000", "1500", "4000"});
    EXPECT_EQ(query(1000), (std::vector<int64_t>{1000, 0, 1, 0, 0, 0})) << slurp(dir_ / "camera.txt");
    const auto answers = [&] {
        const std::string cam = slurp(dir_ / "camera.txt");
        size_t n = 0;
        for (size_t at = 0; (at = cam.find("-> answer", at)) != std::string::npos; ++at) ++n;
        return n;
    };
    EXPECT_TRUE(eventually([&] { return answers() == 3; })) << slurp(dir_ / "camera.txt");
}

#endif  // PTZCAM_PATH
