#include "serial/serial.h"

#include "serial/reply.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

class Serial : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1600, 1);
        channel(1, 3, 0x1600, 1, /*baud*/ 7);
        channel(2, 4, 0x1600, 1, /*baud*/ 0);
        start();
    }
    // Serves the reply script on the port-2 line.
    void line(int64_t after_us, const Bytes& bytes) {
        board.queue_reply("/dev/ttyS2", board.now() + after_us, bytes);
    }
};

TEST_F(Serial, BlockWritesWaitForTheLine) {
    // clang-format off
    struct Case { const char* name; int channel, port, len; uint32_t minimum; std::vector<uint32_t> sleeps; unsigned long enable, disable; };
    // clang-format on
    const Case cases[] = {
        {"10 bytes at 9600", 0, 2, 10, 1000, {10000, 20832}, 0x3000, 0x3001},
        {"minimum wins", 0, 2, 7, 35000, {10000, 35000}, 0x3000, 0x3001},
        {"115200, line time wins", 1, 3, 7, 1000, {10000, 1214}, 0x3002, 0x3003},
        {"1200, port 4 has no transmit control", 2, 4, 3, 0, {10000, 50000}, 0, 0},
    };
    const uint8_t data[16] = {};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        handle(c.channel, CmdBuilder(0xE0AA, static_cast<uint16_t>(c.channel)));  // applies the line settings
        board.clear_calls();
        write_serial_block(*d, c.port, data, c.len, c.minimum);
        EXPECT_EQ(sleeps(), c.sleeps);
        std::vector<unsigned long> dio;
        for (const SimCall* io : board.find("ioctl", "/dev/dio")) dio.push_back(io->req + io->arg);
        EXPECT_EQ(
            dio, c.enable ? (std::vector<unsigned long>{c.enable, c.disable}) : std::vector<unsigned long>{});
    }
}

// The channel's line settings as the port gets them: data bits 0/1 are 8/7, parity 0/1/2 none/even/odd,
// stop bits 0 one, 1 and 2 two.
TEST_F(Serial, LineSettingsFromTheChannel) {
    // clang-format off
    struct Case { int data, parity, stop; uint8_t bits; Parity want; uint8_t stops; };
    const Case cases[] = {{0, 0, 0, 8, Parity::none, 1}, {1, 1, 1, 7, Parity::even, 2},
                          {0, 2, 2, 8, Parity::odd, 2}, {2, 3, 3, 8, Parity::none, 1}};
    // clang-format on
    for (const Case& c : cases) {
        channel(0, 2, 0x1600, 1, 3, c.data, c.parity, c.stop);
        start();
        board.clear_calls();
        send(CmdBuilder(0xE013));
        const auto set = board.find("tcsetattr", "/dev/ttyS2");
        ASSERT_FALSE(set.empty()) << c.parity;
        EXPECT_EQ(set.back()->line.data_bits, c.bits);
        EXPECT_EQ(set.back()->line.parity, c.want) << c.parity;
        EXPECT_EQ(set.back()->line.stop_bits, c.stops);
    }
}

TEST_F(Serial, Rs485Type23DrainsInsteadOfTiming) {
    sysvar("rs485_type", 23);
    start();
    write_serial_block(*d, 2, reinterpret_cast<const uint8_t*>("abcdefg"), 7, 35000);
    EXPECT_EQ(board.find("tcdrain", "/dev/ttyS2").size(), 1u);
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 1}));
}

TEST_F(Serial, UnsetBaudUsesTheChannelsConfiguredRate) {
    d->served_channel = 1;  // 115200 configured, not yet applied after the reopen
    EXPECT_EQ(line_wait_us(*d, 3, 7), 1214u);
    EXPECT_EQ(baud_rate(200), 9600u);
}

// A bypass is timed at its own port's rate: the port's applied index, else
// the bypass channel's configured one; never the channel served before it.
TEST_F(DaemonTest, BypassLineTimeComesFromItsOwnPort) {
    sysvar("video_ch_cnt", 8);
    channel(3, 2, 0x1600, 1, /*baud*/ 3);
    channel(4, 4, 0x1600, 1, /*baud*/ 7);
    Bytes by = CmdBuilder(0xE0A2, 3).action(10);
    // clang-format off
    struct Row { const char* name; std::vector<Bytes> before; uint32_t wait; };
    const Row rows[] = {
        {"first command of all", {}, 20832},
        {"right after a stop on a 115200 port", {CmdBuilder(0xE013, 4)}, 20832},
        {"after a move on its own channel applied 9600", {CmdBuilder(0xE013, 3)}, 20832},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        start();
        for (const Bytes& b : r.before) send(b);
        board.clear_calls();
        send(by);
        ASSERT_EQ(writes().size(), 1u);
        EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, r.wait}));
    }
}

// A bypass to a port number outside the port table (the dispatcher refuses such channels, the bypass does
// not) finds no descriptor.
TEST_F(DaemonTest, BypassToAPortOutsideTheTable) {
    channel(0, 20, 0x1600, 1);
    start();
    send(CmdBuilder(0xE0A2, 0).action(3));
    EXPECT_TRUE(logged("PTZSVR : write_serial_block for fd -1, data 3\n"));
}

TEST_F(Serial, BypassWritesTheRawBytes) {
    Bytes dg = CmdBuilder(0xE0A2, 0).action(3);
    dg[12] = 0xAA, dg[13] = 0xBB, dg[14] = 0xCC;
    send(dg);
    EXPECT_EQ(writes(), std::vector<Bytes>{(Bytes{0xAA, 0xBB, 0xCC})});
    EXPECT_TRUE(logged("PTZSVR : bypass : ch(0), port(2), len(3)\n"));
    board.clear_calls();
    send(CmdBuilder(0xE0A2, 1).action(3));  // 115200 baud: the 1 ms minimum is longer than the line time
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 1000}));
}

Bytes reply7(uint8_t type, uint8_t hi, uint8_t lo) {
    Bytes r = {0xFF, 0x01, 0x00, type, hi, lo, 0};
    r[6] = static_cast<uint8_t>(r[1] + r[2] + r[3] + r[4] + r[5]);
    return r;
}

TEST_F(Serial, RecvCommandFindsCheckedFrames) {
    Bytes bad = reply7(0x59, 1, 2);
    bad[6] ^= 1;
    Bytes noisy = {0x00, 0xFF, 0x01, 0x00, 0x5B, 0x12, 0x13, 0x14};  // start byte, wrong type
    const Bytes good = reply7(0x59, 1, 2);
    noisy.insert(noisy.end(), good.begin(), good.end());
    // clang-format off
    struct Case { const char* name; Script line; int ret; int64_t min_elapsed, max_elapsed; };
    const Case cases[] = {
        {"clean reply after 20 ms", {{20000, good}}, 7, 20000, 23000},
        {"reply behind noise and a false start", {{5000, noisy}}, 7, 5000, 8000},
        {"split over two reads", {{1000, Bytes(good.begin(), good.begin() + 3)}, {9000, Bytes(good.begin() + 3, good.end())}}, 7, 9000, 12000},
        {"a reply at the limit still counts", {{300000, good}}, 7, 300000, 301000},
        {"bad checksum waits out the limit", {{1000, bad}}, 0, 300000, 302000},
        {"silent line waits out the limit", {}, 0, 300000, 302000},
        // the start and type of a frame whose bytes so far would check: the rest is not read from the past
        {"a frame cut short", {{1000, {0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55, 0xFF, 0xA7, 0x00, 0x59}}}, 0, 300000, 302000},
        {"garbage then quiet breaks by length", {{1000, Bytes(15, 0x55)}}, 0, 1000, 4000},
        {"a line that keeps sending runs to the limit", stream(400000, Bytes(7, 0x55)), 0, 300000, 302000},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start();
        for (const auto& [at, bytes] : c.line) line(at, bytes);
        uint8_t out[20] = {};
        const int64_t t0 = board.now();
        EXPECT_EQ(recv_command(*d, 2, out, 0xFF, 0x59, 7, 300000), c.ret);
        EXPECT_GE(board.now() - t0, c.min_elapsed);
        EXPECT_LE(board.now() - t0, c.max_elapsed);
        EXPECT_TRUE(!c.ret || Bytes(out, out + 7) == good);
    }
}

TEST_F(Serial, DeliveredFrameCleansTheLine) {
    const Bytes first = reply7(0x59, 1, 2), second = reply7(0x59, 3, 4);
    Bytes both = first;
    both.insert(both.end(), second.begin(), second.end());
    line(0, both);
    uint8_t out[20] = {};
    ASSERT_EQ(recv_command(*d, 2, out, 0xFF, 0x59, 7, 300000), 7);
    EXPECT_EQ(Bytes(out, out + 7), first);
    for (uint8_t b : d->recv_buf) ASSERT_EQ(b, 0);
    // The second frame was read away, not kept for the next exchange.
    EXPECT_EQ(recv_command(*d, 2, out, 0xFF, 0x59, 7, 50000), 0);
}

TEST_F(Serial, RecvByHeader) {
    uint8_t out[8] = {9, 9, 9, 9, 9, 9, 9, 9};
    const int64_t t0 = board.now();
    EXPECT_EQ(recv_command_by_header(*d, 2, out, 0xFF, 7), 0);
    EXPECT_GE(board.now() - t0, 1000000);
    EXPECT_LE(board.now() - t0, 2001000);
    EXPECT_EQ(Bytes(out, out + 7), Bytes(7, 0));

    line(3000, {0x11, 0x22, 0xFF, 1, 2, 3, 4, 5, 6});
    EXPECT_EQ(recv_command_by_header(*d, 2, out, 0xFF, 7), 2);
    EXPECT_EQ(Bytes(out, out + 7), (Bytes{0xFF, 1, 2, 3, 4, 5, 6}));
}

TEST_F(Serial, StartByteReaders) {
    // clang-format off
    struct Case { const char* name; Bytes line; int ret; };
    const Case cases[] = {
        {"start byte then the count", {0xA5, 1, 2, 3}, 3},
        {"noise costs hunt attempts", {0x10, 0x11, 0x12, 0xA5, 1, 2, 3}, 3},
        {"twenty noise bytes exhaust the hunt", Bytes(20, 0x10), -1},
        {"short body", {0xA5, 1}, -1},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start();
        line(0, c.line);
        uint8_t out[8] = {};
        EXPECT_EQ(ez_recv(*d, 2, 0xA5, 3, out), c.ret);
        EXPECT_TRUE(c.ret <= 0 || Bytes(out, out + 3) == (Bytes{1, 2, 3}));
    }
    EXPECT_EQ(spd_receive_ack(*d, 2), 0);
    line(0, {0x42});
    EXPECT_EQ(read_ack_byte(*d, 2), 1);
    EXPECT_EQ(read_ack_byte(*d, 2), 0);
}

}  // namespace
}  // namespace ptz::test
