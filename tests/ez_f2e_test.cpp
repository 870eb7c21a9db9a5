#include <cmath>

#include "devices/report.h"
#include "serial/serial.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

// The two heads as the keyboard's protocol sheet describes them.
struct Head {
    uint16_t model;
    uint8_t start, family, sum_xor, ack;
    size_t ack_len;
};
const Head kEz{0x1400, 0xE5, 0x10, 0xA5, 0x5E, 7}, kF2e{0x2300, 0xFA, 0x50, 0x00, 0xCC, 3};

Bytes frame(const Head& h, uint16_t addr, Bytes data) {
    Bytes f{h.start, static_cast<uint8_t>(h.family | addr >> 8), static_cast<uint8_t>(addr)};
    for (uint8_t b : data) f.push_back(b);
    unsigned sum = 0;
    for (uint8_t b : f) sum += b;
    f.push_back(static_cast<uint8_t>(sum ^ h.sum_xor));
    return f;
}
Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}
Bytes aux(uint16_t v, bool on) { return CmdBuilder(0xE090).arg16(v).action(on ? 257 : 0); }

class Wkc : public DaemonTest {
protected:
    void boot(const Head& h) {
        channel(0, 2, h.model, 0x123);
        start();
        // The head answers every frame 2 ms after it, as it does on the bench.
        board.on_write = [h](SimBoard& b, const std::string& dev, const Bytes&) {
            Bytes ack(h.ack_len + 1, 0x11);
            ack[0] = h.ack;
            b.queue_reply(dev, b.now() + 2000, ack);
        };
    }
    // What a row left on the line is not the next row's answer.
    void quiet() {
        board.on_write = nullptr;
        board.advance(1000000);
        for (uint8_t sink[64]; port_read(*d, 2, sink, 64) != kNothingRead;) {
        }
    }
};

TEST_F(Wkc, FramesAndTheSharedSpeedPair) {
    struct Row {
        const Head* head;
        std::vector<Bytes> cmds;
        std::vector<Bytes> data;  // the data bytes of every frame written, in order
    };
    const Row rows[] = {
        {&kEz, {mv(0xFF, 0x40)}, {{0x00, 0xBF, 0x00}}},                                // right at full speed
        {&kEz, {mv(0x00, 0x40)}, {{0x00, 0xC0, 0x00}}},                                // left: bit 7
        {&kEz, {mv(0x40, 0x50), mv(0x40, 0x30)}, {{0x00, 0, 0x90}, {0x00, 0, 0x10}}},  // up is bit 7
        {&kF2e, {mv(0x30, 0x48)}, {{0x80, 0x90, 0x88}}},
        {&kF2e,
         {mv(0x30, 0x48), mv(0x48, 0, 1)},
         {{0x80, 0x90, 0x88}, {0x91, 0x90, 0x88}}},  // zoom carries on
        {&kEz, {mv(0x30, 0x48, 0, 1), mv(0x60, 0, 2)}, {{0x00, 0x90, 0x88}, {0, 0, 0}, {0x04, 0, 0}}},
        {&kEz,
         {mv(0x30, 0x48), CmdBuilder(0xE013), mv(0x20, 0, 2)},
         {{0, 0x90, 0x88}, {0, 0, 0}, {0x08, 0, 0}}},
        {&kF2e,
         {mv(0x40, 0, 2), mv(0x40, 0, 3), mv(0x41, 0, 3), mv(0x30, 0x30, 9)},
         {{0, 0, 0}, {0x82, 0, 0}, {0x81, 0, 0}, {0, 0, 0}}},
        {&kF2e, {CmdBuilder(0xE013)}, {{0, 0, 0}}},  // the stop is all zero on F2E too
        {&kEz,
         {CmdBuilder(0xE014).arg16(300), CmdBuilder(0xE020).action(0x105), CmdBuilder(0xE022).action(7)},
         {{0x81, 0x2C, 0}, {0x84, 0x05, 0}, {0x83, 0x07, 0}}},
        {&kF2e,
         {CmdBuilder(0xE014).arg16(300), CmdBuilder(0xE020).action(0x105), CmdBuilder(0xE022).action(7)},
         {{0x11, 0x2C, 0}, {0x15, 0x05, 0}, {0x16, 0x07, 0}}},
        {&kEz, {CmdBuilder(0xE0A0).action(0x1C2).xy(3, 4), CmdBuilder(0xE0AA)}, {{0xC2, 3, 4}}},
    };
    for (size_t i = 0; i < std::size(rows); ++i) {
        SCOPED_TRACE(i);
        boot(*rows[i].head);
        for (const Bytes& c : rows[i].cmds) handle(0, c);
        std::vector<Bytes> expected;
        for (const Bytes& data : rows[i].data) expected.push_back(frame(*rows[i].head, 0x123, data));
        EXPECT_EQ(writes(), expected);
    }
    EXPECT_TRUE(logged("PTZSVR : special command from WKC keyboard 1c2h - 03h, 04h\n"));
    EXPECT_TRUE(logged("EZ(7): "));
    EXPECT_TRUE(logged(" c2"));
    // The main loop does not list the keyboard's own message: it never reaches the driver.
    board.clear_calls();
    send(CmdBuilder(0xE0A0).action(0x1C2).xy(3, 4));
    EXPECT_TRUE(writes().empty());
}

TEST_F(Wkc, ZoomAndAuxSweepsAgainstTheProtocolSheet) {
    const auto zoom = [](bool ez, int x) -> int {
        const int d = std::abs(x - 0x40) / 8;
        if (x > 0x40) return ez ? std::min(d, 7) | 0x10 : d < 8 ? d | 0x90 : 0x97;
        if (x < 0x40) return ez ? (d < 7 ? d | 0x18 : 0x1F) : d < 8 ? d | 0x98 : 0x9F;
        return 0;
    };
    // The aux sheet: {one byte?, command} or nothing.
    const auto sheet = [](bool ez, int v, bool on) -> std::pair<Bytes, bool> {
        if (v == 602) return {{static_cast<uint8_t>(ez ? 0x01 : on ? 0x28 : 0x29)}, !(ez && on)};
        if (v == 595) return {{static_cast<uint8_t>(ez ? 0xA3 : 0x24)}, true};
        if (v == 730) return {{static_cast<uint8_t>(ez ? 0xA2 : 0x2C)}, true};
        if (v == 731) return {{static_cast<uint8_t>(ez ? 0xA1 : 0x27)}, true};
        const auto idx = [&](int first, int c) {
            return Bytes{static_cast<uint8_t>(c), static_cast<uint8_t>(v - first), 0};
        };
        if (v >= 551 && v <= 558) return {idx(551, ez ? 0x8A : 0x13), true};
        if (v >= 701 && v <= 704) return {idx(701, ez ? (on ? 0x8C : 0x8D) : (on ? 0x18 : 0x19)), true};
        if (v >= 711 && v <= 718) return {idx(711, ez ? 0x86 : 0x12), true};
        if (v >= 721 && v <= 728) return {idx(721, ez ? 0x88 : 0x14), true};
        return {{}, false};
    };
    for (const Head* h : {&kEz, &kF2e}) {
        const bool ez = h == &kEz;
        boot(*h);
        for (int x = 0; x < 256; ++x) {
            board.clear_calls();
            handle(0, mv(static_cast<uint8_t>(x), 0x40, 1));
            ASSERT_EQ(writes().size(), 1u);
            EXPECT_EQ(writes()[0][3], zoom(ez, x)) << x;
        }
        for (int v = 540; v <= 740; ++v) {
            for (const bool on : {true, false}) {
                board.clear_calls();
                handle(0, aux(static_cast<uint16_t>(v), on));
                const auto [data, sent] = sheet(ez, v, on);
                EXPECT_EQ(writes(), sent ? std::vector<Bytes>{frame(*h, 0x123, data)} : std::vector<Bytes>{})
                    << v << " " << on;
                if (v == 705 && on) {
                    EXPECT_TRUE(logged(ez ? "PTZSVR : ez aux control(705,257)\n"
                                          : "PTZSVR : f2e aux control(705,257)\n"));
                }
            }
        }
    }
}

// The position query is answered by C5 and 7 bytes: pan 0x7079 (900), tilt 0x01E0 (45), zoom 0x0203.
const Bytes kPosition{0xC5, 0x70, 0x79, 0x01, 0xE0, 0x02, 0x03, 0x00};

TEST_F(Wkc, GetPositionReportsAndEveryWaitIsBounded) {
    struct Row {
        const char* name;
        std::vector<std::pair<int64_t, Bytes>> replies;  // after the query, at us
        bool ok;
    };
    Bytes noise(19, 0x33);
    noise.insert(noise.end(), kPosition.begin(), kPosition.end());
    Bytes too_much_noise(20, 0x33);
    too_much_noise.insert(too_much_noise.end(), kPosition.begin(), kPosition.end());
    const Row rows[] = {
        {"on time", {{2000, kPosition}}, true},
        {"twice", {{2000, kPosition}, {2500, kPosition}}, true},
        {"19 noise bytes first", {{2000, noise}}, true},
        {"20 noise bytes first", {{2000, too_much_noise}}, false},
        {"late", {{60000, kPosition}}, false},
        {"short", {{2000, Bytes(kPosition.begin(), kPosition.begin() + 4)}}, false},
        {"never", {}, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        channel(0, 2, 0x1400, 1);
        start();
        board.on_write = [&r](SimBoard& b, const std::string& dev, const Bytes&) {
            for (const auto& [at, bytes] : r.replies) b.queue_reply(dev, b.now() + at, bytes);
        };
        const int64_t t0 = board.now();
        handle(0, CmdBuilder(0xE0A6, 0).requester(1234));
        EXPECT_LT(board.now() - t0, 60000);  // write, then 20 polls at most (40 with a reply begun)
        const auto reports = board.find("ioctl", "/dev/con2rec");
        ASSERT_EQ(reports.size(), 1u);
        const uint32_t pan = r.ok ? 900 : ~0u, tilt = r.ok ? 45 : ~0u, zoom = r.ok ? 0x203 : ~0u;
        EXPECT_EQ(reports[0]->data, bytes(build_report(1234, 0, r.ok, pan, tilt, zoom)));
        EXPECT_EQ(writes(), (std::vector<Bytes>{frame(kEz, 1, {0x40})}));
        EXPECT_TRUE(logged(r.ok ? "EZ : get pos(0) 900, 45, 515\n" : "EZ : get pos failed\n"));
        EXPECT_TRUE(logged("EZ : get pos returns 0\n"));
        quiet();
    }
}

TEST_F(Wkc, SetPosition) {
    const auto sum = [](Bytes f) {
        unsigned s = 0;
        for (uint8_t b : f) s += b;
        f.push_back(static_cast<uint8_t>(s));
        return f;
    };
    struct Row {
        const Head* head;
        int32_t p, t, z;
        bool answers;
        std::vector<Bytes> frames;
    };
    const Row rows[] = {
        {&kEz, 900, 0, 0, true, {sum({0x5E, 0x10, 0x01, 0xFF, 0x70, 0x79, 0, 0, 0, 1})}},
        {&kF2e, 3599, 45, 7, true, {sum({0xAA, 0x50, 0x01, 0x71, 0, 0, 0x01, 0xE0, 0, 7})}},
        // a negative value keeps the head's own: ask first, then a frame that starts with AA on EZ too
        {&kEz,
         0,
         -1,
         9,
         true,
         {frame(kEz, 1, {0x40}), sum({0xAA, 0x10, 0x01, 0xFF, 0x95, 0xFA, 0x01, 0xE0, 0, 9})}},
        {&kF2e,
         -5,
         0,
         -1,
         true,
         {frame(kF2e, 1, {0x40}), sum({0xAA, 0x50, 0x01, 0x71, 0x70, 0x79, 0, 0, 2, 3})}},
        // no answer to the question: nothing more is sent
        {&kEz, 10, -1, 0, false, {frame(kEz, 1, {0x40})}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.p);
        channel(0, 2, r.head->model, 1);
        start();
        if (r.answers)
            board.on_write = [](SimBoard& b, const std::string& dev, const Bytes& f) {
                if (f.size() == 5) b.queue_reply(dev, b.now() + 1000, kPosition);
            };
        handle(0, CmdBuilder(0xE0A4).pos(static_cast<uint32_t>(r.p), static_cast<uint32_t>(r.t),
                                         static_cast<uint32_t>(r.z)));
        EXPECT_EQ(writes(), r.frames);
        quiet();
    }
    EXPECT_TRUE(logged("EZ : set pos 10, -1, 0\n"));
}

}  // namespace
}  // namespace ptz::test
