#include "core/routing.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

class Routing : public DaemonTest {
protected:
    void receiver(int ch, int type) {
        board.config[kChannelRecordSize * static_cast<size_t>(ch) + cfg::receiver_type] =
            static_cast<uint8_t>(type);
    }
};

TEST_F(Routing, CoaxPortNumberByCocTypeAndModel) {
    struct Case {
        int coc_type, model, port;
    };
    const Case cases[] = {{2, 0, 3},   {4, 0, 4},  {5, 0, 4},   {6, 0, 4},   {7, 47, 4},
                          {7, 523, 4}, {7, 1, 3},  {8, 527, 3}, {8, 393, 3}, {8, 395, 3},
                          {8, 396, 4}, {3, 0, -1}, {0, 0, -1},  {9, 0, -1}};
    for (const Case& c : cases) {
        sysvar("coc_type", c.coc_type);
        sysvar("model", c.model);
        start();
        EXPECT_EQ(coax_port_number(*d), c.port) << c.coc_type << "/" << c.model;
    }
}

TEST_F(Routing, CameraAddresses) {
    struct Case {
        const char* name;
        int model, video_receiver_type, group_channel, group_type, channel;
        uint32_t addr;
    };
    const Case cases[] = {
        {"channel 5 in group 4..7", 0, 0, 7, 12, 5, 2},
        {"first of the group", 0, 0, 7, 12, 4, 1},
        {"outside every group", 0, 0, 7, 12, 12, 55},
        {"these receivers shift the group to 5..8", 0, 14, 7, 12, 5, 1},
        {"shifted group leaves 4 out", 0, 14, 7, 12, 4, 55},
        {"no groups at all", 0, 0, 0, 0, 5, 55},
        {"395: group of 2 on target 0", 395, 0, 0, 10, 3, 2},
        {"393: beyond the wiring table", 393, 0, 2, 12, 9, 55},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        board.config.assign(kMaxChannels * kChannelRecordSize, 0);
        wr32(board.config.data(), kConfValid);
        for (int ch = 0; ch < 16; ++ch) channel(ch, 6, 0x808, 55);
        if (c.group_type) receiver(c.group_channel, c.group_type);
        sysvar("model", c.model);
        sysvar("coc_type", 6);
        sysvar("video_receiver_type", c.video_receiver_type);
        start();
        EXPECT_EQ(get_ptz_addr_from_conf(*d, c.channel), c.addr);
    }
}

// Receiver types 10 to 16 make a channel the target of a group of type - 8 channels; the recorder has room
// for eight groups and ignores the rest.
// The 393 and 395 wire a group of 2, 3 or 4 behind target 2 in fixed rows; a channel past the rows reads
// the configured address.
TEST_F(Routing, FixedWiringOf393) {
    const int rows[3][4] = {{0, 0, 0, 1}, {0, 0, 1, 2}, {0, 1, 2, 3}};
    sysvar("model", 393);
    sysvar("coc_type", 6);
    for (int ch = 0; ch < 16; ++ch) channel(ch, 6, 0x808, 55);
    for (int count = 2; count <= 4; ++count) {
        receiver(2, count + 8);
        start();
        for (int ch = 0; ch < 4; ++ch)
            EXPECT_EQ(get_ptz_addr_from_conf(*d, ch), static_cast<uint32_t>(rows[count - 2][ch] + 1))
                << count;
        EXPECT_EQ(get_ptz_addr_from_conf(*d, 4 * (5 - count)), 55u) << count;  // past the last row
    }
}

TEST_F(Routing, ReceiverGroups) {
    sysvar("coc_type", 6);
    for (int type : {9, 10, 16, 17}) {
        receiver(0, type);
        start();
        EXPECT_EQ(d->tdm_count, type >= 10 && type <= 16 ? 1 : 0) << type;
    }
    receiver(0, 10);  // these receivers put the group one channel later
    for (int vrt : {13, 14, 15, 16, 17, 21, 22, 23, 24}) {
        sysvar("video_receiver_type", vrt);
        start();
        const bool later = vrt == 14 || vrt == 15 || vrt == 17 || vrt == 22 || vrt == 23;
        EXPECT_EQ(d->tdm[0].last, later ? 2 : 1) << vrt;
    }
    for (int ch = 0; ch < 10; ++ch) receiver(ch, 10);
    start();
    EXPECT_EQ(d->tdm_count, kTdmEntries);
    EXPECT_EQ(d->tdm.back().target, 7);
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

// The 393 and 395 wire their two coax receivers by a table of their own: the line switch names receiver 0
// or 1, or the channel itself where the table has no entry.
TEST_F(Routing, CoaxLineSwitchOn393And395) {
    struct Case {
        int model, target, type, channel, receiver;
    };
    const Case cases[] = {{393, 2, 11, 1, 1}, {393, 2, 11, 3, 1}, {393, 2, 11, 4, 4},
                          {395, 2, 12, 5, 1}, {393, 2, 10, 3, 1}, {393, 2, 10, 2, 2},
                          {393, 2, 10, 0, 0}, {395, 0, 10, 2, 0}, {393, 0, 10, 1, 1}};
    for (const Case& c : cases) {
        board.config.assign(kMaxChannels * kChannelRecordSize, 0);
        wr32(board.config.data(), kConfValid);
        sysvar("video_ch_cnt", 8);
        sysvar("model", c.model);
        sysvar("coc_type", 6);
        receiver(c.target, c.type);
        channel(c.channel, 5, 2054);
        board.formats[static_cast<size_t>(c.channel)] = 5;
        start();
        handle(c.channel, CmdBuilder(0xE013, static_cast<uint16_t>(c.channel)));
        const auto io = board.find("ioctl", "/dev/av_devs");
        ASSERT_EQ(io.size(), 2u) << c.channel;
        EXPECT_EQ(io[0]->arg, static_cast<unsigned long>(c.receiver)) << c.model << " ch " << c.channel;
    }
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
    start();
    d = std::make_unique<Daemon>(board);
    int status = 0;
    ASSERT_TRUE(d->startup(status));
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
    start();
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
        d->update_conf = 1;
        send(CmdBuilder(0xE013, 2));
        board.clear_calls();
        handle(2, CmdBuilder(0xE013, 2));
        std::vector<uint32_t> reqs;
        for (const SimCall* io : board.find("ioctl", "/dev/av_devs"))
            reqs.push_back(static_cast<uint32_t>(io->req));
        EXPECT_EQ(reqs, c.reqs) << c.port;
        if (reqs.size() == 2) {
            EXPECT_EQ(board.find("ioctl", "/dev/av_devs")[0]->arg, 2u);
            EXPECT_EQ(board.find("ioctl", "/dev/av_devs")[1]->data, (Bytes{0, 0, 1, 2}));
        }
    }
    EXPECT_TRUE(logged("PTZSVR : what model_id is this? 2054\n"));

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
