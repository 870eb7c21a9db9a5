#include "tests/fixture.h"

namespace ptz::test {
namespace {

TEST_F(DaemonTest, PanLeftReachesTheLine) {
    channel(0, 2, 0x1600);
    start();
    send(CmdBuilder(0xE011, 0).action(0).xy(0x20, 0x40));
    ASSERT_EQ(writes().size(), 1u);
    EXPECT_EQ(writes()[0], (Bytes{0xFF, 0x01, 0x00, 0x04, 0x20, 0x00, 0x25}));
}

}  // namespace
}  // namespace ptz::test
