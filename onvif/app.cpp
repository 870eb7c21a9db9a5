#include "onvif/app.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>

#include "onvif/auth.h"
#include "onvif/discovery.h"
#include "onvif/http.h"
#include "onvif/service.h"

namespace ptz::onvif {

namespace {

void usage() {
    std::fprintf(
        stderr,
        "usage: ptzonvif (--socket PATH | --board DIR) [--listen ADDR:PORT] --users FILE [--state DIR]\n"
        "                [--rtsp TEMPLATE] [--no-discovery]\n");
}

std::string dir_of(const std::string& path) {
    size_t slash = path.rfind('/');
    if (slash == std::string::npos) return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Our WS-Discovery endpoint, made once and kept in the state directory so
// that clients recognise the device after a restart.
std::string stable_uuid(const std::string& state_dir) {
    std::string path = state_dir + "/uuid";
    std::ifstream in(path);
    std::string line;
    if (std::getline(in, line) && line.size() == 45 && line.rfind("urn:uuid:", 0) == 0) return line;
    uint8_t b[16];
    if (getrandom(b, sizeof b, 0) != static_cast<ssize_t>(sizeof b)) std::memset(b, 0x5a, sizeof b);
    b[6] = static_cast<uint8_t>((b[6] & 0x0f) | 0x40);
    b[8] = static_cast<uint8_t>((b[8] & 0x3f) | 0x80);
    char s[48];
    std::snprintf(s, sizeof s,
                  "urn:uuid:%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0], b[1],
                  b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15]);
    std::ofstream out(path);
    out << s << "\n";
    return s;
}

bool valid_listen(const std::string& s) {
    size_t colon = s.rfind(':');
    if (colon == std::string::npos || colon == 0 || colon + 1 == s.size() || s.size() - colon > 6)
        return false;
    for (size_t i = colon + 1; i < s.size(); ++i) {
        if (s[i] < '0' || s[i] > '9') return false;
    }
    return std::stoi(s.substr(colon + 1)) <= 65535;
}

}  // namespace

int run_app(int argc, char** argv, const ControllerFactory& make_controller) {
    std::string socket_path, board, listen = "127.0.0.1:8000", users_file, state_dir, rtsp;
    bool discovery = true;
    for (int i = 1; i < argc; ++i) {
        std::string a = argv[i];
        auto value = [&](std::string& out) {
            if (i + 1 >= argc) return false;
            out = argv[++i];
            return true;
        };
        const std::pair<const char*, std::string*> valued[] = {
            {"--socket", &socket_path}, {"--board", &board},     {"--listen", &listen},
            {"--users", &users_file},   {"--state", &state_dir}, {"--rtsp", &rtsp}};
        bool ok = a == "--no-discovery";
        if (ok) discovery = false;
        for (const auto& [name, out] : valued)
            if (a == name) ok = value(*out);
        if (!ok) {
            usage();
            return 2;
        }
    }
    if (socket_path.empty() == board.empty() || users_file.empty() || !valid_listen(listen)) {
        usage();
        return 2;
    }
    if (!board.empty()) socket_path = board + "/tmp/ptzsvr.sock";
    if (state_dir.empty()) state_dir = dir_of(socket_path) + "/ptzonvif";

    std::vector<User> users;
    std::string error;
    if (!load_users(users_file, users, error)) {
        std::fprintf(stderr, "ptzonvif: %s\n", error.c_str());
        return 1;
    }
    if (mkdir(state_dir.c_str(), 0700) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "ptzonvif: %s: %s\n", state_dir.c_str(), std::strerror(errno));
        return 1;
    }

    // Signals go to the main thread's sigwait only; the server's threads
    // inherit the mask.
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    signal(SIGPIPE, SIG_IGN);

    DaemonControllerConfig cc{socket_path, board, state_dir};
    std::unique_ptr<Controller> ctl = make_controller(cc, error);
    if (!ctl) {
        std::fprintf(stderr, "ptzonvif: %s\n", error.c_str());
        return 1;
    }
    Auth auth(std::move(users));
    ServiceConfig sc;
    sc.listen = listen;
    sc.rtsp_template = rtsp;
    sc.uuid = stable_uuid(state_dir);
    HttpConfig hc;
    hc.listen = listen;
    Service service(*ctl, auth, sc);
    HttpServer http(service, hc);
    if (!http.start(error)) {
        std::fprintf(stderr, "ptzonvif: %s\n", error.c_str());
        return 1;
    }
    std::string bound = listen.substr(0, listen.rfind(':')) + ":" + std::to_string(http.port());
    std::unique_ptr<Discovery> disc;
    if (discovery) {
        disc = std::make_unique<Discovery>(DiscoveryConfig{bound, sc.uuid, 3702});
        if (!disc->start(error)) {
            std::fprintf(stderr, "ptzonvif: discovery off: %s\n", error.c_str());
            disc.reset();
        }
    }
    std::printf("ptzonvif: listening on %s\n", bound.c_str());
    std::fflush(stdout);
    int sig = 0;
    sigwait(&set, &sig);
    if (disc) disc->stop();
    http.stop();
    return 0;
}

}  // namespace ptz::onvif
