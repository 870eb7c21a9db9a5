#include "core/routing.h"

#include <random>
#include <tuple>

#include "tests/fixture.h"

namespace ptz::test {
namespace {

using Routing = DaemonTest;

// The coax mux port by coax hardware and board model.
TEST_F(Routing, CoaxPortNumber) {
    d = std::make_unique<Daemon>(board);
    for (int coc = 0; coc < 10; ++coc) {
        for (int model : {0, 46, 47, 48, 392, 393, 394, 395, 396, 522, 523, 524, 526, 527, 528}) {
            d->sv.coc_type = coc;
            d->sv.model = model;
            const bool on3 = coc == 2 || (coc == 7 && model != 47 && model != 523) ||
                             (coc == 8 && (model == 527 || model == 393 || model == 395));
            const bool on4 = coc >= 4 && coc <= 8 && !on3;
            EXPECT_EQ(coax_port_number(*d), on3 ? 3 : on4 ? 4 : -1) << coc << "/" << model;
        }
    }
}

// Receiver types 10 to 16 on channels 0 to 15 make the channel the target of a group of type - 8 channels
// ending at it, or one channel later on some video receivers; the recorder keeps the first eight groups. A
// channel in a group is addressed by its place in the group and its coax line is switched through the
// target, as is the multiplexer of coc types 4 and 5. Ports 5 to 7 switch the line with one pair of
// requests, port 8 with its own, only for the formats that carry coax control. The 393 and 395 wire their
// groups in fixed rows of four instead, the last group deciding, and switch lines through their two
// receivers. Swept over random receiver types against those rules.
TEST_F(Routing, GroupsAddressesAndLineTargets) {
    constexpr int kRows[16] = {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 2, 0, 1, 2, 3};
    std::mt19937 rng(16);
    std::array<int, 18> port{};
    for (unsigned trial = 0; trial < 400; ++trial) {
        // the line switch of coc type 6, the multiplexers of the others
        const int coc = std::array{6, 4, 5, 2}[trial / 12 % 4];
        sysvar("coc_type", coc);
        const int model = std::array{0, 393, 395}[trial % 3];
        const int vrt = std::array{0, 13, 14, 15, 16, 17, 21, 22, 23, 24}[rng() % 10];
        const bool later = vrt == 14 || vrt == 15 || vrt == 17 || vrt == 22 || vrt == 23;
        sysvar("model", model);
        sysvar("video_receiver_type", vrt);
        std::vector<TdmEntry> groups;
        for (int ch = 0; ch < 18; ++ch) {
            int type = rng() % 4 < trial / 3 % 4 ? static_cast<int>(8 + rng() % 10) : 0;
            if (ch == 2 && trial % 8 == 0) type = 10;  // a group of two on the 393's second receiver
            port[static_cast<size_t>(ch)] = std::array{4, 5, 7, 8}[rng() % 4];  // a serial port, or coax
            channel(ch, port[static_cast<size_t>(ch)], 2054, 55);  // 2054 passes the PTZ check, has no driver
            if (ch < 16) board.formats[static_cast<size_t>(ch)] = rng() % 17;
            board.config[kChannelRecordSize * static_cast<size_t>(ch) + cfg::receiver_type] =
                static_cast<uint8_t>(type);
            const int last = later ? ch + 2 : ch + 1;
            if (ch < 16 && type >= 10 && type <= 16 && groups.size() < 8)
                groups.push_back({ch, type - 8, last - (type - 8), last});
        }
        start();
        ASSERT_EQ(d->tdm_count, static_cast<int>(groups.size()));
        for (size_t i = 0; i < groups.size(); ++i) {
            const TdmEntry &g = groups[i], &t = d->tdm[i];
            EXPECT_EQ(std::tie(t.target, t.count, t.first, t.last),
                      std::tie(g.target, g.count, g.first, g.last));
        }
        for (int ch = 0; ch < 16; ++ch) {
            int addr = 0, line = -1, target = -1;  // target: of the first group that holds the channel
            for (const TdmEntry& g : groups) {
                if (target < 0 && g.first <= ch && ch < g.last) {
                    target = g.target;
                    if (model == 0) addr = ch - g.first + 1;
                }
                if (model == 0) continue;
                const int row = ch + 4 * (g.count - 1);
                addr = g.target == 0 ? ch / 2 + 1 : row < 16 ? kRows[row] + 1 : 0;
                if (g.target == 0 && (ch == 0 || ch == 2)) line = 0;
                if (g.target == 2 && (g.count == 4 || (g.count == 3 && ch >= 1 && ch <= 3) ||
                                      (g.count == 2 && (ch == 1 || ch == 3))))
                    line = 1;
            }
            if (model == 0) line = target;
            SCOPED_TRACE(::testing::Message() << "trial " << trial << " channel " << ch);
            EXPECT_EQ(get_ptz_addr_from_conf(*d, ch), addr ? static_cast<uint32_t>(addr) : 55u);
            board.clear_calls();
            handle(ch, CmdBuilder(0xE013, static_cast<uint16_t>(ch)));
            const auto io = board.find("ioctl", "/dev/av_devs");
            const uint8_t via = static_cast<uint8_t>(line < 0 ? ch : line);
            const bool coax = port[static_cast<size_t>(ch)] != 4, p8 = port[static_cast<size_t>(ch)] == 8;
            if (coc != 6) {  // no line switch; the multiplexer by the group, on coc type 2 by the channel
                const auto mux = board.find("ioctl", coc == 5 ? "/dev/dio" : "/dev/orv_poc");
                ASSERT_EQ(mux.size(), coax ? 1u : 0u);
                if (!coax) continue;
                EXPECT_EQ(mux[0]->req, coc == 5 ? 0x1002u : 0x80045702u);
                EXPECT_EQ(mux[0]->arg, static_cast<unsigned long>(target < 0 || coc == 2 ? ch : target));
                EXPECT_TRUE(io.empty());
                continue;
            }
            const uint32_t f = board.formats[static_cast<size_t>(ch)];  // the formats that carry control
            if (!coax || (f != 5 && f != 6 && f != 7 && f != 9 && f != 10 && f != 14 && f != 15 && f != 16)) {
                EXPECT_TRUE(io.empty());
                continue;
            }
            ASSERT_EQ(io.size(), 2u);
            EXPECT_EQ(io[0]->req, p8 ? 0x8004611Bu : 0x8004610Au);  // on, then off
            EXPECT_EQ(io[1]->req, p8 ? 0x8004611Cu : 0x8004610Bu);
            EXPECT_EQ(io[0]->arg, via);
            EXPECT_EQ(io[1]->data, (Bytes{0, 0, 1, via}));
        }
    }
}

// The status record holds the formats of channels 0 to 15 from offset 64; any other channel has none.
TEST_F(Routing, DetectedFormats) {
    struct {
        StatusRecord rec{};
        uint32_t after = 0x77;  // what lies behind the record must not be read
    } s;
    for (int ch = -1; ch < 16; ++ch) wr32(s.rec.data() + 64 + 4 * ch, static_cast<uint32_t>(ch + 10));
    for (int ch : {-1, 0, 15, 16}) EXPECT_EQ(detected_format(s.rec, ch), ch == 0 || ch == 15 ? ch + 10u : 0u);
}

// A coax channel's line settings go to the recorder's coax port; without a coax port nothing is set.
TEST_F(Routing, CoaxChannelsSetTheCoaxPortsLine) {
    for (int coc : {6, 3}) {
        sysvar("coc_type", coc);
        channel(0, 5, 0x1600, 1, 7);
        start();
        handle(0, CmdBuilder(0xE013));
        bool fast = false;
        for (const SimCall* c : board.find("tcsetattr")) fast |= c->line.baud == 115200;
        EXPECT_EQ(fast, coc == 6) << coc;
    }
}

// Port 1 is the first UART, port 2 the second on the rs485 types 17, 19, 20, 21 and 24 and the third on
// any other, port 4 the fourth. The start opens ports 1 to 4 only.
TEST_F(Routing, OpensOnlyPortsInUse) {
    channel(0, 2, 0x1600);
    channel(1, 4, 0x1600);
    channel(2, 1, 0x1600);
    channel(3, 13, 0x1600);  // the USB keyboard's port: not opened at the start
    for (int t = 0; t < 26; ++t) {
        sysvar("rs485_type", t);
        board.clear_calls();
        int status = 0;
        ASSERT_TRUE(boot(status));
        std::vector<std::string> opened;
        for (const SimCall* c : board.find("open"))
            if (c->dev.rfind("/dev/tty", 0) == 0) opened.push_back(c->dev);
        const bool second = t == 17 || t == 19 || t == 20 || t == 21 || t == 24;
        EXPECT_EQ(opened, (std::vector<std::string>{"/dev/ttyS0", second ? "/dev/ttyS1" : "/dev/ttyS2",
                                                    "/dev/ttyS3"}))
            << t;
    }
    EXPECT_FALSE(logged("PTZSVR : open_serial(0) in normal open\n"));  // the unset channels' port
    EXPECT_TRUE(logged("PTZSVR : In this model, we don't have port mapping\n"));
    // Each port starts at 9600 8N1.
    const auto set = board.find("tcsetattr");
    ASSERT_EQ(set.size(), 3u);
    EXPECT_EQ(set[0]->line.baud, 9600u);
    EXPECT_EQ(set[0]->line.data_bits, 8);
}

// In face-detect mode the line is only ever switched on, once.
TEST_F(Routing, FaceDetectSwitchesOnlyOnOnce) {
    sysvar("coc_type", 6);
    channel(2, 8, 2054);
    board.formats[2] = 16;
    start();
    d->sv.face_detect = 1;
    handle(2, CmdBuilder(0xE013, 2));
    handle(2, CmdBuilder(0xE013, 2));
    const auto fd = board.find("ioctl", "/dev/av_devs");
    ASSERT_EQ(fd.size(), 1u);
    EXPECT_EQ(fd[0]->req, 0x8004611Bu);
}

}  // namespace
}  // namespace ptz::test
