// Device request numbers and the argument records whose layout the
// recorder's drivers fix. Backends use the same constants to interpret calls.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ptz::req {

// "/dev/con2rec"
constexpr unsigned long conf_load = 102;  // 0x66, argument: ConfLoadArg
constexpr unsigned long report = 6;       // argument: ReportArg
// "/dev/vin_devs" and "/dev/av_devs": 128-byte video-input status record.
constexpr unsigned long vin_status = 0x80807611;
constexpr unsigned long av_status = 0x80806111;
// "/dev/av_devs": coax transmit (18-byte coc_tx_req) and coax line switches.
constexpr unsigned long coc_tx = 0x40126120;
constexpr unsigned long coc_line_on = 0x8004610A;
constexpr unsigned long coc_line_off = 0x8004610B;
constexpr unsigned long coc_line_on_p8 = 0x8004611B;
constexpr unsigned long coc_line_off_p8 = 0x8004611C;
// "/dev/orv_poc" and "/dev/dio": multiplexers and RS-485 transmit enable.
constexpr unsigned long pld_uart_mux = 0x80045702;
constexpr unsigned long ucc_mux = 0x1002;
constexpr unsigned long tx_enable_p2 = 0x3000;
constexpr unsigned long tx_disable_p2 = 0x3001;
constexpr unsigned long tx_enable_p3 = 0x3002;
constexpr unsigned long tx_disable_p3 = 0x3003;
// "/dev/misc/vdrv0": one 128-byte log record.
constexpr unsigned long log_record = 0xFFFE;
// "/dev/wdt"
constexpr unsigned long watchdog = 0xFFF0;

}  // namespace ptz::req

namespace ptz {

constexpr size_t kStatusRecordSize = 128;
constexpr size_t kCocTxReqSize = 18;
constexpr size_t kLogRecordSize = 128;
constexpr size_t kReportMsgSize = 32;  // 8-byte header + 24-byte body

// Argument of the configuration load: the addresses of the two buffers the
// recorder core fills. Pointer-sized fields give the recorder's 32-bit layout
// on the board.
struct ConfLoadArg {
    uint8_t* buf_a;
    uint8_t* buf_b;
};

// Argument of the position report: the message length and its address.
struct ReportArg {
    uint32_t len;
    uint8_t* msg;
};

#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ == 4
static_assert(sizeof(ConfLoadArg) == 8 && offsetof(ConfLoadArg, buf_b) == 4,
              "configuration load record must match the recorder's driver");
static_assert(sizeof(ReportArg) == 8 && offsetof(ReportArg, msg) == 4,
              "position report record must match the recorder's driver");
#endif

// Size of the record an ioctl passed by pointer points to, as the recorder's
// drivers read or fill it; 0 when the record has no fixed byte image.
constexpr size_t record_size(unsigned long request) {
    switch (request) {
        case req::vin_status:
        case req::av_status: return kStatusRecordSize;
        case req::coc_tx: return kCocTxReqSize;
        case req::coc_line_off:
        case req::coc_line_off_p8: return 4;
        case req::log_record: return kLogRecordSize;
        default: return 0;
    }
}

}  // namespace ptz
