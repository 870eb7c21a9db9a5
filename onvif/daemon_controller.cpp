// The cameras of the recorder as the daemon drives them: every ONVIF call
// becomes one or a few ptz_command datagrams on the daemon's socket, and
// positions come back as position reports on a socket of our own.
//
// One mutex guards the channel state and the sending, so the datagrams reach
// the daemon in the order the calls took it. Waits for a report release it.
#include "onvif/daemon_controller.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "client/ptzmsg.h"
#include "core/command.h"
#include "core/config.h"
#include "core/dispatch.h"
#include "onvif/camera_model.h"
#include "onvif/presets.h"
#include "os/requests.h"

namespace ptz::onvif {

namespace {

using Clock = std::chrono::steady_clock;

// The daemon answers a position query within about a second even when the
// camera does not answer (three attempts of 0.3 s); longer means nothing
// forwards the reports.
constexpr auto kReportWait = std::chrono::milliseconds(1000);
constexpr int32_t kTagFirst = 60000, kTagLast = 60999;
constexpr uint16_t kActionStopFrame = 4;  // no such action: the stateful C1080B sends its stop frame

bool regular_file(const std::string& p) {
    struct stat st {};
    return stat(p.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

int read_number(const std::string& path) {
    char buf[32] = {};
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return 0;
    const ssize_t n = read(fd, buf, sizeof buf - 1);
    close(fd);
    return n > 0 ? static_cast<int>(std::strtol(buf, nullptr, 10)) : 0;
}

std::string parent_dir(const std::string& p) {
    const size_t s = p.find_last_of('/');
    if (s == std::string::npos) return ".";
    return s == 0 ? "/" : p.substr(0, s);
}

// A host runner's board directory that the socket lies in (DIR/tmp/ptzsvr.sock).
std::string board_of_socket(const std::string& socket_path) {
    const std::string dir = parent_dir(socket_path);
    const std::string parent = dir == "/" ? "" : parent_dir(dir);
    if (!parent.empty() && regular_file(parent + "/dev/con2rec")) return parent;
    return {};
}

// The camera configuration as the daemon sees it: a board's image file, or
// the recorder core's answer to the configuration ioctl.
bool load_image(const std::string& board, ConfigImage& img, std::string& error) {
    if (!board.empty()) {
        const std::string path = board + "/dev/con2rec";
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            error = path + ": " + std::strerror(errno);
            return false;
        }
        size_t got = 0;
        ssize_t n;
        while (got < kConfBSize && (n = read(fd, img.b() + got, kConfBSize - got)) > 0)
            got += static_cast<size_t>(n);
        close(fd);
    } else {
        const int fd = open("/dev/con2rec", O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            error = std::string("/dev/con2rec: ") + std::strerror(errno);
            return false;
        }
        ConfLoadArg arg{img.a(), img.b()};
        const int r = ioctl(fd, req::conf_load, &arg);
        close(fd);
        if (r < 0) {
            error = std::string("/dev/con2rec: configuration ioctl: ") + std::strerror(errno);
            return false;
        }
    }
    if (img.valid_word() != kConfValid) {
        error = "the recorder has not published a valid camera configuration";
        return false;
    }
    return true;
}

struct Read {
    int ch = 0;
    uint64_t moves = 0;  // the channel's move count when the query went out
    Clock::time_point deadline;
    bool done = false, ok = false;
    uint32_t v[3] = {};
};

struct Chan {
    ChannelInfo info;
    const ModelTraits* t = nullptr;
    std::string path;  // the preset file
    ChannelPresets store;
    // Continuous motion as last commanded.
    bool pt_moving = false, zoom_moving = false;
    uint8_t x = 0x40, y = 0x40, zx = 0x40;
    uint64_t stop_gen = 0;  // a pending timed stop fires only while this is unchanged
    // Positioning (absolute, relative, preset, home) until the camera is seen to arrive.
    bool positioning = false, has_target = false;
    uint32_t target[3] = {};
    bool has_prev = false;  // a read since the positioning began, for "two equal reads"
    uint32_t prev[3] = {};
    // Position reads.
    uint64_t moves = 0;       // move requests so far
    uint64_t read_after = 0;  // the move count of the newest successful read
    bool has_pos = false;
    uint32_t pos[3] = {};
    std::shared_ptr<Read> current;
};

class DaemonController final : public Controller {
public:
    DaemonController(std::string socket_path, std::vector<Chan> chans, int report_fd)
        : socket_path_(std::move(socket_path)), report_fd_(report_fd) {
        for (Chan& c : chans) {
            infos_.push_back(c.info);
            const int ch = c.info.channel;
            chans_.emplace(ch, std::move(c));
        }
        fd_ = ptzmsg_open(socket_path_.c_str());
        timer_ = std::thread([this] { timer_loop(); });
        if (report_fd_ >= 0) rx_ = std::thread([this] { receive_loop(); });
    }

    ~DaemonController() override {
        {
            std::lock_guard lk(mu_);
            quit_ = true;
        }
        timer_cv_.notify_all();
        timer_.join();
        if (rx_.joinable()) rx_.join();
        if (report_fd_ >= 0) close(report_fd_);
        if (fd_ >= 0) close(fd_);
    }

    const std::vector<ChannelInfo>& channels() const override { return infos_; }

    Err continuous_move(int ch, const Vector& v, int64_t timeout_ms) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (!v.has_pan_tilt && !v.has_zoom) return Err::invalid_arg;
        if ((v.has_pan_tilt && !(in(v.pan, -1, 1) && in(v.tilt, -1, 1))) ||
            (v.has_zoom && !in(v.zoom, -1, 1)))
            return Err::invalid_arg;
        if (v.has_zoom && v.zoom != 0 && !c->info.zoom) return Err::not_supported;
        // An axis the request leaves out keeps what it was doing.
        const uint8_t x = v.has_pan_tilt ? pt_byte(*c->t, v.pan) : c->x;
        const uint8_t y = v.has_pan_tilt ? pt_byte(*c->t, v.tilt) : c->y;
        const uint8_t zx = v.has_zoom ? zoom_byte(*c->t, v.zoom) : c->zx;
        const bool pt = x != 0x40 || y != 0x40, zoom = zx != 0x40;
        // A stop halts every axis: it is needed when an axis that moves is to
        // stand still, when a positioning runs, and where direction bits
        // accumulate and a direction changes.
        const bool turn =
            c->t->accumulates && c->pt_moving && pt && (side(x) != side(c->x) || side(y) != side(c->y));
        const bool stop_first = (c->pt_moving && !pt) || (c->zoom_moving && !zoom) || c->positioning || turn;
        Err e = Err::ok;
        if (stop_first) e = send_stop(ch, *c);
        if (e == Err::ok && pt && (stop_first || v.has_pan_tilt)) e = send_move(ch, act::pan_tilt, x, y);
        if (e == Err::ok && zoom && (stop_first || v.has_zoom)) e = send_move(ch, act::zoom, zx, 0x40);
        begin_move(*c);
        c->positioning = false;
        c->x = x, c->y = y, c->zx = zx;
        c->pt_moving = pt, c->zoom_moving = zoom;
        if (e == Err::ok && (pt || zoom) && timeout_ms >= 0) {
            timers_.emplace(Clock::now() + std::chrono::milliseconds(timeout_ms),
                            std::make_pair(ch, c->stop_gen));
            timer_cv_.notify_all();
        }
        return e;
    }

    Err stop(int ch, bool pan_tilt, bool zoom) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (!pan_tilt && !zoom) return Err::ok;
        // The vocabulary's stop halts every axis; the axis that is not to
        // stop is started again at once.
        Err e = send_stop(ch, *c);
        if (e == Err::ok && !pan_tilt && c->pt_moving) e = send_move(ch, act::pan_tilt, c->x, c->y);
        if (e == Err::ok && !zoom && c->zoom_moving) e = send_move(ch, act::zoom, c->zx, 0x40);
        begin_move(*c);
        c->positioning = false;
        if (pan_tilt) c->pt_moving = false, c->x = c->y = 0x40;
        if (zoom) c->zoom_moving = false, c->zx = 0x40;
        return e;
    }

    Err absolute_move(int ch, const Vector& p) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (c->t->abs == nullptr) return Err::not_supported;
        if (!p.has_pan_tilt && !p.has_zoom) return Err::invalid_arg;
        if ((p.has_pan_tilt && !(in(p.pan, -1, 1) && in(p.tilt, -1, 1))) || (p.has_zoom && !in(p.zoom, 0, 1)))
            return Err::invalid_arg;
        uint32_t now[3] = {};
        if (!p.has_pan_tilt || !p.has_zoom) {
            // The axes left out stay where the camera is.
            if (!fresh_position(lk, ch, now)) return Err::unreachable;
            c = find(ch);
        }
        const AbsUnits& a = *c->t->abs;
        uint32_t target[3] = {now[0], now[1], now[2]};
        if (p.has_pan_tilt)
            target[0] = to_wire(pan_units(a, p.pan)), target[1] = to_wire(tilt_units(a, p.tilt));
        if (p.has_zoom) target[2] = to_wire(zoom_units(a, p.zoom));
        return position_to(ch, *c, target);
    }

    Err relative_move(int ch, const Vector& tr) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (!c->info.fov_relative) return Err::not_supported;
        if (!tr.has_pan_tilt && !tr.has_zoom) return Err::invalid_arg;
        if ((tr.has_pan_tilt && !(in(tr.pan, -1, 1) && in(tr.tilt, -1, 1))) ||
            (tr.has_zoom && !in(tr.zoom, -1, 1)))
            return Err::invalid_arg;
        uint32_t now[3];
        if (!fresh_position(lk, ch, now)) {
            c = find(ch);
            if (tr.has_zoom && tr.zoom != 0) return Err::unreachable;
            // No report comes back: the daemon reads the position itself for
            // a zoom box, and a box under 20 pixels keeps the zoom.
            return zoom_box_at(ch, *c, tr);
        }
        c = find(ch);
        uint32_t target[3] = {now[0], now[1], now[2]};
        if (tr.has_pan_tilt && !fov_target(c->t->lens, now, tr.pan, tr.tilt, target)) return Err::unreachable;
        if (tr.has_zoom && tr.zoom != 0) {
            const AbsUnits& a = *c->t->abs;
            const double z = std::clamp(zoom_generic(a, static_cast<int32_t>(now[2])) + tr.zoom, 0.0, 1.0);
            target[2] = to_wire(zoom_units(a, z));
        }
        return position_to(ch, *c, target);
    }

    Err status(int ch, Status& out) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        out = Status{};
        if (c->t->abs == nullptr || report_fd_ < 0) {
            // Nothing tells when a positioning ends on these cameras.
            out.pan_tilt = c->pt_moving ? Move::moving : c->positioning ? Move::unknown : Move::idle;
            out.zoom = c->zoom_moving ? Move::moving : c->positioning ? Move::unknown : Move::idle;
            return Err::ok;
        }
        uint32_t v[3];
        bool have = false;
        if (c->read_after == c->moves && c->has_pos && !c->pt_moving && !c->zoom_moving && !c->positioning) {
            std::memcpy(v, c->pos, sizeof v);
            have = true;
        } else {
            have = read_position(lk, ch, v);
            c = find(ch);
        }
        const Move pos_state = c->positioning ? (have ? Move::moving : Move::unknown) : Move::idle;
        out.pan_tilt = c->pt_moving ? Move::moving : pos_state;
        out.zoom = c->zoom_moving ? Move::moving : pos_state;
        if (have) {
            const AbsUnits& a = *c->t->abs;
            out.has_position = true;
            out.position.has_pan_tilt = out.position.has_zoom = true;
            out.position.pan = pan_generic(a, static_cast<int32_t>(v[0]));
            out.position.tilt = tilt_generic(a, tilt_from_wire(v[1]));
            out.position.zoom = zoom_generic(a, static_cast<int32_t>(v[2]));
        }
        return Err::ok;
    }

    Err presets(int ch, std::vector<Preset>& out) override {
        std::lock_guard lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        out.clear();
        for (const auto& [n, p] : c->store.presets) {
            Preset r;
            r.token = std::to_string(n);
            r.name = p.name;
            if (p.has_position && c->t->abs != nullptr) {
                const AbsUnits& a = *c->t->abs;
                r.has_position = true;
                r.position = {true, pan_generic(a, static_cast<int32_t>(p.position[0])),
                              tilt_generic(a, tilt_from_wire(p.position[1])), true,
                              zoom_generic(a, static_cast<int32_t>(p.position[2]))};
            }
            out.push_back(r);
        }
        return Err::ok;
    }

    Err goto_preset(int ch, const std::string& token) override {
        std::lock_guard lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        const int n = number(token);
        const auto it = c->store.presets.find(n);
        if (it == c->store.presets.end()) return Err::no_token;
        uint8_t m[PTZMSG_MAX];
        const size_t len = c->t->recall == Recall::aux_fallback
                               ? ptzmsg_aux(m, msg::aux2, u16(ch), u16(n), 1)
                               : ptzmsg_preset(m, msg::goto_preset_direct, u16(ch), u16(n));
        const Err e = send(m, len);
        begin_positioning(*c, it->second.has_position ? it->second.position : nullptr);
        return e;
    }

    Err set_preset(int ch, const std::string& name, std::string& token) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (c->info.max_presets == 0) return Err::not_supported;
        int n = 0;
        if (token.empty()) {
            for (const auto& [k, p] : c->store.presets)
                if (!name.empty() && p.name == name) return Err::invalid_arg;
            n = lowest_free_preset(*c->t, c->store);
            if (n == 0) return Err::too_many;
        } else {
            n = number(token);
            if (c->store.presets.count(n) == 0) return Err::no_token;
        }
        uint8_t m[PTZMSG_MAX];
        const Err e = send(m, ptzmsg_preset(m, msg::set_preset_direct, u16(ch), u16(n)));
        if (e != Err::ok) return e;
        StoredPreset p = c->store.presets.count(n) ? c->store.presets[n] : StoredPreset{};
        if (!name.empty()) p.name = name;
        if (p.name.empty()) p.name = "Preset " + std::to_string(n);
        // Where the camera reports positions, the preset knows where it is,
        // so that arriving at it can be seen.
        if (c->t->abs != nullptr && report_fd_ >= 0) {
            uint32_t v[3];
            p.has_position = current_position(lk, ch, v);
            c = find(ch);
            if (p.has_position) std::memcpy(p.position, v, sizeof v);
        }
        c->store.presets[n] = p;
        token = std::to_string(n);
        return save_presets(c->path, c->store) ? Err::ok : Err::unreachable;
    }

    Err remove_preset(int ch, const std::string& token) override {
        std::lock_guard lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        const int n = number(token);
        if (c->store.presets.erase(n) == 0) return Err::no_token;
        uint8_t m[PTZMSG_MAX];
        const Err e = send(m, ptzmsg_preset(m, msg::clear_preset_direct, u16(ch), u16(n)));
        if (!save_presets(c->path, c->store)) return Err::unreachable;
        return e;
    }

    Err goto_home(int ch) override {
        std::lock_guard lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (!c->info.home) return Err::no_home;
        // Until a home is set, home is the origin: pan 0, the horizon, the widest zoom.
        const uint32_t origin[3] = {0, 0, to_wire(c->t->abs->zoom.lo)};
        return position_to(ch, *c, c->store.has_home ? c->store.home : origin);
    }

    Err set_home(int ch) override {
        std::unique_lock lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        if (!c->info.home) return Err::no_home;
        uint32_t v[3];
        if (!current_position(lk, ch, v)) return Err::unreachable;
        c = find(ch);
        c->store.has_home = true;
        std::memcpy(c->store.home, v, sizeof v);
        return save_presets(c->path, c->store) ? Err::ok : Err::unreachable;
    }

    Err aux(int ch, const std::string& command) override {
        std::lock_guard lk(mu_);
        Chan* c = find(ch);
        if (c == nullptr) return Err::no_profile;
        uint16_t code = 0;
        bool on = true;
        if (!aux_code(*c->t, command, code, on)) return Err::not_supported;
        uint8_t m[PTZMSG_MAX];
        return send(m, ptzmsg_aux(m, msg::aux2, u16(ch), code, on ? 1 : 0));
    }

private:
    static bool in(double v, double lo, double hi) { return v >= lo && v <= hi; }
    static int side(uint8_t b) { return b < 0x40 ? -1 : b > 0x40 ? 1 : 0; }
    static uint16_t u16(int v) { return static_cast<uint16_t>(v); }
    static int number(const std::string& token) {
        if (token.empty() || token.size() > 5 || token.find_first_not_of("0123456789") != std::string::npos)
            return -1;
        return std::atoi(token.c_str());
    }

    Chan* find(int ch) {
        const auto it = chans_.find(ch);
        return it == chans_.end() ? nullptr : &it->second;
    }

    // Called with mu_ held.
    Err send(const uint8_t* m, size_t len) {
        if (fd_ < 0) fd_ = ptzmsg_open(socket_path_.c_str());
        if (fd_ < 0) return Err::unreachable;
        if (ptzmsg_send(fd_, m, len) == 0) return Err::ok;
        // The daemon may have been restarted: its socket is a new one.
        close(fd_);
        fd_ = ptzmsg_open(socket_path_.c_str());
        return fd_ >= 0 && ptzmsg_send(fd_, m, len) == 0 ? Err::ok : Err::unreachable;
    }

    Err send_move(int ch, uint16_t action, uint8_t x, uint8_t y) {
        uint8_t m[PTZMSG_MAX];
        return send(m, ptzmsg_move(m, u16(ch), action, x, y, 0));
    }

    Err send_stop(int ch, const Chan& c) {
        uint8_t m[PTZMSG_MAX];
        Err e = send(m, ptzmsg_stop(m, u16(ch)));
        if (e == Err::ok && c.t->stop_by_action)
            e = send(m, ptzmsg_move(m, u16(ch), kActionStopFrame, 0x40, 0x40, 0));
        return e;
    }

    // Every move request: the next status reads the camera again, and a
    // pending timed stop no longer applies.
    static void begin_move(Chan& c) {
        ++c.moves;
        ++c.stop_gen;
        c.has_prev = false;
    }

    static void begin_positioning(Chan& c, const uint32_t* target) {
        begin_move(c);
        c.pt_moving = c.zoom_moving = false;
        c.x = c.y = c.zx = 0x40;
        c.positioning = true;
        c.has_target = target != nullptr;
        if (target != nullptr) std::memcpy(c.target, target, sizeof c.target);
    }

    Err position_to(int ch, Chan& c, const uint32_t target[3]) {
        uint8_t m[PTZMSG_MAX];
        const Err e = send(m, ptzmsg_set_position(m, u16(ch), target[0], target[1], target[2]));
        begin_positioning(c, target);
        return e;
    }

    Err zoom_box_at(int ch, Chan& c, const Vector& tr) {
        const double x = tr.has_pan_tilt ? tr.pan : 0, y = tr.has_pan_tilt ? tr.tilt : 0;
        // The same placement as fov_target: x = 1 is 480 pixels from the centre.
        const int px = static_cast<int>(std::lround(960 + 480 * x)),
                  py = static_cast<int>(std::lround(540 - 270 * y));
        uint8_t m[PTZMSG_MAX];
        const Err e = send(m, ptzmsg_zoom_box(m, u16(ch), u16(px - 1), u16(py - 1), 2, 2, 0));
        begin_positioning(c, nullptr);
        return e;
    }

    // A position read after the last move request (mu_ held; released while waiting).
    bool fresh_position(std::unique_lock<std::mutex>& lk, int ch, uint32_t out[3]) {
        return report_fd_ >= 0 && read_position(lk, ch, out);
    }

    // The position as it is now: a report received since the last move, or a new read.
    bool current_position(std::unique_lock<std::mutex>& lk, int ch, uint32_t out[3]) {
        Chan& c = *find(ch);
        if (c.has_pos && c.read_after == c.moves && !c.pt_moving && !c.zoom_moving && !c.positioning) {
            std::memcpy(out, c.pos, sizeof c.pos);
            return true;
        }
        return fresh_position(lk, ch, out);
    }

    // Sends a position query, or joins one already sent since the last move,
    // and waits for its report.
    bool read_position(std::unique_lock<std::mutex>& lk, int ch, uint32_t out[3]) {
        Chan& c = *find(ch);
        std::shared_ptr<Read> r = c.current;
        if (!r || r->done || r->moves != c.moves) {
            r = std::make_shared<Read>();
            r->ch = ch;
            r->moves = c.moves;
            r->deadline = Clock::now() + kReportWait;
            const int32_t tag = next_tag();
            uint8_t m[PTZMSG_MAX];
            if (send(m, ptzmsg_query_position(m, u16(ch), tag)) != Err::ok) return false;
            reads_[tag] = r;
            c.current = r;
        }
        cv_.wait_until(lk, r->deadline, [&] { return r->done; });
        if (!r->done) {
            r->done = true;
            for (auto it = reads_.begin(); it != reads_.end(); ++it) {
                if (it->second == r) {
                    reads_.erase(it);
                    break;
                }
            }
        }
        if (r->ok) std::memcpy(out, r->v, sizeof r->v);
        return r->ok;
    }

    int32_t next_tag() {
        const int32_t t = tag_;
        tag_ = tag_ == kTagLast ? kTagFirst : tag_ + 1;
        // A tag still waiting from a full round ago is dropped with its read.
        reads_.erase(t);
        return t;
    }

    // A report for one of our reads (mu_ held).
    void on_report(const ptzmsg_report& rep) {
        const auto it = reads_.find(rep.tag);
        if (it == reads_.end()) return;
        std::shared_ptr<Read> r = it->second;
        reads_.erase(it);
        Chan* c = find(r->ch);
        if (c == nullptr || rep.channel != static_cast<uint32_t>(r->ch)) return;
        r->done = true;
        const bool zeros = rep.value[0] == 0 && rep.value[1] == 0 && rep.value[2] == 0;
        r->ok = rep.status != 0 && !(zeros && c->t->abs->zeros_mean_failure);
        std::memcpy(r->v, rep.value, sizeof r->v);
        if (r->ok && r->moves >= c->read_after) {
            c->read_after = r->moves;
            c->has_pos = true;
            std::memcpy(c->pos, r->v, sizeof r->v);
            if (c->positioning && r->moves == c->moves) {
                if ((c->has_target && near(*c->t->abs, r->v, c->target)) ||
                    (c->has_prev && std::memcmp(c->prev, r->v, sizeof r->v) == 0))
                    c->positioning = false;
                c->has_prev = true;
                std::memcpy(c->prev, r->v, sizeof r->v);
            }
        }
        cv_.notify_all();
    }

    // Within one unit on every axis; pan wraps.
    static bool near(const AbsUnits& a, const uint32_t v[3], const uint32_t t[3]) {
        const int32_t period = a.pan.hi - a.pan.lo;
        const int32_t dp = std::abs(static_cast<int32_t>(v[0]) - static_cast<int32_t>(t[0])) % period;
        return std::min(dp, period - dp) <= 1 && std::abs(tilt_from_wire(v[1]) - tilt_from_wire(t[1])) <= 1 &&
               std::abs(static_cast<int32_t>(v[2]) - static_cast<int32_t>(t[2])) <= 1;
    }

    void receive_loop() {
        uint8_t buf[256];
        while (!quit_.load()) {
            pollfd p{report_fd_, POLLIN, 0};
            if (poll(&p, 1, 100) <= 0) continue;
            const ssize_t n = recv(report_fd_, buf, sizeof buf, 0);
            ptzmsg_report rep{};
            if (n <= 0 || ptzmsg_parse_report(buf, static_cast<size_t>(n), &rep) != 0) continue;
            std::lock_guard lk(mu_);
            on_report(rep);
        }
    }

    void timer_loop() {
        std::unique_lock lk(mu_);
        while (!quit_) {
            if (timers_.empty()) {
                timer_cv_.wait(lk);
                continue;
            }
            const auto first = timers_.begin();
            if (Clock::now() < first->first) {
                timer_cv_.wait_until(lk, first->first);
                continue;
            }
            const auto [ch, gen] = first->second;
            timers_.erase(first);
            Chan* c = find(ch);
            if (c == nullptr || c->stop_gen != gen) continue;
            send_stop(ch, *c);
            begin_move(*c);
            c->pt_moving = c->zoom_moving = false;
            c->x = c->y = c->zx = 0x40;
        }
    }

    std::string socket_path_;
    int fd_ = -1;
    int report_fd_ = -1;
    std::mutex mu_;
    std::condition_variable cv_, timer_cv_;
    std::atomic<bool> quit_{false};
    std::vector<ChannelInfo> infos_;
    std::map<int, Chan> chans_;
    std::multimap<Clock::time_point, std::pair<int, uint64_t>> timers_;
    std::map<int32_t, std::shared_ptr<Read>> reads_;
    int32_t tag_ = kTagFirst;
    std::thread timer_, rx_;
};

int bind_report_socket(const std::string& socket_path, std::string& path) {
    char buf[sizeof(sockaddr_un{}.sun_path)];
    if (ptzmsg_report_path(socket_path.c_str(), buf, sizeof buf) != 0) return -1;
    path = buf;
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::memcpy(a.sun_path, buf, std::strlen(buf) + 1);
    unlink(buf);  // left by an earlier run
    if (bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(fd);
        return -1;
    }
    return fd;
}

std::vector<ChannelInfo> discover_channels(const ConfigImage& img, int video_ch_cnt, int coc_type,
                                           std::vector<const ModelTraits*>* traits) {
    std::vector<ChannelInfo> out;
    for (int ch = 0; ch < std::min(video_ch_cnt, kMaxChannels); ++ch) {
        const int port = img.port(ch);
        const uint16_t model = img.model_id(ch);
        // What the daemon refuses or cannot encode is no camera here.
        if (port < 2 || port > 8 || !is_ptz_device(model)) continue;
        const ModelTraits* t = find_model(model);
        if (t == nullptr) continue;
        if (port == 6) t = &coax_automatic();
        if (model == 0x1600 && coc_type == 3 && (port == 5 || port == 6)) t = &pelco_d_tvi();
        ChannelInfo info = channel_info(ch, *t);
        info.model_id = model;
        out.push_back(info);
        if (traits != nullptr) traits->push_back(t);
    }
    return out;
}

}  // namespace

std::unique_ptr<Controller> make_daemon_controller(const DaemonControllerConfig& cfg, std::string& error) {
    const std::string board = !cfg.board_dir.empty() ? cfg.board_dir : board_of_socket(cfg.socket_path);
    const std::string socket_path = !cfg.socket_path.empty() ? cfg.socket_path
                                    : board.empty()          ? std::string("/tmp/ptzsvr.sock")
                                                             : board + "/tmp/ptzsvr.sock";
    auto img = std::make_unique<ConfigImage>();
    if (!load_image(board, *img, error)) return nullptr;
    const std::string vars = board + "/proc/orv_sys_vars/";
    std::vector<const ModelTraits*> traits;
    const std::vector<ChannelInfo> infos =
        discover_channels(*img, read_number(vars + "video_ch_cnt"), read_number(vars + "coc_type"), &traits);

    if (cfg.state_dir.empty()) {
        error = "no state directory";
        return nullptr;
    }
    if (mkdir(cfg.state_dir.c_str(), 0700) != 0 && errno != EEXIST) {
        error = cfg.state_dir + ": " + std::strerror(errno);
        return nullptr;
    }
    if (access(cfg.state_dir.c_str(), W_OK | X_OK) != 0) {
        error = cfg.state_dir + ": " + std::strerror(errno);
        return nullptr;
    }
    std::string report_path;
    const int report_fd = bind_report_socket(socket_path, report_path);
    std::vector<Chan> chans;
    for (size_t i = 0; i < infos.size(); ++i) {
        Chan c;
        c.info = infos[i];
        c.t = traits[i];
        if (report_fd < 0) c.info.absolute = c.info.fov_relative = c.info.home = false;
        c.path = cfg.state_dir + "/ch" + std::to_string(c.info.channel) + ".presets";
        if (!load_presets(c.path, c.store)) {
            error = c.path + ": " + std::strerror(errno);
            if (report_fd >= 0) close(report_fd);
            return nullptr;
        }
        chans.push_back(std::move(c));
    }
    if (report_fd < 0)
        std::fprintf(stderr, "ptzonvif: %s: %s; no positions will be read\n", report_path.c_str(),
                     std::strerror(errno));
    return std::make_unique<DaemonController>(socket_path, std::move(chans), report_fd);
}

}  // namespace ptz::onvif
