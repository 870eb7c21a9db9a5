// The host runner: the daemon core in real time on a developer's machine.
//
// Every path the daemon names is looked up under a board directory, so a
// directory tree stands in for the recorder: "/proc/orv_sys_vars/model" is
// DIR/proc/orv_sys_vars/model, "/dev/ttyS2" is DIR/dev/ttyS2. A device exists
// exactly when its node exists there.
//
// - Serial nodes that lead to a terminal (usually a symlink to a
//   pseudo-terminal or a USB adapter) are driven for real with termios.
//   A serial node that is a regular file is a line monitor: writes are shown
//   on standard output, reads find nothing.
// - The recorder's own devices (/dev/con2rec, /dev/vin_devs, /dev/av_devs,
//   /dev/dio, /dev/orv_poc, /dev/wdt, /dev/misc/vdrv0) are regular files whose
//   requests the runner answers itself; no request ever reaches the kernel.
// - Every device call can be recorded as one JSON object per line.
// - Each position report handed to "/dev/con2rec" also goes, as one datagram,
//   to the socket "ptzreport.sock" beside the daemon's command socket
//   (DIR/tmp/ptzreport.sock), for the clients that asked for positions.
#pragma once

#include <sys/un.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <set>
#include <string>

#include "os/os.h"

namespace ptz {

class HostOs : public Os {
public:
    // `trace_path` empty: no trace. `conf_a_size` and `conf_b_size` are the
    // sizes of the two buffers the configuration load fills.
    HostOs(std::string board_dir, const std::string& trace_path, size_t conf_a_size, size_t conf_b_size);
    ~HostOs() override;
    HostOs(const HostOs&) = delete;
    HostOs& operator=(const HostOs&) = delete;

    // Empty when the runner is usable, else why not.
    const std::string& error() const { return error_; }

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

    // Real processes; directories are looked up under the board directory
    // like every other path.
    int spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) override;
    int wait_child(int pid, ChildStatus& status) override;
    int list_dir(const char* path, DirEntryFn fn, void* ctx) override;

private:
    enum class Kind : uint8_t {
        file,          // anything else: system variables, the pid file
        serial,        // a real terminal
        line_monitor,  // a serial node that is a regular file
        con2rec,
        vin_devs,
        av_devs,
        accepting,  // dio, orv_poc, wdt: every request succeeds
        log,
    };
    struct Desc {
        std::string path;  // as the daemon named it
        Kind kind = Kind::file;
        bool configured = false;
        LineSettings settings{};
    };
    class Line;

    static Kind device_kind(const char* path);
    static bool simulated(Kind kind);
    std::string board_path(const char* path) const;
    Desc* find(int fd);
    int64_t now_us() const;
    void emit(const Line& line);
    int simulate(const Desc& d, unsigned long req, void* arg);
    int load_conf(const Desc& d, void* arg);
    int fill_status(const Desc& d, void* arg);
    void show_on_monitor(const Desc& d, const void* buf, size_t len);
    void forward_report(const void* arg);

    std::string board_;
    std::string error_;
    std::FILE* trace_ = nullptr;
    size_t conf_a_size_;
    size_t conf_b_size_;
    std::chrono::steady_clock::time_point start_;
    std::map<int, Desc> fds_;
    std::set<int> sockets_;
    int report_fd_ = -1;
    sockaddr_un report_addr_{};  // sun_family stays 0 until the daemon binds its socket
};

}  // namespace ptz
