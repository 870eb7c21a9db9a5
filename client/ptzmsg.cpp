// The command datagrams of the recorder's processes, written with the
// daemon's own offsets (core/command.h), so a client and the daemon cannot
// disagree about where a field lives.
//
// C programs link this library with a C linker: it allocates nothing, throws
// nothing and uses nothing of the C++ library beyond header-only constants.
#include "client/ptzmsg.h"

#include <errno.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "common/wire.h"
#include "core/command.h"

namespace {

// Every command the library builds is the 28-byte fixed part: the 8-byte
// header (msg_id, a zero word, body_size), then the fields up to the
// requester at 24..27. body_size counts the bytes behind the header.
constexpr size_t kCommandSize = 28;
constexpr size_t kHeaderSize = 8;
static_assert(kCommandSize == ptz::off::requester + 4 && kCommandSize <= PTZMSG_MAX);

// The position report: msg_id and body_size as in a command, then 32-bit
// words: the tag at 8, channel 12, status 16 and the three values from 20.
constexpr size_t kReportBodySize = PTZMSG_REPORT_SIZE - kHeaderSize;
constexpr size_t kReportTag = 8, kReportChannel = 12, kReportStatus = 16, kReportValues = 20;
constexpr char kReportName[] = "ptzreport.sock";

size_t begin(uint8_t* out, uint16_t msg_id, uint16_t channel) {
    memset(out, 0, PTZMSG_MAX);
    ptz::wr16(out + ptz::off::msg_id, msg_id);
    ptz::wr32(out + ptz::off::body_size, kCommandSize - kHeaderSize);
    ptz::wr16(out + ptz::off::channel, channel);
    return kCommandSize;
}

size_t move(uint8_t* out, uint16_t msg_id, uint16_t channel, uint16_t action, uint8_t x, uint8_t y,
            uint8_t stop_after_action) {
    const size_t n = begin(out, msg_id, channel);
    ptz::wr16(out + ptz::off::action, action);
    out[ptz::off::x] = x;
    out[ptz::off::y] = y;
    out[ptz::off::stop_after_action] = stop_after_action;
    return n;
}

}  // namespace

extern "C" {

size_t ptzmsg_move(uint8_t* out, uint16_t channel, uint16_t action, uint8_t x, uint8_t y,
                   uint8_t stop_after_action) {
    return move(out, ptz::msg::move, channel, action, x, y, stop_after_action);
}

size_t ptzmsg_move_cont(uint8_t* out, uint16_t channel, uint16_t action, uint8_t x, uint8_t y,
                        uint8_t stop_after_action) {
    return move(out, ptz::msg::move_cont, channel, action, x, y, stop_after_action);
}

size_t ptzmsg_stop(uint8_t* out, uint16_t channel) { return begin(out, ptz::msg::stop, channel); }

size_t ptzmsg_preset(uint8_t* out, uint16_t msg_id, uint16_t channel, uint16_t preset) {
    size_t field = 0;
    switch (msg_id) {
        case ptz::msg::goto_preset:
        case ptz::msg::goto_preset_direct: field = ptz::off::arg16; break;
        case ptz::msg::set_preset:
        case ptz::msg::clear_preset:
        case ptz::msg::set_preset_direct:
        case ptz::msg::clear_preset_direct: field = ptz::off::action; break;
        default: return 0;
    }
    const size_t n = begin(out, msg_id, channel);
    ptz::wr16(out + field, preset);
    return n;
}

size_t ptzmsg_aux(uint8_t* out, uint16_t msg_id, uint16_t channel, uint16_t code, int on) {
    if (msg_id != ptz::msg::aux && msg_id != ptz::msg::aux2) return 0;
    const size_t n = begin(out, msg_id, channel);
    ptz::wr16(out + ptz::off::action, on ? ptz::act::aux_on : 0);
    ptz::wr16(out + ptz::off::arg16, code);
    return n;
}

size_t ptzmsg_set_position(uint8_t* out, uint16_t channel, uint32_t pan, uint32_t tilt, uint32_t zoom) {
    const size_t n = begin(out, ptz::msg::set_position, channel);
    ptz::wr32(out + ptz::off::pan, pan);
    ptz::wr32(out + ptz::off::tilt, tilt);
    ptz::wr32(out + ptz::off::zoom, zoom);
    return n;
}

size_t ptzmsg_query_position(uint8_t* out, uint16_t channel, int32_t requester) {
    const size_t n = begin(out, ptz::msg::query_position, channel);
    ptz::wr32(out + ptz::off::requester, static_cast<uint32_t>(requester));
    return n;
}

size_t ptzmsg_zoom_box(uint8_t* out, uint16_t channel, uint16_t left, uint16_t top, uint16_t width,
                       uint16_t height, uint8_t zoom_out) {
    const size_t n = begin(out, ptz::msg::zoom_box, channel);
    ptz::wr16(out + ptz::off::box_left, left);
    ptz::wr16(out + ptz::off::box_top, top);
    ptz::wr16(out + ptz::off::box_width, width);
    ptz::wr16(out + ptz::off::box_height, height);
    out[ptz::off::box_zoom_out] = zoom_out;
    return n;
}

int ptzmsg_open(const char* socket_path) {
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    const size_t len = strlen(socket_path);
    if (len >= sizeof addr.sun_path) {
        errno = ENAMETOOLONG;
        return -1;
    }
    memcpy(addr.sun_path, socket_path, len);
    const int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    if (connect(fd, reinterpret_cast<const sockaddr*>(&addr), sizeof addr) != 0) {
        const int err = errno;
        close(fd);
        errno = err;
        return -1;
    }
    return fd;
}

int ptzmsg_send(int fd, const uint8_t* msg, size_t len) {
    ssize_t n;
    do {
        n = send(fd, msg, len, MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return n < 0 ? -1 : 0;
}

int ptzmsg_parse_report(const uint8_t* msg, size_t len, struct ptzmsg_report* out) {
    if (len < PTZMSG_REPORT_SIZE || ptz::rd16(msg + ptz::off::msg_id) != ptz::msg::position_report ||
        ptz::rd32(msg + ptz::off::body_size) != kReportBodySize)
        return -1;
    out->tag = static_cast<int32_t>(ptz::rd32(msg + kReportTag));
    out->channel = ptz::rd32(msg + kReportChannel);
    out->status = ptz::rd32(msg + kReportStatus);
    for (int i = 0; i < 3; ++i) out->value[i] = ptz::rd32(msg + kReportValues + 4 * i);
    return 0;
}

int ptzmsg_report_path(const char* socket_path, char* out, size_t cap) {
    const char* slash = strrchr(socket_path, '/');
    const size_t dir = slash == nullptr ? 0 : static_cast<size_t>(slash - socket_path) + 1;
    if (dir + sizeof kReportName > cap) return -1;
    memcpy(out, socket_path, dir);
    memcpy(out + dir, kReportName, sizeof kReportName);
    return 0;
}

}  // extern "C"
