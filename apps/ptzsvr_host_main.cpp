// ptzsvr-host: the daemon on a developer's machine, with a directory tree
// standing in for the recorder (see os/host_os.h).
#include <sys/stat.h>

#include <cstdio>
#include <memory>
#include <string>
#include <string_view>

#include "core/config.h"
#include "core/daemon.h"
#include "os/host_os.h"

namespace {

int usage(const char* self) {
    std::fprintf(stderr, "usage: %s --board DIR [--trace FILE]\n", self);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::string board;
    std::string trace;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if ((arg == "--board" || arg == "--trace") && i + 1 < argc) {
            (arg == "--board" ? board : trace) = argv[++i];
        } else {
            return usage(argv[0]);
        }
    }
    if (board.empty()) return usage(argv[0]);
    struct stat st;
    if (::stat(board.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        std::fprintf(stderr, "%s: board directory %s not found\n", argv[0], board.c_str());
        return 2;
    }

    ptz::HostOs os(board, trace, ptz::kConfASize, ptz::kConfBSize);
    if (!os.error().empty()) {
        std::fprintf(stderr, "%s: %s\n", argv[0], os.error().c_str());
        return 2;
    }
    auto d = std::make_unique<ptz::Daemon>(os);
    int status = 0;
    if (!d->startup(status)) return status;
    d->run();  // never returns
}
