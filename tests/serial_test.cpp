#include "serial/serial.h"

#include <tuple>

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

// A block waits twice its line time (ten bits a byte), at least the caller's minimum, between the transmit
// enable of ports 2 and 3 and their transmit disable; with rs485 type 23 the line is drained instead.
TEST_F(Serial, BlockWritesWaitForTheLine) {
    // clang-format off
    struct Case { const char* name; int channel, port, len; uint32_t minimum; std::vector<uint32_t> sleeps; std::vector<unsigned long> dio; int rs485 = 0; };
    const Case cases[] = {
        {"10 bytes at 9600", 0, 2, 10, 1000, {10000, 20832}, {0x3000, 0x3001}},
        {"minimum wins", 0, 2, 7, 35000, {10000, 35000}, {0x3000, 0x3001}},
        {"115200, line time wins", 1, 3, 7, 1000, {10000, 1214}, {0x3002, 0x3003}},
        {"1200, port 4 has no transmit control", 2, 4, 3, 0, {10000, 50000}, {}},
        {"rs485 type 23 drains", 0, 2, 7, 35000, {10000, 1}, {0x3000, 0x3001}, 23},
    };
    // clang-format on
    const uint8_t data[16] = {};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        sysvar("rs485_type", c.rs485);
        start();
        handle(c.channel, CmdBuilder(0xE0AA, static_cast<uint16_t>(c.channel)));  // applies the line settings
        board.clear_calls();
        write_serial_block(*d, c.port, data, c.len, c.minimum);
        EXPECT_EQ(sleeps(), c.sleeps);
        std::vector<unsigned long> dio;
        for (const SimCall* io : board.find("ioctl", "/dev/dio")) dio.push_back(io->req + io->arg);
        EXPECT_EQ(dio, c.dio);
        EXPECT_EQ(board.find("tcdrain").size(), c.rs485 == 23 ? 1u : 0u);
    }
}

// The channel's line settings as the port gets them: data bits selector 1 is 7 bits, parity selector 1 even
// and 2 odd, stop bits selector 1 and 2 two stop bits; any other value 8N1. The 64 channels share port 2
// with every combination, in an order where each differs from the one before in one selector: each change
// is applied once, a repeated channel not again.
TEST_F(Serial, LineSettingsFromTheChannel) {
    for (int ch = 0; ch < 64; ++ch) {
        const int sel = ch ^ (ch >> 1);
        channel(ch, 2, 0x1600, 1, 3, sel % 4, sel / 4 % 4, sel / 16);
    }
    start();
    for (int ch = 0; ch < 64; ++ch) {
        const int sel = ch ^ (ch >> 1), data = sel % 4, parity = sel / 4 % 4, stop = sel / 16;
        board.clear_calls();
        handle(ch, CmdBuilder(0xE013, static_cast<uint16_t>(ch)));
        handle(ch, CmdBuilder(0xE013, static_cast<uint16_t>(ch)));
        const auto set = board.find("tcsetattr", "/dev/ttyS2");
        ASSERT_EQ(set.size(), 1u) << ch;
        const LineSettings& l = set[0]->line;
        const Parity want = parity == 1 ? Parity::even : parity == 2 ? Parity::odd : Parity::none;
        EXPECT_EQ(std::tuple(l.data_bits, l.parity, l.stop_bits),
                  std::tuple(data == 1 ? 7 : 8, want, stop == 1 || stop == 2 ? 2 : 1))
            << data << parity << stop;
    }
}

// A bypass writes its bytes as they are, timed at its own port's rate with a 1 ms minimum: the port's
// applied rate, else the bypass channel's configured one (an index out of range is 9600), never the rate
// of the channel served before it. A port outside the port table (the dispatcher refuses such channels,
// the bypass does not) finds no descriptor.
TEST_F(Serial, Bypass) {
    channel(3, 20, 0x1600, 1, /*baud*/ 200);
    channel(4, 16, 0x1600, 1, /*baud*/ 200);
    // clang-format off
    struct Row { const char* name; std::vector<Bytes> before; int channel, len; uint32_t wait; const char* log; };
    const Row rows[] = {
        {"first command of all", {}, 0, 10, 20832, "PTZSVR : bypass : ch(0), port(2), len(10)\n"},
        {"right after a stop on a 115200 port", {CmdBuilder(0xE013, 1)}, 0, 10, 20832, nullptr},
        {"after a stop on its own channel applied 9600", {CmdBuilder(0xE013, 0)}, 0, 10, 20832, nullptr},
        {"115200 not yet applied", {}, 1, 7, 1214, "PTZSVR : bypass : ch(1), port(3), len(7)\n"},
        {"115200: the minimum is longer than the line", {}, 1, 3, 1000, nullptr},
        {"outside the port table", {}, 3, 3, 6250, "PTZSVR : write_serial_block for fd -1, data 3\n"},
        {"just past the port table", {}, 4, 3, 6250, "PTZSVR : write_serial_block for fd -1, data 3\n"},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        start();
        for (const Bytes& b : r.before) send(b);
        board.clear_calls();
        Bytes dg = CmdBuilder(0xE0A2, static_cast<uint16_t>(r.channel)).action(static_cast<uint16_t>(r.len));
        for (int i = 0; i < r.len; ++i) dg[12 + static_cast<size_t>(i)] = static_cast<uint8_t>(0xA0 + i);
        send(dg);
        const Bytes data(dg.begin() + 12, dg.begin() + 12 + r.len);
        EXPECT_EQ(writes(), r.channel >= 3 ? std::vector<Bytes>{} : std::vector<Bytes>{data});
        EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, r.wait}));
        EXPECT_TRUE(!r.log || logged(r.log));
    }
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
    Bytes twice = good;
    for (uint8_t b : reply7(0x59, 3, 4)) twice.push_back(b);
    // clang-format off
    struct Case { const char* name; Script line; int ret; int64_t min_elapsed, max_elapsed; };
    const Case cases[] = {
        {"clean reply after 20 ms", {{20000, good}}, 7, 20000, 23000},
        {"two frames back to back: the second is read away", {{0, twice}}, 7, 0, 3000},
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
        EXPECT_TRUE(!c.ret || d->recv_buf == decltype(d->recv_buf){});
        EXPECT_EQ(recv_command(*d, 2, out, 0xFF, 0x59, 7, 50000), 0);  // nothing kept for the next exchange
    }
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

// The one-byte reads: the acknowledgement is 1 for any byte, 0 on a quiet line.
TEST_F(Serial, OneByteReads) {
    line(0, {0xFF, 0x42});
    EXPECT_EQ(read_ack_byte(*d, 2), 1);
    EXPECT_EQ(port_read_byte(*d, 2), 0x42);
    EXPECT_EQ(read_ack_byte(*d, 2), 0);
}

}  // namespace
}  // namespace ptz::test
