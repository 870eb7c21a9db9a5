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

struct DriverStates {
    PelcoDState pelcod;      // RS-485 Pelco-D
    PelcoDState pelcod_tvi;  // Pelco-D over TVI coax
    uint8_t hikc_last_code = 0;
    uint32_t vcc4_commands = 0;  // VC-C4: commands handled; the first one initialises
    // C1080B: move speeds shared by every C1080B port, kept between moves.
    uint8_t c1080b_pan_speed = 0;
    uint8_t c1080b_tilt_speed = 0;
    int32_t upgrade_progress = 0;  // camera firmware upgrade: last percentage logged
};

}  // namespace ptz
