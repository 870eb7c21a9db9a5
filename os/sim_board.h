// The simulated board: a virtual clock and in-memory devices behind the OS
// seam. Sleeps advance the clock at once, every call is recorded with its
// virtual time, and a test scripts what the board does: datagrams, serial
// replies and signals at given times, system variables, the configuration
// image and the detected video formats.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "os/os.h"

namespace ptz {

using Bytes = std::vector<uint8_t>;

struct SimCall {
    int64_t t = 0;    // virtual microseconds
    std::string op;   // open close read write ioctl tcsetattr tcdrain sleep log
    std::string dev;  // the path as the daemon named it
    int fd = -1;
    unsigned long req = 0;
    unsigned long arg = 0;
    bool by_ptr = false;
    Bytes data;  // written, read, or the record an ioctl pointed to
    long ret = 0;
    LineSettings line{};
    uint32_t us = 0;
    std::string text;
};

// What a scripted child does, in the order the board's spawns take them.
struct SimProcess {
    enum class Outcome : uint8_t { exits, signaled, stopped, exec_fails };
    Outcome outcome = Outcome::exits;
    int value = 0;  // exit status, signal number; errno for exec_fails
};

class SimBoard final : public Os {
public:
    static constexpr int64_t kStart = 1'000'000'000'000;  // a plausible epoch, in us

    SimBoard();

    // --- what the test sets up -------------------------------------------
    void set_sysvar(const std::string& path, const std::string& text) { files_[path] = text; }
    void add_device(const std::string& path) { devices_.insert(path); }
    void remove_device(const std::string& path) { devices_.erase(path); }
    // Buffer B as the recorder core publishes it.
    Bytes config;
    std::array<uint32_t, 16> formats{};
    // Called on every write to a serial device; may queue replies.
    std::function<void(SimBoard&, const std::string& dev, const Bytes& data)> on_write;
    // Writes to these devices fail (a USB adapter pulled out).
    std::set<std::string> failing;

    void queue_datagram(int64_t at, Bytes data) { datagrams_.push_back({at, std::move(data)}); }
    void queue_signal(int64_t at, int sig) { signals_.push_back({at, sig}); }
    // The recorder core publishes `image` as its configuration at `at`.
    void publish_config(int64_t at, Bytes image) { publications_.push_back({at, std::move(image)}); }
    void queue_reply(const std::string& dev, int64_t at, const Bytes& data);
    // A file of the simulated /proc, say "/proc/12/cmdline" or
    // "/proc/net/tcp"; directories are listed from the paths of files and
    // devices.
    void set_file(const std::string& path, const std::string& text) { files_[path] = text; }
    // Children the next spawns start; once they run out, spawns fail.
    std::deque<SimProcess> processes;
    bool datagrams_pending() const { return !datagrams_.empty(); }

    // --- what the test reads back ----------------------------------------
    int64_t now() const { return now_; }
    int64_t elapsed() const { return now_ - kStart; }
    void advance(int64_t us);
    std::vector<SimCall> calls;
    bool recording = true;
    void clear_calls() { calls.clear(); }
    std::vector<std::string> logs() const;
    std::vector<Bytes> writes(const std::string& dev) const;
    std::vector<const SimCall*> find(const std::string& op, const std::string& dev = "") const;

    // --- Os ----------------------------------------------------------------
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
    int getpid() override { return 4242; }
    void usleep(uint32_t us) override;
    void sleep(uint32_t s) override;
    TimeVal gettimeofday() override;
    int64_t time() override { return now_ / 1000000; }
    int socket_dgram() override;
    int bind_unix(int fd, const char* path) override;
    int wait_readable(int fd, int64_t timeout_us) override;
    long recvfrom(int fd, void* buf, size_t len) override;
    int install_signal(int sig, bool ignore, SignalSink* sink) override;
    int spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) override;
    int wait_child(int pid, ChildStatus& status) override;
    int list_dir(const char* path, DirEntryFn fn, void* ctx) override;

    // Files the daemon wrote (the pid file), by path.
    std::map<std::string, std::string> written_files;

private:
    struct Timed {
        int64_t at;
        Bytes data;
    };
    struct TimedSignal {
        int64_t at;
        int sig;
    };
    SimCall& record(const char* op, int fd);
    std::string dev_of(int fd) const;
    bool is_serial(const std::string& dev) const;
    void deliver_signals_until(int64_t t);

    int64_t now_ = kStart;
    int next_fd_ = 3;
    std::map<int, std::string> open_;  // fd -> path
    std::map<int, size_t> file_pos_;
    std::map<std::string, std::string> files_;
    std::set<std::string> devices_;
    std::deque<Timed> datagrams_;
    std::vector<TimedSignal> signals_;
    std::deque<Timed> publications_;
    std::map<std::string, std::deque<Timed>> replies_;
    std::map<int, SignalSink*> sinks_;
    int sock_fd_ = -1;
    int next_pid_ = 5000;
    std::map<int, SimProcess> children_;
    std::string sock_path_;
};

}  // namespace ptz
