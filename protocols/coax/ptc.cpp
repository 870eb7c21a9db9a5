// PTC107 and PTC203 pan/tilt controllers: one framed format, a two-letter
// command and ten data bytes.
//
// Frame: 02 addr c1 c2 d0..d9 sum 04, sum = bytes 1..13 mod 256. MA carries
// motion (d0 pan value, d1 pan flag, d2 tilt value, d3 tilt flag), zoom (d4)
// and focus (d6 direction, d7 speed); the PTC107 marks every motion, zoom
// and focus frame with d8 = 1. The PTC203 follows moves and zooms with an AF
// frame and wants 15 ms more after each write. Both are ready for a
// dispatch entry; no model_id selects them.
//
// Kept on purpose: the controllers' own value encodings, wrapping at 256
// (PTC107 pan at x = 0 is 0x80, tilt up is 63 - y); a move that points
// nowhere still sends an all-zero MA.
#include <array>
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

using PtcData = std::array<uint8_t, 10>;
using PtcFrame = std::array<uint8_t, 16>;

constexpr PtcFrame ptc_frame(uint8_t addr, char c1, char c2, const PtcData& data) {
    PtcFrame f{0x02, addr, static_cast<uint8_t>(c1), static_cast<uint8_t>(c2)};
    for (size_t i = 0; i < data.size(); ++i) f[4 + i] = data[i];
    uint8_t sum = 0;
    for (size_t i = 1; i <= 13; ++i) sum = static_cast<uint8_t>(sum + f[i]);
    f[14] = sum;
    f[15] = 0x04;
    return f;
}
static_assert(ptc_frame(1, 'M', 'A', {})[14] == 0x8F);

constexpr uint32_t kMinWaitUs = 35000;

struct PtcModel {
    const char* number;  // as the controller names itself in the log
    bool ptc203;
};

constexpr PtcModel kPtc107{"107", false};
constexpr PtcModel kPtc203{"203", true};

void ptc_send(Daemon& d, const PtcModel& m, int port, uint8_t addr, char c1, char c2, const PtcData& data) {
    const PtcFrame f = ptc_frame(addr, c1, c2, data);
    write_serial_block(d, port, f.data(), static_cast<int>(f.size()), kMinWaitUs);
    if (m.ptc203) d.os.usleep(15000);
}

const char* direction_log(Dir dir) {
    switch (dir) {
        case Dir::left_up: return "left/up\n";
        case Dir::left_down: return "left/down\n";
        case Dir::right_up: return "right/up\n";
        case Dir::right_down: return "right/down\n";
        case Dir::left: return "left\n";
        case Dir::right: return "right\n";
        case Dir::down: return "down\n";
        case Dir::up: return "up\n";
        case Dir::none: return nullptr;
    }
    return nullptr;
}

void pan_tilt(Daemon& d, const PtcModel& m, int x, int y, PtcData& data) {
    const Dir dir = classify_xy(x, y);
    if (const char* text = direction_log(dir)) d.log("%s", text);
    if (moves_left(dir) || moves_right(dir)) {
        data[0] = static_cast<uint8_t>((x + 64) * 2);
        data[1] = 1;
    }
    if (moves_down(dir)) {
        data[2] = static_cast<uint8_t>(m.ptc203 ? (64 - y) * 2 : 64 - y);
        data[3] = 1;
    }
    if (moves_up(dir)) {
        data[2] = static_cast<uint8_t>(m.ptc203 ? ~((y + 64) * 2) : 63 - y);
        data[3] = 1;
    }
}

void ptc_ptz(Daemon& d, const PtcModel& m, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    d.log("\n");
    d.log("PTC%s_PTZ msg_id[0x%x],action[%d],addr[%d],x[%d],y[%d]\n", m.number, c.msg_id(), c.action(),
          addr16, c.x(), c.y());
    const int x = c.x();
    PtcData data{};
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: break;
        case msg::stop:
            d.log("stop\n");
            ptc_send(d, m, port, addr, 'M', 'A', data);
            return;
        default: return;
    }
    if (!m.ptc203) data[8] = 1;
    switch (c.action()) {
        case act::pan_tilt:
            pan_tilt(d, m, x, c.y(), data);
            ptc_send(d, m, port, addr, 'M', 'A', data);
            if (m.ptc203) ptc_send(d, m, port, addr, 'A', 'F', PtcData{0x80});
            break;
        case act::zoom:
            if (x > kCentre) {
                d.log("[ptc%s] zoom in\n", m.number);
                data[4] = 0x01;
            } else if (x < kCentre) {
                d.log("[ptc%s] zoom out\n", m.number);
                data[4] = 0x80;
            }
            ptc_send(d, m, port, addr, 'M', 'A', data);
            if (m.ptc203) {
                data[0] = 0x81;
                data[8] = data[9] = 0;
                ptc_send(d, m, port, addr, 'A', 'F', data);
            }
            break;
        case act::focus:
            if (x > kCentre) {
                d.log("focus far\n");
                data[6] = 0x80;
                data[7] = static_cast<uint8_t>((x - kCentre) / 10);
            } else if (x < kCentre) {
                d.log("focus near\n");
                data[6] = 0x01;
                data[7] = static_cast<uint8_t>((kCentre - x) / 10);
            }
            ptc_send(d, m, port, addr, 'M', 'A', data);
            break;
        default: break;
    }
}

}  // namespace

void PTC107_PTZ(Daemon& d, int port, uint16_t addr, uint8_t* cmd) { ptc_ptz(d, kPtc107, port, addr, cmd); }
void PTC203_PTZ(Daemon& d, int port, uint16_t addr, uint8_t* cmd) { ptc_ptz(d, kPtc203, port, addr, cmd); }

}  // namespace ptz
