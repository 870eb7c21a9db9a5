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
// target. The 393 and 395 wire their groups in fixed rows of four instead, the last group deciding, and
// switch lines through their two receivers. Swept over random receiver types against those rules.
TEST_F(Routing, GroupsAddressesAndLineTargets) {
    constexpr int kRows[16] = {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 2, 0, 1, 2, 3};
    std::mt19937 rng(16);
    sysvar("coc_type", 6);
    board.formats.fill(5);
    for (unsigned trial = 0; trial < 240; ++trial) {
        const int model = std::array{0, 393, 395}[trial % 3];
        const int vrt = std::array{0, 13, 14, 15, 16, 17, 21, 22, 23, 24}[rng() % 10];
        const bool later = vrt == 14 || vrt == 15 || vrt == 17 || vrt == 22 || vrt == 23;
        sysvar("model", model);
        sysvar("video_receiver_type", vrt);
        std::vector<TdmEntry> groups;
        for (int ch = 0; ch < 18; ++ch) {
            const int type = rng() % 4 < trial / 3 % 4 ? static_cast<int>(8 + rng() % 10) : 0;
            channel(ch, 5, 2054, 55);
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
            int addr = 0, line = -1;
            for (const TdmEntry& g : groups) {
                if (model == 0 && g.first <= ch && ch < g.last) {
                    std::tie(addr, line) = std::pair(ch - g.first + 1, g.target);
                    break;
                }
                if (model == 0) continue;
                const int row = ch + 4 * (g.count - 1);
                addr = g.target == 0 ? ch / 2 + 1 : row < 16 ? kRows[row] + 1 : 0;
                if (g.target == 0 && (ch == 0 || ch == 2)) line = 0;
                if (g.target == 2 && (g.count == 4 || (g.count == 3 && ch >= 1 && ch <= 3) ||
                                      (g.count == 2 && (ch == 1 || ch == 3))))
                    line = 1;
            }
            SCOPED_TRACE(::testing::Message() << "trial " << trial << " channel " << ch);
            EXPECT_EQ(get_ptz_addr_from_conf(*d, ch), addr ? static_cast<uint32_t>(addr) : 55u);
            board.clear_calls();
            handle(ch, CmdBuilder(0xE013, static_cast<uint16_t>(ch)));
            const auto io = board.find("ioctl", "/dev/av_devs");
            const uint8_t via = static_cast<uint8_t>(line < 0 ? ch : line);
            ASSERT_EQ(io.size(), 2u);
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

TEST_F(Routing, OpensOnlyPortsInUse) {
    sysvar("rs485_type", 19);
    channel(0, 2, 0x1600);
    channel(1, 4, 0x1600);
    int status = 0;
    ASSERT_TRUE(boot(status));
    std::vector<std::string> opened;
    for (const SimCall* c : board.find("open"))
        if (c->dev.rfind("/dev/tty", 0) == 0) opened.push_back(c->dev);
    EXPECT_EQ(opened, (std::vector<std::string>{"/dev/ttyS1", "/dev/ttyS3"}));
    EXPECT_TRUE(logged("PTZSVR : In this model, we don't have port mapping\n"));
    // Each port starts at 9600 8N1.
    const auto set = board.find("tcsetattr");
    ASSERT_EQ(set.size(), 2u);
    EXPECT_EQ(set[0]->line.baud, 9600u);
    EXPECT_EQ(set[0]->line.data_bits, 8);
}

// Ports 5 to 7 switch the coax line with one pair of requests, port 8 with its own, only for the formats
// that carry coax control.
TEST_F(Routing, CoaxLineSwitchAroundTheDriver) {
    sysvar("coc_type", 6);
    struct Case {
        int port, format;
        std::vector<uint32_t> reqs;  // on, then off
    };
    const Case cases[] = {{4, 5, {}},
                          {5, 5, {0x8004610A, 0x8004610B}},
                          {7, 16, {0x8004610A, 0x8004610B}},
                          {6, 4, {}},
                          {8, 16, {0x8004611B, 0x8004611C}}};
    for (const Case& c : cases) {
        channel(2, c.port, 2054);  // passes the PTZ check but has no driver
        board.formats[2] = static_cast<uint32_t>(c.format);
        start();
        handle(2, CmdBuilder(0xE013, 2));
        std::vector<uint32_t> reqs;
        for (const SimCall* io : board.find("ioctl", "/dev/av_devs"))
            if (io->req != 0x40126120) reqs.push_back(static_cast<uint32_t>(io->req));  // not a coax frame
        EXPECT_EQ(reqs, c.reqs) << c.port;
    }

    // In face-detect mode the line is only ever switched on, once.
    board.clear_calls();
    d->sv.face_detect = 1;
    handle(2, CmdBuilder(0xE013, 2));
    handle(2, CmdBuilder(0xE013, 2));
    const auto fd = board.find("ioctl", "/dev/av_devs");
    ASSERT_EQ(fd.size(), 1u);
    EXPECT_EQ(fd[0]->req, 0x8004611Bu);
}

}  // namespace
}  // namespace ptz::test
