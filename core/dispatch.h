// Command dispatch: from a channel's command to one call of its driver.
#pragma once

#include <cstdint>

#include "protocols/drivers.h"

namespace ptz {
class Daemon;

// How a driver reaches its camera.
enum class LineArg : uint8_t {
    port,     // the port of the port table
    channel,  // the video channel, through the coax device, after the same-command check
    pelco_d,  // port, or the channel for the TVI coax form
};

struct DriverEntry {
    uint16_t model;
    DriverFn fn;  // nullptr: the protocol's driver is not built into this daemon
    LineArg line;
};

// The dispatch table, by model_id.
const DriverEntry* find_driver(uint16_t model);
bool is_ptz_device(int model);
bool same_command(Daemon& d, int channel, const uint8_t* cmd);
int eptz_handler(Daemon& d, uint32_t channel, uint8_t* cmd);
int send_stop(Daemon& d, int channel);
int bypass(Daemon& d, uint8_t* cmd);

}  // namespace ptz
