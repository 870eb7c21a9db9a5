// The STX-framed (0x1200), three-byte (0x1300) and letter-command (0x2200) protocols.
#include "tests/rs485_rows.h"

namespace ptz::test {
namespace {

class SmallRs485 : public RowTest {
protected:
    void SetUp() override {
        channel(0, 2, 0x1200, 1);
        channel(1, 2, 0x1300, 1);
        channel(2, 2, 0x2200, 0x1FF);
        start();
    }
};

// 02 addr cmd data 03 sum, the sum of bytes 0..4 AND 7F, address 1.
Bytes stx(uint8_t cmd, uint8_t data) {
    Bytes f{0x02, 0x01, cmd, data, 0x03};
    f.push_back(static_cast<uint8_t>((0x02 + 0x01 + cmd + data + 0x03) & 0x7F));
    return f;
}

TEST_F(SmallRs485, StxFrames) {
    // clang-format off
    const Row rows[] = {
        // no minimum: the line time of 6 bytes alone
        {CmdBuilder(0xE013), {{0x02, 0x01, 0x00, 0x00, 0x03, 0x06}}, nullptr, {10000, 12500}},
        // the step from x even for actions without a command (moves and lens keys are the cross-check's)
        {mv(0, 0, 3), {stx(0, '1')}},
        {CmdBuilder(0xE014).arg16(1), {}}, {CmdBuilder(0xE020).action(1), {}}, {aux(1, true), {}},
    };
    // clang-format on
    check(0, rows);
}

// addr cmd 80|data, the data masked to six bits under a non-zero command.
Bytes three(uint8_t addr, uint8_t cmd, uint8_t data) {
    return {addr, cmd, static_cast<uint8_t>(0x80 | (cmd ? data & 0x3F : data))};
}

TEST_F(SmallRs485, ThreeByteFrames) {
    // clang-format off
    const Row rows[] = {
        {CmdBuilder(0xE013), {three(1, 0, 0)}},
        // going to a preset waits 50 ms after the line time of 3 bytes; storing does not
        {CmdBuilder(0xE014).arg16(0x0107), {three(0x41, 0x07, 0)}, nullptr, {10000, 6250, 50000}},
        {CmdBuilder(0xE020).action(5),
         {{0x41, 0x05, 0x80}, {0x41, 0x00, 0x84}, {0x41, 0x00, 0x85}, {0xC1, 0x03, 0xA4}},
         nullptr, {10000, 6250, 10000, 6250, 10000, 6250, 10000, 6250}},
        {CmdBuilder(0xE022).action(5), {}}, {aux(1, true), {}},
    };
    // clang-format on
    check(1, rows);
    // The address bytes wrap.
    channel(1, 2, 0x1300, 0x50);
    start();
    EXPECT_EQ(run(1, CmdBuilder(0xE020).action(1)).back(), three(0x10, 3, 100));
}

// 50 81 FF letter [data [data]] 00 for address 0x1FF.
Bytes letter(char l, std::initializer_list<uint8_t> data = {}) {
    Bytes f{0x50, 0x83, 0xFF, static_cast<uint8_t>(l)};
    for (uint8_t b : data) f.push_back(b);
    f.push_back(0x00);
    return f;
}

TEST_F(SmallRs485, LetterCommandFrames) {
    // clang-format off
    const Row rows[] = {
        {CmdBuilder(0xE014).arg16(0x0109), {letter('c', {0x09})}, nullptr, {10000, 35000}},
        {CmdBuilder(0xE020).action(0x0102), {letter('s', {0x02})}},
        // nothing runs: a stop sends nothing
        {CmdBuilder(0xE013), {}}, {aux(1, true), {}},
    };
    // clang-format on
    check(2, rows);
    // clang-format off
    struct Case { const char* name; std::vector<Bytes> before; std::vector<Bytes> stop; };
    const Case cases[] = {
        {"each running motion in order", {mv(2, 0, 2), mv(0, 64), mv(0, 0, 1)}, {letter('X'), letter('K'), letter('G')}},
        {"a centred move still counts as running", {mv(64, 64)}, {letter('X')}},
        {"zoom only", {mv(0, 0, 1)}, {letter('K')}},
        {"other actions start nothing", {mv(0, 0, 3)}, {}},
    };
    // clang-format on
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        d->drv = {};
        for (const Bytes& cmd : c.before) handle(2, cmd);
        EXPECT_EQ(run(2, CmdBuilder(0xE013)), c.stop);
        EXPECT_EQ(run(2, CmdBuilder(0xE013)), std::vector<Bytes>{});
    }
}

}  // namespace
}  // namespace ptz::test
