// HIK-C, control over the coax cable.
//
// Frames go to the capture driver (COC_IOC_TX), one device open per frame:
// 02 B5 00 code d0 02 d1 d2 d3 sum. Moves carry the tilt speed in d0 and the
// pan speed in d1, each twice the distance from the centre, at most 63.
// A move that points nowhere re-sends the last move code (kept per daemon,
// never reset): the cameras treat it as "keep going".
#include "protocols/coax/hikc.h"

#include <algorithm>
#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/coax/coc_tx.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"

namespace ptz {

namespace {

namespace code {
constexpr uint8_t up = 0x06, down = 0x07, right = 0x08, left = 0x09;
constexpr uint8_t left_up = 0x0A, left_down = 0x0B, right_up = 0x0C, right_down = 0x0D;
constexpr uint8_t iris_close = 0x0E, iris_open = 0x0F, focus_far = 0x10, focus_near = 0x11;
constexpr uint8_t zoom_wide = 0x12, zoom_tele = 0x13, stop = 0x14;
constexpr uint8_t set_preset = 0x15, clear_preset = 0x16, goto_preset = 0x17;
constexpr uint8_t run_pattern = 0x1A, scan = 0x55;
}  // namespace code

constexpr uint32_t kStopAfterActionUs = 30000;

void coc_send_hikc(Daemon& d, int channel, uint8_t c, uint8_t d0 = 0, uint8_t d1 = 0, uint8_t d2 = 0,
                   uint8_t d3 = 0) {
    const HikcFrame f = hikc_frame(c, d0, d1, d2, d3);
    coc_transmit(d, channel, f.data(), static_cast<int>(f.size()));
}

uint8_t hikc_speed(int v) { return static_cast<uint8_t>(std::min((std::abs(v - kCentre) * 2) % 256, 63)); }

uint8_t move_code(uint8_t last, uint16_t action, int x, int y) {
    switch (action) {
        case act::pan_tilt:
            switch (classify_xy(x, y)) {
                case Dir::left_up: return code::left_up;
                case Dir::left_down: return code::left_down;
                case Dir::right_up: return code::right_up;
                case Dir::right_down: return code::right_down;
                case Dir::left: return code::left;
                case Dir::right: return code::right;
                case Dir::down: return code::down;
                case Dir::up: return code::up;
                case Dir::none: return last;
            }
            return last;
        case act::zoom: return x < 65 ? code::zoom_wide : code::zoom_tele;
        case act::focus: return x < 65 ? code::focus_near : code::focus_far;
        case act::iris: return x < 65 ? code::iris_close : code::iris_open;
        default: return last;
    }
}

void handle_aux(Daemon& d, int channel, Cmd c) {
    const uint16_t aux = c.arg16();
    d.log("HIK-C AUX %d %d\n", aux, c.action());
    switch (aux) {
        case 551:
            d.log("HIK-C run pattern\n");
            coc_send_hikc(d, channel, code::run_pattern);
            break;
        case 595:
            d.log("HIK-C menu\n");
            coc_send_hikc(d, channel, code::goto_preset, 0x5F);
            break;
        case 599:
            d.log("HIK-C run linescan\n");
            coc_send_hikc(d, channel, code::scan);
            break;
        case 711:
        case 712:
        case 713:
        case 714:
            d.log("HIK-C run patrol\n");
            coc_send_hikc(d, channel, code::goto_preset, static_cast<uint8_t>(aux + 92));
            break;
        case 730:
            d.log("HIK-C enter\n");
            if (d.sv.support_ravel_oem)
                coc_send_hikc(d, channel, code::goto_preset, 0x5F);
            else
                coc_send_hikc(d, channel, code::iris_open);
            break;
        case 731:
            d.log("HIK-C enter\n");
            coc_send_hikc(d, channel, code::iris_close);
            break;
        case 805:
            d.log("HIK-C left limit\n");
            coc_send_hikc(d, channel, code::scan, 0x01, 0x10);
            break;
        case 806:
            d.log("HIK-C right limit\n");
            coc_send_hikc(d, channel, code::scan, 0x01, 0x01);
            break;
        default:
            // Only logged: these cameras have no preset fallback.
            d.log("HIK-C unkown aux command sent to preset, %d\n", aux);
            break;
    }
}

}  // namespace

void PTZAction_HIKC(Daemon& d, int channel, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    d.log("HIK-C msg_id[%x],action[%x],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr, c.x(), c.y());
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: {
            const uint8_t mc = move_code(d.drv.hikc_last_code, c.action(), c.x(), c.y());
            d.drv.hikc_last_code = mc;
            const uint8_t pan = hikc_speed(c.x()), tilt = hikc_speed(c.y());
            d.log("PTZSVR : HIK-C %02xh, %d, %d\n", mc, pan, tilt);
            coc_send_hikc(d, channel, mc, tilt, pan);
            if (c.stop_after_action()) {
                d.log("\t stop after action, wait 30ms\n");
                d.os.usleep(kStopAfterActionUs);
                coc_send_hikc(d, channel, code::stop);
            }
            break;
        }
        case msg::stop:
            d.log("PTZSVR : HIK-C stop\n");
            coc_send_hikc(d, channel, code::stop);
            break;
        case msg::goto_preset:
            d.log("HIK-C : goto preset %d\n", c.arg16());
            coc_send_hikc(d, channel, code::goto_preset, static_cast<uint8_t>(c.arg16()));
            break;
        case msg::set_preset:
            d.log("HIK-C : set preset %d\n", c.action());
            coc_send_hikc(d, channel, code::set_preset, static_cast<uint8_t>(c.action()));
            break;
        case msg::clear_preset:
            d.log("HIK-C : clear preset %d\n", c.action());
            coc_send_hikc(d, channel, code::clear_preset, static_cast<uint8_t>(c.action()));
            break;
        case msg::aux:
        case msg::aux2: handle_aux(d, channel, c); break;
        default: break;
    }
}

}  // namespace ptz
