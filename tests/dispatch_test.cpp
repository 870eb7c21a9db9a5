#include "core/dispatch.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

using Dispatch = DaemonTest;

TEST_F(Dispatch, RefusesBeforeTouchingAnyDevice) {
    // clang-format off
    struct Case { int port; uint16_t model; int ret; const char* log; };
    const Case cases[] = {
        {0, 0x1600, -1, "PTZSVR : eptz_handler() : CH(1) : PTZ port of this channel is not set : port(0)\n"},
        {1, 0x1600, -3, "PTZSVR : eptz_handler() : CH(1) : wrong port value(1)\n"},
        {9, 0x1600, -3, "PTZSVR : eptz_handler() : CH(1) : wrong port value(9)\n"},
        {3, 0x1234, -2, "PTZSVR : eptz_handler() : device of port(3) is not PTZ device : model_id(4660)\n"},
        {3, 2054, 0, "PTZSVR : eptz_handler() : port:3, addr:1, model_id:806, is_coc 0\n"},
        {3, 2055, 0, "PTZSVR : what model_id is this? 2055\n"},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.log);
        channel(1, c.port, c.model);
        start();
        EXPECT_EQ(handle(1, CmdBuilder(0xE013, 1)), c.ret);
        EXPECT_TRUE(logged(c.log));
        EXPECT_TRUE(board.find("write").empty());
    }
    EXPECT_EQ(handle(64, CmdBuilder(0xE013, 64)), -4);
}

// The PTZ check passes exactly the dispatch table's models and the two that
// have no driver.
TEST_F(Dispatch, PtzDevicesAreTheTableRowsAnd2054And2055) {
    for (int m = 0; m < 0x10000; ++m)
        ASSERT_EQ(is_ptz_device(m), find_driver(static_cast<uint16_t>(m)) || m == 2054 || m == 2055) << m;
}

// The detected format comes from the vin device's status record, else from the av device's.
TEST_F(Dispatch, CoaxAutomaticFollowsTheDetectedFormat) {
    // clang-format off
    struct Case { uint32_t format; const char* choice; bool coax_frame; const char* status_dev = "/dev/vin_devs"; unsigned long req = 0x80807611; };
    const Case cases[] = {
        {4, "\tset to HIK-C\n", true},
        {3, "\tset to HDA\n", true},
        {0, "\tset to C1080\n", false},
        {3, "\tset to HDA\n", true, "/dev/av_devs", 0x80806111},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.choice);
        sysvar("coc_type", 6);
        channel(1, 6, 0x1600);  // a serial protocol: passes the check, then the format decides
        board.formats[1] = c.format;
        if (c.req != 0x80807611) board.remove_device("/dev/vin_devs");
        start();
        handle(1, CmdBuilder(0xE013, 1));
        EXPECT_TRUE(logged(c.choice));
        EXPECT_EQ(coax_frames().size(), c.coax_frame ? 1u : 0u);
        EXPECT_TRUE(board.writes("/dev/ttyS3").empty() || !c.coax_frame);
        const auto status = board.find("ioctl", c.status_dev);
        ASSERT_FALSE(status.empty());
        EXPECT_EQ(status[0]->req, c.req);
    }
    // Without any video-input device the configured model is used.
    board.remove_device("/dev/av_devs");
    start();
    handle(1, CmdBuilder(0xE013, 1));
    EXPECT_EQ(board.writes("/dev/ttyS3").size(), 1u);  // Pelco-D stop on the coax mux port
}

TEST_F(Dispatch, SameCommandCheckOnlyForCoaxProtocols) {
    channel(0, 5, 0x808);
    channel(1, 5, 0x808);
    start();
    const Bytes move = CmdBuilder(0xE011, 0).xy(0x20, 0x40);
    handle(0, move);
    handle(0, move);
    EXPECT_EQ(coax_frames().size(), 1u);
    EXPECT_TRUE(logged("ptzsvr : same command for ch 0\n"));
    // A continuous move after its start is the same command.
    handle(0, CmdBuilder(0xE012, 0).xy(0x20, 0x40));
    EXPECT_EQ(coax_frames().size(), 1u);
    // Other channels have their own slot.
    handle(1, CmdBuilder(0xE011, 1).xy(0x20, 0x40));
    EXPECT_EQ(coax_frames().size(), 2u);
}

}  // namespace
}  // namespace ptz::test
