// The daemon controller against a fake daemon: a board directory whose
// command socket records every datagram and, when asked, answers position
// queries with reports from a head that goes where it is told.
#include <poll.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <tuple>

#include "common/wire.h"
#include "core/config.h"
#include "onvif/daemon_controller.h"
#include "tests/process_fixture.h"

using namespace ptz::onvif;
using Clock = std::chrono::steady_clock;

namespace {

class ControllerTest : public ptz::proc::BoardTest {
protected:
    void SetUp() override {
        BoardTest::SetUp();
        put("proc/orv_sys_vars/video_ch_cnt", "8");
        // 0 Pelco-D, 1 C1080B, 4 C1080PT; 5 has no encoder, 6 no port.
        std::string img = ptz::proc::conf_image(3);
        for (const auto& [ch, port, model] :
             {std::tuple{1, 2, 0x301}, {4, 4, 0x302}, {5, 2, 0x500}, {6, 0, 0x1600}}) {
            const size_t rec = ptz::kChannelRecordSize * ch;
            img[rec + ptz::cfg::port] = char(port);
            img[rec + ptz::cfg::model_id] = char(model), img[rec + ptz::cfg::model_id + 1] = char(model >> 8);
        }
        put("dev/con2rec", img);
        fd_ = listen_at(dir_ / "tmp/ptzsvr.sock");
        daemon_ = std::thread([this] { serve(); });
        std::string err;
        ctl_ =
            make_daemon_controller({(dir_ / "tmp/ptzsvr.sock").string(), "", (dir_ / "state").string()}, err);
        ASSERT_NE(ctl_, nullptr) << err;
    }
    void TearDown() override {
        ctl_.reset();
        quit_ = true;
        daemon_.join();
        close(fd_);
        BoardTest::TearDown();
    }
    // The fake daemon: records every command and answers position queries
    // (unless told not to) from a head that goes where it is set.
    void serve() {
        uint8_t b[64];
        for (pollfd p{fd_, POLLIN, 0}; !quit_;) {
            if (poll(&p, 1, 20) <= 0 || recv(fd_, b, sizeof b, 0) < 28) continue;
            std::lock_guard lk(mu_);
            got_.emplace_back(b, b + 28);
            cv_.notify_all();
            const uint32_t ch = ptz::rd16(b + 8) & 63;
            if (ptz::rd16(b) == 0xE0A4)
                for (int i = 0; i < 3; ++i) head_[ch][i] = ptz::rd32(b + 12 + 4 * i);
            if (ptz::rd16(b) != 0xE0A6 || !answer_) continue;
            uint8_t m[32] = {0x14, 0x40, 0, 0, 24};
            const uint32_t body[6] = {ptz::rd32(b + 24), ch, 1, head_[ch][0], head_[ch][1], head_[ch][2]};
            for (int i = 0; i < 6; ++i) ptz::wr32(m + 8 + 4 * i, body[i]);
            send_to(dir_ / "tmp/ptzreport.sock", ptz::proc::Bytes(m, m + sizeof m));
        }
    }
    // What the daemon received once n commands have come, or `ms` have passed.
    std::vector<ptz::proc::Bytes> wait(size_t n = 0, int ms = 1000) {
        std::unique_lock lk(mu_);
        cv_.wait_for(lk, std::chrono::milliseconds(ms), [&] { return got_.size() >= n; });
        return std::exchange(got_, {});
    }
    static Vector pt(double p, double t) { return {true, p, t, false, 0}; }

    std::unique_ptr<Controller> ctl_;
    std::atomic<bool> answer_{true}, quit_{false};
    int fd_ = -1;
    std::thread daemon_;
    std::mutex mu_;
    std::condition_variable cv_;
    std::vector<ptz::proc::Bytes> got_;
    uint32_t head_[64][3] = {};
};

// msg_id and the u16 at offset 10 (action or preset) of each datagram but
// the position queries: "e011:0 e013:0".
std::string ids(const std::vector<std::vector<uint8_t>>& d) {
    std::string out;
    char b[16];
    for (const auto& m : d) {
        if (ptz::rd16(m.data()) == 0xE0A6) continue;
        std::snprintf(b, sizeof b, "%s%x:%x", out.empty() ? "" : " ", ptz::rd16(m.data()),
                      ptz::rd16(m.data() + 10));
        out += b;
    }
    return out;
}

TEST_F(ControllerTest, StopsNameTheirAxes) {
    // Pelco-D adds direction bits up until a stop: turning needs one first.
    ctl_->continuous_move(0, pt(1, 0), -1);
    ctl_->continuous_move(0, pt(-1, 0), -1);
    ctl_->continuous_move(0, {false, 0, 0, true, 0.5}, -1);
    // Stopping the zoom alone keeps the pan going.
    ctl_->stop(0, false, true);
    // The C1080B's stop command sends nothing; an unknown action sends its stop frame.
    ctl_->stop(1, true, true);
    EXPECT_EQ(ids(wait(8)), "e011:0 e013:0 e011:0 e011:1 e013:0 e011:0 e013:0 e011:4");
    // A timed move stops by itself (on the line in the node test); a new move in
    // the same direction replaces it, and the call never waits for the stop.
    ASSERT_EQ(ctl_->continuous_move(0, pt(-1, 0), 100), Err::ok);
    ASSERT_EQ(ctl_->continuous_move(0, pt(-0.5, 0), -1), Err::ok);
    std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(ids(wait()), "e011:0 e011:0");
}

// The board's PTZ channels; an absolute move and its read back are in the node
// test, here what it cannot see: when the camera is read again, and a daemon
// that never reports.
TEST_F(ControllerTest, StatusRereadsOnlyAfterMoves) {
    ASSERT_EQ(ctl_->channels().size(), 3u);  // 5 has no encoder, 6 no port
    EXPECT_TRUE(ctl_->channels()[0].model_id == 0x1600 && ctl_->channels()[2].channel == 4);
    EXPECT_EQ(ctl_->continuous_move(5, pt(1, 0), -1), Err::no_profile);
    ASSERT_EQ(ctl_->absolute_move(4, {true, 0.5, -0.5, true, 0.25}), Err::ok);
    Status s;
    ASSERT_EQ(ctl_->status(4, s), Err::ok);
    ASSERT_EQ(wait(2).size(), 2u);  // the move and one query

    // Between moves the report received answers, at once.
    const auto t0 = Clock::now();
    ASSERT_EQ(ctl_->status(4, s), Err::ok);
    EXPECT_LT(Clock::now() - t0, std::chrono::milliseconds(1));
    EXPECT_TRUE(wait().empty());

    // After any move request the camera is read again.
    ctl_->continuous_move(4, pt(0, 1), -1);
    ASSERT_EQ(ctl_->status(4, s), Err::ok);
    EXPECT_EQ(s.pan_tilt, Move::moving);
    EXPECT_EQ(ptz::rd16(wait(2).back().data()), 0xE0A6);

    // No report: no position, after about a second.
    answer_ = false;
    ctl_->stop(4, true, true);
    const auto t1 = Clock::now();
    ASSERT_EQ(ctl_->status(4, s), Err::ok);
    EXPECT_FALSE(s.has_position);
    EXPECT_LT(Clock::now() - t1, std::chrono::milliseconds(1300));
}

// Names surviving a restart are in the node test; here the numbering, the
// daemon's preset commands and the aux fallback.
TEST_F(ControllerTest, PresetNumbersAndCommands) {
    ctl_->absolute_move(0, {true, 0.5, 0, true, 0.5});
    std::string token;
    ASSERT_EQ(ctl_->set_preset(0, "Gate", token), Err::ok);
    EXPECT_EQ(token, "1");
    std::string t2;
    ASSERT_EQ(ctl_->set_preset(0, "Yard", t2), Err::ok);
    EXPECT_EQ(ctl_->remove_preset(0, "1"), Err::ok);
    EXPECT_EQ(ctl_->goto_preset(0, "1"), Err::no_token);
    ASSERT_EQ(ctl_->goto_preset(0, "2"), Err::ok);
    std::string t3;
    ASSERT_EQ(ctl_->set_preset(1, "", t3), Err::ok);
    ASSERT_EQ(ctl_->goto_preset(1, t3), Err::ok);  // through the aux fallback
    // Position reads for the Pelco-D presets come between the stores.
    EXPECT_EQ(ids(wait(8)), "e0a4:0 e120:1 e120:2 e122:1 e114:0 e120:a e091:101");
    std::vector<Preset> p;
    ASSERT_EQ(ctl_->presets(0, p), Err::ok);
    ASSERT_EQ(p.size(), 1u);
    EXPECT_TRUE(p[0].token == "2" && p[0].name == "Yard" && p[0].has_position);
}

}  // namespace
