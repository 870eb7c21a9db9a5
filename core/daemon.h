// The daemon object: all of the server's process-wide state lives here, one
// copy per instance, so that every test starts from a fresh daemon.
#pragma once

#include <array>
#include <cstdint>

#include "common/log.h"
#include "core/command.h"
#include "core/config.h"
#include "os/os.h"
#include "protocols/driver_state.h"

namespace ptz {

constexpr int kPortTableSize = 16;  // ports 1..13 are meaningful
constexpr int kTdmEntries = 8;
constexpr size_t kRecvBufferSize = 128;

struct PortEntry {
    int fd = -1;
    int baud = -1;
    int data_bits = -1;
    int parity = -1;
    int stop_bits = -1;
};

struct TdmEntry {
    int target = 0;  // channel whose receiver carries the group
    int count = 0;   // 0: unused
    int first = 0;
    int last = 0;
};

using StatusRecord = std::array<uint8_t, kStatusRecordSize>;

class Daemon final : public SignalSink {
public:
    explicit Daemon(Os& os);
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // Start-up up to the main loop. False when the process must exit with
    // `exit_status`.
    bool startup(int& exit_status);
    // One pass of the main loop.
    void run_once();
    [[noreturn]] void run();

    // Handles one received datagram of `len` bytes already in `rx`.
    void handle_datagram(long len);

    void on_signal(int sig) override;
    void repeat_step();
    bool lookup_preset(int channel, uint32_t entry, uint16_t& out);

    int log(const char* fmt, ...) PTZ_PRINTF(2, 3);

    Os& os;
    Logger logger;
    SysVars sv;
    ConfigImage conf;
    bool conf_loaded = false;

    int con2rec_fd = -1;
    int sock_fd = -1;

    // Routing.
    std::array<PortEntry, kPortTableSize> ports{};
    std::array<TdmEntry, kTdmEntries> tdm{};
    int tdm_count = 0;
    int current_channel = 0;
    // The channel whose command is being served: a driver's or a bypass's.
    // A port that has had no settings applied since it was opened is timed
    // at this channel's configured rate.
    int served_channel = 0;
    std::array<int, kMaxChannels> face_detect_enabled{};

    // Dispatch.
    std::array<std::array<uint8_t, 16>, kMaxChannels> last_cmd{};
    std::array<uint8_t, kMinCommandBuffer> stop_msg{};

    // Main loop.
    std::array<int, kMaxChannels> azimuth{};
    volatile int update_conf = 0;
    volatile int stop_coc_upgrade = 0;
    int repeat_count = 0;
    int repeat_in_progress = 0;
    TimeVal last_send{0, 0};
    std::array<uint8_t, kMinCommandBuffer> stored_cmd{};

    // Reply reception.
    std::array<uint8_t, kRecvBufferSize> recv_buf{};

    DriverStates drv;

    // The receive buffer, rewritten in place before dispatch.
    std::array<uint8_t, kMaxDatagram> rx{};
};

}  // namespace ptz
