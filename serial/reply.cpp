#include "serial/reply.h"

#include <algorithm>
#include <cstring>

#include "core/daemon.h"
#include "serial/serial.h"

namespace ptz {

namespace {
constexpr uint32_t kPollUs = 1000;
constexpr int kBuf = static_cast<int>(kRecvBufferSize);

// The receivers log through the common library's filtered log.
#define TRACE(d, ...) (d).logger.printx_filtered((d).logger.lib_common(), 1, __VA_ARGS__)

// Reads up to `want` bytes into the receive buffer at `fill`. Bytes that
// would not fit are read and dropped: a line that keeps sending still counts
// as sending, but never writes past the buffer. Returns the count read or
// kNothingRead; `stored` gets what was kept.
int read_into(Daemon& d, int port, int fill, int want, int& stored) {
    stored = 0;
    if (fill < kBuf) {
        const int room = std::min(want, kBuf - fill);
        const int r = port_read(d, port, d.recv_buf.data() + fill, room);
        if (r != kNothingRead) stored = r;
        return r;
    }
    uint8_t sink[2 * kBuf];
    return port_read(d, port, sink, std::min(want, 2 * kBuf));
}

void clean_line(Daemon& d, int port, int len) {
    uint8_t sink[2 * kBuf];
    if (port_read(d, port, sink, std::min(2 * len, 2 * kBuf)) != kNothingRead)
        TRACE(d, "\trecv_command clean garbage\n");
    d.recv_buf.fill(0);
}

int hunt_and_collect(Daemon& d, int port, uint8_t start, int n, uint8_t* out, const char* failure) {
    uint8_t b = 0;
    bool found = false;
    for (int attempt = 0; attempt < 20 && !found; ++attempt) {
        if (port_read(d, port, &b, 1) == kNothingRead) {
            d.os.usleep(kPollUs);
        } else if (b == start) {
            found = true;
        } else {
            TRACE(d, "[%02x]", b);
        }
    }
    if (!found) {
        TRACE(d, "%s", failure);
        return -1;
    }
    int stored = 0;
    for (int attempt = 0; attempt < 20; ++attempt) {
        if (port_read(d, port, &b, 1) == kNothingRead) {
            d.os.usleep(kPollUs);
            continue;
        }
        out[stored++] = b;
        if (stored == n) return n;
    }
    TRACE(d, "%s", failure);
    return -1;
}
}  // namespace

int recv_command(Daemon& d, int port, uint8_t* out, uint8_t start, uint8_t type, int len, int32_t limit_us) {
    // Frames longer than the receive buffer cannot be collected.
    if (len < 1 || len > kBuf) return 0;
    const TimeVal t0 = d.os.gettimeofday();
    uint8_t* buf = d.recv_buf.data();
    int fill = 0;
    for (;;) {
        const TimeVal now = d.os.gettimeofday();
        int64_t elapsed = (now.sec - t0.sec) * 1000000 + (now.usec - t0.usec);
        if (elapsed < 0) elapsed = -elapsed;
        if (elapsed > limit_us) {
            TRACE(d, "\tbreak %d by time(%d,%d)\n", limit_us, fill, len);
            return 0;
        }
        int stored = 0;
        if (read_into(d, port, fill, len, stored) != kNothingRead) {
            fill += stored;
        } else if (fill > 2 * len) {
            TRACE(d, "\tbreak by len(%d,%d)\n", fill, len);
            return 0;
        }
        for (int i = 0; i < fill; ++i) {
            if (buf[i] != start || len > fill - i || i + 3 >= kBuf || buf[i + 3] != type) continue;
            unsigned sum = 0;
            for (int k = 1; k <= len - 2; ++k) sum += buf[i + k];
            if ((sum & 0xFF) != buf[i + len - 1]) continue;
            std::memcpy(out, buf + i, static_cast<size_t>(len));
            clean_line(d, port, len);
            return len;
        }
        d.os.usleep(kPollUs);
    }
}

int recv_command_by_header(Daemon& d, int port, uint8_t* out, uint8_t start, int len) {
    if (len < 1 || len > kBuf) return 0;
    const int64_t t0 = d.os.time();
    uint8_t* buf = d.recv_buf.data();
    int fill = 0;
    int found = 0;
    bool done = false;
    while (!done && d.os.time() <= t0 + 1) {
        int stored = 0;
        if (read_into(d, port, fill, 2 * len, stored) != kNothingRead) {
            fill += stored;
        } else if (fill > 2 * len) {
            TRACE(d, "\tbreak by len(%d,%d)\n", fill, len);
            break;
        }
        found = fill;
        for (int i = 0; i < fill; ++i) {
            if (buf[i] == start && len <= fill - i) {
                found = i;
                done = true;
                break;
            }
        }
        if (!done) d.os.usleep(kPollUs);
    }
    if (!done && d.os.time() > t0 + 1) TRACE(d, "\tbreak by time(%d,%d)\n", fill, len);
    // Every exit delivers len bytes from `found`; past a failed collection
    // that is what lies behind the data (zeros), never past the buffer.
    std::memset(out, 0, static_cast<size_t>(len));
    if (found < kBuf) std::memcpy(out, buf + found, static_cast<size_t>(std::min(len, kBuf - found)));
    clean_line(d, port, len);
    return found;
}

int ez_recv(Daemon& d, int port, uint8_t start, int n, uint8_t* out) {
    return hunt_and_collect(d, port, start, n, out, "EZ : recv failed\n");
}

int f2e_recv(Daemon& d, int port, uint8_t start, int n, uint8_t* out) {
    return hunt_and_collect(d, port, start, n, out, "F2E : recv failed\n");
}

int spd_receive_ack(Daemon& d, int port) {
    uint8_t area[256] = {};
    bool found = false;
    for (int attempt = 0; attempt < 100; ++attempt) {
        if (port_read(d, port, area, 1) != kNothingRead && area[0] == 0xA0) {
            found = true;
            break;
        }
        d.os.usleep(kPollUs);
    }
    if (!found) {
        TRACE(d, "spd : can't find header\n");
        return 0;
    }
    TRACE(d, "spd : found header[%02x]\n", area[0]);
    // The count adds the nothing-read mark too, so the first quiet read ends
    // the drain: the camera sends its acknowledgement in one burst.
    int count = 1;
    for (int attempt = 0; attempt < 100; ++attempt) {
        count += port_read(d, port, area, 1);
        if (count > 10) break;
        d.os.usleep(kPollUs);
    }
    TRACE(d, "spd_receive_ack %02x\n", area[8]);
    return 0;
}

int read_ack_byte(Daemon& d, int port) {
    TRACE(d, "\n");
    uint8_t b = 0;
    if (port_read(d, port, &b, 1) == kNothingRead) return 0;
    TRACE(d, "<%02x>", b);
    if (b != 0xFF) d.os.usleep(1);
    return 1;
}

}  // namespace ptz
