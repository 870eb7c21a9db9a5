#include "core/report.h"

#include "common/wire.h"
#include "core/command.h"
#include "core/daemon.h"

namespace ptz {

ReportMsg build_report(int32_t requester, uint32_t channel, uint32_t status, uint32_t v0, uint32_t v1,
                       uint32_t v2) {
    ReportMsg m{};
    wr16(m.data(), msg::position_report);
    wr32(m.data() + 4, 24);
    const uint32_t body[6] = {static_cast<uint32_t>(report_tag(requester)), channel, status, v0, v1, v2};
    for (int i = 0; i < 6; ++i) wr32(m.data() + 8 + 4 * i, body[i]);
    return m;
}

int send_position_report(Daemon& d, int32_t requester, uint32_t channel, uint32_t status, uint32_t v0,
                         uint32_t v1, uint32_t v2) {
    ReportMsg m = build_report(requester, channel, status, v0, v1, v2);
    ReportArg arg{static_cast<uint32_t>(m.size()), m.data()};
    return d.os.ioctl_ptr(d.con2rec_fd, req::report, &arg);
}

}  // namespace ptz
