// The sensor and switch devices: the INOS-V900's switch and sensor reads and its report words, the
// SMARTFARM's accumulating movement word and its status dump. The reply reader itself is the serial tests';
// the report's meaning the cross-check's.
#include <map>

#include "core/report.h"
#include "devices/inos_v900.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

// FF 01 status type d4..d9 sum of bytes 1..9: requests (status 0) and answers alike.
Bytes ext(uint8_t type, Bytes data, uint8_t status = 0) {
    Bytes f{0xFF, 0x01, status, type};
    for (uint8_t b : data) f.push_back(b);
    f.resize(10, 0);
    unsigned sum = 0;
    for (size_t i = 1; i < 10; ++i) sum += f[i];
    f.push_back(static_cast<uint8_t>(sum));
    return f;
}

// The INOS-V900 on channel 3 at address 1; SMARTFARM, which no model_id selects, is called as the dispatcher
// would, on the same port at address 9 (channel 0's line settings).
class Devices : public DaemonTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1600, 9);
        channel(3, 2, 0x901, 1);
        start();
    }
    // The head answers each request 20 ms after it (or `delay_us`) with the answer of its type, if not empty.
    void answer(std::map<uint8_t, Bytes> answers, int64_t delay_us = 20000) {
        board.on_write = [answers, delay_us](SimBoard& b, const std::string& dev, const Bytes& f) {
            static const std::map<uint8_t, uint8_t> kAnswerType = {{0x93, 0x9B}, {0xA3, 0xAB}, {0xB3, 0xBB},
                                                                   {0xE0, 0xE1}, {0xE2, 0xE3}, {0x83, 0x8B}};
            const auto type = kAnswerType.find(f[3]);
            const auto it = type == kAnswerType.end() ? answers.end() : answers.find(type->second);
            if (f.size() == 11 && it != answers.end() && !it->second.empty())
                b.queue_reply(dev, b.now() + delay_us, it->second);
        };
    }
    Bytes report() const {
        const auto r = board.find("ioctl", "/dev/con2rec");
        return r.empty() ? Bytes{} : r.back()->data;
    }
    void smartfarm(Bytes cmd) {
        cmd.resize(kMinCommandBuffer, 0);
        PTZAction_SMARTFARM(*d, 2, 9, cmd.data());
    }
};

TEST_F(Devices, InosPresetsAskForTheSwitchesOnTimeLateOrNever) {
    const std::pair<Script, uint32_t> rows[] = {
        {{{20000, ext(0x9B, {0, 0, 0x12, 0x34})}}, 0x1234},
        {{{950000, ext(0x9B, {0, 0, 0x12, 0x34})}}, 0},
        {{}, 0},
    };
    for (const auto& [script, switches] : rows) {
        d->drv = {};
        answer_writes(board, script, [](const Bytes& f) { return f.size() == 11; });
        const int64_t t0 = board.now();
        handle(3, CmdBuilder(0xE020, 3).action(0x105));
        EXPECT_EQ(writes(), (std::vector<Bytes>{bytes(pelcod_frame(1, 0x03, 0, 5)), ext(0x93, {})}));
        EXPECT_EQ(sleeps()[2], 10000u);  // the head settles after the preset before it is asked
        EXPECT_LE(board.now() - t0, 10000 + 35000 + 10000 + 10000 + 35000 + 901000);
        EXPECT_EQ(report(), bytes(build_report(0, 3, 0, switches, 0, 0)));
        EXPECT_EQ(logged("ptzsvr(inosv900_get_current_switch_status) : 12 34 -> 1234\n"), switches != 0);
        EXPECT_TRUE(logged("(inosv900_get_current_switch_status) size : 24, (0000" +
                           std::string(switches ? "1234" : "0000") + ":00000000:00000000)\n"));
        silence(board, *d);
    }
    handle(3, CmdBuilder(0xE014, 3).arg16(0x107));  // data 1, which the decoder does not read
    EXPECT_EQ(writes(), (std::vector<Bytes>{bytes(pelcod_frame(1, 0x07, 0, 7)), ext(0x93, {})}));
}

TEST_F(Devices, InosAbsoluteFramesAndTheStoredReport) {
    handle(3, CmdBuilder(0xE0A4, 3).pos(999, static_cast<uint32_t>(-300), 20));
    handle(3, CmdBuilder(0xE0A4, 3).pos(0, 0x1FF, static_cast<uint32_t>(-2)));
    EXPECT_EQ(writes(), (std::vector<Bytes>{ext(0xA1, {0, 0, 0x01, 0x2C}), ext(0xB1, {0, 0, 0x00, 0x14}),
                                            ext(0xA1, {0, 1, 0x01, 0xFF}), ext(0xB1, {0, 0, 0xFF, 0xFE})}));
    board.clear_calls();
    handle(3, CmdBuilder(0xE0A6, 3).requester(1234));  // nothing asked: the state as it stands
    EXPECT_TRUE(writes().empty());
    EXPECT_EQ(report(), bytes(build_report(0, 3, 0, 0, 0, 0)));
    EXPECT_TRUE(logged("(inosv900_send_switch_status) size : 24, (00000000:00000000:00000000)\n"));
}

TEST_F(Devices, InosSensorPollLogsChangesAndPacksTheReportWords) {
    std::map<uint8_t, Bytes> answers = {
        {0x9B, ext(0x9B, {0, 0x07, 0x00, 0x05})}, {0xAB, ext(0xAB, {0, 0, 0x00, 0xFA})},
        {0xBB, ext(0xBB, {0, 0, 0x01, 0x02})},    {0xE1, ext(0xE1, {0, 0, 0, 0x33})},
        {0xE3, ext(0xE3, {0, 0, 0, 0x44})},
    };
    // change: answers changed before this poll, an empty one withheld; logs: every line that told a change
    // or a failure; words: the report after the poll. First a negative temperature and every value new,
    // last a poll that stops at the silence.
    // clang-format off
    struct Row { std::map<uint8_t, Bytes> change; int result; std::vector<std::string> logs; std::array<uint32_t, 3> words; };
    const Row rows[] = {
        {{}, 0, {"sensor 0 -> 7, switch 0 -> 5\n", "temp 0 -> -250\n", "humm 0 -> 258\n", "dust 0 -> 51\n", "dust 0 -> 68\n"}, {5, 0x0033FF06, 0x00440102}},
        {{{0xAB, ext(0xAB, {0, 1, 0x00, 0xFA})}}, 0, {"temp -250 -> 250\n"}, {5, 0x003300FA, 0x00440102}},
        {{{0xAB, ext(0xAB, {0, 1, 0x01, 0x00})}, {0xBB, {}}, {0xE3, ext(0xE3, {0, 0, 0, 0x99})}}, -1, {"temp 250 -> 256\n", "2:1 failed, no data, 0\n"}, {5, 0x00330100, 0x00440102}},
    };
    // clang-format on
    const std::string poll = "ptzsvr(INOSV900_get_sensor_data) : ";
    for (const Row& r : rows) {
        for (const auto& [type, bytes] : r.change) answers[type] = bytes;
        answer(answers);
        uint8_t sensor = 0;
        EXPECT_EQ(INOSV900_get_sensor_data(*d, 2, 1, sensor), r.result);
        EXPECT_EQ(sensor, 7);
        std::vector<std::string> lines;
        for (const std::string& l : board.logs())
            if (l.rfind(poll, 0) == 0) lines.push_back(l.substr(poll.size()));
        EXPECT_EQ(lines, r.logs);
        silence(board, *d);
        handle(3, CmdBuilder(0xE0A6, 3));
        EXPECT_EQ(report(), bytes(build_report(0, 3, 0, r.words[0], r.words[1], r.words[2])));
    }
    // The firmware version, in time and too late.
    answer({{0x8B, ext(0x8B, {1, 2, 3, 0, 0, 42})}});
    EXPECT_EQ(INOSV900_check_fw_version(*d, 2, 1), 42);
    EXPECT_EQ(writes(), std::vector<Bytes>{ext(0x83, {})});
    EXPECT_TRUE(logged("ptzsvr(INOSV900_check_fw_version) : ret is 11, 01:02:03 -> 42\n"));
    silence(board, *d);
    answer({{0x8B, ext(0x8B, {1, 2, 3, 0, 0, 42})}}, 1200000);  // more than 0.9 s after the wait began
    EXPECT_EQ(INOSV900_check_fw_version(*d, 2, 1), 0);
}

Bytes pd(uint16_t word, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(9, word, d1, d2)); }

TEST_F(Devices, SmartfarmWordAccumulatesUntilAStop) {
    const std::pair<std::vector<Bytes>, std::vector<Bytes>> rows[] = {
        {{mv(0x30, 0x50)}, {pd(0x0C, 0x10, 0x10)}},
        {{mv(0x20, 0x40), mv(0x40, 0x30)}, {pd(0x04, 0x20, 0), pd(0x14, 0x20, 0x10)}},  // down keeps the pan
        {{mv(0x20, 0x40), mv(0x50, 0x40)}, {pd(0x04, 0x20, 0), pd(0x06, 0x10, 0)}},     // left, right: both
        {{mv(0x20, 0x40), mv(63, 63)}, {pd(0x04, 0x20, 0), pd(0x04, 0x20, 0)}},  // on a diagonal: no change
        {{mv(0x70, 0, 1)}, {pd(0x25, 0, 3), pd(0x20, 0, 0)}},
        {{mv(0x50, 0, 2)}, {pd(0x27, 0, 1), pd(0x100, 0, 0)}},
        {{mv(0x20, 0x40), mv(0x00, 0, 2)}, {pd(0x04, 0x20, 0), pd(0x27, 0, 4), pd(0x84, 0x20, 0)}},
        {{mv(0x20, 0x40), mv(0x40, 0, 3)}, {pd(0x04, 0x20, 0), pd(0x400, 0, 0)}},  // iris replaces the word
        {{mv(0x20, 0x40, 0, 1), mv(0x40, 0x60)}, {pd(0x04, 0x20, 0), pd(0, 0, 0), pd(0x08, 0, 0x20)}},
        {{mv(0x20, 0x40), mv(0x10, 0x10, 5)}, {pd(0x04, 0x20, 0), pd(0x04, 0x20, 0)}},  // no such action
        {{mv(0x20, 0x40), CmdBuilder(0xE013), mv(0x40, 0x60)},
         {pd(0x04, 0x20, 0), pd(0, 0, 0), pd(0x08, 0, 0x20)}},
        {{CmdBuilder(0xE014).arg16(3)}, {}},
    };
    for (const auto& [cmds, frames] : rows) {
        d->drv = {};
        board.clear_calls();
        for (const Bytes& c : cmds) smartfarm(c);
        EXPECT_EQ(writes(), frames);
    }
    EXPECT_TRUE(logged("SMARTFARM : msg_id[e014],action[0],addr[9],x[3],y[0]"));
    smartfarm(mv(0x40, 0, 3));
    EXPECT_TRUE(logged("IRIS close\n"));
    EXPECT_EQ(count_sleeps(35000), 1u);
}

// What is logged from the rlen line on: the dump of what the reader collected after a stop.
TEST_F(Devices, SmartfarmStatusAfterAStop) {
    const Bytes noisy{0x02, 0xFF, 0x09, 0x00, 0x00, 0x12, 0x34, 0x4F};  // a status frame after a stray byte
    std::string zeros;
    for (int i = 0; i < 20; ++i) zeros += "00 ";
    const std::pair<Script, std::string> rows[] = {
        {{{20000, Bytes(noisy.begin() + 1, noisy.end())}}, "SMARTFARM : rlen is 0\n"},  // found at 0: no dump
        {{{20000, noisy}}, "SMARTFARM : rlen is 1\nff "},
        {{{20000, {0xFF, 0x09, 0x00}}}, "SMARTFARM : rlen is 3\n00 00 00 "},  // short: zeros behind the count
        {stream(3000000, {0x55}), "SMARTFARM : rlen is 128\n" + zeros},       // keeps sending: 128, 20 dumped
    };
    for (const auto& [script, tail] : rows) {
        answer_writes(board, script);
        const int64_t t0 = board.now();
        smartfarm(CmdBuilder(0xE013));
        EXPECT_EQ(writes(), std::vector<Bytes>{pd(0, 0, 0)});
        EXPECT_LE(board.now() - t0, 10000 + 35000 + 2000000);
        const std::string text = log_text(board);
        EXPECT_EQ(text.substr(std::min(text.find("SMARTFARM : rlen"), text.size())), tail);
        silence(board, *d);
    }
}

}  // namespace
}  // namespace ptz::test
