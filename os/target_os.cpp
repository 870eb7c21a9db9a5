#include "os/target_os.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>

namespace ptz {

namespace posix {

namespace {
// Real signals are process-wide: one pending mask and one sink per process.
volatile sig_atomic_t g_pending[32];
SignalSink* g_sink = nullptr;

void note_signal(int sig) {
    if (sig > 0 && sig < 32) g_pending[sig] = 1;
}

speed_t speed_constant(uint32_t baud) {
    switch (baud) {
        case 1200: return B1200;
        case 2400: return B2400;
        case 4800: return B4800;
        case 19200: return B19200;
        case 38400: return B38400;
        case 57600: return B57600;
        case 115200: return B115200;
        default: return B9600;
    }
}
}  // namespace

int apply_line_settings(int fd, const LineSettings& s) {
    termios t;
    std::memset(&t, 0, sizeof t);
    t.c_cflag = speed_constant(s.baud) | HUPCL | CREAD | (s.data_bits == 7 ? CS7 : CS8);
    if (s.parity == Parity::odd) t.c_cflag |= PARENB | PARODD;
    if (s.parity == Parity::even) t.c_cflag |= PARENB;
    if (s.stop_bits == 2) t.c_cflag |= CSTOPB;
    t.c_cc[VMIN] = 1;
    t.c_cc[VTIME] = 0;
    cfsetispeed(&t, speed_constant(s.baud));
    cfsetospeed(&t, speed_constant(s.baud));
    return ::tcsetattr(fd, TCSAFLUSH, &t);
}

int install_signal(int sig, bool ignore, SignalSink* sink) {
    if (!ignore) g_sink = sink;
    struct sigaction sa;
    std::memset(&sa, 0, sizeof sa);
    sa.sa_handler = ignore ? SIG_IGN : note_signal;
    sigemptyset(&sa.sa_mask);
    return ::sigaction(sig, &sa, nullptr);
}

void deliver_pending_signals() {
    for (int sig = 1; sig < 32; ++sig) {
        if (!g_pending[sig]) continue;
        g_pending[sig] = 0;
        if (g_sink != nullptr) g_sink->on_signal(sig);
    }
}

void tighten_timers() {
    // The line's waits are part of the protocol; the kernel's default 50 us
    // of timer slack would stretch every one of them.
    ::prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
}

void sleep_exact_us(uint64_t us) {
    timespec req{static_cast<time_t>(us / 1000000), static_cast<long>(us % 1000000) * 1000};
    timespec rem{};
    // A signal must not shorten a wait the protocol asks for.
    while (::nanosleep(&req, &rem) != 0 && errno == EINTR) req = rem;
}

int open_flags(OpenMode mode) {
    switch (mode) {
        case open_rdwr_nonblock: return O_RDWR | O_NONBLOCK | O_NOCTTY;
        // The daemon runs as root and writes its pid file in a directory
        // every process may write: never follow a planted symbolic link.
        case open_write_create: return O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW;
        case open_read:
        default: return O_RDONLY;
    }
}

// The address record is zeroed over its full size and bound with that size,
// as the recorder's other processes expect to find the socket.
int bind_unix(int fd, const char* path) {
    sockaddr_un a;
    std::memset(&a, 0, sizeof a);
    a.sun_family = AF_UNIX;
    const size_t n = std::strlen(path);
    if (n >= sizeof a.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    std::memcpy(a.sun_path, path, n);
    return ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
}

int spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) {
    // vfork's child borrows the parent's memory until it execs or exits:
    // it only execs, reports and leaves with _exit, as the runners expect.
    const pid_t pid = mode == SpawnMode::vfork ? ::vfork() : ::fork();
    if (pid != 0) return pid;
    ::execvp(argv[0], const_cast<char* const*>(argv));
    const int err = errno;
    if (on_fail.report != nullptr) on_fail.report(on_fail.ctx, err);
    ::_exit(on_fail.exit_status);
}

int wait_child(int pid, ChildStatus& status) {
    int raw = 0;
    const pid_t r = ::waitpid(pid, &raw, WUNTRACED);
    status.raw = raw;
    if (WIFEXITED(raw)) {
        status.kind = ChildStatus::Kind::exited;
        status.value = WEXITSTATUS(raw);
    } else if (WIFSIGNALED(raw)) {
        status.kind = ChildStatus::Kind::signaled;
        status.value = WTERMSIG(raw);
    } else if (WIFSTOPPED(raw)) {
        status.kind = ChildStatus::Kind::stopped;
        status.value = WSTOPSIG(raw);
    } else {
        status.kind = ChildStatus::Kind::other;
        status.value = 0;
    }
    return r;
}

int list_dir(const char* path, DirEntryFn fn, void* ctx) {
    DIR* dir = ::opendir(path);
    if (dir == nullptr) return -1;
    while (const dirent* e = ::readdir(dir)) fn(ctx, e->d_name);
    ::closedir(dir);
    return 0;
}

}  // namespace posix

TargetOs::TargetOs() { posix::tighten_timers(); }

int TargetOs::open(const char* path, OpenMode mode) { return ::open(path, posix::open_flags(mode), 0644); }
int TargetOs::close(int fd) { return ::close(fd); }
long TargetOs::read(int fd, void* buf, size_t len) { return ::read(fd, buf, len); }
long TargetOs::write(int fd, const void* buf, size_t len) { return ::write(fd, buf, len); }
int TargetOs::ioctl_val(int fd, unsigned long req, unsigned long arg) { return ::ioctl(fd, req, arg); }
int TargetOs::ioctl_ptr(int fd, unsigned long req, void* arg) { return ::ioctl(fd, req, arg); }
int TargetOs::tcsetattr(int fd, const LineSettings& s) { return posix::apply_line_settings(fd, s); }
int TargetOs::tcdrain(int fd) { return ::tcdrain(fd); }
int TargetOs::access_exists(const char* path) { return ::access(path, F_OK); }
int TargetOs::unlink(const char* path) { return ::unlink(path); }
int TargetOs::getpid() { return ::getpid(); }

void TargetOs::usleep(uint32_t us) {
    posix::sleep_exact_us(us);
    posix::deliver_pending_signals();
}

void TargetOs::sleep(uint32_t s) {
    posix::sleep_exact_us(static_cast<uint64_t>(s) * 1000000);
    posix::deliver_pending_signals();
}

TimeVal TargetOs::gettimeofday() {
    timeval tv{};
    ::gettimeofday(&tv, nullptr);
    return {tv.tv_sec, tv.tv_usec};
}

int64_t TargetOs::time() { return ::time(nullptr); }
int TargetOs::socket_dgram() { return ::socket(AF_UNIX, SOCK_DGRAM, 0); }
int TargetOs::bind_unix(int fd, const char* path) { return posix::bind_unix(fd, path); }

int TargetOs::wait_readable(int fd, int64_t timeout_us) {
    fd_set set;
    FD_ZERO(&set);
    if (fd >= 0 && fd < FD_SETSIZE) FD_SET(fd, &set);
    timeval tv{static_cast<time_t>(timeout_us / 1000000), static_cast<suseconds_t>(timeout_us % 1000000)};
    const int r = ::select(fd + 1, &set, nullptr, nullptr, &tv);
    posix::deliver_pending_signals();
    if (r > 0 && !FD_ISSET(fd, &set)) return -1;
    return r;
}

long TargetOs::recvfrom(int fd, void* buf, size_t len) {
    sockaddr_un peer;
    socklen_t plen = sizeof peer;
    return ::recvfrom(fd, buf, len, 0, reinterpret_cast<sockaddr*>(&peer), &plen);
}

int TargetOs::install_signal(int sig, bool ignore, SignalSink* sink) {
    return posix::install_signal(sig, ignore, sink);
}

int TargetOs::spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) {
    return posix::spawn(argv, mode, on_fail);
}
int TargetOs::wait_child(int pid, ChildStatus& status) { return posix::wait_child(pid, status); }
int TargetOs::list_dir(const char* path, DirEntryFn fn, void* ctx) { return posix::list_dir(path, fn, ctx); }

}  // namespace ptz
