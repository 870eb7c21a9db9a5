// Canon VC-C4 camera heads.
//
// Line: one command byte per frame, FF 30 dev 00 cmd data... EF, with no
// checksum; numbers travel as upper-case hexadecimal ASCII digits. The device
// character is the camera address OR 0x30, or 0x30 itself for the frames
// every head on the line takes. Each frame waits at least 5 ms of line time,
// then the head's answer is read once (whatever has arrived, up to 6 bytes;
// a missing one is logged and the sequence goes on), then 30 ms pass.
//
// Every command opens with 0x90 '0' to device 0x30. The first command of the
// daemon's life, and every command to an address whose device character is
// 0x30 (addresses 0, 16, 32, 48), is preceded by the initialisation pair
// 0x8F '0', 0x8F '1'; the count of commands is one per daemon, shared by all
// heads.
//
// Kept on purpose: the zoom speed frame 0xB4 carries the first two digits of
// the three-digit speed, and the speed never exceeds 7, so the head always
// gets "00"; this is how the heads have always been driven. Storing a preset
// goes on as an aux command, so a store whose aux field reads 602 also
// switches that aux.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kMinWaitUs = 5000;
constexpr uint32_t kPauseUs = 30000;
constexpr int kAnswerMax = 6;
constexpr size_t kMaxData = 3;
constexpr uint8_t kBroadcast = 0x30;
constexpr uint16_t kAuxSwitch = 602;

namespace op {
constexpr uint8_t open_close = 0x90, init = 0x8F, pan_speed = 0x50, tilt_speed = 0x51, stop_step = 0x53;
constexpr uint8_t drive = 0x60, store_preset = 0x89, recall_preset = 0x8A, focus = 0xA1, zoom = 0xA2;
constexpr uint8_t stop_end = 0xB1, zoom_speed = 0xB4, aux_switch = 0xB5;
}  // namespace op

struct Frame {
    std::array<uint8_t, 6 + kMaxData> bytes{};
    size_t size = 0;
    constexpr bool operator==(const Frame&) const = default;
};

constexpr Frame vcc4_frame(uint8_t dev, uint8_t cmd, std::string_view data) {
    Frame f;
    f.bytes[0] = 0xFF;
    f.bytes[1] = 0x30;
    f.bytes[2] = dev;
    f.bytes[3] = 0x00;
    f.bytes[4] = cmd;
    const size_t n = std::min(data.size(), kMaxData);
    for (size_t i = 0; i < n; ++i) f.bytes[5 + i] = static_cast<uint8_t>(data[i]);
    f.bytes[5 + n] = 0xEF;
    f.size = 6 + n;
    return f;
}

static_assert(vcc4_frame(0x31, op::pan_speed, "300") ==
              Frame{{0xFF, 0x30, 0x31, 0x00, 0x50, '3', '0', '0', 0xEF}, 9});

// Bits 8 to 11, 4 to 7 and 0 to 3 as upper-case hex digits.
constexpr std::array<char, 3> hex3(int v) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    return {kDigits[(v >> 8) & 0xF], kDigits[(v >> 4) & 0xF], kDigits[v & 0xF]};
}

static_assert(hex3(0x8F4) == std::array<char, 3>{'8', 'F', '4'});

constexpr char drive_char(int v) {
    switch (axis_sense(v)) {
        case Sense::negative: return '2';
        case Sense::positive: return '1';
        case Sense::none: break;
    }
    return '0';
}

// Writes one frame and reads the head's answer once. The answer is only
// logged; nothing that follows depends on it.
void send(Daemon& d, int port, uint8_t cmd, std::string_view data, uint8_t dev) {
    const Frame f = vcc4_frame(dev, cmd, data);
    write_serial_block(d, port, f.bytes.data(), static_cast<int>(f.size), kMinWaitUs);
    uint8_t answer[kAnswerMax] = {};
    if (port_read(d, port, answer, kAnswerMax) == kNothingRead)
        d.log("receive error\n");
    else
        d.log("ACK : %xh%xh\n", answer[3], answer[4]);
    d.os.usleep(kPauseUs);
}

void send_char(Daemon& d, int port, uint8_t cmd, char c, uint8_t dev) {
    send(d, port, cmd, std::string_view(&c, 1), dev);
}

void send_hex3(Daemon& d, int port, uint8_t cmd, int v, uint8_t dev) {
    const std::array<char, 3> digits = hex3(v);
    send(d, port, cmd, std::string_view(digits.data(), digits.size()), dev);
}

void pan_tilt(Daemon& d, int port, uint8_t dev, int x, int y) {
    send_hex3(d, port, op::pan_speed, std::max(12 * std::abs(kCentre - x), 8), dev);
    send_hex3(d, port, op::tilt_speed, std::max(9 * std::abs(kCentre - y), 8), dev);
    const char drive[2] = {drive_char(x), drive_char(y)};
    send(d, port, op::drive, std::string_view(drive, 2), dev);
}

void zoom(Daemon& d, int port, uint8_t dev, int x) {
    int s = std::abs(kCentre - x) / 8;
    d.log("zoom : %xh\n", s);
    s = std::min(s, 7);
    const std::array<char, 3> digits = hex3(s);
    send(d, port, op::zoom_speed, std::string_view(digits.data(), 2), dev);
    send_char(d, port, op::zoom, x <= kCentre ? '1' : '2', dev);
}

void focus(Daemon& d, int port, uint8_t dev, int x) {
    send_char(d, port, op::focus, '1', dev);
    if (x > kCentre) send_char(d, port, op::focus, '2', dev);
    if (x < kCentre) send_char(d, port, op::focus, '3', dev);
}

void aux(Daemon& d, int port, uint8_t dev, Cmd c) {
    d.log("VCC4 aux : %x\n", c.arg16());
    if (c.arg16() == kAuxSwitch)
        send_char(d, port, op::aux_switch, c.action() == act::aux_on ? '0' : '1', dev);
}

}  // namespace

void PTZAction_VCC4(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    // Addresses 0, 16, 32 and 48 share the broadcast device character. The
    // test is on the whole address: 256 and above are never taken for it.
    const unsigned wide_dev = addr | kBroadcast;
    const uint8_t dev = static_cast<uint8_t>(wide_dev);
    uint32_t& count = d.drv.vcc4_commands;

    send_char(d, port, op::open_close, '0', kBroadcast);
    if (wide_dev == kBroadcast || count == 0) {
        send_char(d, port, op::init, '0', kBroadcast);
        send_char(d, port, op::init, '1', kBroadcast);
    }
    ++count;

    switch (c.msg_id()) {
        case msg::goto_preset:
            send(d, port, op::pan_speed, "300", dev);
            send(d, port, op::tilt_speed, "260", dev);
            send_char(d, port, op::recall_preset, static_cast<char>('0' + c.arg16()), dev);
            break;
        case msg::set_preset: {
            const uint8_t p = static_cast<uint8_t>('0' + c.action());
            d.log("VCC4 set preset : %x\n", p);
            send_char(d, port, op::store_preset, static_cast<char>(p), dev);
            aux(d, port, dev, c);
            break;
        }
        case msg::aux:
        case msg::aux2: aux(d, port, dev, c); break;
        case msg::move:
        case msg::move_cont:
            switch (c.action()) {
                case act::pan_tilt: pan_tilt(d, port, dev, c.x(), c.y()); break;
                case act::zoom: zoom(d, port, dev, c.x()); break;
                case act::focus: focus(d, port, dev, c.x()); break;
                default: break;
            }
            break;
        case msg::stop:
            d.log("STOP\n");
            send_char(d, port, op::zoom, '0', dev);
            send_char(d, port, op::stop_step, '0', kBroadcast);
            send_char(d, port, op::stop_end, '1', dev);
            send_char(d, port, op::open_close, '1', dev);
            break;
        default: break;
    }
}

}  // namespace ptz
