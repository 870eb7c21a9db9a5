// Channel-to-port routing: the port table, the tdm groups of time-multiplexed
// coax receivers, camera addresses and the coax line switch.
#pragma once

#include <cstdint>

#include "core/daemon.h"

namespace ptz {

int coax_port_number(const Daemon& d);
void open_ports(Daemon& d);
bool port_in_use(const Daemon& d, int port);
int set_serial_port(Daemon& d, int channel);
uint32_t get_ptz_addr_from_conf(Daemon& d, int channel);
void coax_line_switch(Daemon& d, int channel, int port, const StatusRecord& status, int enable);
// Detected video format of a channel in a status record (0 for channels the
// record does not cover).
uint32_t detected_format(const StatusRecord& status, int channel);

}  // namespace ptz
