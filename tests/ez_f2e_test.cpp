#include "core/report.h"
#include "tests/scripted_line.h"

namespace ptz::test {
namespace {

// The two heads as their protocol sheet gives them.
// clang-format off
struct Head { uint16_t model; uint8_t start, family, sum_xor, ack; size_t ack_len; };
// clang-format on
const Head kEz{0x1400, 0xE5, 0x10, 0xA5, 0x5E, 7}, kF2e{0x2300, 0xFA, 0x50, 0x00, 0xCC, 3};

Bytes frame(const Head& h, uint16_t addr, const Bytes& data) {
    Bytes f{h.start, static_cast<uint8_t>(h.family | addr >> 8), static_cast<uint8_t>(addr)};
    for (uint8_t b : data) f.push_back(b);
    unsigned sum = 0;
    for (uint8_t b : f) sum += b;
    f.push_back(static_cast<uint8_t>(sum ^ h.sum_xor));
    return f;
}

class Wkc : public DaemonTest {
protected:
    void boot(const Head& h, uint16_t addr = 0x123) {
        channel(0, 2, h.model, addr);
        start();
        Bytes ack(h.ack_len + 1, 0x11);
        ack[0] = h.ack;
        answer_writes(board, {{2000, ack}});  // every frame is answered 2 ms after it
    }
};

TEST_F(Wkc, FramesAndTheSharedSpeedPair) {
    // the data bytes of every frame, in order
    // clang-format off
    struct Row { const Head* head; std::vector<Bytes> cmds; std::vector<Bytes> data; };
    const Row rows[] = {
        {&kEz, {mv(0xFF, 0x40)}, {{0x00, 0xBF, 0x00}}},  // bit 7 of 0xBF reads as left
        {&kF2e, {mv(0x30, 0x48), mv(0x48, 0, 1)}, {{0x80, 0x90, 0x88}, {0x91, 0x90, 0x88}}},  // zoom carries the pan on
        {&kEz, {mv(0x30, 0x48, 0, 1), mv(0x60, 0, 2)}, {{0, 0x90, 0x88}, {0, 0, 0}, {0x04, 0, 0}}},
        {&kEz, {mv(0x30, 0x48), CmdBuilder(0xE013), mv(0x20, 0, 2)}, {{0, 0x90, 0x88}, {0, 0, 0}, {0x08, 0, 0}}},
        {&kF2e, {mv(0x40, 0, 2), mv(0x40, 0, 3), mv(0x41, 0, 3), mv(0x30, 0x30, 9), CmdBuilder(0xE013)},
         {{0, 0, 0}, {0x82, 0, 0}, {0x81, 0, 0}, {0, 0, 0}, {0, 0, 0}}},
        {&kEz, {CmdBuilder(0xE0A0).action(0x1C2).xy(3, 4), CmdBuilder(0xE0AA)}, {{0xC2, 3, 4}}},  // WKC keyboard
    };
    // clang-format on
    for (const Row& r : rows) {
        boot(*r.head);
        for (const Bytes& c : r.cmds) handle(0, c);
        std::vector<Bytes> expected;
        for (const Bytes& data : r.data) expected.push_back(frame(*r.head, 0x123, data));
        EXPECT_EQ(writes(), expected);
    }
    EXPECT_NE(log_text(board).find(
                  "PTZSVR : special command from WKC keyboard 1c2h - 03h, 04h\nEZ(7):  e5 11 23 c2 03 04"),
              std::string::npos);
    // Each frame: 1 ms enable, the block (10 ms enable, 1 ms minimum), then the answer's polls.
    const auto s = sleeps();
    ASSERT_GE(s.size(), 3u);
    EXPECT_EQ(std::vector<uint32_t>(s.begin(), s.begin() + 3), (std::vector<uint32_t>{1000, 10000, 14582}));
    // The main loop does not list the keyboard's own message: it never reaches the driver.
    board.clear_calls();
    send(CmdBuilder(0xE0A0).action(0x1C2).xy(3, 4));
    EXPECT_TRUE(writes().empty());
}

// At 115200 baud a 5-byte frame is shorter than the 1 ms minimum after it.
TEST_F(Wkc, ShortFramesWaitTheMinimum) {
    channel(0, 2, kEz.model, 1, 7);
    start();
    handle(0, aux(595));
    const auto s = sleeps();
    ASSERT_GE(s.size(), 3u);
    EXPECT_EQ(std::vector<uint32_t>(s.begin(), s.begin() + 3), (std::vector<uint32_t>{1000, 10000, 1000}));
}

// The query's answer: C5, pan 0x7079 (900), tilt 0x01E0 (45), zoom 0x0203, one unused byte.
const Bytes kPosition{0xC5, 0x70, 0x79, 0x01, 0xE0, 0x02, 0x03, 0x00};

TEST_F(Wkc, GetPositionOnTimeLateNoisyTwiceShortOrNever) {
    Bytes noise(19, 0x33), more_noise(20, 0x33);
    noise.insert(noise.end(), kPosition.begin(), kPosition.end());
    more_noise.insert(more_noise.end(), kPosition.begin(), kPosition.end());
    const std::pair<Script, bool> rows[] = {
        {{{2000, kPosition}}, true},
        {{{2000, kPosition}, {2500, kPosition}}, true},
        {{{2000, noise}}, true},
        {{{2000, more_noise}}, false},  // each noise byte costs one of 20 attempts
        {{{60000, kPosition}}, false},
        {{{2000, Bytes(kPosition.begin(), kPosition.begin() + 4)}}, false},
        {{}, false},
        {stream(500000, {0x33}), false},
    };
    for (const auto& [script, ok] : rows) {
        boot(kEz, 1);
        answer_writes(board, script);
        const int64_t t0 = board.now();
        handle(0, CmdBuilder(0xE0A6, 0).requester(1234));
        EXPECT_LT(board.now() - t0, 60000);  // the write, then 40 polls at most
        EXPECT_EQ(writes(), (std::vector<Bytes>{frame(kEz, 1, {0x40})}));
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        EXPECT_EQ(reports[0]->data, bytes(ok ? build_report(1234, 0, 1, 900, 45, 0x203)
                                             : build_report(1234, 0, 0, ~0u, ~0u, ~0u)));
        EXPECT_TRUE(logged(ok ? "EZ : get pos(0) 900, 45, 515\n" : "EZ : get pos failed\n"));
        EXPECT_TRUE(logged("EZ : get pos returns 0\n"));
        silence(board, *d);
    }
}

TEST_F(Wkc, SetPositionAsksFirstForTheValuesItKeeps) {
    const auto sum = [](Bytes f) {
        unsigned s = 0;
        for (uint8_t b : f) s += b;
        f.push_back(static_cast<uint8_t>(s));
        return f;
    };
    const auto at = [](uint32_t p, uint32_t t, uint32_t z) { return CmdBuilder(0xE0A4).pos(p, t, z); };
    const Bytes ask_ez = frame(kEz, 1, {0x40}), ask_f2e = frame(kF2e, 1, {0x40});
    // A negative value keeps the head's own: ask first; the frame then starts with AA, on EZ too. No answer
    // to the question: nothing more.
    const std::tuple<const Head*, Bytes, bool, std::vector<Bytes>> rows[] = {
        // head, command, answers, frames
        {&kEz, at(900, 0, 0), true, {sum({0x5E, 0x10, 0x01, 0xFF, 0x70, 0x79, 0, 0, 0, 1})}},
        {&kF2e, at(3599, 45, 7), true, {sum({0xAA, 0x50, 0x01, 0x71, 0, 0, 0x01, 0xE0, 0, 7})}},
        {&kEz, at(0, ~0u, 9), true, {ask_ez, sum({0xAA, 0x10, 0x01, 0xFF, 0x95, 0xFA, 0x01, 0xE0, 0, 9})}},
        {&kF2e, at(-5u, 0, ~0u), true, {ask_f2e, sum({0xAA, 0x50, 0x01, 0x71, 0x70, 0x79, 0, 0, 2, 3})}},
        {&kEz, at(10, ~0u, 0), false, {ask_ez}},
    };
    for (const auto& [head, cmd, answers, frames] : rows) {
        boot(*head, 1);
        answer_writes(board, answers ? Script{{1000, kPosition}} : Script{},
                      [](const Bytes& f) { return f.size() == 5; });
        handle(0, cmd);
        EXPECT_EQ(writes(), frames);
        silence(board, *d);
    }
}

}  // namespace
}  // namespace ptz::test
