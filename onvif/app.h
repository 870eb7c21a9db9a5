// ptzonvif's command line and its run until SIGINT or SIGTERM, with the
// controller made by a function passed in (the daemon's, or a fake in
// trials without a daemon).
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "onvif/controller.h"
#include "onvif/daemon_controller.h"

namespace ptz::onvif {

using ControllerFactory =
    std::function<std::unique_ptr<Controller>(const DaemonControllerConfig& cfg, std::string& error)>;

int run_app(int argc, char** argv, const ControllerFactory& make_controller);

}  // namespace ptz::onvif
