#include "core/routing.h"

#include "core/sysconf.h"
#include "serial/serial.h"

namespace ptz {

namespace {
bool is_393_or_395(const Daemon& d) { return d.sv.model == 393 || d.sv.model == 395; }

void reset_port(Daemon& d, int port) {
    PortEntry& e = d.ports[static_cast<size_t>(port)];
    if (e.fd > 0) d.os.close(e.fd);
    e = PortEntry{};
}

void rebuild_tdm(Daemon& d) {
    d.tdm = {};
    d.tdm_count = 0;
    for (int ch = 0; ch < 16; ++ch) {
        const int type = d.conf.receiver_type(ch);
        d.log("\tCH(%d) type is %d\n", ch, type);
        if (type < 10 || type > 16) continue;
        const int count = type - 8;
        const int vrt = read_system_variable(d, "/proc/orv_sys_vars/video_receiver_type");
        const int last = (vrt == 14 || vrt == 15 || vrt == 17 || vrt == 22 || vrt == 23) ? ch + 2 : ch + 1;
        const int first = last - count;
        d.log("\ttdm count %d, %d ~ %d\n", count, first, last);
        // The recorder has at most eight tdm receivers; a configuration that
        // names more is damaged and its extra groups are ignored.
        if (d.tdm_count >= kTdmEntries) continue;
        d.tdm[static_cast<size_t>(d.tdm_count++)] = TdmEntry{ch, count, first, last};
    }
}
}  // namespace

int coax_port_number(const Daemon& d) {
    const int m = d.sv.model;
    switch (d.sv.coc_type) {
        case 2: return 3;
        case 4:
        case 5:
        case 6: return 4;
        case 7: return (m == 47 || m == 523) ? 4 : 3;
        case 8: return (m == 527 || m == 393 || m == 395) ? 3 : 4;
        default: return -1;
    }
}

bool port_in_use(const Daemon& d, int port) {
    for (int ch = 0; ch < kMaxChannels; ++ch)
        if (d.conf.port(ch) == port) return true;
    return false;
}

void open_ports(Daemon& d) {
    ptzsvr_load_conf(d);
    for (int p = 1; p <= 4; ++p) {
        reset_port(d, p);
        if (port_in_use(d, p)) {
            d.log("PTZSVR : open_serial(%d) in normal open\n", p);
            d.ports[static_cast<size_t>(p)].fd = open_serial(d, d.sv.model == 523 ? p + 1 : p);
        }
    }
    const int coax = coax_port_number(d);
    if (coax == -1) {
        d.log("PTZSVR : In this model, we don't have port mapping\n");
        return;
    }
    reset_port(d, coax);
    d.ports[static_cast<size_t>(coax)].fd = open_serial(d, coax);
    d.log("PTZSVR : open coc_mux_port(port:%d) -> (fd:%d)\n", coax, d.ports[static_cast<size_t>(coax)].fd);
    rebuild_tdm(d);
}

int set_serial_port(Daemon& d, int channel) {
    int port = d.conf.port(channel);
    if (port >= 5 && port <= 8) {
        const int coax = coax_port_number(d);
        d.log("PTZSVR : set_serial_port.. ch %d, port %d -> %d", channel, port, coax);
        if (coax == -1) return 0;
        port = coax;
    }
    // Ports 2..8 only reach here (the dispatcher refuses others first).
    if (port < 0 || port >= kPortTableSize) return 0;
    PortEntry& e = d.ports[static_cast<size_t>(port)];
    const int baud = d.conf.baud(channel), data = d.conf.data_bits(channel), parity = d.conf.parity(channel),
              stop = d.conf.stop_bits(channel);
    if (e.baud == baud && e.data_bits == data && e.parity == parity && e.stop_bits == stop) return 0;
    d.log("Configuration of serial_port[%d] is changed...so we have to reset(%d,%d,%d,%d)\n", port, baud,
          data, parity, stop);
    set_serial(d, e.fd, baud, data, parity, stop);
    e.baud = baud;
    e.data_bits = data;
    e.parity = parity;
    e.stop_bits = stop;
    return 1;
}

uint32_t get_ptz_addr_from_conf(Daemon& d, int channel) {
    const uint32_t configured = d.conf.address(channel);
    if (!is_393_or_395(d)) {
        for (const TdmEntry& e : d.tdm) {
            if (e.count == 0) continue;
            d.log("PTZSVR : %s find tdm info for channel %d\n", "get_ptz_addr_from_conf", channel);
            d.log("\t check tdm ch %d, %d ~ %d \n", e.target, e.first, e.last);
            if (e.first <= channel && channel < e.last) {
                const int addr = channel - e.first + 1;
                d.log("\tchannel %d is found on tdm(%d,%d), data send to %d\n", channel, e.first, e.last,
                      addr);
                return static_cast<uint32_t>(addr);
            }
        }
        return configured;
    }
    // Models 393 and 395 wire their groups in fixed rows of four.
    static constexpr int kFixed[16] = {0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 1, 2, 0, 1, 2, 3};
    int addr = 0;
    for (const TdmEntry& e : d.tdm) {
        if (e.count == 0) continue;
        d.log("PTZSVR : %s find tdm info for channel %d\n", "get_ptz_addr_from_conf", channel);
        if (e.target != 0) {
            // Rows exist for group sizes 1..4 and channels 0..3 of a group;
            // anything else is outside the wiring and reads as address 0.
            const int idx = channel + 4 * (e.count - 1);
            addr = (idx >= 0 && idx < 16) ? kFixed[idx] + 1 : 0;
        } else {
            addr = channel / 2 + 1;
        }
        d.log("\t check tdm ch %d, count %d, %d ~ %d -> %d\n", e.target, e.count, e.first, e.last, addr);
    }
    return addr != 0 ? static_cast<uint32_t>(addr) : configured;
}

uint32_t detected_format(const StatusRecord& status, int channel) {
    if (channel < 0 || channel >= 16) return 0;
    return rd32(status.data() + 64 + 4 * static_cast<size_t>(channel));
}

void coax_line_switch(Daemon& d, int channel, int port, const StatusRecord& status, int enable) {
    const int ct = d.sv.coc_type;
    if (ct != 6 && ct != 7 && ct != 8) return;
    switch (detected_format(status, channel)) {
        case 5:
        case 6:
        case 7:
        case 9:
        case 10:
        case 14:
        case 15:
        case 16: break;
        default: return;
    }
    const int fd = d.os.open("/dev/av_devs", open_read);
    d.log("PTZSVR : en334s mux for channel %d, port %d, enable %d\n", channel, port, enable);
    if (fd < 0) {
        d.log("ptzsvr : no av_devs\n");
        return;
    }
    int t = channel;
    if (!is_393_or_395(d)) {
        for (const TdmEntry& e : d.tdm) {
            if (e.count == 0) continue;
            d.log("\ttdm(%d) count %d  %d~%d\n", e.target, e.count, e.first, e.last);
            if (e.first <= channel && channel < e.last) {
                d.log("\tchannel %d is found on tdm(%d,%d), data send to %d\n", channel, e.first, e.last,
                      e.target);
                if (e.target >= 0) t = e.target;
                break;
            }
        }
    } else {
        int r = -1;
        for (const TdmEntry& e : d.tdm) {
            if (e.count == 0) continue;
            d.log("\ttdm(%d) count %d  %d~%d\n", e.target, e.count, e.first, e.last);
            if (e.target == 0 && (channel == 0 || channel == 2))
                r = 0;
            else if (e.target == 2 && e.count == 3 && channel >= 1 && channel <= 3)
                r = 1;
            else if (e.target == 2 && e.count == 4)
                r = 1;
            else if (e.target == 2 && e.count == 2 && (channel == 1 || channel == 3))
                r = 1;
            if (r >= 0) d.log("\tchannel %d is found on tdm(%d), data send to %d\n", channel, e.target, r);
        }
        if (r >= 0) t = r;
    }
    d.log("\tch is %d\n", t);
    unsigned long on = 0, off_req = 0;
    if (port >= 5 && port <= 7) {
        on = req::coc_line_on;
        off_req = req::coc_line_off;
    } else if (port == 8) {
        on = req::coc_line_on_p8;
        off_req = req::coc_line_off_p8;
    }
    if (d.sv.face_detect) {
        // t is a channel of the recorder (a group's target or the channel
        // itself), always below kMaxChannels.
        const size_t ti = static_cast<size_t>(t) % kMaxChannels;
        d.log("ptzsvr : __face_detect coc_enable for ch %d is %d\n", t, d.face_detect_enabled[ti]);
        if (d.face_detect_enabled[static_cast<size_t>(channel)] || enable == 0 || on == 0) {
            d.os.close(fd);
            return;
        }
        d.os.ioctl_val(fd, on, static_cast<unsigned long>(t));
        d.face_detect_enabled[ti] = 1;
    } else if (on != 0) {
        if (enable == 1) {
            d.os.ioctl_val(fd, on, static_cast<unsigned long>(t));
        } else if (enable == 0) {
            uint8_t rec[4] = {0, 0, 1, static_cast<uint8_t>(t)};
            d.os.ioctl_ptr(fd, off_req, rec);
        }
    }
    d.os.close(fd);
}

}  // namespace ptz
