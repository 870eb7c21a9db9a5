// The one seam between the daemon and the operating system.
//
// Every device and OS call of the daemon goes through `Os`. Three backends
// implement it: the target (plain syscalls), the simulated board used by the
// tests (virtual clock, in-memory devices, every call recorded) and the host
// runner (real time, paths looked up under a board directory, JSON trace).
// Drivers and the core never call the OS themselves.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ptz {

enum class Parity : uint8_t { none, even, odd };

// The raw line settings the serial library applies. The target backend turns
// them into a zeroed termios (VMIN 1, VTIME 0, HUPCL|CREAD|speed|CSx|parity|
// CSTOPB) applied with TCSAFLUSH; the other backends record them.
struct LineSettings {
    uint32_t baud;
    uint8_t data_bits;  // 7 or 8
    Parity parity;
    uint8_t stop_bits;  // 1 or 2
};

struct TimeVal {
    int64_t sec;
    int64_t usec;
};

// Open flags, a small closed set so that every backend understands them.
enum OpenMode : int {
    open_read = 0,           // O_RDONLY
    open_rdwr_nonblock = 1,  // O_RDWR | O_NONBLOCK | O_NOCTTY (serial lines)
    open_write_create = 2,   // O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, mode 0644
};

// Receives signals. Backends never run daemon code inside an asynchronous
// handler: they note the signal and deliver it here from the next seam call
// that can block (select, sleep), the way a flag-setting handler would be
// seen by the loop.
class SignalSink {
public:
    virtual void on_signal(int sig) = 0;

protected:
    ~SignalSink() = default;
};

// Processes, for the common library's runners (the server starts none).
enum class SpawnMode : uint8_t { fork, vfork };

// What a child does when its program cannot be executed: report the error
// number (in the child), then exit with `exit_status`.
struct ExecFailure {
    void (*report)(void* ctx, int err) = nullptr;
    void* ctx = nullptr;
    int exit_status = -1;
};

// A child's state change as waitpid (with WUNTRACED) tells it.
struct ChildStatus {
    enum class Kind : uint8_t { exited, signaled, stopped, other };
    Kind kind = Kind::other;
    int value = 0;  // exit status, or the signal number
    int raw = 0;    // the status word itself
};

// Receives the names of a directory's entries.
using DirEntryFn = void (*)(void* ctx, const char* name);

class Os {
public:
    virtual ~Os() = default;

    // Files and devices. Results as the C library returns them.
    virtual int open(const char* path, OpenMode mode) = 0;
    virtual int close(int fd) = 0;
    virtual long read(int fd, void* buf, size_t len) = 0;
    virtual long write(int fd, const void* buf, size_t len) = 0;
    // ioctl with the argument passed by value.
    virtual int ioctl_val(int fd, unsigned long req, unsigned long arg) = 0;
    // ioctl with the argument passed as a pointer to a record.
    virtual int ioctl_ptr(int fd, unsigned long req, void* arg) = 0;
    virtual int tcsetattr(int fd, const LineSettings& settings) = 0;
    virtual int tcdrain(int fd) = 0;
    virtual int access_exists(const char* path) = 0;  // access(path, F_OK)
    virtual int unlink(const char* path) = 0;
    virtual int getpid() = 0;

    // Time.
    virtual void usleep(uint32_t us) = 0;
    virtual void sleep(uint32_t s) = 0;
    virtual TimeVal gettimeofday() = 0;
    virtual int64_t time() = 0;

    // The command socket (AF_UNIX, SOCK_DGRAM).
    virtual int socket_dgram() = 0;
    virtual int bind_unix(int fd, const char* path) = 0;
    // select() on one descriptor for reading: >0 readable, 0 timeout, <0 error.
    virtual int wait_readable(int fd, int64_t timeout_us) = 0;
    virtual long recvfrom(int fd, void* buf, size_t len) = 0;

    // Signals: install a disposition. `ignore` true means SIG_IGN; otherwise
    // the signal is delivered to the sink.
    virtual int install_signal(int sig, bool ignore, SignalSink* sink) = 0;

    // Starts `argv[0]` (looked up on PATH) with the null-terminated `argv`.
    // Returns the child's pid, or -1 when no process could be created.
    virtual int spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) = 0;
    // Waits for a state change of `pid`; its pid, or -1.
    virtual int wait_child(int pid, ChildStatus& status) = 0;
    // Calls `fn` with each entry of a directory ("." and ".." included, as
    // the system lists them); -1 when it cannot be opened.
    virtual int list_dir(const char* path, DirEntryFn fn, void* ctx) = 0;
};

}  // namespace ptz
