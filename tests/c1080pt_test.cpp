#include "protocols/coax/c1080pt.h"

#include "protocols/rs485/pelco_d.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

constexpr uint8_t kAddr = 3;

Bytes frame7(uint16_t cmd, uint8_t d1, uint8_t d2) { return bytes(pelcod_frame(kAddr, cmd, d1, d2)); }
Bytes position(uint16_t p, uint16_t t, uint16_t z) { return bytes(c1080pt_frame(kAddr, 0x91, p, t, z)); }
Bytes reply(uint16_t p, uint16_t t, uint16_t z) { return bytes(c1080pt_frame(kAddr, 0x9B, p, t, z)); }
const Bytes kRequest = bytes(c1080pt_frame(kAddr, 0x93, 0, 0, 0));

Bytes box(uint16_t x, uint16_t y, uint16_t w, uint16_t h, uint8_t zoom_out = 0) {
    CmdBuilder b(0xE0AA, 1);
    wr16(b.b.data() + 10, x), wr16(b.b.data() + 12, y), wr16(b.b.data() + 14, w), wr16(b.b.data() + 16, h);
    b.b[18] = zoom_out;
    return b;
}
CmdBuilder query(int32_t requester, uint16_t channel = 1) {
    return CmdBuilder(0xE0A6, channel).requester(requester);
}
Bytes aux(uint16_t code, bool on) { return CmdBuilder(0xE090, 1).arg16(code).action(on ? 0x0101 : 0); }

// The camera answers the n-th position request (from 1) with answers[n-1];
// an empty answer is silence.
class CameraTest : public DaemonTest {
protected:
    std::vector<Bytes> answers;
    void SetUp() override {
        board.on_write = [this](SimBoard& b, const std::string& dev, const Bytes& data) {
            if (data.size() != 11 || data[3] != 0x93) return;
            const size_t n = requests++;
            if (n < answers.size() && !answers[n].empty()) b.queue_reply(dev, b.now() + 20000, answers[n]);
        };
    }
    size_t requests = 0;
    // The camera's next answers, from a clean record of calls.
    void answering(std::vector<Bytes> a) {
        answers = std::move(a);
        requests = 0;
        board.clear_calls();
    }
    // The report's six body fields.
    std::vector<uint32_t> report() const {
        const auto r = board.find("ioctl", "/dev/con2rec");
        if (r.size() != 1 || r[0]->req != 6 || r[0]->data.size() != 32) return {};
        std::vector<uint32_t> out;
        for (int i = 0; i < 6; ++i) out.push_back(rd32(r[0]->data.data() + 8 + 4 * i));
        return out;
    }
    std::string stdout_text() const {
        std::string s;
        for (const SimCall& c : board.calls)
            if (c.op == "write" && c.fd == 1) s.append(c.data.begin(), c.data.end());
        return s;
    }
};

class C1080PT : public CameraTest {
protected:
    void SetUp() override {
        CameraTest::SetUp();
        channel(1, 2, 770, kAddr);
        channel(2, 2, 770, 256);
        start();
    }
};

TEST_F(C1080PT, PositionReadAndReport) {
    const Bytes good = reply(12345, 4500, 2000);
    Bytes noisy = {0xFF, 0x00, 0x00, 0x42, 0x17};
    noisy.insert(noisy.end(), good.begin(), good.end());
    Bytes bad_sum = good;
    bad_sum[10] ^= 1;
    const char* fail1 = "ptzsvr(C1080PT_get_pos) : addr 3 getpos failure. tryed 1 times\n";
    const char* fail2 = "ptzsvr(C1080PT_get_pos) : addr 3 getpos failure. tryed 2 times\n";
    struct Row {
        const char* name;
        std::vector<Bytes> answers;
        size_t requests;
        std::vector<uint32_t> pos;
        std::vector<const char*> failures;
    };
    const Row rows[] = {
        {"first attempt", {good}, 1, {12345, 4500, 2000}, {}},
        {"third attempt", {{}, {}, good}, 3, {12345, 4500, 2000}, {fail1, fail2}},
        {"never", {}, 3, {0, 0, 0}, {fail1, fail2}},
        {"noise before the reply", {noisy}, 1, {12345, 4500, 2000}, {}},
        {"wrong checksum, then good", {bad_sum, good}, 2, {12345, 4500, 2000}, {fail1}},
        {"below the horizon shrinks to 0", {reply(100, 18801, 300)}, 1, {100, 0, 300}, {}},
        {"18800 is still a tilt", {reply(100, 18800, 300)}, 1, {100, 18800, 300}, {}},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        answering(r.answers);
        handle(1, query(1000).pos(7, 8, 9));
        EXPECT_EQ(requests, r.requests);
        EXPECT_EQ(writes(), std::vector<Bytes>(r.requests, kRequest));
        const std::vector<uint32_t> want = {1000, 1, 1, r.pos[0], r.pos[1], r.pos[2]};
        EXPECT_EQ(report(), want);
        std::vector<std::string> failures;
        for (const std::string& l : board.logs())
            if (l.find("getpos failure") != std::string::npos) failures.push_back(l);
        EXPECT_EQ(failures, std::vector<std::string>(r.failures.begin(), r.failures.end()));
        // The trace shows the request's fields, not the position read.
        EXPECT_TRUE(logged("C1080PT : GET POS : 7, 8, 9\n"));
    }
    answering({reply(100, 18801, 300)});
    handle(1, query(1000));
    EXPECT_TRUE(logged("Z20B : shrink tilt 18801 -> 0\n"));
    // Address 256: its low byte on the line, the whole address in the failure lines.
    answering({});
    handle(2, query(1000, 2));
    EXPECT_EQ(writes(), std::vector<Bytes>(3, bytes(c1080pt_frame(0, 0x93, 0, 0, 0))));
    EXPECT_TRUE(logged("ptzsvr(C1080PT_get_pos) : addr 256 getpos failure. tryed 2 times\n"));
}

TEST_F(C1080PT, SilentCameraCostsThreeTimeOutsAndTheDaemonGoesOn) {
    const int64_t t0 = board.now();
    send(query(1000));
    // three requests (10 ms settle, 11 bytes at 9600 baud doubled: 22916 us) and three 0.3 s waits,
    // each overrun by at most one 1 ms poll
    EXPECT_LE(board.now() - t0, 3 * (10000 + 22916 + 300000 + 1000) + 1000);
    EXPECT_EQ(report(), (std::vector<uint32_t>{1000, 1, 1, 0, 0, 0}));
    board.clear_calls();
    send(CmdBuilder(0xE013, 1));
    EXPECT_EQ(writes(), std::vector<Bytes>{frame7(0, 0, 0)});
}

TEST_F(C1080PT, ZoomBoxes) {
    // clang-format off
    struct Row { const char* name; Bytes cmd; Bytes answer; Bytes sent; };
    const Row rows[] = {
        // A click at the centre leaves everything where it is.
        {"click at the centre", box(955, 535, 10, 10), reply(20000, 4500, 3000), position(20000, 4500, 3000)},
        // Probe at its widest (fov 27.30 degrees), 200 x 200 box centred 480 px right of the centre:
        // pan + 480/960 * 2730, tilt 0 - 0.5 clamped to 0, zoom 9.6 steps: 2457 + 0.6 * 273.
        {"box right of the centre", box(1340, 440, 200, 200), reply(1000, 0, 273), position(2365, 0, 2620)},
        {"a failed read computes from (0, 0, 0)", box(955, 535, 10, 10), {}, position(0, 0, 273)},
        {"zoom out goes to the widest zoom", box(0, 0, 1920, 1080, 1), reply(20000, 4500, 3000), position(20000, 4500, 273)},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        answering({r.answer, r.answer, r.answer});
        handle(1, r.cmd);
        const auto w = writes();
        ASSERT_FALSE(w.empty());
        EXPECT_EQ(w.back(), r.sent);
        // the geometry traces to standard output
        EXPECT_TRUE(r.answer != reply(1000, 0, 273) ||
                    stdout_text().rfind("getNewPtValue_Probe : 1000, 0, 273 - 1440, 540\n", 0) == 0);
    }
}

TEST_F(C1080PT, MovesPresetsAndWaits) {
    // clang-format off
    struct Row { Bytes cmd; std::vector<Bytes> frames; const char* log; };
    const Row rows[] = {
        {CmdBuilder(0xE011, 1).xy(0x20, 0x40), {frame7(0x04, 0x20, 0)}, nullptr},
        {CmdBuilder(0xE012, 1).xy(61, 67).stop_after(1), {frame7(0x0C, 3, 3), frame7(0, 0, 0)}, nullptr},
        {CmdBuilder(0xE011, 1).action(1).xy(0xFF, 0), {frame7(0x25, 0, 11), frame7(0x20, 0, 0)}, nullptr},
        {CmdBuilder(0xE011, 1).action(2).xy(0x40, 0), {frame7(0x27, 0, 0), frame7(0x100, 0, 0)}, nullptr},
        {CmdBuilder(0xE011, 1).action(3).xy(0x41, 0), {frame7(0x200, 0, 0)}, "IRIS open\n"},
        {CmdBuilder(0xE014, 1).arg16(300), {frame7(0x07, 0, 44)}, "C1080PT : goto preset 300\n"},
        {CmdBuilder(0xE020, 1).action(5), {frame7(0x03, 0, 5)}, "C1080PT : save preset 5\n"},
        {CmdBuilder(0xE022, 1).action(6), {frame7(0x05, 0, 6)}, "C1080PT : clear preset 6\n"},
    };
    // clang-format on
    for (const Row& r : rows) {
        board.clear_calls();
        handle(1, r.cmd);
        EXPECT_EQ(writes(), r.frames);
        EXPECT_TRUE(!r.log || logged(r.log)) << r.log;
        for (uint32_t s : sleeps()) EXPECT_TRUE(s == 10000 || s == 35000) << s;
    }
}

// What each aux code means is the cross-check's sweep; these rows pin the waits: the held iris key, the
// camera reset, and the menu keys and extended commands that skip the 35 ms pause.
TEST_F(C1080PT, AuxTable) {
    // clang-format off
    struct Row { uint16_t aux; bool on; std::vector<Bytes> frames; const char* log; };
    const Row rows[] = {
        {130, true, {frame7(0x200, 0, 0), frame7(0, 0, 0)}, "manual iris open\n"},
        {595, true, {frame7(0x1E, 0, 0)}, "pelco-d menu\n"},
        {730, true, {frame7(0x1E, 0, 0)}, "pelco-d enter\n"},
        {731, true, {frame7(0x06, 0, 0)}, "pelco-d esc\n"},
        {930, true, {frame7(0x9030, 0, 0x0B)}, "AUX_VAL_CAM_RESET\n"},
        {931, false, {frame7(0x7E01, 3, 0)}, nullptr},
        {941, true, {frame7(0x7E34, 2, 2)}, nullptr},
        {8, true, {frame7(0x07, 0, 8)}, "pelcod unkown aux command sent to preset, 8\n"},
        {942, false, {frame7(0x03, 0, 942 & 0xFF)}, "pelcod unkown aux command sent to preset, 942\n"},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.aux);
        board.clear_calls();
        handle(1, aux(r.aux, r.on));
        EXPECT_EQ(writes(), r.frames);
        EXPECT_TRUE(!r.log || logged(r.log)) << r.log;
        EXPECT_EQ(count_sleeps(1000000), r.aux == 130 ? 1u : 0u);
        EXPECT_EQ(logged("Send Stop\n"), r.aux == 130);
        EXPECT_EQ(count_sleeps(2000000), r.aux == 930 ? 1u : 0u);
        // The menu keys and the extended commands go out without the 35 ms pause.
        const bool quick = r.aux == 730 || r.aux == 731 || (r.aux >= 930 && r.aux <= 941);
        EXPECT_EQ(count_sleeps(35000), quick ? 0u : r.frames.size());
    }
}

// WONWOO: models 771..774 are modes 2, 1, 0 and 3.
class Wonwoo : public CameraTest {
protected:
    static constexpr uint16_t kModels[4] = {773, 772, 771, 774};  // by mode
    void SetUp() override {
        CameraTest::SetUp();
        for (int mode = 0; mode < 4; ++mode) channel(mode, 2, kModels[mode], kAddr);
        channel(4, 2, kModels[0], 256);
        start();
    }
};

TEST_F(Wonwoo, OneReadTiltAsGivenNoPause) {
    // clang-format off
    struct Row { const char* name; Bytes answer; std::vector<uint32_t> pos; bool failed; };
    const Row rows[] = {
        {"answer", reply(300, 35500, 9000), {300, 35500, 9000}, false},
        {"silence", {}, {0, 0, 0}, true},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        answering({r.answer, reply(1, 2, 3)});
        handle(1, query(5, 1));
        EXPECT_EQ(writes(), std::vector<Bytes>{kRequest});
        EXPECT_EQ(report(), (std::vector<uint32_t>{0xFFFFFFFF, 1, 1, r.pos[0], r.pos[1], r.pos[2]}));
        EXPECT_EQ(logged("ptzsvr(C1080PT_WONWOO_get_pos) : addr 3 getpos failure\n"), r.failed);
        EXPECT_TRUE(logged("C1080PT_WONWOO_send_get_pos for 1\n"));
        EXPECT_FALSE(logged("Z20B : shrink tilt 35500 -> 0\n"));
    }
    answering({});
    handle(4, query(5, 4));
    EXPECT_TRUE(logged("ptzsvr(C1080PT_WONWOO_get_pos) : addr 256 getpos failure\n"));
    // No minimum pause after a frame: transmit settle and line time only.
    board.clear_calls();
    handle(1, CmdBuilder(0xE014, 1).arg16(12));
    EXPECT_EQ(writes(), std::vector<Bytes>{frame7(0x07, 0, 12)});
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 14582}));
    EXPECT_TRUE(logged("C1080PT_WONWOO msg_id[e014],action[0],addr[3],x[12],y[0]\r\n"));
    EXPECT_TRUE(logged("C1080PT_WONWOO : goto preset 12\n"));
}

// A 960 x 540 box at the centre doubles the magnification (two lens steps
// from a row) and leaves pan and tilt, but each lens treats the tilt 35500
// (5 degrees below the horizon) its own way.
TEST_F(Wonwoo, ZoomBoxPerModel) {
    struct Row {
        int mode;
        uint16_t zoom;  // a row of the model's lens table, two steps from index 5
        Bytes sent;
        const char* first_trace;
    };
    const Row rows[] = {
        {0, 6155, position(100, 18000, 12715), "getNewPtValue_Z10B : 100, 35500, 6155 -> 960, 540\n"},
        {1, 8863, position(100, 35500, 12444), "getNewPtValue_Z20B : 100, -500, 8863 - 960, 540\n"},
        {2, 8863, position(100, 0, 12444), "getNewPtValue_Z20B : 100, 35500, 8863 - 960, 540\n"},
        {3, 8082, position(100, 35500, 11450), "getNewPtValue_IR_Z30B : 100, -500, 8082 -> 960, 540\n"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.mode);
        for (uint8_t zoom_out : {0, 1}) {
            answering({reply(100, 35500, r.zoom)});
            Bytes cmd = box(480, 270, 960, 540, zoom_out);
            wr16(cmd.data() + 8, static_cast<uint16_t>(r.mode));
            handle(r.mode, cmd);
            const Bytes want = zoom_out ? position(100, 35500, 0) : r.sent;
            EXPECT_EQ(writes(), (std::vector<Bytes>{kRequest, want}));
            EXPECT_EQ(stdout_text().find(r.first_trace) != std::string::npos, !zoom_out) << stdout_text();
        }
    }
}

// Reference straight from the WONWOO aux table.
std::vector<Bytes> wonwoo_aux(int aux, bool on, int mode) {
    auto go = [](int n) { return std::vector<Bytes>{frame7(0x07, 0, static_cast<uint8_t>(n))}; };
    auto store = [](int n) { return std::vector<Bytes>{frame7(0x03, 0, static_cast<uint8_t>(n))}; };
    if ((aux >= 1 && aux <= 7) || aux == 9) return {frame7(on ? 0x09 : 0x0B, 0, static_cast<uint8_t>(aux))};
    if (aux >= 551 && aux <= 558) return go(91 + aux - 551);
    if (aux >= 711 && aux <= 718) return go(71 + aux - 711);
    if (aux >= 721 && aux <= 728) return go(81 + aux - 721);
    if (aux >= 961 && aux <= 968) return go(101 + aux - 961);
    if (aux == 730 || aux == 731)
        return {frame7(0x27, 0, 2), frame7(aux == 730 ? 0x100 : 0x80, 0, 0), frame7(0, 0, 0)};
    if (aux == 740) return {};
    // clang-format off
    const std::pair<int, int> stores[] = {{501, 252}, {502, 244}, {503, 243}, {504, 245}, {505, 250}, {595, 95},
        {950, 248}, {951, 240}, {952, 241}, {953, 242}, {954, mode == 1 ? 250 : 253}, {955, 255}};
    // clang-format on
    for (const auto& [v, preset] : stores)
        if (aux == v) return store(preset);
    return on ? go(aux) : store(aux);
}

TEST_F(Wonwoo, AuxTablePerMode) {
    for (int mode = 0; mode < 4; ++mode) {
        for (int v = 0; v <= 1000; ++v) {
            for (bool on : {true, false}) {
                board.clear_calls();
                handle(mode, aux(static_cast<uint16_t>(v), on));
                ASSERT_EQ(writes(), wonwoo_aux(v, on, mode)) << "mode " << mode << " aux " << v << " " << on;
                // 100 ms after every aux, and the menu keys are held for 100 ms
                ASSERT_EQ(count_sleeps(100000), v == 730 || v == 731 ? 2u : 1u) << v;
            }
        }
    }
    const std::pair<Bytes, const char*> logs[] = {
        {aux(3, false), "run aux 3 off\n"},
        {aux(558, true), "run pattern 8\n"},
        {aux(961, true), "run group 1\n"},
        {aux(8, true), "C1080PT_WONWOO : unkown aux command sent to preset, 8\n"},
        {aux(954, false), "C1080PT_WONWOO model 2, AUX 954,0\n"},
    };
    for (const auto& [cmd, text] : logs) {
        board.clear_calls();
        handle(2, cmd);
        EXPECT_TRUE(logged(text)) << text;
    }
}

}  // namespace
}  // namespace ptz::test
