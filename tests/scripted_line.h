// Scripted heads on the simulated board's serial line, for the drivers that
// wait for an answer.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "serial/serial.h"
#include "tests/fixture.h"

namespace ptz::test {

// Answers queued after a write, each at its delay in microseconds.
using Script = std::vector<std::pair<int64_t, Bytes>>;

// Every write that `when` accepts (all when empty) is answered by `script`.
inline void answer_writes(SimBoard& board, Script script, std::function<bool(const Bytes&)> when = {}) {
    board.on_write = [script = std::move(script), when](SimBoard& b, const std::string& dev, const Bytes& f) {
        if (when && !when(f)) return;
        for (const auto& [at, bytes] : script) b.queue_reply(dev, b.now() + at, bytes);
    };
}

// Forgets the head and reads away what it left on the line, so that it is
// not the next case's answer.
inline void silence(SimBoard& board, Daemon& d) {
    board.on_write = nullptr;
    board.advance(3000000);
    for (uint8_t sink[64]; port_read(d, 2, sink, 64) != kNothingRead;) {
    }
    board.clear_calls();
}

// A line that keeps sending `chunk` every millisecond for `us`.
inline Script stream(int64_t us, const Bytes& chunk) {
    Script s;
    for (int64_t t = 0; t < us; t += 1000) s.emplace_back(t, chunk);
    return s;
}

// The log records as one text: frame dumps are logged a byte at a time.
inline std::string log_text(const SimBoard& board) {
    std::string text;
    for (const std::string& l : board.logs()) text += l;
    return text;
}

}  // namespace ptz::test
