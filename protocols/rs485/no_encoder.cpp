// Camera models the recorder lets a channel select but whose line protocol
// this server does not encode yet: the ravel menu protocol, CRR1600, DMax,
// RVision, Tokina and five models known only by their number.
//
// Each has its own entry so that the log names the model that was asked to
// act. None of them writes anything: an RS-485 line is shared by several
// cameras, and bytes guessed for one protocol could be obeyed by a camera of
// another on the same bus. The command is logged and dropped.
#include <cstdint>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"

namespace ptz {

namespace {

void log_and_drop(Daemon& d, const char* name, int port, uint16_t addr, const uint8_t* cmd) {
    const Cmd c{const_cast<uint8_t*>(cmd)};
    d.log("%s : no encoder yet, nothing sent: port(%d) msg_id[%x],action[%x],addr[%d],x[%d],y[%d]\n", name,
          port, c.msg_id(), c.action(), addr, c.x(), c.y());
}

}  // namespace

void PTZAction_Ravel(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "RAVEL", port, addr, cmd);
}
void PTZAction_Model501(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "MODEL_0x501", port, addr, cmd);
}
void PTZAction_CRR1600(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "CRR1600", port, addr, cmd);
}
void PTZAction_DMax(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "DMAX", port, addr, cmd);
}
void PTZAction_Model803(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "MODEL_0x803", port, addr, cmd);
}
void PTZAction_Model805(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "MODEL_0x805", port, addr, cmd);
}
void PTZAction_Model1100(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "MODEL_0x1100", port, addr, cmd);
}
void PTZAction_RVision(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "RVISION", port, addr, cmd);
}
void PTZAction_Model1902(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "MODEL_0x1902", port, addr, cmd);
}
void PTZAction_Tokina(Daemon& d, int port, uint16_t addr, uint8_t* cmd) {
    log_and_drop(d, "TOKINA", port, addr, cmd);
}

}  // namespace ptz
