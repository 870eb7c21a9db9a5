#include "upgrade/cam_upgrade.h"

#include <numeric>

#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

constexpr int kSigUsr2 = 12;
// 115200 baud: twice the line time of 7, 3 and 1024 bytes.
constexpr uint32_t kFrameUs = 1214, kTrailerUs = 520, kBlockUs = 177776;
constexpr uint32_t kSettleUs = 10000, kPauseUs = 100000;
constexpr int64_t kHandshakeUs = 5 * (kSettleUs + kFrameUs) + 15 * 1000000;

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
    return dg;
}

class CamUpgrade : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x2302, 1, 7);  // 115200 baud
        start();
        d->current_channel = 0;
    }
    // The datagram as the receive buffer holds it after recvfrom.
    int upgrade(const Bytes& datagram) {
        std::copy(datagram.begin(), datagram.end(), d->rx.begin());
        return cam_upgrade_request(*d, 2, 1, d->rx.data());
    }
    std::vector<std::string> upgrade_logs() const {
        std::vector<std::string> out;
        for (const std::string& l : board.logs())
            if (l.rfind("[cam_upgrade]", 0) == 0 || l.rfind("PTZSVR : stop", 0) == 0) out.push_back(l);
        return out;
    }
};

// The handshake as the camera's loader expects it, for an image of `size`.
std::vector<Bytes> handshake(uint32_t size) {
    return {ctl(0x9010, 0x11, 0x22), ctl(0x9030, 0, 0), ctl(0x4801, 0x65, 0),
            ctl(static_cast<uint16_t>(0x5800 | (size >> 16 & 0xFF)), static_cast<uint8_t>(size >> 8),
                static_cast<uint8_t>(size)),
            ctl(0x6800, 0x80, 0)};
}
std::vector<uint32_t> handshake_sleeps() {
    std::vector<uint32_t> s = {kSettleUs, kFrameUs};
    s.insert(s.end(), 10, 1000000);
    for (int i = 0; i < 4; ++i) s.insert(s.end(), {kSettleUs, kFrameUs});
    s.insert(s.end(), 5, 1000000);
    return s;
}

TEST_F(CamUpgrade, ByteStreamTimingAndProgress) {
    struct Case {
        uint32_t size;
        std::vector<size_t> blocks;  // bytes of each image write, the final partial one included
        uint32_t final_pause;
        std::vector<int> progress;
    };
    const Case cases[] = {
        {0, {0}, kPauseUs, {1, 100}},
        {1024, {1024, 0}, kPauseUs, {1, 100}},
        {1500, {1024, 476}, kPauseUs, {1, 68, 100}},  // 476 bytes take less than the 0.1 s floor
        {3072, {1024, 1024, 1024, 0}, kPauseUs, {1, 33, 66, 100}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.size);
        start();
        d->current_channel = 0;
        const Bytes image = image_of(c.size);
        const uint8_t sum = static_cast<uint8_t>(std::accumulate(image.begin(), image.end(), 0u));
        const int64_t t0 = board.now();
        ASSERT_EQ(upgrade(request(c.size, image)), 0);

        std::vector<Bytes> expected = handshake(c.size);
        std::vector<uint32_t> sleeps_expected = handshake_sleeps();
        size_t at = 0;
        for (size_t n : c.blocks) {
            expected.emplace_back(image.begin() + static_cast<long>(at),
                                  image.begin() + static_cast<long>(at + n));
            sleeps_expected.insert(sleeps_expected.end(), {kSettleUs, n == 1024 ? kBlockUs : c.final_pause});
            at += n;
        }
        expected.push_back({sum, 0x65, 0x00});
        sleeps_expected.insert(sleeps_expected.end(), {kSettleUs, kTrailerUs});
        EXPECT_EQ(writes(), expected);
        EXPECT_EQ(sleeps(), sleeps_expected);
        EXPECT_EQ(board.now() - t0,
                  std::accumulate(sleeps_expected.begin(), sleeps_expected.end(), int64_t{0}));

        std::vector<std::string> progress;
        for (const std::string& l : upgrade_logs())
            if (l.find("progress") != std::string::npos) progress.push_back(l);
        std::vector<std::string> progress_expected;
        for (int p : c.progress)
            progress_expected.push_back("[cam_upgrade]C1080B_upgrade_progress() progress " +
                                        std::to_string(p) + "\n");
        EXPECT_EQ(progress, progress_expected);
    }
}

TEST_F(CamUpgrade, LogOf1500Bytes) {
    const Bytes image = image_of(1500);
    upgrade(request(1500, image));
    std::vector<std::string> expected = {"[cam_upgrade]cam_upgrade start, size 1500\n",
                                         "[cam_upgrade]C1080B_upgrade_progress() progress 1\n",
                                         "[cam_upgrade]start code sent\n"};
    for (int i = 0; i < 10; ++i) expected.push_back("[cam_upgrade]\twait count " + std::to_string(i) + "\n");
    expected.insert(expected.end(), {"[cam_upgrade]check loader******************************************\n",
                                     "[cam_upgrade]model info\n", "[cam_upgrade]file size\n",
                                     "[cam_upgrade]start address\n"});
    for (int i = 0; i < 5; ++i) expected.push_back("[cam_upgrade]\twait count " + std::to_string(i) + "\n");
    const unsigned sum = std::accumulate(image.begin(), image.end(), 0u) % 256;
    char line[64];
    std::snprintf(line, sizeof line, "[cam_upgrade]\tchksum is %02xh\n", sum);
    expected.insert(
        expected.end(),
        {// the checksum is not known yet when this line is written
         "[cam_upgrade]ptzsvr : start to send 1500 bytes, chksum is 00\n", line,
         "[cam_upgrade]C1080B_upgrade_progress() progress 68\n", "[cam_upgrade]\t1024 written\n",
         // fixed values, whatever was written
         "[cam_upgrade]\t0 : 1024 written\n", "[cam_upgrade]C1080B_upgrade_progress() progress 100\n"});
    EXPECT_EQ(upgrade_logs(), expected);
}

TEST_F(CamUpgrade, Sigusr2StopsAtTheNextCheck) {
    const char* const kStopLine =
        "[cam_upgrade]ptzsvr : ******************** stop upgrade received **********************\n";
    struct Case {
        const char* name;
        int64_t at;  // after the start of the upgrade; -1: while idle, before it
        uint32_t size;
        size_t blocks_sent;
        int64_t duration;
    };
    const Case cases[] = {
        {"in the first wait", 3000000, 4096, 0, kHandshakeUs},
        {"in the last wait", kHandshakeUs - 1, 4096, 0, kHandshakeUs},
        {"while idle", -1, 4096, 0, kHandshakeUs},
        {"during the first block", kHandshakeUs + 50000, 4096, 1, kHandshakeUs + kSettleUs + kBlockUs},
        {"during the third block", kHandshakeUs + 2 * (kSettleUs + kBlockUs) + 5, 4096, 3,
         kHandshakeUs + 3 * (kSettleUs + kBlockUs)},
        {"an empty image still stops", 3000000, 0, 0, kHandshakeUs},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        start();
        d->current_channel = 0;
        if (c.at < 0) {
            board.queue_signal(board.now(), kSigUsr2);
            d->run_once();
            EXPECT_EQ(d->stop_coc_upgrade, 1);
        } else {
            board.queue_signal(board.now() + c.at, kSigUsr2);
        }
        const Bytes image = image_of(c.size);
        const int64_t t0 = board.now();
        EXPECT_EQ(upgrade(request(c.size, image)), -1);
        EXPECT_EQ(board.now() - t0, c.duration);
        const auto w = writes();
        ASSERT_EQ(w.size(), 5 + c.blocks_sent);
        EXPECT_EQ(std::vector<Bytes>(w.begin(), w.begin() + 5), handshake(c.size));
        EXPECT_EQ(d->stop_coc_upgrade, 0);
        EXPECT_TRUE(logged(kStopLine));
        EXPECT_FALSE(logged("[cam_upgrade]C1080B_upgrade_progress() progress 100\n"));
        EXPECT_TRUE(logged("PTZSVR : stop coc upgrade\n"));

        // The stop was used up: the next upgrade runs to its end.
        board.clear_calls();
        EXPECT_EQ(upgrade(request(c.size, image)), 0);
    }
}

TEST_F(CamUpgrade, ALineThatTakesNothingEndsTheBlocks) {
    board.failing.insert("/dev/ttyS2");
    const Bytes image = image_of(3000);
    EXPECT_EQ(upgrade(request(3000, image)), 0);
    const auto w = writes();
    ASSERT_EQ(w.size(), 5u + 1u + 2u);
    EXPECT_EQ(w[6], image);  // the final write: everything still left
    EXPECT_TRUE(logged("[cam_upgrade]\t-1 written\n"));
}

TEST_F(CamUpgrade, SizeBeyondTheReceivedBytes) {
    // An earlier, longer datagram left its bytes in the receive buffer.
    Bytes earlier(3000);
    for (size_t i = 0; i < earlier.size(); ++i) earlier[i] = static_cast<uint8_t>(0xA0 ^ i);
    wr16(earlier.data(), 0x1234);  // an id the daemon drops
    send(earlier);
    const Bytes dg = request(2048, image_of(100));
    Bytes buffer = earlier;
    std::copy(dg.begin(), dg.end(), buffer.begin());

    board.clear_calls();
    ASSERT_EQ(upgrade(dg), 0);
    auto w = writes();
    ASSERT_EQ(w.size(), 5u + 4u);
    EXPECT_EQ(w[5], Bytes(buffer.begin() + 16, buffer.begin() + 16 + 1024));
    EXPECT_EQ(w[6], Bytes(buffer.begin() + 16 + 1024, buffer.begin() + 16 + 2048));
    EXPECT_TRUE(w[7].empty());

    // Past the end of the receive buffer: cut at its end.
    board.clear_calls();
    ASSERT_EQ(upgrade(request(0xFFFFFFFF, {})), 0);
    w = writes();
    ASSERT_EQ(w.size(), 5u + 384u + 2u);
    EXPECT_EQ(w[3], ctl(0x5806, 0x00, 0x00));  // 393216 bytes
    EXPECT_TRUE(w[5 + 384].empty());
    EXPECT_TRUE(logged("[cam_upgrade]cam_upgrade start, size 393216\n"));

    // A command buffer other than the receive buffer is 1024 bytes long.
    Bytes small = request(5000, {});
    small.resize(kMinCommandBuffer);
    board.clear_calls();
    ASSERT_EQ(cam_upgrade_request(*d, 2, 1, small.data()), 0);
    w = writes();
    ASSERT_EQ(w.size(), 5u + 2u);
    EXPECT_EQ(w[5].size(), kMinCommandBuffer - 16);
}

}  // namespace
}  // namespace ptz::test
