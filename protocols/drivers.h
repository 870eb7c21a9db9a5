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
