// Process-wide driver state: one copy per daemon, shared by every port and
// channel that uses the protocol (interleaved commands for two cameras of one
// protocol affect each other, as the cameras in the field expect).
#pragma once

#include <cstdint>

namespace ptz {

struct PelcoDState {
    uint16_t command = 0;
    uint8_t data1 = 0;
    uint8_t data2 = 0;
    void reset() { *this = PelcoDState{}; }
};

// ADI: whether pan and tilt were last driven, so that a centred value stops
// them once.
struct AdiState {
    uint32_t pan_moving = 0;
    uint32_t tilt_moving = 0;
};

// Letter-command protocol: which motions run, each stopped by its own letter.
struct LetterCommandState {
    bool pan_tilt = false;
    bool zoom = false;
    bool focus = false;
};

struct DriverStates {
    PelcoDState pelcod;      // RS-485 Pelco-D
    PelcoDState pelcod_tvi;  // Pelco-D over TVI coax
    uint8_t hikc_last_code = 0;
    uint32_t vcc4_commands = 0;  // VC-C4: commands handled; the first one initialises
    AdiState adi;
    LetterCommandState letter_command;
};

}  // namespace ptz
