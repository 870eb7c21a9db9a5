// ptzcam camera: a simulated camera on a pseudo-terminal. The daemon (or any
// controller) opens the slave through the link; every frame that arrives is
// printed, moves the simulated head, and is answered where the protocol
// answers, with the injected fault if one was asked for.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "head.h"
#include "line.h"
#include "tools.h"

namespace ptzcam {

namespace {

volatile sig_atomic_t g_stop = 0;
void on_signal(int) { g_stop = 1; }

// A frame that has stopped growing for this long is cut as it stands.
constexpr int kQuietMs = 60;

double seconds() {
    timespec t{};
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// The answer with one byte changed so that the protocol's own decoder calls
// it a bad checksum (the last byte when no single change does).
Bytes with_bad_checksum(const Protocol& p, Bytes a) {
    for (size_t i = a.size(); i-- > 0;) {
        Bytes t = a;
        t[i] ^= 0x01;
        if (p.decode(t.data(), t.size()).status == Status::bad_checksum) return t;
    }
    if (!a.empty()) a.back() ^= 0x01;
    return a;
}

void write_all(int fd, const Bytes& b) {
    for (size_t done = 0; done < b.size();) {
        const ssize_t n = ::write(fd, b.data() + done, b.size() - done);
        if (n <= 0 && errno != EINTR && errno != EAGAIN) return;
        if (n > 0) done += static_cast<size_t>(n);
    }
}

}  // namespace

bool parse_fault(std::string_view text, Fault& f) {
    if (text.starts_with("late=")) {
        const std::string ms(text.substr(5));
        char* end = nullptr;
        const long v = std::strtol(ms.c_str(), &end, 10);
        if (ms.empty() || *end != '\0' || v < 0 || v > 60000) return false;
        f.late_ms = static_cast<int>(v);
        return true;
    }
    if (text == "badsum") return f.badsum = true;
    if (text == "noise") return f.noise = true;
    if (text == "twice") return f.twice = true;
    if (text == "silent") return f.silent = true;
    return false;
}

int run_camera(const std::vector<const Protocol*>& protos, const std::vector<int>& addresses,
               const std::string& link, const Fault& fault) {
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        std::fprintf(stderr, "ptzcam: no pseudo-terminal: %s\n", std::strerror(errno));
        return 1;
    }
    const std::string slave = ptsname(master);
    // Held open, so that the daemon closing the port (at a reload) does not
    // hang up the line under us.
    const int held = ::open(slave.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios t{};
    if (held >= 0 && tcgetattr(held, &t) == 0) {
        cfmakeraw(&t);
        tcsetattr(held, TCSANOW, &t);
    }
    struct stat st {};
    if (::lstat(link.c_str(), &st) == 0) {
        // A board directory's port is a plain file (a line monitor) or an
        // earlier link; both make way. Anything else is somebody's.
        if (!S_ISREG(st.st_mode) && !S_ISLNK(st.st_mode)) {
            std::fprintf(stderr, "ptzcam: %s exists and is not a file or link\n", link.c_str());
            return 1;
        }
        ::unlink(link.c_str());
    }
    if (::symlink(slave.c_str(), link.c_str()) != 0) {
        std::fprintf(stderr, "ptzcam: cannot link %s: %s\n", link.c_str(), std::strerror(errno));
        return 1;
    }
    struct sigaction sa {};
    sa.sa_handler = on_signal;
    sigaction(SIGINT, &sa, nullptr);
    sigaction(SIGTERM, &sa, nullptr);
    sigaction(SIGHUP, &sa, nullptr);
    // One protocol for every address, or one each: cameras of different
    // makes can share the line, as on a bus.
    std::map<int, const Protocol*> proto_of;
    std::vector<const Protocol*> line_protos;
    std::string names;
    for (size_t i = 0; i < addresses.size(); ++i) {
        const Protocol* p = protos[protos.size() == 1 ? 0 : i];
        proto_of[addresses[i]] = p;
        if (std::find(line_protos.begin(), line_protos.end(), p) == line_protos.end())
            line_protos.push_back(p);
        names +=
            (names.empty() ? "" : ", ") + std::string(p->name) + " address " + std::to_string(addresses[i]);
    }
    std::printf("%s camera: %s on %s (%s)%s%s\n", clock_now().c_str(), names.c_str(), link.c_str(),
                slave.c_str(), fault.any() ? ", fault " : "", fault.text().c_str());
    std::fflush(stdout);

    LineReader reader(line_protos);
    // A C1080B camera takes firmware: its handshake frames are handed to the
    // transfer follower, which then cuts the image and the trailer.
    const Protocol* loader = find_protocol("c1080b");
    UpgradeStream upgrade;
    reader.follow(&upgrade, loader);
    std::map<int, Head> heads;
    for (int a : addresses) heads[a].advance(seconds());
    double last_byte = seconds();
    uint8_t buf[512];
    while (!g_stop) {
        pollfd p{master, POLLIN, 0};
        const int r = ::poll(&p, 1, reader.pending() ? 10 : 100);
        const double now = seconds();
        if (r > 0 && (p.revents & POLLIN)) {
            const ssize_t n = ::read(master, buf, sizeof buf);
            if (n > 0) reader.feed(buf, static_cast<size_t>(n)), last_byte = now;
        }
        const bool quiet = (now - last_byte) * 1000 > kQuietMs;
        for (Cut c; true;) {
            const bool image = reader.in_transfer();
            if (!reader.next(c, quiet)) break;
            if (image) {
                // The loader takes the image in silence; one line per piece read, its first bytes shown.
                const bool cut_short = c.bytes.size() > 8;
                if (cut_short) c.bytes.resize(8);
                print(stdout, c, cut_short ? " ..." : "");
                continue;
            }
            const auto it = c.frame.status == Status::ok ? heads.find(c.frame.address) : heads.end();
            // A frame without an address goes to the first camera.
            const bool mine = it != heads.end() || (c.frame.status == Status::ok && c.frame.address < 0);
            const int address = it != heads.end() ? it->first : addresses.front();
            const Protocol& proto = *proto_of[address];
            // On a mixed line the frame is read again as the addressed camera reads it.
            if (mine && c.proto != &proto) {
                const Frame own = proto.decode(c.bytes.data(), c.bytes.size());
                if (own.status == Status::ok && own.length == c.bytes.size()) c.proto = &proto, c.frame = own;
            }
            if (mine && &proto == loader) upgrade.decode(c.bytes.data(), c.bytes.size());
            const Frame& f = c.frame;
            Head& head = heads[address];
            head.advance(seconds());
            const char* note = mine ? head.apply(f) : f.status == Status::ok ? " (not this camera)" : "";
            print(stdout, c, note);
            if (!mine) continue;
            const Answer a = proto.answer(f, head.state(), address);
            if (a.size == 0) continue;
            Bytes out(a.bytes, a.bytes + a.size);
            // The answer is printed like a frame, named by the protocol's own decoder.
            Cut shown{&proto, f, out};
            const Frame named = proto.decode(a.bytes, a.size);
            std::snprintf(shown.frame.meaning, sizeof shown.frame.meaning, "-> answer%s%.80s",
                          named.status == Status::ok ? ": " : "",
                          named.status == Status::ok ? named.meaning : "");
            if (fault.silent) {
                print(stdout, shown, " (withheld: fault silent)");
                continue;
            }
            if (fault.badsum) out = with_bad_checksum(proto, out);
            if (fault.noise) out.insert(out.begin(), {0x00, 0x37, 0x5A});
            if (fault.twice) out.insert(out.end(), out.begin(), out.end());
            if (fault.late_ms > 0) usleep(static_cast<useconds_t>(fault.late_ms) * 1000);
            write_all(master, out);
            shown.bytes = out;
            print(stdout, shown, fault.any() ? (" (fault " + fault.text() + ")").c_str() : "");
        }
    }
    // Leave the board as the link found it: no dangling link to a closed terminal.
    char target[256];
    const ssize_t n = ::readlink(link.c_str(), target, sizeof target - 1);
    if (n > 0 && slave.compare(0, std::string::npos, target, static_cast<size_t>(n)) == 0)
        ::unlink(link.c_str());
    ::close(held);
    ::close(master);
    return 0;
}

}  // namespace ptzcam
