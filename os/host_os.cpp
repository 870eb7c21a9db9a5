#include "os/host_os.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>
#include <utility>

#include "client/ptzmsg.h"
#include "common/wire.h"
#include "os/requests.h"
#include "os/target_os.h"

namespace ptz {
namespace {

// Writing the trace must not change the errno the daemon is about to look at.
class KeepErrno {
public:
    KeepErrno() : saved_(errno) {}
    ~KeepErrno() { errno = saved_; }
    KeepErrno(const KeepErrno&) = delete;
    KeepErrno& operator=(const KeepErrno&) = delete;

private:
    int saved_;
};

int fail(int err) {
    errno = err;
    return -1;
}

void append_hex(std::string& out, const void* data, size_t len, bool spaced) {
    static constexpr char kDigits[] = "0123456789abcdef";
    const auto* p = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < len; ++i) {
        if (spaced) out += ' ';
        out += kDigits[p[i] >> 4];
        out += kDigits[p[i] & 0xF];
    }
}

// Whole file, at most `limit` bytes. False (errno set) when it cannot be read.
bool read_file(const std::string& path, std::string& out, size_t limit) {
    const int fd = ::open(path.c_str(), O_RDONLY);
    if (fd < 0) return false;
    out.assign(limit, '\0');
    size_t got = 0;
    while (got < limit) {
        const ssize_t n = ::read(fd, out.data() + got, limit - got);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += static_cast<size_t>(n);
    }
    ::close(fd);
    out.resize(got);
    return true;
}

std::string request_text(unsigned long req) {
    char text[2 + 2 * sizeof req + 1];
    std::snprintf(text, sizeof text, "0x%lx", req);
    return text;
}

const char* parity_name(Parity p) {
    switch (p) {
        case Parity::even: return "even";
        case Parity::odd: return "odd";
        default: return "none";
    }
}

}  // namespace

// One trace record, built field by field in the order the fields are added.
class HostOs::Line {
public:
    Line(int64_t t, const char* op) { text_ = "{\"t\":" + std::to_string(t) + ",\"op\":\"" + op + '"'; }

    Line& str(const char* key, std::string_view value) {
        add_key(key);
        text_ += '"';
        for (const char c : value) {
            const auto u = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') {
                text_ += '\\';
                text_ += c;
            } else if (c == '\n') {
                text_ += "\\n";
            } else if (c == '\t') {
                text_ += "\\t";
            } else if (u < 0x20 || u >= 0x7F) {
                // Bytes outside printable ASCII appear as their Latin-1 code
                // point, so a line stays valid JSON whatever a record holds.
                text_ += "\\u00";
                append_hex(text_, &u, 1, false);
            } else {
                text_ += c;
            }
        }
        text_ += '"';
        return *this;
    }
    template <typename T>
    Line& num(const char* key, T value) {
        add_key(key);
        text_ += std::to_string(value);
        return *this;
    }
    Line& hex(const char* key, const void* data, size_t len) {
        add_key(key);
        text_ += '"';
        append_hex(text_, data, len, false);
        text_ += '"';
        return *this;
    }
    // The device as the daemon named it (when the descriptor is one the
    // daemon opened) and the descriptor.
    Line& fd(const Desc* d, int fd) {
        if (d != nullptr) str("dev", d->path);
        return num("fd", fd);
    }
    std::string finish() const { return text_ + "}\n"; }

private:
    void add_key(const char* key) {
        text_ += ",\"";
        text_ += key;
        text_ += "\":";
    }
    std::string text_;
};

HostOs::HostOs(std::string board_dir, const std::string& trace_path, size_t conf_a_size, size_t conf_b_size)
    : board_(std::move(board_dir)),
      conf_a_size_(conf_a_size),
      conf_b_size_(conf_b_size),
      start_(std::chrono::steady_clock::now()) {
    // Absolute, so that the daemon's own working directory never matters.
    if (char* real = ::realpath(board_.c_str(), nullptr)) {
        board_ = real;
        std::free(real);
    }
    while (board_.size() > 1 && board_.back() == '/') board_.pop_back();
    posix::tighten_timers();
    // The socket and the pid file live in /tmp; a fresh board may lack it.
    ::mkdir((board_ + "/tmp").c_str(), 0755);
    report_fd_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (!trace_path.empty()) {
        trace_ = std::fopen(trace_path.c_str(), "w");
        if (trace_ == nullptr)
            error_ = "cannot create trace file " + trace_path + ": " + std::strerror(errno);
    }
}

HostOs::~HostOs() {
    if (trace_ != nullptr) std::fclose(trace_);
    if (report_fd_ >= 0) ::close(report_fd_);
}

std::string HostOs::board_path(const char* path) const {
    std::string out = board_;
    if (*path != '/') out += '/';
    out += path;
    return out;
}

HostOs::Desc* HostOs::find(int fd) {
    const auto it = fds_.find(fd);
    return it == fds_.end() ? nullptr : &it->second;
}

int64_t HostOs::now_us() const {
    return std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now() - start_)
        .count();
}

void HostOs::emit(const Line& line) {
    if (trace_ == nullptr) return;
    const std::string text = line.finish();
    std::fputs(text.c_str(), trace_);
    std::fflush(trace_);
}

HostOs::Kind HostOs::device_kind(const char* path) {
    // "/dev/misc/vdrv0" and "dev/misc/vdrv0" are the same device.
    std::string_view p = path;
    while (!p.empty() && p.front() == '/') p.remove_prefix(1);
    if (p.starts_with("dev/ttyS") || p.starts_with("dev/ttyUSB")) return Kind::serial;
    static constexpr std::pair<std::string_view, Kind> kRecorderDevices[] = {
        {"dev/con2rec", Kind::con2rec}, {"dev/vin_devs", Kind::vin_devs}, {"dev/av_devs", Kind::av_devs},
        {"dev/dio", Kind::accepting},   {"dev/orv_poc", Kind::accepting}, {"dev/wdt", Kind::accepting},
        {"dev/misc/vdrv0", Kind::log},
    };
    for (const auto& [name, kind] : kRecorderDevices) {
        if (p == name) return kind;
    }
    return Kind::file;
}

bool HostOs::simulated(Kind kind) {
    return kind != Kind::file && kind != Kind::serial && kind != Kind::line_monitor;
}

int HostOs::open(const char* path, OpenMode mode) {
    const int64_t t = now_us();
    const std::string host = board_path(path);
    Kind kind = device_kind(path);
    int flags = posix::open_flags(mode);
    struct stat st;
    if (kind == Kind::serial && ::stat(host.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        kind = Kind::line_monitor;
    }
    // Simulated devices and monitors are opened only to own a unique
    // descriptor; their files are never written through it.
    if (kind != Kind::file && kind != Kind::serial) flags = O_RDONLY;
    const int fd = ::open(host.c_str(), flags, 0644);
    const KeepErrno keep;
    if (fd >= 0) fds_[fd] = Desc{path, kind, false, {}};
    emit(Line(t, "open").str("dev", path).num("ret", fd));
    return fd;
}

int HostOs::close(int fd) {
    const int64_t t = now_us();
    const bool socket = sockets_.erase(fd) > 0;
    const int ret = ::close(fd);
    const KeepErrno keep;
    if (!socket) emit(Line(t, "close").fd(find(fd), fd).num("ret", ret));
    fds_.erase(fd);
    return ret;
}

long HostOs::read(int fd, void* buf, size_t len) {
    const int64_t t = now_us();
    const Desc* d = find(fd);
    long ret = 0;
    if (d != nullptr && d->kind == Kind::line_monitor) {
        ret = fail(EAGAIN);  // nothing ever answers on a monitored line
    } else {
        ret = ::read(fd, buf, len);
    }
    const KeepErrno keep;
    if (sockets_.count(fd) == 0) {
        Line line(t, "read");
        line.fd(d, fd);
        if (ret > 0) line.hex("data", buf, static_cast<size_t>(ret));
        emit(line.num("ret", ret));
    }
    return ret;
}

long HostOs::write(int fd, const void* buf, size_t len) {
    const int64_t t = now_us();
    const Desc* d = find(fd);
    long ret = 0;
    if (d != nullptr && d->kind == Kind::line_monitor) {
        show_on_monitor(*d, buf, len);
        ret = static_cast<long>(len);
    } else if (d != nullptr && simulated(d->kind)) {
        ret = static_cast<long>(len);
    } else {
        ret = ::write(fd, buf, len);
    }
    const KeepErrno keep;
    if (sockets_.count(fd) == 0) emit(Line(t, "write").fd(d, fd).hex("data", buf, len).num("ret", ret));
    return ret;
}

void HostOs::show_on_monitor(const Desc& d, const void* buf, size_t len) {
    const size_t slash = d.path.rfind('/');
    std::string out = slash == std::string::npos ? d.path : d.path.substr(slash + 1);
    if (d.configured) {
        static constexpr char kParityLetter[] = {'N', 'E', 'O'};
        const auto parity = static_cast<size_t>(d.settings.parity);
        out += ' ' + std::to_string(d.settings.baud) + ' ' + std::to_string(d.settings.data_bits) +
               (parity < sizeof kParityLetter ? kParityLetter[parity] : '?') +
               std::to_string(d.settings.stop_bits);
    } else {
        out += " unconfigured";
    }
    out += " >";
    append_hex(out, buf, len, true);
    out += '\n';
    std::fputs(out.c_str(), stdout);
    std::fflush(stdout);
}

int HostOs::ioctl_val(int fd, unsigned long req, unsigned long arg) {
    const int64_t t = now_us();
    const Desc* d = find(fd);
    // A value request carries nothing to fill, so a recorder device simply
    // accepts it; terminals and plain files take no requests from the daemon.
    const int ret = d == nullptr ? fail(EBADF) : simulated(d->kind) ? 0 : fail(ENOTTY);
    const KeepErrno keep;
    emit(Line(t, "ioctl").fd(d, fd).str("req", request_text(req)).num("arg", arg).num("ret", ret));
    return ret;
}

int HostOs::ioctl_ptr(int fd, unsigned long req, void* arg) {
    const int64_t t = now_us();
    const Desc* d = find(fd);
    if (d != nullptr && d->kind == Kind::log && req == req::log_record && arg != nullptr) {
        // The kernel log of the recorder; here the developer's terminal.
        const auto* record = static_cast<const char*>(arg);
        const std::string_view text(record, strnlen(record, kLogRecordSize));
        std::fwrite(text.data(), 1, text.size(), stderr);
        emit(Line(t, "log").fd(d, fd).str("text", text).num("ret", 0));
        return 0;
    }
    const int ret = d == nullptr ? fail(EBADF) : simulated(d->kind) ? simulate(*d, req, arg) : fail(ENOTTY);
    const KeepErrno keep;
    Line line(t, "ioctl");
    line.fd(d, fd).str("req", request_text(req));
    if (arg != nullptr) {
        const auto* report = static_cast<const ReportArg*>(arg);
        if (d != nullptr && d->kind == Kind::con2rec && req == req::report) {
            if (report->msg != nullptr) line.hex("data", report->msg, kReportMsgSize);
        } else if (const size_t size = record_size(req); size > 0) {
            line.hex("data", arg, size);
        }
    }
    emit(line.num("ret", ret));
    return ret;
}

int HostOs::simulate(const Desc& d, unsigned long req, void* arg) {
    if (d.kind == Kind::con2rec && req == req::conf_load) return load_conf(d, arg);
    if (d.kind == Kind::con2rec && req == req::report) {
        forward_report(arg);
        return 0;
    }
    if (d.kind == Kind::av_devs && req == req::coc_tx && arg != nullptr) {
        // What the capture driver would put on the channel's cable, shown
        // like the bytes of a monitored serial line.
        const auto* r = static_cast<const uint8_t*>(arg);
        const uint32_t n = std::min<uint32_t>(rd32(r + 4), kCocTxReqSize - 8);
        std::string out = "coax ch" + std::to_string(rd32(r)) + " >";
        append_hex(out, r + 8, n, true);
        out += '\n';
        std::fputs(out.c_str(), stdout);
        std::fflush(stdout);
        return 0;
    }
    if ((d.kind == Kind::vin_devs && req == req::vin_status) ||
        (d.kind == Kind::av_devs && req == req::av_status)) {
        return fill_status(d, arg);
    }
    return 0;  // the recorder's drivers accept whatever else the daemon asks
}

// The recorder core hands each report to the process whose tag it carries;
// here every report goes to whoever listens on the report socket. Nobody
// listening, a full queue or a bad record never holds the daemon up.
void HostOs::forward_report(const void* arg) {
    const auto* report = static_cast<const ReportArg*>(arg);
    if (report == nullptr || report->msg == nullptr || report_fd_ < 0 || report_addr_.sun_family != AF_UNIX)
        return;
    const KeepErrno keep;
    ::sendto(report_fd_, report->msg, kReportMsgSize, MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&report_addr_), sizeof report_addr_);
}

// The recorder core's answer: buffer B is the image in DIR/dev/con2rec as it
// is now, so editing the file and sending SIGUSR1 reconfigures the daemon.
int HostOs::load_conf(const Desc& d, void* arg) {
    const auto* a = static_cast<const ConfLoadArg*>(arg);
    if (a == nullptr || (a->buf_a == nullptr && conf_a_size_ > 0) ||
        (a->buf_b == nullptr && conf_b_size_ > 0)) {
        return fail(EFAULT);
    }
    std::string image;
    if (!read_file(board_path(d.path.c_str()), image, conf_b_size_)) return -1;
    if (!image.empty()) std::memcpy(a->buf_b, image.data(), image.size());
    if (conf_b_size_ > image.size()) std::memset(a->buf_b + image.size(), 0, conf_b_size_ - image.size());
    if (conf_a_size_ > 0) std::memset(a->buf_a, 0, conf_a_size_);
    return 0;
}

// The detected video format of each channel, as decimal numbers in the
// device file, channel 0 first.
int HostOs::fill_status(const Desc& d, void* arg) {
    constexpr size_t kFormatsAt = 64;
    constexpr int kChannels = 16;
    if (arg == nullptr) return fail(EFAULT);
    std::string text;
    if (!read_file(board_path(d.path.c_str()), text, 4096)) return -1;
    auto* rec = static_cast<uint8_t*>(arg);
    std::memset(rec, 0, kStatusRecordSize);
    const char* p = text.c_str();
    for (int ch = 0; ch < kChannels; ++ch) {
        char* end = nullptr;
        const unsigned long long format = std::strtoull(p, &end, 10);
        if (end == p) break;
        wr32(rec + kFormatsAt + 4 * ch, static_cast<uint32_t>(format));
        p = end;
    }
    return 0;
}

int HostOs::tcsetattr(int fd, const LineSettings& settings) {
    const int64_t t = now_us();
    Desc* d = find(fd);
    const int ret =
        d != nullptr && d->kind == Kind::line_monitor ? 0 : posix::apply_line_settings(fd, settings);
    const KeepErrno keep;
    if (ret == 0 && d != nullptr) {
        d->configured = true;
        d->settings = settings;
    }
    emit(Line(t, "tcsetattr")
             .fd(d, fd)
             .num("baud", settings.baud)
             .num("data_bits", settings.data_bits)
             .str("parity", parity_name(settings.parity))
             .num("stop_bits", settings.stop_bits)
             .num("ret", ret));
    return ret;
}

int HostOs::tcdrain(int fd) {
    const int64_t t = now_us();
    const Desc* d = find(fd);
    const int ret = d != nullptr && d->kind == Kind::line_monitor ? 0 : ::tcdrain(fd);
    const KeepErrno keep;
    emit(Line(t, "tcdrain").fd(d, fd).num("ret", ret));
    return ret;
}

int HostOs::access_exists(const char* path) { return ::access(board_path(path).c_str(), F_OK); }

int HostOs::unlink(const char* path) { return ::unlink(board_path(path).c_str()); }

int HostOs::getpid() { return ::getpid(); }

void HostOs::usleep(uint32_t us) {
    emit(Line(now_us(), "sleep").num("us", us));
    posix::sleep_exact_us(us);
    posix::deliver_pending_signals();
}

void HostOs::sleep(uint32_t s) {
    const uint64_t us = uint64_t{s} * 1000000;
    emit(Line(now_us(), "sleep").num("us", us));
    posix::sleep_exact_us(us);
    posix::deliver_pending_signals();
}

TimeVal HostOs::gettimeofday() {
    timeval tv{};
    ::gettimeofday(&tv, nullptr);
    return TimeVal{tv.tv_sec, tv.tv_usec};
}

int64_t HostOs::time() { return ::time(nullptr); }

int HostOs::socket_dgram() {
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    if (fd >= 0) {
        sockets_.insert(fd);
        fds_.erase(fd);
    }
    return fd;
}

int HostOs::bind_unix(int fd, const char* path) {
    const std::string host = board_path(path);
    // The daemon binds only its command socket; the reports go beside it.
    sockaddr_un addr{};
    if (ptzmsg_report_path(host.c_str(), addr.sun_path, sizeof addr.sun_path) == 0) {
        addr.sun_family = AF_UNIX;
        report_addr_ = addr;
    }
    return posix::bind_unix(fd, host.c_str());
}

int HostOs::wait_readable(int fd, int64_t timeout_us) {
    int ret = 0;
    if (fd < 0 || fd >= FD_SETSIZE) {
        ret = fail(EBADF);
    } else {
        fd_set readable;
        FD_ZERO(&readable);
        FD_SET(fd, &readable);
        timeval tv{static_cast<time_t>(timeout_us / 1000000), static_cast<suseconds_t>(timeout_us % 1000000)};
        ret = ::select(fd + 1, &readable, nullptr, nullptr, timeout_us < 0 ? nullptr : &tv);
    }
    const KeepErrno keep;
    posix::deliver_pending_signals();
    return ret;
}

long HostOs::recvfrom(int fd, void* buf, size_t len) { return ::recvfrom(fd, buf, len, 0, nullptr, nullptr); }

int HostOs::install_signal(int sig, bool ignore, SignalSink* sink) {
    return posix::install_signal(sig, ignore, sink);
}

int HostOs::spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) {
    return posix::spawn(argv, mode, on_fail);
}
int HostOs::wait_child(int pid, ChildStatus& status) { return posix::wait_child(pid, status); }
int HostOs::list_dir(const char* path, DirEntryFn fn, void* ctx) {
    return posix::list_dir(board_path(path).c_str(), fn, ctx);
}

}  // namespace ptz
