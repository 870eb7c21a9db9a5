// The board backend of the OS seam: plain system calls.
#pragma once

#include "os/os.h"

namespace ptz {

class TargetOs final : public Os {
public:
    TargetOs();
    int open(const char* path, OpenMode mode) override;
    int close(int fd) override;
    long read(int fd, void* buf, size_t len) override;
    long write(int fd, const void* buf, size_t len) override;
    int ioctl_val(int fd, unsigned long req, unsigned long arg) override;
    int ioctl_ptr(int fd, unsigned long req, void* arg) override;
    int tcsetattr(int fd, const LineSettings& settings) override;
    int tcdrain(int fd) override;
    int access_exists(const char* path) override;
    int unlink(const char* path) override;
    int getpid() override;
    void usleep(uint32_t us) override;
    void sleep(uint32_t s) override;
    TimeVal gettimeofday() override;
    int64_t time() override;
    int socket_dgram() override;
    int bind_unix(int fd, const char* path) override;
    int wait_readable(int fd, int64_t timeout_us) override;
    long recvfrom(int fd, void* buf, size_t len) override;
    int install_signal(int sig, bool ignore, SignalSink* sink) override;
    int spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) override;
    int wait_child(int pid, ChildStatus& status) override;
    int list_dir(const char* path, DirEntryFn fn, void* ctx) override;
};

// Shared by the board and host backends: the termios a set of line settings
// stands for, the signal flags and their delivery.
namespace posix {
int apply_line_settings(int fd, const LineSettings& s);
int install_signal(int sig, bool ignore, SignalSink* sink);
void deliver_pending_signals();
void sleep_exact_us(uint64_t us);
void tighten_timers();
int open_flags(OpenMode mode);
int bind_unix(int fd, const char* path);
int spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail);
int wait_child(int pid, ChildStatus& status);
int list_dir(const char* path, DirEntryFn fn, void* ctx);
}  // namespace posix

}  // namespace ptz
