#include "tests/fixture.h"

namespace ptz::test {
namespace {

using NoEncoder = DaemonTest;

// Models without an encoder log the command in their own name and write nothing to any device, whatever the
// command: a guessed frame could move another camera on the shared bus.
TEST_F(NoEncoder, LogsInItsOwnNameAndKeepsTheLineQuiet) {
    const std::pair<uint16_t, const char*> models[] = {
        {0x500, "RAVEL"},         {0x501, "MODEL_0x501"}, {0x600, "CRR1600"},       {0x800, "DMAX"},
        {0x803, "MODEL_0x803"},   {0x805, "MODEL_0x805"}, {0x1100, "MODEL_0x1100"}, {0x1800, "RVISION"},
        {0x1902, "MODEL_0x1902"}, {0x2000, "TOKINA"}};
    for (const auto& [model, name] : models) {
        SCOPED_TRACE(name);
        channel(0, 2, model, 7);
        start();
        for (const Bytes& cmd : {Bytes(CmdBuilder(0xE011).xy(0x20, 0x50)), Bytes(CmdBuilder(0xE013)),
                                 Bytes(CmdBuilder(0xE091).arg16(595).action(0x101))})
            send(cmd);
        EXPECT_TRUE(board.find("write").empty());
        EXPECT_TRUE(
            logged(std::string(name) +
                   " : no encoder yet, nothing sent: port(2) msg_id[e011],action[0],addr[7],x[32],y[80]\n"));
        EXPECT_TRUE(
            logged(std::string(name) +
                   " : no encoder yet, nothing sent: port(2) msg_id[e091],action[101],addr[7],x[83],y[2]\n"));
        EXPECT_FALSE(logged("PTZSVR : what model_id is this? " + std::to_string(model) + "\n"));
    }
}

}  // namespace
}  // namespace ptz::test
