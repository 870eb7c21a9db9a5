// The command vocabulary every driver reads: the joystick convention of the
// x and y bytes, centred on 0x40, with a dead band around the centre.
#pragma once

#include <cstdint>

namespace ptz {

constexpr int kCentre = 0x40;

enum class Dir : uint8_t { none, left_up, left_down, right_up, right_down, left, right, down, up };

// Values below `lo` move in the negative sense (left, down), values above
// `hi` in the positive sense (right, up); lo..hi is the dead band.
struct DeadBand {
    int lo;
    int hi;
};
constexpr DeadBand kDeadBand{62, 66};

// Diagonals are recognised first, when both axes are outside the dead band.
// Otherwise the stronger axis wins, judged by the two diagonals through the
// centre; a point on either diagonal (x = y or x + y = 128) moves nowhere,
// and the driver re-sends what it sent before.
constexpr Dir classify_xy(int x, int y, DeadBand b = kDeadBand) {
    if (x < b.lo && y > b.hi) return Dir::left_up;
    if (x < b.lo && y < b.lo) return Dir::left_down;
    if (x > b.hi && y > b.hi) return Dir::right_up;
    if (x > b.hi && y < b.lo) return Dir::right_down;
    const int mirror = 2 * kCentre - x;
    if (x < y && mirror > y) return Dir::left;
    if (x > y && mirror < y) return Dir::right;
    if (mirror > y && x > y) return Dir::down;
    if (x < y && mirror < y) return Dir::up;
    return Dir::none;
}

constexpr bool moves_left(Dir d) { return d == Dir::left || d == Dir::left_up || d == Dir::left_down; }
constexpr bool moves_right(Dir d) { return d == Dir::right || d == Dir::right_up || d == Dir::right_down; }
constexpr bool moves_up(Dir d) { return d == Dir::up || d == Dir::left_up || d == Dir::right_up; }
constexpr bool moves_down(Dir d) { return d == Dir::down || d == Dir::left_down || d == Dir::right_down; }

// Distance from the centre, the speed of a pan or tilt.
constexpr uint8_t speed_of(int v) { return static_cast<uint8_t>(v < kCentre ? kCentre - v : v - kCentre); }

// Protocols that drive each axis on its own, without the diagonal decision:
// below the dead band is the negative sense (left, down), above it the
// positive one (right, up), and inside it the axis does not move.
enum class Sense : uint8_t { none, negative, positive };
constexpr Sense axis_sense(int v, DeadBand b = kDeadBand) {
    return v < b.lo ? Sense::negative : v > b.hi ? Sense::positive : Sense::none;
}

// A protocol's direction bits; a diagonal is the OR of its two axes.
struct DirBits {
    uint16_t left, right, up, down;
};

// A move as the stateless drivers send it: the direction bits, and the speed
// of each axis that moves (0 for the other). Dir::none gives all zeros, which
// those protocols read as a stop.
struct Move {
    uint16_t word;
    uint8_t pan;
    uint8_t tilt;
};
constexpr Move move_of(Dir dir, int x, int y, DirBits b) {
    Move m{0, 0, 0};
    if (moves_left(dir)) m.word |= b.left;
    if (moves_right(dir)) m.word |= b.right;
    if (moves_up(dir)) m.word |= b.up;
    if (moves_down(dir)) m.word |= b.down;
    if (moves_left(dir) || moves_right(dir)) m.pan = speed_of(x);
    if (moves_up(dir) || moves_down(dir)) m.tilt = speed_of(y);
    return m;
}
static_assert(move_of(Dir::left_up, 0x20, 0x50, {1, 2, 4, 8}).word == 5 &&
              move_of(Dir::up, 0x20, 0x50, {1, 2, 4, 8}).pan == 0);

static_assert(classify_xy(0x20, 0x40) == Dir::left);
// The dead band only decides whether a move is diagonal.
static_assert(classify_xy(62, 70) == Dir::up && classify_xy(61, 70) == Dir::left_up);
static_assert(classify_xy(0x40, 0x40) == Dir::none);
static_assert(axis_sense(61) == Sense::negative && axis_sense(62) == Sense::none &&
              axis_sense(67) == Sense::positive);

}  // namespace ptz
