#include "protocols/rs485/pelco_d.h"

#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes frame(uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    return bytes(pelcod_frame(addr, cmd, d1, d2));
}

using PelcoD = OneCamera<0, 2, 0x1600, 1>;

// Commands sent in order, without stops in between, and every frame written, in order. The meanings (move
// signs, presets, positions, the aux table) are the cross-check's; these rows pin the speeds and the state
// a frame carries over from the command before it.
// clang-format off
struct FrameCase { const char* name; std::vector<Bytes> cmds; std::vector<Bytes> expected; };
// clang-format on

TEST_F(PelcoD, FramesAcrossTheVocabulary) {
    // clang-format off
    const FrameCase cases[] = {
        {"left then up accumulates", {mv(0x20, 0x40), mv(0x40, 0x60)}, {frame(1, 0x04, 0x20, 0), frame(1, 0x0C, 0x20, 0x20)}},
        {"tie x = y sends state", {mv(0x20, 0x40), mv(63, 63)}, {frame(1, 0x04, 0x20, 0), frame(1, 0x04, 0x20, 0)}},
        {"zoom tele at top speed", {mv(0xFF, 0, 1)}, {frame(1, 0x25, 0, 11), frame(1, 0x20, 0, 0)}},
        {"zoom at centre is wide speed 0", {mv(0x40, 0, 1)}, {frame(1, 0x25, 0, 0), frame(1, 0x40, 0, 0)}},
        {"focus far", {mv(0x60, 0, 2)}, {frame(1, 0x27, 0, 2), frame(1, 0x80, 0, 0)}},
        {"iris open replaces the word", {mv(0x20, 0x40), mv(0x41, 0, 3)}, {frame(1, 0x04, 0x20, 0), frame(1, 0x200, 0, 0)}},
        {"unknown action sends state", {mv(0x20, 0x40), mv(0x10, 0x10, 7)}, {frame(1, 0x04, 0x20, 0), frame(1, 0x04, 0x20, 0)}},
        {"stop after action", {mv(0x20, 0x40, 0, 1), mv(0x40, 0x60)}, {frame(1, 0x04, 0x20, 0), frame(1, 0, 0, 0), frame(1, 0x08, 0, 0x20)}},
        {"stop resets", {mv(0x20, 0x40), CmdBuilder(0xE013), mv(0x40, 0x60)}, {frame(1, 0x04, 0x20, 0), frame(1, 0, 0, 0), frame(1, 0x08, 0, 0x20)}},
        {"unknown msg id", {CmdBuilder(0xE0AA)}, {}},
        {"aux resets the state",
         {mv(0x20, 0x40), aux(3, true), mv(0x40, 0x60)},
         {frame(1, 0x04, 0x20, 0), frame(1, 0x09, 0, 3), frame(1, 0x08, 0, 0x20)}},
    };
    // clang-format on
    for (const FrameCase& c : cases) {
        SCOPED_TRACE(c.name);
        d->drv = {};
        board.clear_calls();
        for (const Bytes& cmd : c.cmds) handle(0, cmd);
        EXPECT_EQ(writes(), c.expected);
    }
}

TEST_F(PelcoD, WaitsAndMenuKeyHold) {
    handle(0, mv(0x20, 0x40));
    // transmit-enable settle, then the 35 ms minimum (longer than 7 bytes of line time)
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 35000}));
    board.clear_calls();
    handle(0, aux(731, true));
    EXPECT_EQ(sleeps(), (std::vector<uint32_t>{10000, 35000, 1000000, 10000, 35000}));
}

TEST_F(PelcoD, AuxLogTexts) {
    const std::pair<Bytes, const char*> cases[] = {
        {aux(3, true), "aux 3 on\n"},
        {aux(110, true), "set pattern start 1\n"},
        {aux(555, true), "run pattern 5\n"},
        {aux(712, true), "run Tour 2\n"},
        {aux(723, true), "run Scan 3\n"},
        {aux(1000, true), "pelcod unkown aux command sent to preset, 1000\n"},
        {aux(598, false), "stop scan\n"},
    };
    for (const auto& [cmd, text] : cases) {
        SCOPED_TRACE(text);
        board.clear_calls();
        handle(0, cmd);
        EXPECT_TRUE(logged(text));
    }
}

TEST_F(PelcoD, PositionQueryReportsWhatTheCameraAnswers) {
    // The camera answers each query 20 ms after it, with noise before the
    // tilt answer and nothing at all for zoom.
    board.on_write = [](SimBoard& b, const std::string& dev, const Bytes& data) {
        if (data.size() != 7 || data[3] == 0x55) return;
        const uint8_t type = static_cast<uint8_t>(data[3] + 8);
        Bytes reply = frame(1, type, 0x12, data[3] == 0x51 ? 0x34 : 0x56);
        if (data[3] == 0x53) reply.insert(reply.begin(), {0xFF, 0x00, 0x00, 0x00});
        b.queue_reply(dev, b.now() + 20000, reply);
    };
    handle(0, CmdBuilder(0xE0A6, 0).requester(1234));
    const auto reports = board.find("ioctl", "/dev/con2rec");
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0]->req, 6u);
    const Bytes expected = {0x14, 0x40, 0, 0, 24,   0,    0, 0, 0xD2, 0x04, 0, 0, 0, 0, 0, 0,
                            1,    0,    0, 0, 0x34, 0x12, 0, 0, 0x56, 0x12, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(reports[0]->data, expected);
    // The zoom query waited its whole 0.3 s limit.
    EXPECT_GE(board.elapsed(), 300000);
}

class PelcoDTvi : public DaemonTest {
protected:
    void SetUp() override {
        sysvar("coc_type", 3);
        channel(1, 5, 0x1600, 7);
        start();
    }
    static Bytes tvi(uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
        return bytes(pelcod_tvi_frame(addr, cmd, d1, d2));
    }
};

// Over TVI a Pelco-D channel's coax ports are 5 and 6 (port 6 only where the recorder has no status
// device to pick a coax protocol by the picture's format).
TEST_F(PelcoDTvi, OnPorts5And6) {
    board.remove_device("/dev/vin_devs"), board.remove_device("/dev/av_devs");
    for (int port : {6, 7}) {
        channel(1, port, 0x1600, 7);
        start();
        handle(1, CmdBuilder(0xE013, 1));
        bool tvi = false;
        for (const std::string& l : board.logs()) tvi |= l.starts_with("PELCO_D_TVI msg_id[e013]");
        EXPECT_EQ(tvi, port == 6) << port;
    }
}

TEST_F(PelcoDTvi, EveryActionIsFollowedByAStop) {
    // clang-format off
    const FrameCase cases[] = {
        {"left-up at fixed speed", {CmdBuilder(0xE011, 1).xy(0x10, 0x70)}, {tvi(7, 0x0C, 0x24, 0x24), tvi(7, 0, 0, 0)}},
        {"zoom tele", {CmdBuilder(0xE011, 1).action(1).xy(0x50, 0)}, {tvi(7, 0x25, 0, 0), tvi(7, 0x20, 0, 0), tvi(7, 0, 0, 0)}},
        {"focus is reversed", {CmdBuilder(0xE011, 1).action(2).xy(0x50, 0)}, {tvi(7, 0x27, 0, 0), tvi(7, 0x100, 0, 0), tvi(7, 0, 0, 0)}},
        {"presets are ignored", {CmdBuilder(0xE020, 1).action(3)}, {}},
    };
    // clang-format on
    for (const FrameCase& c : cases) {
        SCOPED_TRACE(c.name);
        board.clear_calls();
        for (const Bytes& cmd : c.cmds) handle(1, cmd);
        EXPECT_EQ(coax_frames(), c.expected);
        EXPECT_TRUE(sleeps().empty());
        // The transmit request carries the channel, not a port.
        for (const SimCall* call : board.find("ioctl", "/dev/av_devs"))
            EXPECT_EQ(rd32(call->data.data()), 1u);
    }
}

}  // namespace
}  // namespace ptz::test
