// Helpers for the driver tables of the small RS-485 protocols: one row per
// command with the frames it must write, and the joystick's move decision
// written out plainly, for sweeps over the x/y plane.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tests/fixture.h"

namespace ptz::test {

// Values around the dead band's edges, the centre and the ends of the byte, and 9 and 10 steps from it.
inline constexpr uint8_t kSweep[] = {0,  1,  0x20, 53, 54, 55, 56,   57,   61,   62,   63,   64,  65,
                                     66, 67, 71,   72, 73, 74, 0x77, 0x78, 0x7A, 0x7F, 0x80, 0xFF};

enum class Way { none, left_up, left_down, right_up, right_down, left, right, down, up };

// The stronger axis, judged by the diagonals x = y and x + y = 128; on
// either diagonal nothing moves.
inline Way stronger(int x, int y) {
    const int r = 128 - x;
    if (x < y && r > y) return Way::left;
    if (x > y && r < y) return Way::right;
    if (r > y && x > y) return Way::down;
    if (r < y && x < y) return Way::up;
    return Way::none;
}

// Diagonal moves when both axes are outside 62..66, else the stronger axis.
inline Way diagonal_first(int x, int y) {
    const bool l = x<62, r = x> 66, d = y<62, u = y> 66;
    if (l && u) return Way::left_up;
    if (l && d) return Way::left_down;
    if (r && u) return Way::right_up;
    if (r && d) return Way::right_down;
    return stronger(x, y);
}

struct Row {
    Bytes cmd;
    std::vector<Bytes> frames;
    const char* log = nullptr;         // a text some log line contains; "!text": a text none contains
    std::vector<uint32_t> waits = {};  // every sleep in order, when given
    std::vector<Bytes> before = {};    // commands handled first, on the same driver state
};

// One camera on channel 0 of port 2, and its rows.
struct Driver {
    const char* name;
    uint16_t model, addr;
    std::vector<Row> rows;
    int baud = 3;
    std::vector<Bytes> lead = {};  // frames every command opens with
};

using Waits = std::vector<uint32_t>;
inline Waits operator+(Waits a, const Waits& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

class RowTest : public DaemonTest {
protected:
    std::vector<Bytes> run(int ch, const Bytes& cmd) {
        board.clear_calls();
        handle(ch, cmd);
        return writes();
    }
    bool log_has(const std::string& text) const {
        for (const std::string& l : board.logs())
            if (l.find(text) != std::string::npos) return true;
        return false;
    }
    // Each row on its own, from a fresh driver state (but for the commands it names to run first).
    void check(int ch, std::span<const Row> rows, const std::vector<Bytes>& lead = {}) {
        for (size_t i = 0; i < rows.size(); ++i) {
            const Row& r = rows[i];
            SCOPED_TRACE(i);
            d->drv = {};
            for (const Bytes& cmd : r.before) handle(ch, cmd);
            std::vector<Bytes> want = lead;
            want.insert(want.end(), r.frames.begin(), r.frames.end());
            EXPECT_EQ(run(ch, r.cmd), want);
            const bool absent = r.log && *r.log == '!';
            EXPECT_TRUE(!r.log || log_has(r.log + absent) != absent) << r.log;
            EXPECT_TRUE(r.waits.empty() || sleeps() == r.waits) << testing::PrintToString(sleeps());
        }
    }
    void check(std::span<const Driver> drivers) {
        for (const Driver& dr : drivers) {
            SCOPED_TRACE(dr.name);
            channel(0, 2, dr.model, dr.addr, dr.baud);
            start();
            check(0, dr.rows, dr.lead);
        }
    }
};

}  // namespace ptz::test
