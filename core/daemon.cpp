#include "core/daemon.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "common/util.h"
#include "core/dispatch.h"
#include "core/routing.h"
#include "core/sysconf.h"

namespace ptz {

namespace {
constexpr const char* kSocketPath = "/tmp/ptzsvr.sock";
constexpr const char* kPidPath = "/tmp/ptzsvr.pid";
constexpr int64_t kSelectTimeoutUs = 1000;
constexpr int64_t kRepeatIntervalUs = 100000;
constexpr int kSigKill = 9, kSigUsr1 = 10, kSigUsr2 = 12, kSigChld = 17;
}  // namespace

Daemon::Daemon(Os& o) : os(o), logger(o) {}

int Daemon::log(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int n = logger.vlog(fmt, ap);
    va_end(ap);
    return n;
}

void Daemon::on_signal(int sig) {
    switch (sig) {
        case kSigUsr1:
            log("PTZSVR : update configuration\n");
            update_conf = 1;
            break;
        case kSigUsr2:
            log("PTZSVR : stop coc upgrade\n");
            stop_coc_upgrade = 1;
            break;
        case kSigKill:
            // Installed for completeness; the kernel never delivers it.
            log("PTZSVR : why kill me?\n");
            std::exit(0);
        default: break;
    }
}

bool Daemon::startup(int& exit_status) {
    con2rec_fd = os.open("/dev/con2rec", open_read);
    if (con2rec_fd < 0) {
        log("PTZSVR : open ipc_sock failed (%d)\n", con2rec_fd);
        exit_status = -1;
        return false;
    }
    read_system_variables(*this);
    open_ports(*this);
    write_pid_file(os, kPidPath);
    os.install_signal(kSigChld, true, nullptr);
    os.install_signal(kSigUsr1, false, this);
    os.install_signal(kSigUsr2, false, this);
    os.install_signal(kSigKill, false, this);
    if (os.access_exists(kSocketPath) == 0) os.unlink(kSocketPath);
    sock_fd = os.socket_dgram();
    if (sock_fd < 0) {
        log("PTZSVR : socket open error\n");
        exit_status = 0;
        return false;
    }
    // Without the socket nothing is ever received, but the recorder expects
    // the process to stay up (it restarts nothing).
    if (os.bind_unix(sock_fd, kSocketPath) < 0) log("PTZSVR : bind error!!!\n");
    return true;
}

void Daemon::run() {
    for (;;) run_once();
}

void Daemon::run_once() {
    if (update_conf) {
        update_conf = 0;
        open_ports(*this);
    }
    const int r = os.wait_readable(sock_fd, kSelectTimeoutUs);
    if (r < 0) return;
    if (r == 0) {
        repeat_step();
        return;
    }
    const long len = os.recvfrom(sock_fd, rx.data(), rx.size());
    if (len < 0) return;
    handle_datagram(len);
}

void Daemon::repeat_step() {
    const TimeVal now = os.gettimeofday();
    // The recorder walks every video channel here, but the stamp becomes
    // "now" after a re-send, so at most the first qualifying pass acts: one
    // check is the same behaviour without the per-channel walk.
    if (sv.video_ch_cnt < 1 || repeat_count <= 0) return;
    int64_t diff = (now.usec - last_send.usec) + 1000000 * (now.sec - last_send.sec);
    if (diff < 0) diff = -diff;
    if (diff <= kRepeatIntervalUs) return;
    log("PTZSVR : call eptz_handler by repeat_count(%d)\n", repeat_count);
    repeat_in_progress = 1;
    eptz_handler(*this, rd16(stored_cmd.data() + off::channel), stored_cmd.data());
    repeat_in_progress = 0;
    --repeat_count;
    last_send = now;
}

bool Daemon::lookup_preset(int channel, uint32_t entry, uint16_t& out) {
    if (conf.preset(channel, entry, out)) return true;
    log("PTZSVR : preset entry %u of ch %d is outside the configuration, command dropped\n", entry, channel);
    return false;
}

void Daemon::handle_datagram(long len) {
    Cmd c{rx.data()};
    const uint16_t id = c.msg_id();
    log("KVORN_0628 : hdr->msg_id=%x, hdr->body_size=%d\n", id, static_cast<int>(c.body_size()));
    switch (id) {
        case msg::bypass:
        case msg::move:
        case msg::move_cont:
        case msg::stop:
        case msg::goto_preset:
        case msg::set_preset:
        case msg::clear_preset:
        case msg::aux:
        case msg::aux2:
        case msg::set_position:
        case msg::query_position:
        case msg::zoom_box:
        case msg::goto_preset_direct:
        case msg::set_preset_direct:
        case msg::clear_preset_direct:
        case msg::upgrade:
        case msg::passthrough: break;
        default: return;  // unknown ids are dropped without a message
    }
    const uint16_t ch = c.channel();
    // 64 channel records and flags exist; a larger channel is a damaged
    // command and is dropped with a line in the log.
    if (ch >= kMaxChannels) {
        log("PTZSVR : CH(%d) out of range, msg_id %x dropped\n", ch, id);
        return;
    }
    int& flag = azimuth[ch];
    uint16_t preset = 0;
    switch (id) {
        case msg::bypass: bypass(*this, rx.data()); return;
        case msg::move:
        case msg::move_cont:
        case msg::stop:
            flag = 0;
            eptz_handler(*this, ch, rx.data());
            if (repeat_count != 0) {
                const size_t n = std::min(static_cast<size_t>(len), stored_cmd.size());
                std::memcpy(stored_cmd.data(), rx.data(), n);
            }
            return;
        case msg::goto_preset:
            if (!lookup_preset(ch, c.arg16(), preset)) return;
            if (flag) {
                log("PTZSVR : send stop(%d) if last command was azi\n", ch);
                send_stop(*this, ch);
            }
            c.set_arg16(preset);
            eptz_handler(*this, ch, rx.data());
            flag = 0;
            return;
        case msg::set_preset:
        case msg::clear_preset:
            flag = 0;
            if (!lookup_preset(ch, c.action(), preset)) return;
            c.set_action(preset);
            break;
        case msg::aux: {
            flag = 0;
            const uint16_t v = c.arg16();
            switch (v) {
                case 113: preset = 595; break;
                case 114: preset = 730; break;
                case 115: preset = 731; break;
                case 116:
                    preset = 740;
                    c.set_action(256);
                    break;
                default:
                    if (!lookup_preset(ch, v + 16u, preset)) return;
                    break;
            }
            c.set_arg16(preset);
            break;
        }
        case msg::aux2: flag = 0; break;
        case msg::set_position:
        case msg::query_position:
        case msg::zoom_box: flag = 1; break;
        case msg::goto_preset_direct:
            flag = 0;
            c.set_msg_id(msg::goto_preset);
            break;
        case msg::set_preset_direct:
            flag = 0;
            c.set_msg_id(msg::set_preset);
            break;
        case msg::clear_preset_direct:
            flag = 0;
            c.set_msg_id(msg::clear_preset);
            break;
        default: break;  // upgrade and pass-through: as received
    }
    eptz_handler(*this, ch, rx.data());
}

}  // namespace ptz
