#include "protocols/coax/coc_tx.h"

#include <algorithm>
#include <cstring>

#include "common/wire.h"
#include "core/daemon.h"

namespace ptz {

CocTxReq build_coc_tx_req(uint32_t channel, const uint8_t* frame, int len) {
    CocTxReq r{};
    const int n = std::clamp(len, 0, kCocMaxFrame);
    wr32(r.data(), channel);
    wr32(r.data() + 4, static_cast<uint32_t>(n));
    std::memcpy(r.data() + 8, frame, static_cast<size_t>(n));
    return r;
}

void coc_transmit(Daemon& d, int channel, const uint8_t* frame, int len) {
    CocTxReq r = build_coc_tx_req(static_cast<uint32_t>(channel), frame, len);
    const int fd = d.os.open("/dev/av_devs", open_read);
    d.os.ioctl_ptr(fd, req::coc_tx, r.data());
    d.os.close(fd);
}

}  // namespace ptz
