// One fuzz input, run through the whole datagram path of a fresh daemon on
// the simulated board. Shared by the libFuzzer target and the regression
// test that replays every input the fuzzer ever found a fault with.
//
// Input layout (every field is one byte unless said otherwise; a field past
// the end of the input reads as 0):
//
//   board     coc_type, model (its top bit: the ravel OEM edition), rs485_type,
//             video_ch_cnt, video_receiver_type,
//             detected formats of channels 0..3 (4 bytes), channel count
//   channel   (repeated `channel count` % 5 times) channel, port, model
//             selector (below 0xF0: a row of the dispatch table, else a u16
//             model follows), baud, stop, data bits, parity, address (u16),
//             receiver type, preset entries 0 and 1 (u16 each)
//   replies   count % 4, then per reply: serial device, delay (u16, 10 us
//             units), length % 24, bytes. Each is sent by the camera after
//             the next write to that device.
//   records   until the input ends, at most kMaxRecords:
//             kind % 4 == 0 or 1: a datagram; length byte (255: u16 follows),
//                                 then the bytes
//             kind % 4 == 2: a channel (as above) changed in the image, the
//                            image cut short when the next byte is odd, then
//                            SIGUSR1
//             kind % 4 == 3: idle passes of the main loop (count byte % 8 + 1),
//                            with SIGUSR2 first when kind & 4
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <utility>

#include "common/wire.h"
#include "core/command.h"
#include "core/config.h"
#include "core/daemon.h"
#include "os/sim_board.h"

namespace ptz::fuzz {

// Every model_id of the dispatch table, so that most inputs reach a driver.
inline constexpr uint16_t kModels[] = {
    0x100,  0x200,  0x201,  0x300,  0x301,  0x302,  0x303,  0x304,  0x305,  0x306,  0x500,  0x501,
    0x600,  0x800,  0x801,  0x802,  0x803,  0x804,  0x805,  0x808,  0x809,  0x900,  0x901,  0x1100,
    0x1200, 0x1300, 0x1400, 0x1500, 0x1600, 0x1601, 0x1602, 0x1800, 0x1900, 0x1901, 0x1902, 0x1903,
    0x1904, 0x2000, 0x2200, 0x2201, 0x2202, 0x2300, 0x2301, 0x2302, 0x2303,
};
inline constexpr int kBoardModels[] = {0, 47, 393, 395, 523, 527};
inline constexpr const char* kSerialDevices[] = {"/dev/ttyS0", "/dev/ttyS1", "/dev/ttyS2", "/dev/ttyS3",
                                                 "/dev/ttyUSB0"};
inline constexpr size_t kMaxRecords = 16;
inline constexpr int kSigUsr1 = 10, kSigUsr2 = 12;

struct Reader {
    const uint8_t* p;
    size_t n;
    size_t at = 0;
    uint8_t u8() { return at < n ? p[at++] : 0; }
    uint16_t u16() { return static_cast<uint16_t>(u8() | (u8() << 8)); }
    bool done() const { return at >= n; }
    Bytes bytes(size_t len) {
        const size_t k = len < n - at ? len : n - at;
        at += k;
        return Bytes(p + at - k, p + at);
    }
};

class Run {
public:
    SimBoard board;
    std::unique_ptr<Daemon> d;
    size_t datagrams = 0;

    // `record` keeps the board's call record (for tests); the fuzzer runs
    // without it.
    explicit Run(bool record = false) {
        board.recording = record;
        board.config.assign(kMaxChannels * kChannelRecordSize, 0);
        wr32(board.config.data(), kConfValid);
        for (const char* tty : kSerialDevices) board.add_device(tty);
        board.on_write = [this](SimBoard& b, const std::string& dev, const Bytes&) {
            auto it = replies_.find(dev);
            if (it == replies_.end() || it->second.empty()) return;
            b.queue_reply(dev, b.now() + it->second.front().first, it->second.front().second);
            it->second.pop_front();
        };
    }

    void execute(const uint8_t* data, size_t size) {
        Reader in{data, size};
        sysvar("coc_type", in.u8() % 10);
        const uint8_t model = in.u8();
        sysvar("model", kBoardModels[model % std::size(kBoardModels)]);
        board.set_sysvar("/proc/orv_con_vars/support_ravel_oem", model & 0x80 ? "1" : "0");
        sysvar("rs485_type", in.u8() % 26);
        sysvar("video_ch_cnt", in.u8() % 65);
        sysvar("video_receiver_type", in.u8() % 24);
        for (size_t ch = 0; ch < 4; ++ch) board.formats[ch] = in.u8() % 17;
        for (int n = in.u8() % 5; n > 0; --n) channel(in);
        for (int n = in.u8() % 4; n > 0; --n) {
            const char* dev = kSerialDevices[in.u8() % std::size(kSerialDevices)];
            const int64_t delay = int64_t{in.u16()} * 10;
            replies_[dev].emplace_back(delay, in.bytes(in.u8() % 24));
        }

        d = std::make_unique<Daemon>(board);
        int status = 0;
        if (!d->startup(status)) return;

        for (size_t records = 0; records < kMaxRecords && !in.done(); ++records) {
            const uint8_t kind = in.u8();
            switch (kind % 4) {
                case 0:
                case 1: {
                    size_t len = in.u8();
                    if (len == 255) len = in.u16();
                    board.queue_datagram(board.now(), in.bytes(len));
                    ++datagrams;
                    while (board.datagrams_pending()) d->run_once();
                    break;
                }
                case 2:
                    channel(in);
                    if (const uint8_t cut = in.u8(); cut & 1) board.config.resize(size_t{cut} * 1024);
                    board.queue_signal(board.now(), kSigUsr1);
                    d->run_once();
                    d->run_once();
                    break;
                case 3:
                    if (kind & 4) board.queue_signal(board.now(), kSigUsr2);
                    for (int n = in.u8() % 8 + 1; n > 0; --n) d->run_once();
                    break;
            }
        }
    }

private:
    void sysvar(const std::string& name, int v) {
        board.set_sysvar("/proc/orv_sys_vars/" + name, std::to_string(v));
    }

    // One channel record of the image, as the recorder core would publish it.
    void channel(Reader& in) {
        const size_t ch = in.u8() % kMaxChannels;
        const uint8_t port = in.u8();
        const uint8_t sel = in.u8();
        const uint16_t model = sel < 0xF0 ? kModels[sel % std::size(kModels)] : in.u16();
        if (board.config.size() < kMaxChannels * kChannelRecordSize)
            board.config.resize(kMaxChannels * kChannelRecordSize, 0);
        uint8_t* r = board.config.data() + kChannelRecordSize * ch;
        r[cfg::port] = port;
        r[cfg::baud] = in.u8();
        r[cfg::stop_bits] = in.u8();
        r[cfg::data_bits] = in.u8();
        r[cfg::parity] = in.u8();
        wr16(r + cfg::address, in.u16());
        wr16(r + cfg::model_id, model);
        r[cfg::receiver_type] = in.u8();
        wr16(r + cfg::preset_table, in.u16());
        wr16(r + cfg::preset_table + cfg::preset_stride, in.u16());
    }

    std::map<std::string, std::deque<std::pair<int64_t, Bytes>>> replies_;  // delay in us, bytes
};

}  // namespace ptz::fuzz
