// ptzonvif: every PTZ camera of the recorder as an ONVIF device.
#include "onvif/app.h"
#include "onvif/daemon_controller.h"

int main(int argc, char** argv) {
    return ptz::onvif::run_app(argc, argv, ptz::onvif::make_daemon_controller);
}
