#include "os/sim_board.h"

#include <algorithm>
#include <cstring>

#include "core/config.h"
#include "os/requests.h"

namespace ptz {

SimBoard::SimBoard() {
    for (const char* dev : {"/dev/con2rec", "/dev/misc/vdrv0", "dev/misc/vdrv0", "/dev/dio", "/dev/orv_poc",
                            "/dev/vin_devs", "/dev/av_devs", "/dev/wdt"})
        devices_.insert(dev);
}

void SimBoard::queue_reply(const std::string& dev, int64_t at, const Bytes& data) {
    replies_[dev].push_back({at, data});
}

SimCall& SimBoard::record(const char* op, int fd) {
    static SimCall scratch;
    if (!recording) {
        scratch = SimCall{};
        return scratch;
    }
    SimCall& c = calls.emplace_back();
    c.t = now_;
    c.op = op;
    c.fd = fd;
    c.dev = dev_of(fd);
    return c;
}

std::string SimBoard::dev_of(int fd) const {
    const auto it = open_.find(fd);
    return it == open_.end() ? std::string() : it->second;
}

bool SimBoard::is_serial(const std::string& dev) const { return dev.rfind("/dev/tty", 0) == 0; }

void SimBoard::advance(int64_t us) {
    // A signal delivered inside the wait does not lengthen it.
    const int64_t end = now_ + us;
    deliver_signals_until(end);
    now_ = end;
    while (!publications_.empty() && publications_.front().at <= now_) {
        config = std::move(publications_.front().data);
        publications_.pop_front();
    }
}

void SimBoard::deliver_signals_until(int64_t t) {
    std::stable_sort(signals_.begin(), signals_.end(),
                     [](const TimedSignal& a, const TimedSignal& b) { return a.at < b.at; });
    while (!signals_.empty() && signals_.front().at <= t) {
        const TimedSignal s = signals_.front();
        signals_.erase(signals_.begin());
        if (s.at > now_) now_ = s.at;
        const auto it = sinks_.find(s.sig);
        if (it != sinks_.end() && it->second != nullptr) it->second->on_signal(s.sig);
    }
}

int SimBoard::open(const char* path, OpenMode mode) {
    const std::string p = path;
    int ret = -1;
    if (mode == open_write_create || devices_.count(p) || files_.count(p)) {
        ret = next_fd_++;
        open_[ret] = p;
        file_pos_[ret] = 0;
        if (mode == open_write_create) written_files[p].clear();
    }
    SimCall& c = record("open", ret);
    c.dev = p;
    c.ret = ret;
    return ret;
}

int SimBoard::close(int fd) {
    SimCall& c = record("close", fd);
    const bool known = open_.erase(fd) > 0;
    c.ret = known ? 0 : -1;
    return static_cast<int>(c.ret);
}

long SimBoard::read(int fd, void* buf, size_t len) {
    const std::string dev = dev_of(fd);
    long ret = -1;
    Bytes got;
    if (files_.count(dev)) {
        const std::string& text = files_[dev];
        const size_t pos = std::min(file_pos_[fd], text.size());
        const size_t n = std::min(len, text.size() - pos);
        got.assign(text.begin() + static_cast<long>(pos), text.begin() + static_cast<long>(pos + n));
        file_pos_[fd] = pos + n;
        ret = static_cast<long>(n);
    } else if (is_serial(dev)) {
        auto& q = replies_[dev];
        while (got.size() < len && !q.empty() && q.front().at <= now_) {
            Bytes& front = q.front().data;
            const size_t n = std::min(len - got.size(), front.size());
            got.insert(got.end(), front.begin(), front.begin() + static_cast<long>(n));
            front.erase(front.begin(), front.begin() + static_cast<long>(n));
            if (front.empty()) q.pop_front();
        }
        ret = got.empty() ? -1 : static_cast<long>(got.size());  // EAGAIN when quiet
    }
    if (ret > 0) std::memcpy(buf, got.data(), got.size());
    SimCall& c = record("read", fd);
    c.ret = ret;
    c.data = got;
    return ret;
}

long SimBoard::write(int fd, const void* buf, size_t len) {
    const std::string dev = dev_of(fd);
    const auto* p = static_cast<const uint8_t*>(buf);
    Bytes data(p, p + len);
    long ret = -1;
    if (!dev.empty() && !failing.count(dev)) {
        ret = static_cast<long>(len);
        if (written_files.count(dev)) written_files[dev].append(data.begin(), data.end());
    }
    SimCall& c = record("write", fd);
    c.data = data;
    c.ret = ret;
    if (ret > 0 && is_serial(dev) && on_write) on_write(*this, dev, data);
    return ret;
}

int SimBoard::ioctl_val(int fd, unsigned long req, unsigned long arg) {
    SimCall& c = record("ioctl", fd);
    c.req = req;
    c.arg = arg;
    c.ret = dev_of(fd).empty() ? -1 : 0;
    return static_cast<int>(c.ret);
}

int SimBoard::ioctl_ptr(int fd, unsigned long req, void* arg) {
    const std::string dev = dev_of(fd);
    if (dev.empty()) {
        SimCall& c = record("ioctl", fd);
        c.req = req;
        c.by_ptr = true;
        c.ret = -1;
        return -1;
    }
    Bytes data;
    if (req == req::log_record && (dev == "/dev/misc/vdrv0" || dev == "dev/misc/vdrv0")) {
        SimCall& c = record("log", fd);
        c.text = static_cast<const char*>(arg);
        return 0;
    }
    if (dev == "/dev/con2rec" && req == req::conf_load) {
        auto* a = static_cast<ConfLoadArg*>(arg);
        std::memset(a->buf_b, 0, kConfBSize);
        std::memcpy(a->buf_b, config.data(), std::min(config.size(), kConfBSize));
    } else if (dev == "/dev/con2rec" && req == req::report) {
        auto* a = static_cast<ReportArg*>(arg);
        data.assign(a->msg, a->msg + a->len);
    } else if (req == req::vin_status || req == req::av_status) {
        auto* rec = static_cast<uint8_t*>(arg);
        std::memset(rec, 0, kStatusRecordSize);
        for (size_t i = 0; i < formats.size(); ++i)
            for (size_t b = 0; b < 4; ++b) rec[64 + 4 * i + b] = static_cast<uint8_t>(formats[i] >> (8 * b));
        data.assign(rec, rec + kStatusRecordSize);
    } else if (const size_t n = record_size(req); n != 0) {
        const auto* rec = static_cast<const uint8_t*>(arg);
        data.assign(rec, rec + n);
    }
    SimCall& c = record("ioctl", fd);
    c.req = req;
    c.by_ptr = true;
    c.data = std::move(data);
    return 0;
}

int SimBoard::tcsetattr(int fd, const LineSettings& settings) {
    SimCall& c = record("tcsetattr", fd);
    c.line = settings;
    c.ret = dev_of(fd).empty() ? -1 : 0;
    return static_cast<int>(c.ret);
}

int SimBoard::tcdrain(int fd) {
    SimCall& c = record("tcdrain", fd);
    c.ret = dev_of(fd).empty() ? -1 : 0;
    return static_cast<int>(c.ret);
}

int SimBoard::access_exists(const char* path) { return path == sock_path_ ? 0 : -1; }

int SimBoard::unlink(const char* path) {
    if (path == sock_path_) sock_path_.clear();
    return 0;
}

void SimBoard::usleep(uint32_t us) {
    record("sleep", -1).us = us;
    advance(us);
}

void SimBoard::sleep(uint32_t s) {
    record("sleep", -1).us = s * 1000000u;
    advance(static_cast<int64_t>(s) * 1000000);
}

TimeVal SimBoard::gettimeofday() { return {now_ / 1000000, now_ % 1000000}; }

int SimBoard::socket_dgram() {
    sock_fd_ = next_fd_++;
    return sock_fd_;
}

int SimBoard::bind_unix(int, const char* path) {
    sock_path_ = path;
    return 0;
}

int SimBoard::wait_readable(int fd, int64_t timeout_us) {
    if (fd != sock_fd_) {
        advance(timeout_us);
        return 0;
    }
    const int64_t deadline = now_ + timeout_us;
    int64_t next_signal = INT64_MAX;
    for (const TimedSignal& s : signals_) next_signal = std::min(next_signal, s.at);
    const int64_t next_dgram = datagrams_.empty() ? INT64_MAX : datagrams_.front().at;
    if (next_signal <= deadline && next_signal <= next_dgram) {
        deliver_signals_until(std::max(next_signal, now_));
        return -1;  // EINTR
    }
    if (next_dgram <= deadline) {
        now_ = std::max(now_, next_dgram);
        return 1;
    }
    now_ = deadline;
    return 0;
}

long SimBoard::recvfrom(int, void* buf, size_t len) {
    if (datagrams_.empty()) return -1;
    Timed d = std::move(datagrams_.front());
    datagrams_.pop_front();
    const size_t n = std::min(len, d.data.size());
    // An empty datagram is legal and has no buffer to copy from.
    if (n > 0) std::memcpy(buf, d.data.data(), n);
    return static_cast<long>(n);
}

int SimBoard::install_signal(int sig, bool ignore, SignalSink* sink) {
    if (sig == 9) return -1;  // the kernel refuses a handler for SIGKILL
    sinks_[sig] = ignore ? nullptr : sink;
    return 0;
}

std::vector<std::string> SimBoard::logs() const {
    std::vector<std::string> out;
    for (const SimCall& c : calls)
        if (c.op == "log") out.push_back(c.text);
    return out;
}

std::vector<Bytes> SimBoard::writes(const std::string& dev) const {
    std::vector<Bytes> out;
    for (const SimCall& c : calls)
        if (c.op == "write" && c.dev == dev) out.push_back(c.data);
    return out;
}

std::vector<const SimCall*> SimBoard::find(const std::string& op, const std::string& dev) const {
    std::vector<const SimCall*> out;
    for (const SimCall& c : calls)
        if (c.op == op && (dev.empty() || c.dev == dev)) out.push_back(&c);
    return out;
}

// A spawn is recorded as "spawn" with the arguments joined by spaces in
// `text` and "vfork" or "fork" in `dev`.
int SimBoard::spawn(const char* const* argv, SpawnMode mode, const ExecFailure& on_fail) {
    SimCall& c = record("spawn", -1);
    c.dev = mode == SpawnMode::vfork ? "vfork" : "fork";
    for (const char* const* a = argv; *a != nullptr; ++a) {
        if (a != argv) c.text += ' ';
        c.text += *a;
    }
    if (processes.empty()) {
        c.ret = -1;
        return -1;
    }
    SimProcess p = processes.front();
    processes.pop_front();
    const int pid = next_pid_++;
    c.ret = pid;
    if (p.outcome == SimProcess::Outcome::exec_fails) {
        // The child reports and exits before the parent looks at it.
        if (on_fail.report != nullptr) on_fail.report(on_fail.ctx, p.value);
        p = SimProcess{SimProcess::Outcome::exits, on_fail.exit_status & 0xFF};
    }
    children_[pid] = p;
    return pid;
}

int SimBoard::wait_child(int pid, ChildStatus& status) {
    SimCall& c = record("wait", -1);
    c.arg = static_cast<unsigned long>(pid);
    const auto it = children_.find(pid);
    if (it == children_.end()) {
        c.ret = -1;
        return -1;
    }
    const SimProcess p = it->second;
    children_.erase(it);
    status.value = p.value;
    switch (p.outcome) {
        case SimProcess::Outcome::signaled:
            status.kind = ChildStatus::Kind::signaled;
            status.raw = p.value & 0x7F;
            break;
        case SimProcess::Outcome::stopped:
            status.kind = ChildStatus::Kind::stopped;
            status.raw = ((p.value & 0xFF) << 8) | 0x7F;
            break;
        default:
            status.kind = ChildStatus::Kind::exited;
            status.raw = (p.value & 0xFF) << 8;
            break;
    }
    c.ret = pid;
    return pid;
}

int SimBoard::list_dir(const char* path, DirEntryFn fn, void* ctx) {
    std::string dir = path;
    if (dir.empty() || dir.back() != '/') dir += '/';
    std::set<std::string> names;
    const auto take = [&](const std::string& p) {
        if (p.rfind(dir, 0) != 0 || p.size() == dir.size()) return;
        names.insert(p.substr(dir.size(), p.find('/', dir.size()) - dir.size()));
    };
    for (const auto& [p, text] : files_) take(p);
    for (const std::string& p : devices_) take(p);
    SimCall& c = record("list", -1);
    c.dev = path;
    c.ret = names.empty() ? -1 : 0;
    if (names.empty()) return -1;
    for (const std::string& n : names) fn(ctx, n.c_str());
    return 0;
}

}  // namespace ptz
