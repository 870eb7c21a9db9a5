#include "common/log.h"

#include "common/util.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

class Log : public ::testing::Test {
protected:
    SimBoard board;
    Logger log{board};
    std::string last() const { return board.logs().empty() ? std::string() : board.logs().back(); }
};

// A record holds 127 characters: a longer text is cut to 125 and marked with '|', and byte 126 always holds
// the line feed. The device is opened and closed for every record.
TEST_F(Log, RecordTruncation) {
    const std::pair<std::string, std::string> rows[] = {
        {std::string(200, 'a'), std::string(125, 'a') + "|\n"},
        {std::string(127, 'b'), std::string(126, 'b') + "\n"},
        {std::string(128, 'c'), std::string(125, 'c') + "|\n"},
        {"PTZSVR : 5\n", "PTZSVR : 5\n"},
    };
    for (const auto& [text, record] : rows) {
        EXPECT_EQ(log.log("%s", text.c_str()), static_cast<int>(text.size()));
        EXPECT_EQ(last(), record);
    }
    EXPECT_EQ(board.find("open", "/dev/misc/vdrv0").size(), 4u);
    EXPECT_EQ(board.find("close", "/dev/misc/vdrv0").size(), 4u);
}

TEST_F(Log, FilteredLevelsAndRegistry) {
    // The server never registers the common library: its messages are dropped.
    EXPECT_EQ(log.printx_filtered(log.lib_common(), 0, "dropped\n"), 0);
    EXPECT_TRUE(board.logs().empty());
    log.common_init();
    EXPECT_EQ(log.printx_filtered(log.lib_common(), 2, "too verbose\n"), 0);
    EXPECT_GT(log.printx_filtered(log.lib_common(), 1, "kept %d\n", 1), 0);
    EXPECT_EQ(last(), "[LIB_COMMON(1)]kept 1\n");
    EXPECT_EQ(board.find("open", "dev/misc/vdrv0").size(), 1u);
    log.printx_filtered(log.lib_common(), 0, "%s",
                        std::string(120, 'y').c_str());  // too long with its prefix
    EXPECT_EQ(last(), "[LIB_COMMON(0)]" + std::string(125 - 15, 'y') + "|\n");

    EXPECT_EQ(log.set_level_by_prefix("nope", 3), -1);
    EXPECT_EQ(last(), "Cannot find printx_filtered for prefix(nope)\n");
    EXPECT_EQ(log.set_level_by_id(5, 3), -1);
    EXPECT_EQ(log.set_level_by_prefix("LIB_COMMON", 2), 0);
    EXPECT_EQ(last(), "change level of printx_filtered for LIB_COMMON : (1 --> 2)\n");
    for (int i = 1; i < Logger::kMaxEntries; ++i) EXPECT_EQ(log.register_using_printx_filtered("p", 0), i);
    EXPECT_EQ(log.register_using_printx_filtered("one too many", 0), -1);
    EXPECT_EQ(last(), "register_using_printx_filtered() failed : 100\n");
    EXPECT_EQ(log.count(), 100);
}

// A dump names its title, then 16 bytes a line behind their offset; at most 256 bytes are shown.
TEST_F(Log, HexDump) {
    uint8_t data[300];
    for (int i = 0; i < 300; ++i) data[i] = static_cast<uint8_t>(i);
    EXPECT_EQ(hex_dump(log, "T", data, 0), 0);
    EXPECT_EQ(board.logs(), (std::vector<std::string>{"T", "\n"}));
    board.calls.clear();
    EXPECT_EQ(hex_dump(log, "T", data + 1, 17), 17);
    std::string text;
    for (const std::string& l : board.logs()) text += l;
    EXPECT_EQ(text, "T\n[0000] 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f 10 \n[0010] 11 \n");
    EXPECT_EQ(hex_dump(log, "T", data, 300), 256);
}

}  // namespace
}  // namespace ptz::test
