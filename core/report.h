// The position report (message 0x4014) that carries positions, sensor values
// and switch states back to the recorder core through "/dev/con2rec".
#pragma once

#include <array>
#include <cstdint>

#include "os/requests.h"

namespace ptz {
class Daemon;

using ReportMsg = std::array<uint8_t, kReportMsgSize>;

// The recorder only routes answers to tags 0, 1 and 1000..60999; any other
// requester is reported as -1.
constexpr int32_t report_tag(int32_t requester) {
    return (requester == 0 || requester == 1 || (requester >= 1000 && requester <= 60999)) ? requester : -1;
}

static_assert(report_tag(0) == 0 && report_tag(1) == 1 && report_tag(2) == -1 && report_tag(999) == -1 &&
              report_tag(1000) == 1000 && report_tag(60999) == 60999 && report_tag(61000) == -1 &&
              report_tag(-5) == -1);

ReportMsg build_report(int32_t requester, uint32_t channel, uint32_t status, uint32_t v0, uint32_t v1,
                       uint32_t v2);
// Returns the result of the ioctl that hands the report to the recorder.
int send_position_report(Daemon& d, int32_t requester, uint32_t channel, uint32_t status, uint32_t v0,
                         uint32_t v1, uint32_t v2);
}  // namespace ptz
