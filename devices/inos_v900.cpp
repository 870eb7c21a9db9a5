// INOS-V900 sensor and switch head, on RS-485.
//
// Line: presets travel in 7-byte Pelco-D frames; everything else in 11-byte
// frames FF addr 00 cmd d0..d5 sum (sum of bytes 1..9), both at least 35 ms
// apart. Each request is answered by an 11-byte frame of the same shape whose
// fourth byte names the answer (0x93 -> 0x9B, ..., 0xE0 -> 0xE1); answers are waited for 0.9 s at
// most and taken only with a good sum.
//
// The recorder learns the head's state from the position report: word 3 the
// switch bits, word 4 the temperature (low half, signed) and dust 1 (high
// half), word 5 the humidity and dust 2. A preset command refreshes the
// switches; the sensor poll and the version check are carried for the
// recorder's maintenance tools, no command of the recorder reaches them.
//
// Kept on purpose: the state is one per daemon, shared by every INOS-V900 on
// every port; a missing answer keeps the values read before, and the report
// is sent anyway. Both dust readings log their change with the same text.
#include "devices/inos_v900.h"

#include <array>
#include <cstdint>
#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "core/report.h"
#include "protocols/drivers.h"
#include "protocols/rs485/pelco_d.h"
#include "serial/reply.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr int kFrameLen = 11;
constexpr int32_t kReplyLimitUs = 900000;
constexpr uint32_t kPresetSettleUs = 10000;

namespace rq {
constexpr uint8_t status = 0x93, temperature = 0xA3, humidity = 0xB3, dust1 = 0xE0, dust2 = 0xE2,
                  version = 0x83;
constexpr uint8_t pan = 0xA1, tilt = 0xB1;
}  // namespace rq

// Each answer's type byte, by request.
constexpr uint8_t reply_type(uint8_t request) {
    switch (request) {
        case rq::status: return 0x9B;
        case rq::temperature: return 0xAB;
        case rq::humidity: return 0xBB;
        case rq::dust1: return 0xE1;
        case rq::dust2: return 0xE3;
        case rq::version: return 0x8B;
        default: return 0;
    }
}

using Data6 = std::array<uint8_t, 6>;

// Writes a request and waits for its answer; the receive's result (11, or
// 0 when nothing good came in time).
int request(Daemon& d, int port, uint16_t addr, uint8_t cmd, uint8_t* reply) {
    const PelcoDExtFrame f = pelcod_ext_frame(static_cast<uint8_t>(addr), cmd, {});
    write_serial_block(d, port, f.data(), kFrameLen, pelcod::min_wait_us);
    return recv_command(d, port, reply, 0xFF, reply_type(cmd), kFrameLen, kReplyLimitUs);
}

void send_ext(Daemon& d, int port, uint16_t addr, uint8_t cmd, Data6 data) {
    const PelcoDExtFrame f = pelcod_ext_frame(static_cast<uint8_t>(addr), cmd, data);
    write_serial_block(d, port, f.data(), kFrameLen, pelcod::min_wait_us);
}

constexpr int value16(const uint8_t* reply) { return reply[6] * 256 + reply[7]; }

// The state in the report's three value words.
struct Words {
    uint32_t w20, w24, w28;
};
Words report_words(const InosV900State& s) {
    const auto half = [](int32_t v) { return static_cast<uint32_t>(v) & 0xFFFFu; };
    return {static_cast<uint32_t>(s.switch_status), half(s.temperature) | (half(s.dust1) << 16),
            half(s.humidity) | (half(s.dust2) << 16)};
}

int report_state(Daemon& d, const char* name, uint32_t channel) {
    const Words w = report_words(d.drv.inos_v900);
    d.log("(%s) size : %d, (%08x:%08x:%08x)\n", name, 24, w.w20, w.w24, w.w28);
    return send_position_report(d, 0, channel, 0, w.w20, w.w24, w.w28);
}

// One reading of the poll: stores it and logs a change against the value
// last logged.
void note(Daemon& d, const char* what, int32_t value, int32_t& stored, int32_t& logged) {
    stored = value;
    if (value != logged) {
        d.log("ptzsvr(%s) : %s %d -> %d\n", "INOSV900_get_sensor_data", what, logged, value);
        logged = value;
    }
}

// Absolute value of a datagram's i32, without overflow at the most negative.
constexpr uint32_t magnitude(int32_t v) {
    return v < 0 ? 0u - static_cast<uint32_t>(v) : static_cast<uint32_t>(v);
}

}  // namespace

void inosv900_get_current_switch_status(Daemon& d, int port, uint16_t addr, uint32_t channel) {
    static constexpr const char* kName = "inosv900_get_current_switch_status";
    uint8_t reply[kFrameLen] = {};
    if (request(d, port, addr, rq::status, reply) > 10) {
        d.drv.inos_v900.switch_status = value16(reply);
        d.log("ptzsvr(%s) : %02x %02x -> %04x\n", kName, reply[6], reply[7], d.drv.inos_v900.switch_status);
    }
    report_state(d, kName, channel);
}

int inosv900_send_switch_status(Daemon& d, int /*port*/, uint16_t /*addr*/, uint32_t channel) {
    return report_state(d, "inosv900_send_switch_status", channel);
}

int INOSV900_get_sensor_data(Daemon& d, int port, uint16_t addr, uint8_t& sensor) {
    static constexpr const char* kName = "INOSV900_get_sensor_data";
    InosV900State& s = d.drv.inos_v900;
    static constexpr uint8_t kOrder[] = {rq::status, rq::temperature, rq::humidity, rq::dust1, rq::dust2};
    for (const uint8_t cmd : kOrder) {
        uint8_t reply[kFrameLen] = {};
        const int r = request(d, port, addr, cmd, reply);
        if (r < kFrameLen) {
            d.log("ptzsvr(%s) : %d:%d failed, no data, %d\n", kName, port, addr, r);
            return -1;
        }
        switch (cmd) {
            case rq::status:
                sensor = reply[5];
                s.switch_status = value16(reply);
                if (sensor != s.logged_sensor || s.switch_status != s.logged_switch) {
                    d.log("ptzsvr(%s) : sensor %x -> %x, switch %x -> %x\n", kName, s.logged_sensor, sensor,
                          s.logged_switch, s.switch_status);
                    s.logged_sensor = sensor;
                    s.logged_switch = s.switch_status;
                }
                break;
            case rq::temperature:
                note(d, "temp", reply[5] == 1 ? value16(reply) : -value16(reply), s.temperature,
                     s.logged_temperature);
                break;
            case rq::humidity: note(d, "humm", value16(reply), s.humidity, s.logged_humidity); break;
            case rq::dust1: note(d, "dust", reply[7], s.dust1, s.logged_dust1); break;
            default: note(d, "dust", reply[7], s.dust2, s.logged_dust2); break;
        }
    }
    return 0;
}

int INOSV900_check_fw_version(Daemon& d, int port, uint16_t addr) {
    uint8_t reply[kFrameLen] = {};
    const int r = request(d, port, addr, rq::version, reply);
    if (r != kFrameLen) return 0;
    d.log("ptzsvr(%s) : ret is %d, %02x:%02x:%02x -> %d\n", "INOSV900_check_fw_version", r, reply[4],
          reply[5], reply[6], reply[9]);
    return reply[9];
}

void PTZAction_INOSV900(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t a = static_cast<uint8_t>(addr);
    d.log("INOS msg_id[%x],action[%x],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr, c.x(), c.y());
    switch (c.msg_id()) {
        case msg::set_preset:
            d.log("INOS-V900 : save preset %d\n", c.action());
            pelcod_send(d, port, a, pelcod::set_preset, 0, static_cast<uint8_t>(c.action()));
            d.os.usleep(kPresetSettleUs);
            inosv900_get_current_switch_status(d, port, addr, c.channel());
            break;
        case msg::goto_preset:
            d.log("INOS-V900 : goto preset %d\n", c.arg16());
            pelcod_send(d, port, a, pelcod::goto_preset, 0, c.x());
            d.os.usleep(kPresetSettleUs);
            inosv900_get_current_switch_status(d, port, addr, c.channel());
            break;
        case msg::set_position: {
            // This head takes its pan from the datagram's second value and its
            // tilt from the third.
            const auto pan = static_cast<int32_t>(c.tilt()), tilt = static_cast<int32_t>(c.zoom());
            const uint32_t m = magnitude(pan);
            send_ext(d, port, addr, rq::pan,
                     {0, static_cast<uint8_t>(pan > 0 ? 1 : 0), static_cast<uint8_t>(m >> 8),
                      static_cast<uint8_t>(m), 0, 0});
            send_ext(d, port, addr, rq::tilt,
                     {0, 0, static_cast<uint8_t>(tilt >> 8), static_cast<uint8_t>(tilt), 0, 0});
            break;
        }
        case msg::query_position: inosv900_send_switch_status(d, port, addr, c.channel()); break;
        default: break;
    }
}

}  // namespace ptz
