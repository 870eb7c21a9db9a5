#include "core/dispatch.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "core/daemon.h"
#include "core/routing.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr DriverEntry kDrivers[] = {
    {0x100, PTZAction_ADI, LineArg::port},             // ADI
    {0x200, PTZAction_AutoDome, LineArg::port},        // Philips AutoDome
    {0x201, PTZAction_AutoDome_Fixed, LineArg::port},  // Philips AutoDome, fixed speed
    {0x300, PTZAction_VCC4, LineArg::port},            // Canon VC-C4
    {0x301, PTZAction_C1080B, LineArg::port},          // C1080B
    {0x302, PTZAction_C1080PT, LineArg::port},         // C1080PT
    {0x303, PTZAction_WONWOO_mode2, LineArg::port},    // C1080PT WONWOO mode 2
    {0x304, PTZAction_WONWOO_mode1, LineArg::port},    // C1080PT WONWOO mode 1
    {0x305, PTZAction_WONWOO_mode0, LineArg::port},    // C1080PT WONWOO mode 0
    {0x306, PTZAction_WONWOO_mode3, LineArg::port},    // C1080PT WONWOO mode 3
    {0x500, PTZAction_Ravel, LineArg::port},           // ravel menu protocol
    {0x501, PTZAction_Model501, LineArg::port},        //
    {0x600, PTZAction_CRR1600, LineArg::port},         // CRR1600
    {0x800, PTZAction_DMax, LineArg::port},            // DMax
    {0x801, PTZAction_HUNT, LineArg::port},            // HUNT
    {0x802, PTZAction_ScanDome, LineArg::port},        // ScanDome
    {0x803, PTZAction_Model803, LineArg::port},        //
    {0x804, PTZAction_ScanDome2, LineArg::port},       // scandome2 (HTX keyboard)
    {0x805, PTZAction_Model805, LineArg::port},        //
    {0x808, PTZAction_HIKC, LineArg::channel},         // HIK-C (coax)
    {0x809, PTZAction_HDA, LineArg::channel},          // HDA (coax)
    {0x900, PTZAction_INOS, LineArg::port},            // INOS
    {0x901, PTZAction_INOSV900, LineArg::port},        // INOS-V900
    {0x1100, PTZAction_Model1100, LineArg::port},      //
    {0x1200, PTZAction_STX, LineArg::port},            // STX-framed
    {0x1300, PTZAction_ThreeByte, LineArg::port},      // three-byte
    {0x1400, PTZAction_EZ, LineArg::port},             // EZ (WKC keyboard)
    {0x1500, PTZAction_ORX1000, LineArg::port},        // ORX1000
    {0x1600, PTZAction_PelcoD, LineArg::pelco_d},      // Pelco-D, or PELCO_D_TVI
    {0x1601, PTZAction_PelcoP, LineArg::port},         // Pelco-P
    {0x1602, PTZAction_Panasonic, LineArg::port},      // Panasonic
    {0x1800, PTZAction_RVision, LineArg::port},        // RVision
    {0x1900, PTZAction_SPD, LineArg::port},            // SPD
    {0x1901, PTZAction_SRX100B, LineArg::port},        // SRX-100B
    {0x1902, PTZAction_Model1902, LineArg::port},      //
    {0x1903, PTZAction_SJ, LineArg::port},             // SJ
    {0x1904, PTZAction_SamsungE, LineArg::port},       // Samsung-E (SCC641)
    {0x2000, PTZAction_Tokina, LineArg::port},         // Tokina
    {0x2200, PTZAction_LetterCommand, LineArg::port},  // letter-command
    {0x2201, PTZAction_SPD_Variant, LineArg::port},    // SPD with sequences and digital zoom
    {0x2202, PTZAction_Vicon, LineArg::port},          // Vicon
    {0x2300, PTZAction_F2E, LineArg::port},            // F2E (WKC keyboard)
    {0x2301, PTZAction_F2E, LineArg::port},            // F2E (WKC keyboard)
    {0x2302, PTZAction_C1080B, LineArg::port},         // C1080B
    {0x2303, PTZAction_C1080B, LineArg::port},         // C1080B
};

constexpr bool sorted_by_model() {
    for (size_t i = 1; i < std::size(kDrivers); ++i)
        if (kDrivers[i - 1].model >= kDrivers[i].model) return false;
    return true;
}
static_assert(sorted_by_model(), "dispatch table is searched by bisection");

constexpr uint16_t kModelHdaAuto = 2057, kModelHikcAuto = 2056, kModelC1080Auto = 769;

// Switches the recorder's multiplexers so that the coax UART reaches the
// channel (or the receiver that carries its tdm group).
void switch_mux(Daemon& d, int channel, int fd, unsigned long request, bool by_group) {
    unsigned long arg = static_cast<unsigned long>(channel);
    if (by_group) {
        for (const TdmEntry& e : d.tdm) {
            if (e.count != 0 && e.first <= channel && channel < e.last) {
                d.log("\tchannel %d is found on tdm(%d,%d), data send to %d\n", channel, e.first, e.last,
                      e.target);
                if (e.target >= 0) arg = static_cast<unsigned long>(e.target);
                break;
            }
        }
    }
    d.os.ioctl_val(fd, request, arg);
    d.os.close(fd);
}

}  // namespace

const DriverEntry* find_driver(uint16_t model) {
    const auto it = std::lower_bound(std::begin(kDrivers), std::end(kDrivers), model,
                                     [](const DriverEntry& e, uint16_t m) { return e.model < m; });
    return (it != std::end(kDrivers) && it->model == model) ? it : nullptr;
}

bool is_ptz_device(int m) {
    return m == 256 || m == 512 || m == 513 || (m >= 768 && m <= 774) || m == 1280 || m == 1281 ||
           m == 1536 || (m >= 2048 && m <= 2057) || m == 2304 || m == 2305 || m == 4352 || m == 4608 ||
           m == 4864 || m == 5120 || m == 5376 || (m >= 5632 && m <= 5634) || m == 6144 ||
           (m >= 6400 && m <= 6404) || m == 8192 || (m >= 8704 && m <= 8706) || (m >= 8960 && m <= 8963);
}

bool same_command(Daemon& d, int channel, const uint8_t* cmd) {
    // A continuous move after a start counts as the same command; the
    // recorder only ever tracks this in channel 0's slot.
    if (rd16(cmd) == msg::move_cont && rd16(d.last_cmd[0].data()) == msg::move)
        wr16(d.last_cmd[0].data(), msg::move_cont);
    auto& slot = d.last_cmd[static_cast<size_t>(channel)];
    if (std::memcmp(cmd, slot.data(), slot.size()) == 0) {
        d.log("ptzsvr : same command for ch %d\n", channel);
        return true;
    }
    std::memcpy(slot.data(), cmd, slot.size());
    return false;
}

int eptz_handler(Daemon& d, uint32_t channel_u, uint8_t* cmd) {
    // Channels index 64-entry tables; the recorder has no channel beyond
    // them, so a larger number is a damaged command and goes nowhere.
    if (channel_u >= static_cast<uint32_t>(kMaxChannels)) {
        d.log("PTZSVR : %s() : CH(%u) : channel out of range, command dropped\n", "eptz_handler", channel_u);
        return -4;
    }
    const int channel = static_cast<int>(channel_u);
    d.served_channel = channel;
    const int port = d.conf.port(channel);
    const uint32_t address = get_ptz_addr_from_conf(d, channel);
    if (port < 1) {
        d.log("PTZSVR : %s() : CH(%d) : PTZ port of this channel is not set : port(%d)\n", "eptz_handler",
              channel, port);
        return -1;
    }
    if (port < 2 || port > 8) {
        d.log("PTZSVR : %s() : CH(%d) : wrong port value(%d)\n", "eptz_handler", channel, port);
        return -3;
    }
    uint16_t model = d.conf.model_id(channel);
    if (!is_ptz_device(model)) {
        d.log("PTZSVR : %s() : device of port(%d) is not PTZ device : model_id(%d)\n", "eptz_handler", port,
              model);
        return -2;
    }

    StatusRecord status{};
    unsigned long request = req::vin_status;
    int fd = d.os.open("/dev/vin_devs", open_read);
    if (fd < 0) {
        fd = d.os.open("/dev/av_devs", open_read);
        request = req::av_status;
    }
    bool coax = false;
    int line = port;
    bool auto_resolved = false;
    if (fd > 0) {
        d.os.ioctl_ptr(fd, request, status.data());
        d.os.close(fd);
        if (port == 6) {
            const uint32_t format = detected_format(status, channel);
            d.log(
                "PTZSVR : %s() : CH(%d) : PTZ port of this channel is set to CoC AUTO : port(%d), dev(%d)\n",
                "eptz_handler", channel, 6, fd);
            d.log("\tformat is %xh\n", format);
            if (format == 3) {
                d.log("\tset to HDA\n");
                model = kModelHdaAuto;
            } else if (format == 4) {
                d.log("\tset to HIK-C\n");
                model = kModelHikcAuto;
            } else {
                d.log("\tset to C1080\n");
                model = kModelC1080Auto;
            }
            d.log("PTZSVR : %s() : port:%d, addr:%d, model_id:%x, is_coc %d\n", "eptz_handler", 6, address,
                  model, 1);
            set_serial_port(d, channel);
            d.current_channel = channel;
            coax = true;
            auto_resolved = true;
        }
    }
    if (!auto_resolved) {
        const int is_coc = (port == 5 || port == 6) ? 1 : 0;
        d.log("PTZSVR : %s() : port:%d, addr:%d, model_id:%x, is_coc %d\n", "eptz_handler", port, address,
              model, is_coc);
        set_serial_port(d, channel);
        d.current_channel = channel;
        if (port >= 5) coax = true;
    }
    if (coax) {
        switch (d.sv.coc_type) {
            case 2: {
                const int mfd = d.os.open("/dev/orv_poc", open_read);
                d.log("PTZSVR : pld_uart_mux for port %d, %d\n", port, mfd);
                switch_mux(d, channel, mfd, req::pld_uart_mux, false);
                break;
            }
            case 4: {
                const int mfd = d.os.open("/dev/orv_poc", open_read);
                d.log("PTZSVR : coc_by_pld_2/ucc_2 mux for port %d, %d\n", port, mfd);
                switch_mux(d, channel, mfd, req::pld_uart_mux, true);
                break;
            }
            case 5: {
                const int mfd = d.os.open("/dev/dio", open_read);
                d.log("PTZSVR : uccmux for port %d, %d\n", port, mfd);
                switch_mux(d, channel, mfd, req::ucc_mux, true);
                break;
            }
            default: break;
        }
        coax_line_switch(d, channel, port, status, 1);
        line = coax_port_number(d);
    }

    const uint16_t addr16 = static_cast<uint16_t>(address);
    const DriverEntry* drv = find_driver(model);
    if (drv == nullptr || drv->fn == nullptr) {
        d.log("PTZSVR : what model_id is this? %d\n", model);
    } else if (drv->line == LineArg::channel) {
        if (!same_command(d, channel, cmd)) drv->fn(d, channel, addr16, cmd);
    } else if (drv->line == LineArg::pelco_d && d.sv.coc_type == 3 && (port == 5 || port == 6)) {
        PTZAction_PelcoD_TVI(d, channel, addr16, cmd);
    } else {
        drv->fn(d, line, addr16, cmd);
    }

    if (coax) coax_line_switch(d, channel, port, status, 0);
    return 0;
}

int send_stop(Daemon& d, int channel) {
    uint8_t* m = d.stop_msg.data();
    wr16(m + off::msg_id, msg::stop);
    wr16(m + off::zero, 0);
    wr32(m + off::body_size, 7);
    wr16(m + off::channel, static_cast<uint16_t>(channel));
    return eptz_handler(d, static_cast<uint32_t>(channel), m);
}

int bypass(Daemon& d, uint8_t* cmd) {
    const Cmd c{cmd};
    const int channel = c.channel();
    if (channel >= kMaxChannels) return 0;  // refused by the main loop already
    const int port = d.conf.port(channel);
    const int count = c.action();
    d.served_channel = channel;
    d.log("PTZSVR : bypass : ch(%d), port(%d), len(%d)\n", channel, port, count);
    write_serial_block(d, port, cmd + off::bypass_data, count, 1000);
    return 0;
}

}  // namespace ptz
