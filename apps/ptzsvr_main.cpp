// ptzsvr on the board: no options, no environment, no configuration file;
// everything comes from the recorder.
#include <memory>

#include "core/daemon.h"
#include "os/target_os.h"

int main() {
    static ptz::TargetOs os;
    // The daemon holds the 384 KiB receive buffer and both configuration
    // buffers: allocate it once at start rather than on the stack.
    auto d = std::make_unique<ptz::Daemon>(os);
    int status = 0;
    if (!d->startup(status)) return status;
    d->run();
}
