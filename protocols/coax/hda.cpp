// HDA, control over the coax cable.
//
// Four bytes b0 b1 b2 b3 handed to the capture driver (COC_IOC_TX, length 4)
// with no header and no checksum. b1 carries the direction bits (right 0x02,
// left 0x04, up 0x08, down 0x10; a diagonal is their sum) and the zoom and
// focus-far keys, b0 the focus-near and iris keys; b2 and b3 are the pan and
// tilt speeds, four times the distance from the centre, wrapping at 256, so
// x = 0 is speed 0.
//
// Kept on purpose: the move log line carries the literal text "0x02x" where
// b1 was meant, so it prints b0, the text, b1 and the pan speed; the ravel
// edition's cameras take no speeds and the tosk edition's a fixed pan speed
// of 0x32; the menu key is two frames, the second being the first with b0
// forced to 0x02 (menu, then enter); clear preset and unknown aux values
// send nothing.
#include <array>
#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/coax/coc_tx.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"

namespace ptz {

namespace {

// b0 b1 b2 b3, sent as they are: no header, no checksum, no address.
using HdaFrame = std::array<uint8_t, 4>;

constexpr DirBits kHdaDirs{0x04, 0x02, 0x08, 0x10};
constexpr uint8_t kZoomWide = 0x40, kZoomTele = 0x20, kFocusFar = 0x80;
constexpr uint8_t kFocusNear = 0x01, kIrisOpen = 0x02, kIrisClose = 0x04;
constexpr uint8_t kGotoPreset = 0x07, kStorePreset = 0x03;
constexpr uint8_t kEnter = 0x02, kEsc = 0x04, kMenuPreset = 0x5F;
constexpr uint8_t kToskPanSpeed = 0x32;
constexpr uint32_t kStopAfterActionUs = 30000;

void coc_send_hda(Daemon& d, int channel, const HdaFrame& f) {
    coc_transmit(d, channel, f.data(), static_cast<int>(f.size()));
}

uint8_t hda_speed(int v) { return static_cast<uint8_t>((std::abs(v - kCentre) * 4) % 256); }

// b0 and b1 of a move.
HdaFrame move_keys(uint16_t action, int x, int y) {
    HdaFrame f{};
    switch (action) {
        case act::pan_tilt:
            f[1] = static_cast<uint8_t>(move_of(classify_xy(x, y), x, y, kHdaDirs).word);
            break;
        case act::zoom: f[1] = x < 65 ? kZoomWide : kZoomTele; break;
        case act::focus:
            if (x < 65)
                f[0] = kFocusNear;
            else
                f[1] = kFocusFar;
            break;
        case act::iris: f[0] = x < 65 ? kIrisClose : kIrisOpen; break;
        default: break;
    }
    return f;
}

void handle_move(Daemon& d, int channel, Cmd c) {
    HdaFrame f = move_keys(c.action(), c.x(), c.y());
    const uint8_t pan = hda_speed(c.x()), tilt = hda_speed(c.y());
    // The format prints b0, its literal "0x02x", b1 and the pan speed; the
    // tilt speed has no conversion left and is not passed.
    d.log("PTZSVR : HDA %02x, 0x02x, %d, %d\n", f[0], f[1], pan);
    if (!d.sv.support_ravel_oem) {
        f[3] = tilt;
        f[2] = d.sv.support_tosk_oem ? kToskPanSpeed : pan;
    }
    coc_send_hda(d, channel, f);
    if (c.stop_after_action()) {
        d.log("\t stop after action, wait 30ms\n");
        d.os.usleep(kStopAfterActionUs);
        coc_send_hda(d, channel, HdaFrame{});
    }
}

void handle_aux(Daemon& d, int channel, Cmd c) {
    const uint16_t aux = c.arg16();
    d.log("HDA AUX %d %d\n", aux, c.action());
    switch (aux) {
        case 730:
            d.log("HDA enter\n");
            coc_send_hda(d, channel, {kEnter, 0, 0, 0});
            break;
        case 731:
            d.log("HDA esc\n");
            coc_send_hda(d, channel, {kEsc, 0, 0, 0});
            break;
        case 595: {
            d.log("HDA menu\n");
            HdaFrame f = d.sv.support_ravel_oem ? HdaFrame{kEnter, 0, 0, 0}
                                                : HdaFrame{0, kStorePreset, 0, kMenuPreset};
            coc_send_hda(d, channel, f);
            d.log("HDA enter\n");
            f[0] = kEnter;
            coc_send_hda(d, channel, f);
            break;
        }
        default: d.log("HDA unkown aux command sent to preset, %d\n", aux); break;
    }
}

}  // namespace

void PTZAction_HDA(Daemon& d, int channel, uint16_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    // is_osd_cmd has no conversion in this line and is not passed.
    d.log("HDA msg_id[%x],action[%x],addr[%d],x[%d],y[%d], is_osd_cmd", c.msg_id(), c.action(), addr, c.x(),
          c.y());
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: handle_move(d, channel, c); break;
        case msg::stop:
            d.log("PTZSVR : HDA stop\n");
            coc_send_hda(d, channel, HdaFrame{});
            break;
        case msg::goto_preset:
            d.log("ptzsvr : HDA goto preset %d\n", c.arg16());
            coc_send_hda(d, channel, {0, kGotoPreset, 0, static_cast<uint8_t>(c.arg16())});
            break;
        case msg::set_preset:
            d.log("ptzsvr : HDA save preset %d\n", c.action());
            coc_send_hda(d, channel, {0, kStorePreset, 0, static_cast<uint8_t>(c.action())});
            break;
        case msg::aux:
        case msg::aux2: handle_aux(d, channel, c); break;
        default: break;  // clear preset included: these cameras have no such key
    }
}

}  // namespace ptz
