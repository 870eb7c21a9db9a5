// Entry points of the protocol drivers. A driver takes the line (a port of
// the port table, or the video channel for the coax drivers), the camera
// address and the command buffer, which it may rewrite.
#pragma once

#include <cstdint>

namespace ptz {
class Daemon;

using DriverFn = void (*)(Daemon& d, int line, uint16_t addr, uint8_t* cmd);

void PTZAction_PelcoD(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_PelcoD_TVI(Daemon& d, int channel, uint16_t addr, uint8_t* cmd);
void PTZAction_PelcoP(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Panasonic(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_SamsungE(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_AutoDome(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_AutoDome_Fixed(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_VCC4(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Vicon(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_HIKC(Daemon& d, int channel, uint16_t addr, uint8_t* cmd);

// HDA over coax, the C1080B family (with camera firmware upgrade), and the
// PTC107 / PTC203 controllers, which no model_id selects yet.
void PTZAction_HDA(Daemon& d, int channel, uint16_t addr, uint8_t* cmd);
void PTZAction_C1080B(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTC107_PTZ(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTC203_PTZ(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
// Devices that answer or repeat.
void PTZAction_EZ(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_F2E(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_ORX1000(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_HUNT(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_INOS(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_INOSV900(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_SMARTFARM(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
// Models whose camera protocol has no encoder yet: they log what they
// received and put nothing on the line.
void PTZAction_Ravel(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Model501(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_CRR1600(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_DMax(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Model803(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Model805(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Model1100(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_RVision(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Model1902(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_Tokina(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
// C1080PT family (position reads and zoom boxes).
void PTZAction_C1080PT(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
// WONWOO: one driver with a lens mode; the four models' entries fix it.
void PTZAction_C1080PT_WONWOO(Daemon& d, int port, uint16_t addr, uint8_t* cmd, int mode);
void C1080PT_WONWOO_aux(Daemon& d, int port, uint16_t addr, uint8_t* cmd, int mode);
void PTZAction_WONWOO_mode0(Daemon& d, int port, uint16_t addr, uint8_t* cmd);  // 773, Z10B
void PTZAction_WONWOO_mode1(Daemon& d, int port, uint16_t addr, uint8_t* cmd);  // 772, Z20B
void PTZAction_WONWOO_mode2(Daemon& d, int port, uint16_t addr, uint8_t* cmd);  // 771, Z20B nowrap
void PTZAction_WONWOO_mode3(Daemon& d, int port, uint16_t addr, uint8_t* cmd);  // 774, IR Z30B
// SPD and ScanDome families
void PTZAction_SPD(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_SPD_Variant(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_ScanDome(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_ScanDome2(Daemon& d, int port, uint16_t addr, uint8_t* cmd);

// SJ, SRX-100B, ADI and the small RS-485 protocols
void PTZAction_SJ(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_SRX100B(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_ADI(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_STX(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_ThreeByte(Daemon& d, int port, uint16_t addr, uint8_t* cmd);
void PTZAction_LetterCommand(Daemon& d, int port, uint16_t addr, uint8_t* cmd);

}  // namespace ptz
