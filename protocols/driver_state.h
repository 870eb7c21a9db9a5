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

// EZ and F2E: the last pan and tilt speed bytes, carried on by zoom, focus
// and iris commands.
struct WkcSpeeds {
    uint8_t pan = 0;
    uint8_t tilt = 0;
};

// INOS-V900: the values last read from the head, and the ones last logged.
struct InosV900State {
    int32_t switch_status = 0, temperature = 0, humidity = 0, dust1 = 0, dust2 = 0;
    int32_t logged_sensor = 0, logged_switch = 0, logged_temperature = 0, logged_humidity = 0;
    int32_t logged_dust1 = 0, logged_dust2 = 0;
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
    // C1080B: move speeds shared by every C1080B port, kept between moves.
    uint8_t c1080b_pan_speed = 0;
    uint8_t c1080b_tilt_speed = 0;
    int32_t upgrade_progress = 0;  // camera firmware upgrade: last percentage logged
    WkcSpeeds ez, f2e;
    uint16_t inos_word = 0;  // INOS: the movement word, re-sent by actions it has no word for
    InosV900State inos_v900;
    PelcoDState smartfarm;  // SMARTFARM: word, pan and tilt speed, accumulated until a stop
    AdiState adi;
    LetterCommandState letter_command;
};

}  // namespace ptz
