// The Controller that drives the recorder's cameras through the daemon.
#pragma once

#include <memory>
#include <string>

#include "onvif/controller.h"

namespace ptz::onvif {

struct DaemonControllerConfig {
    std::string socket_path;  // the daemon's command socket
    std::string board_dir;    // a host runner's board directory, or empty on the recorder
    std::string state_dir;    // where preset names and home positions are kept
};

// Null with `error` set when the channels cannot be read or the state
// directory cannot be used.
std::unique_ptr<Controller> make_daemon_controller(const DaemonControllerConfig& cfg, std::string& error);

}  // namespace ptz::onvif
