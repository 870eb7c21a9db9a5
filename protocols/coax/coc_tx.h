// The coax transmit request: whole frames handed to the capture driver, which
// puts them on a channel's video cable.
#pragma once

#include <array>
#include <cstdint>

#include "os/requests.h"

namespace ptz {
class Daemon;

constexpr int kCocMaxFrame = 10;
using CocTxReq = std::array<uint8_t, kCocTxReqSize>;

// coc_tx_req: u32 channel at 0, u32 valid length at 4, up to 10 frame bytes
// from 8.
CocTxReq build_coc_tx_req(uint32_t channel, const uint8_t* frame, int len);
// Opens "/dev/av_devs", issues COC_IOC_TX once and closes it again.
void coc_transmit(Daemon& d, int channel, const uint8_t* frame, int len);
}  // namespace ptz
