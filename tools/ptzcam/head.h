// The simulated pan/tilt head: it follows the commanded speeds in real time
// within its limits and keeps presets.
#pragma once

#include <map>

#include "proto.h"

namespace ptzcam {

class Head {
public:
    // Pan wraps at 36000 hundredths of a degree; tilt runs from straight down
    // to straight up; zoom over the lens's 0..16384 positions.
    static constexpr double kTiltMin = -9000, kTiltMax = 9000, kZoomMax = 16384;
    // One unit of a protocol's pan/tilt speed turns the head 1 degree a second;
    // the lens crosses its whole range in 4 seconds.
    static constexpr double kPerSpeedUnit = 100, kZoomRate = kZoomMax / 4;

    // Moves the head to where it is at `now` (seconds).
    void advance(double now);
    // Acts on a frame addressed to this camera (advance first). Returns a note
    // for the printed line ("" when there is nothing to add).
    const char* apply(const Frame& f);
    const HeadState& state() const { return s_; }
    bool moving() const { return vpan_ != 0 || vtilt_ != 0 || vzoom_ != 0; }

private:
    HeadState s_;
    double vpan_ = 0, vtilt_ = 0, vzoom_ = 0, last_ = -1;
    std::map<int, HeadState> presets_;
    char note_[64] = "";
};

}  // namespace ptzcam
