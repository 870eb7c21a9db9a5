// Samsung-E (the SCC641 family) on RS-485.
//
// Line: 9-byte frames A0 FE addr type ... sum, where sum is the complement
// of bytes 1..7 added up, at least 10 ms apart. Type 1 carries moves, zoom
// and focus (command word, pan speed, tilt speed); type 3 carries presets and
// menu keys (command byte, data byte, FF FF).
//
// No command state: a move that points nowhere is a stop. Kept on purpose:
// the checksum is the complement of the sum, not the sum; the dead band is
// 48..80, wider than the other protocols' 62..66, and like theirs it only
// decides whether a move is diagonal (inside it the stronger axis still
// moves); zoom and focus carry no speed; and every aux code without a
// meaning of its own goes out as type-3 command (code + 13) mod 256 with
// data FF, so no aux code is unknown.
#include "protocols/rs485/samsung_e.h"

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

using namespace samsunge;

constexpr DeadBand kSamsungDeadBand{48, 80};
constexpr DirBits kDirBits{left, right, up, down};

long send_control(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint8_t d1 = 0, uint8_t d2 = 0) {
    const SamsungEFrame f = samsunge_control(addr, cmd, d1, d2);
    return write_serial_block(d, port, f.data(), static_cast<int>(f.size()), min_wait_us);
}

long send_preset_menu(Daemon& d, int port, uint8_t addr, uint8_t cmd, uint8_t data) {
    const SamsungEFrame f = samsunge_preset_menu(addr, cmd, data);
    return write_serial_block(d, port, f.data(), static_cast<int>(f.size()), min_wait_us);
}

// Zoom and focus: one key per side of the centre, none at the centre.
constexpr uint16_t lens_key(int x, uint16_t above, uint16_t below) {
    return x > kCentre ? above : x < kCentre ? below : 0;
}

constexpr Move action_move(uint16_t action, int x, int y) {
    switch (action) {
        case act::pan_tilt: return move_of(classify_xy(x, y, kSamsungDeadBand), x, y, kDirBits);
        case act::zoom: return {lens_key(x, zoom_tele, zoom_wide), 0, 0};
        case act::focus: return {lens_key(x, focus_high, focus_low), 0, 0};
        default: return {0, 0, 0};
    }
}
static_assert(action_move(act::pan_tilt, 47, 30).word == (left | down));
static_assert(action_move(act::pan_tilt, 48, 30).word == down, "48 is inside the dead band");

void handle_aux(Daemon& d, int port, uint8_t addr, Cmd c) {
    const uint16_t code = c.arg16();
    switch (code) {
        case 730: send_preset_menu(d, port, addr, menu_enter, 0xFF); break;
        case 731:
        case 740: send_preset_menu(d, port, addr, menu_key, 0); break;
        case 595: send_preset_menu(d, port, addr, menu_key, c.action() == act::aux_on ? 1 : 0); break;
        default: send_preset_menu(d, port, addr, static_cast<uint8_t>(code + 13), 0xFF); break;
    }
}

}  // namespace

void PTZAction_SamsungE(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    d.log("scc641_ptz msg_id[%x],action[%d],addr[%d],x[%d],y[%d]", c.msg_id(), c.action(), addr, c.x(),
          c.y());
    d.log("channel[%d], body_size[%d]", c.channel(), static_cast<int>(c.body_size()));
    d.log("stop[%d]\n", c.stop_after_action());
    switch (c.msg_id()) {
        case msg::goto_preset: send_preset_menu(d, port, addr, goto_preset, c.x()); break;
        case msg::set_preset:
            send_preset_menu(d, port, addr, store_preset, static_cast<uint8_t>(c.action()));
            break;
        case msg::stop: send_control(d, port, addr, 0); break;
        case msg::move:
        case msg::move_cont: {
            const Move m = action_move(c.action(), c.x(), c.y());
            d.log("Samsung-E : %04x, %02x, %02x\n", m.word, m.pan, m.tilt);
            send_control(d, port, addr, m.word, m.pan, m.tilt);
            if (c.stop_after_action()) {
                d.log("\tstop after action\n");
                send_control(d, port, addr, 0);
            }
            break;
        }
        case msg::aux:
        case msg::aux2: handle_aux(d, port, addr, c); break;
        default: break;  // clear preset included: nothing goes out for it
    }
}

}  // namespace ptz
