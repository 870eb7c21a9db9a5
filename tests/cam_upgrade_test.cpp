#include "upgrade/cam_upgrade.h"

#include <numeric>

#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

constexpr int kSigUsr2 = 12;
// 115200 baud: twice the line time of 7, 3 and 1024 bytes; the 0.1 s block pause.
constexpr uint32_t kFrameUs = 1214, kTrailerUs = 520, kBlockUs = 177776, kPauseUs = 100000, kSettleUs = 10000;
constexpr int64_t kHandshakeUs = 5 * (kSettleUs + kFrameUs) + 15 * 1000000;
constexpr int64_t kBlockStepUs = kSettleUs + kBlockUs;

Bytes ctl(uint16_t cmd, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(1, cmd, d1, d2)); }

Bytes image_of(size_t n) {
    Bytes b(n);
    for (size_t i = 0; i < n; ++i) b[i] = static_cast<uint8_t>(i * 7 + 3);
    return b;
}

Bytes request(uint32_t size, const Bytes& image) {
    Bytes dg = CmdBuilder(0xF001, 0);
    dg.resize(16);
    wr32(dg.data() + 12, size);
    dg.insert(dg.end(), image.begin(), image.end());
    dg.push_back(0xEE);  // a byte past the image, which neither the blocks nor the sum may take in
    return dg;
}

std::vector<Bytes> handshake(uint32_t size) {
    return {ctl(0x9010, 0x11, 0x22), ctl(0x9030, 0, 0), ctl(0x4801, 0x65, 0),
            ctl(static_cast<uint16_t>(0x5800 | (size >> 16 & 0xFF)), static_cast<uint8_t>(size >> 8),
                static_cast<uint8_t>(size)),
            ctl(0x6800, 0x80, 0)};
}

class CamUpgrade : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x2302, 1, 7);  // 115200 baud
        restart();
    }
    void restart() {
        start();
        d->current_channel = 0;
    }
    // The datagram as the receive buffer holds it after recvfrom.
    int upgrade(const Bytes& datagram) {
        std::copy(datagram.begin(), datagram.end(), d->rx.begin());
        return cam_upgrade_request(*d, 2, 1, d->rx.data());
    }
    // The transfer's log without its mark, the lines counting the one-second waits left out (the pauses
    // show those).
    std::vector<std::string> upgrade_logs() const {
        std::vector<std::string> out;
        for (const std::string& l : board.logs())
            if (l.rfind("[cam_upgrade]", 0) == 0 && l.find("wait count") == std::string::npos)
                out.push_back(l.substr(13));
        return out;
    }
};

// A whole transfer and one stopped by SIGUSR2 at `signal` after its start (-1: while idle, before it; 0:
// never): every byte written, every pause, the log. writes: bytes of each image write, the final (possibly
// empty) one included; tail: the log after the checksum lines, whose line after the final write carries fixed
// values.
TEST_F(CamUpgrade, ByteStreamTimingLogAndStop) {
    // clang-format off
    struct Case { const char* name; uint32_t size; int64_t signal; std::vector<size_t> writes; std::vector<std::string> tail; };
    const std::string p = "C1080B_upgrade_progress() progress ", block = "\t1024 written\n", last = "\t0 : 1024 written\n",
        stop = "ptzsvr : ******************** stop upgrade received **********************\n";
    const Case cases[] = {
        {"empty", 0, 0, {0}, {last, p + "100\n"}},
        {"one block", 1024, 0, {1024, 0}, {p + "100\n", block, last}},
        {"a block and 476 bytes", 1500, 0, {1024, 476}, {p + "68\n", block, last, p + "100\n"}},
        {"stop in the last wait", 4096, kHandshakeUs - 1, {}, {stop}},
        {"stop while idle", 4096, -1, {}, {stop}},
        {"stop during the first block", 4096, kHandshakeUs + 50000, {1024}, {p + "25\n", block, stop}},
        {"stop during the third block", 4096, kHandshakeUs + 2 * kBlockStepUs + 5, {1024, 1024, 1024}, {p + "25\n", block, p + "50\n", block, p + "75\n", block, stop}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        restart();
        if (c.signal) board.queue_signal(board.now() + std::max<int64_t>(c.signal, 0), kSigUsr2);
        if (c.signal < 0) d->run_once(), board.clear_calls();
        const Bytes image = image_of(c.size);
        const unsigned sum = std::accumulate(image.begin(), image.end(), 0u) % 256;
        const int64_t t0 = board.now();
        ASSERT_EQ(upgrade(request(c.size, image)), c.signal ? -1 : 0);

        std::vector<Bytes> expected = handshake(c.size);
        std::vector<uint32_t> waits = {kSettleUs, kFrameUs};
        waits.insert(waits.end(), 10, 1000000);
        for (int i = 0; i < 4; ++i) waits.insert(waits.end(), {kSettleUs, kFrameUs});
        waits.insert(waits.end(), 5, 1000000);
        size_t at = 0;
        for (size_t n : c.writes) {
            expected.emplace_back(image.begin() + static_cast<long>(at),
                                  image.begin() + static_cast<long>(at + n));
            waits.insert(waits.end(),
                         {kSettleUs, n == 1024 ? kBlockUs : kPauseUs});  // 476 bytes: the 0.1 s floor
            at += n;
        }
        if (!c.signal) {
            expected.push_back({static_cast<uint8_t>(sum), 0x65, 0x00});
            waits.insert(waits.end(), {kSettleUs, kTrailerUs});
        }
        std::vector<std::string> log = {"cam_upgrade start, size " + std::to_string(c.size) + "\n", p + "1\n",
                                        "start code sent\n"};
        log.insert(log.end(), {"check loader******************************************\n", "model info\n",
                               "file size\n", "start address\n"});
        char line[32];
        std::snprintf(line, sizeof line, "\tchksum is %02xh\n", sum);
        // The checksum is not known yet when the first line is written.
        log.insert(log.end(),
                   {"ptzsvr : start to send " + std::to_string(c.size) + " bytes, chksum is 00\n", line});
        log.insert(log.end(), c.tail.begin(), c.tail.end());

        EXPECT_EQ(writes(), expected);
        EXPECT_EQ(sleeps(), waits);
        EXPECT_EQ(board.now() - t0, std::accumulate(waits.begin(), waits.end(), int64_t{0}));
        EXPECT_EQ(upgrade_logs(), log);
        EXPECT_EQ(d->stop_coc_upgrade, 0);
        EXPECT_EQ(c.signal ? upgrade(request(c.size, image)) : 0, 0);  // a stop is used up
    }
}

TEST_F(CamUpgrade, SizeBeyondTheReceivedBytesAndADeadLine) {
    // An earlier, longer datagram left its bytes in the receive buffer: a size past what the datagram
    // carried streams them, and a size past the buffer's end is cut there.
    Bytes earlier(3000);
    for (size_t i = 0; i < earlier.size(); ++i) earlier[i] = static_cast<uint8_t>(0xA0 ^ i);
    wr16(earlier.data(), 0x1234);  // an id the daemon drops
    send(earlier);
    const Bytes dg = request(0xFFFFFFFF, image_of(100));
    Bytes buffer = earlier;
    std::copy(dg.begin(), dg.end(), buffer.begin());
    board.clear_calls();
    ASSERT_EQ(upgrade(dg), 0);
    auto w = writes();
    ASSERT_EQ(w.size(), 5u + 384u + 2u);
    EXPECT_EQ(w[3], ctl(0x5806, 0x00, 0x00));  // 393216 bytes
    EXPECT_EQ(w[5], Bytes(buffer.begin() + 16, buffer.begin() + 16 + 1024));
    EXPECT_EQ(w[6], Bytes(buffer.begin() + 16 + 1024, buffer.begin() + 16 + 2048));
    EXPECT_TRUE(w[5 + 384].empty());

    // Any other command buffer is 1024 bytes long.
    Bytes small = request(5000, {});
    small.resize(kMinCommandBuffer);
    board.clear_calls();
    ASSERT_EQ(cam_upgrade_request(*d, 2, 1, small.data()), 0);
    w = writes();
    ASSERT_EQ(w.size(), 5u + 2u);
    EXPECT_EQ(w[5].size(), kMinCommandBuffer - 16);

    // A line that takes nothing ends the blocks; the rest goes in the final write.
    board.failing.insert("/dev/ttyS2");
    board.clear_calls();
    const Bytes image = image_of(3000);
    EXPECT_EQ(upgrade(request(3000, image)), 0);
    w = writes();
    ASSERT_EQ(w.size(), 5u + 1u + 2u);
    EXPECT_EQ(w[6], image);
    EXPECT_TRUE(logged("[cam_upgrade]\t-1 written\n"));
}

}  // namespace
}  // namespace ptz::test
