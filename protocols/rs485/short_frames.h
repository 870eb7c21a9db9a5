// Pieces shared by the small RS-485 protocols: frames of a few bytes whose
// length depends on the command, and the move decision of the protocols
// that know no diagonals.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "protocols/rs485/vocabulary.h"

namespace ptz {

// Up to Max bytes, of which the first n are the frame.
template <size_t Max>
struct ShortFrame {
    std::array<uint8_t, Max> b{};
    size_t n = 0;

    constexpr ShortFrame() = default;
    constexpr ShortFrame(std::initializer_list<uint8_t> bytes) {
        for (uint8_t v : bytes) push(v);
    }
    constexpr ShortFrame& push(uint8_t v) {
        if (n < Max) b[n++] = v;
        return *this;
    }
    constexpr uint8_t sum() const {
        uint8_t s = 0;
        for (size_t i = 0; i < n; ++i) s = static_cast<uint8_t>(s + b[i]);
        return s;
    }
    const uint8_t* data() const { return b.data(); }
    int size() const { return static_cast<int>(n); }
    constexpr bool operator==(const ShortFrame&) const = default;
};

// The stronger axis alone, judged by the two diagonals through the centre;
// no dead band, no diagonal moves. A point on a diagonal moves nowhere.
constexpr DeadBand kNoDiagonals{0, 255};
constexpr Dir stronger_axis(int x, int y) { return classify_xy(x, y, kNoDiagonals); }
static_assert(stronger_axis(0, 0x10) == Dir::left && stronger_axis(0x41, 0x40) == Dir::right &&
              stronger_axis(0x40, 0x41) == Dir::up && stronger_axis(0x40, 0x40) == Dir::none);

}  // namespace ptz
