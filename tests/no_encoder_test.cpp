#include "tests/fixture.h"

namespace ptz::test {
namespace {

using NoEncoder = DaemonTest;

// Whatever the command, the model logs it in its own name and writes to no device: a guessed frame could
// move another camera on the shared bus.
TEST_F(NoEncoder, LogsInItsOwnNameAndKeepsTheLineQuiet) {
    const std::pair<uint16_t, const char*> models[] = {
        {0x500, "RAVEL"},         {0x501, "MODEL_0x501"}, {0x600, "CRR1600"},       {0x800, "DMAX"},
        {0x803, "MODEL_0x803"},   {0x805, "MODEL_0x805"}, {0x1100, "MODEL_0x1100"}, {0x1800, "RVISION"},
        {0x1902, "MODEL_0x1902"}, {0x2000, "TOKINA"}};
    for (const auto& [model, name] : models) {
        channel(0, 2, model, 7);
        start();
        send(CmdBuilder(0xE011).xy(0x20, 0x50));
        send(CmdBuilder(0xE091).arg16(595).action(0x101));
        EXPECT_TRUE(board.find("write").empty()) << name;
        const std::string text = std::string(name) + " : no encoder yet, nothing sent: port(2) msg_id[e0";
        EXPECT_TRUE(logged(text + "11],action[0],addr[7],x[32],y[80]\n")) << name;
        EXPECT_TRUE(logged(text + "91],action[101],addr[7],x[83],y[2]\n")) << name;
    }
}

}  // namespace
}  // namespace ptz::test
