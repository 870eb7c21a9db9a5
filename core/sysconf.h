// System variables under /proc and the configuration load from the recorder.
#pragma once

namespace ptz {
class Daemon;

int read_system_variable(Daemon& d, const char* path);
void read_system_variables(Daemon& d);
int ptzsvr_load_conf(Daemon& d);
}  // namespace ptz
