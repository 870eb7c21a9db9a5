// INOS-V900: a pan/tilt head with an environment sensor block and switch
// outputs on RS-485. Its state (switches and sensor values) is reported to
// the recorder in the position report's words.
#pragma once

#include <cstdint>

namespace ptz {
class Daemon;

// Asks the head for its switches (keeping the stored value when it does not
// answer) and reports the stored state.
void inosv900_get_current_switch_status(Daemon& d, int port, uint16_t addr, uint32_t channel);
// Reports the stored state without asking the head.
int inosv900_send_switch_status(Daemon& d, int port, uint16_t addr, uint32_t channel);
// Polls switches, temperature, humidity and both dust readings in turn,
// logging every change; -1 at the first reading that does not come.
int INOSV900_get_sensor_data(Daemon& d, int port, uint16_t addr, uint8_t& sensor);
// The head's firmware version byte, or 0 when it does not answer.
int INOSV900_check_fw_version(Daemon& d, int port, uint16_t addr);

}  // namespace ptz
