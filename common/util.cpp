#include "common/util.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/log.h"
#include "os/os.h"

namespace ptz {

int write_pid_file(Os& os, const char* path) {
    const int fd = os.open(path, open_write_create);
    if (fd < 0) return -1;
    char text[16];
    const int n = std::snprintf(text, sizeof text, "%d", os.getpid());
    if (os.write(fd, text, static_cast<size_t>(n)) < n) return -2;
    os.close(fd);
    return 0;
}

int read_number_from_file(Os& os, const char* path) {
    char buf[32] = {};
    const int fd = os.open(path, open_read);
    if (fd >= 0) {
        os.read(fd, buf, sizeof buf - 1);
        os.close(fd);
    }
    return static_cast<int>(std::strtol(buf, nullptr, 10));
}

int hex_dump(Logger& log, const char* title, const uint8_t* data, int len) {
    log.log("%s", title);
    if (len < 1) {
        log.log("\n");
        return 0;
    }
    const int shown = len > 256 ? 256 : len;
    for (int i = 0; i < shown; ++i) {
        if (i % 16 == 0) log.log("\n[%04x] ", i);
        log.log("%02x ", data[i]);
    }
    log.log("\n");
    return shown;
}

int watchdog_kick(Os& os, unsigned long value) {
    const int fd = os.open("/dev/wdt", open_read);
    os.ioctl_val(fd, 0xFFF0, value);
    os.close(fd);
    return 0;
}

namespace {

#ifndef PTZ_TCP_WATCH_ADDR
#define PTZ_TCP_WATCH_ADDR "127.0.0.1"
#endif

// "a.b.c.d" as /proc/net/tcp shows it on the recorder (little-endian): d c b a.
constexpr uint32_t proc_net_address(const char* dotted) {
    uint32_t word = 0, part = 0;
    int shift = 0;
    for (const char* p = dotted;; ++p) {
        if (*p >= '0' && *p <= '9') {
            part = part * 10 + static_cast<uint32_t>(*p - '0');
        } else {
            word |= (part & 0xFF) << shift;
            shift += 8;
            part = 0;
            if (*p == '\0' || shift > 24) break;
        }
    }
    return word;
}
static_assert(proc_net_address("127.0.0.1") == 0x0100007F);
static_assert(proc_net_address("192.168.10.2") == 0x020AA8C0);
constexpr uint32_t kTcpWatchAddress = proc_net_address(PTZ_TCP_WATCH_ADDR);

struct CountCtx {
    Os& os;
    Logger& log;
    const char* name;
    int count;
};

void count_entry(void* p, const char* entry) {
    auto& c = *static_cast<CountCtx*>(p);
    if (entry[0] < '0' || entry[0] > '9') return;
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%s/cmdline", entry);
    const int fd = c.os.open(path, open_read);
    if (fd < 0) {
        c.log.printx_filtered(c.log.lib_common(), 0, "%s open error\n", path);
        return;
    }
    char cmdline[256] = {};
    const long n = c.os.read(fd, cmdline, sizeof cmdline - 1);
    c.os.close(fd);
    cmdline[n > 0 ? n : 0] = '\0';
    if (std::strcmp(cmdline, c.name) == 0) ++c.count;
}

struct ExecReport {
    Logger& log;
    int which;  // runapp 1 to 4
    const char* const* shown;
};

// Messages without a level go through the plain log: they show whether or
// not the library has been registered.
void report_exec_failure(void* p, int err) {
    auto& r = *static_cast<ExecReport*>(p);
    const char* text = std::strerror(err);
    switch (r.which) {
        case 1: r.log.log("exec1 failed %d in child process : %s\n", err, text); return;
        case 2: r.log.log("exec2 failed %d in child process : %s\n", err, text); break;
        case 3: r.log.log("exec3 failed %d in child process : %s\n", err, text); break;
        default: r.log.log("exec4 failed %d in child process : %s\n", err, text); break;
    }
    const char* const* a = r.shown;
    r.log.log("  cmd : %s %s %s %s %s\n", a[0], a[1], a[2], a[3], a[4]);
}

// The runners' shared body. The five strings are shown as given; a missing
// one shows as an empty string.
int runapp(Os& os, Logger& log, int which, const char* const in[5]) {
    if (in[0] == nullptr) return -1;  // no program: nothing to start
    const char* shown[6] = {};
    const char* argv[6] = {};
    bool ended = false;
    for (int i = 0, n = 0; i < 5; ++i) {
        shown[i] = in[i] != nullptr ? in[i] : "";
        if (in[i] == nullptr) ended = true;
        if (!ended) argv[n++] = in[i];
    }
    ExecReport report{log, which, shown};
    const ExecFailure on_fail{report_exec_failure, &report, -1};
    const int pid = os.spawn(argv, which == 4 ? SpawnMode::vfork : SpawnMode::fork, on_fail);
    if (pid < 0) {
        log.log("\nrunapp process fork error\n");
        return -1;
    }
    log.printx_filtered(log.lib_common(), 2, " new child%d.. : pid(%d) - %s %s %s %s %s\n", which, pid,
                        shown[0], shown[1], shown[2], shown[3], shown[4]);
    if (which == 1) {
        ChildStatus st;
        os.wait_child(pid, st);
    }
    return 0;
}

}  // namespace

uint32_t tcp_watch_address() { return kTcpWatchAddress; }

int count_process_by_cmdline(Os& os, Logger& log, const char* name) {
    CountCtx c{os, log, name, 0};
    if (os.list_dir("/proc", count_entry, &c) < 0) return -1;
    return c.count;
}

int run_and_supervise(Os& os, Logger& log, const char* program) {
    const int lib = log.lib_common();
    const char* const argv[] = {program, nullptr};
    for (;;) {
        struct Report {
            Logger& log;
            const char* program;
        } report{log, program};
        const ExecFailure on_fail{[](void* p, int) {
                                      auto& r = *static_cast<Report*>(p);
                                      r.log.log("%s exec fail\n", r.program);
                                  },
                                  &report, -9};
        const int pid = os.spawn(argv, SpawnMode::fork, on_fail);
        if (pid < 0) {
            log.printx_filtered(lib, 0, "%s fork error\n", program);
            return -1;
        }
        ChildStatus st;
        os.wait_child(pid, st);
        log.log("================== RS : pid %d status is %d ====================\n", pid, st.raw);
        switch (st.kind) {
            case ChildStatus::Kind::exited: log.log("\t process is exited, status is %d\n", st.value); break;
            case ChildStatus::Kind::signaled: log.log("\t process is signaled by %d\n", st.value); break;
            case ChildStatus::Kind::stopped:
                log.log("\t signal is stopped by %d %d\n", st.value, st.raw);
                break;
            default: break;
        }
    }
}

int runapp1(Os& os, Logger& log, const char* a0, const char* a1, const char* a2, const char* a3,
            const char* a4) {
    const char* const in[5] = {a0, a1, a2, a3, a4};
    return runapp(os, log, 1, in);
}
int runapp2(Os& os, Logger& log, const char* a0, const char* a1, const char* a2, const char* a3,
            const char* a4) {
    const char* const in[5] = {a0, a1, a2, a3, a4};
    return runapp(os, log, 2, in);
}
int runapp3(Os& os, Logger& log, const char* a0, const char* a1, const char* a2, const char* a3,
            const char* a4) {
    const char* const in[5] = {a0, a1, a2, a3, a4};
    return runapp(os, log, 3, in);
}
int runapp4(Os& os, Logger& log, const char* a0, const char* a1, const char* a2, const char* a3,
            const char* a4) {
    const char* const in[5] = {a0, a1, a2, a3, a4};
    return runapp(os, log, 4, in);
}

int print_tcp_tx_q(Os& os, Logger& log) {
    const int lib = log.lib_common();
    const int fd = os.open("/proc/net/tcp", open_read);
    if (fd < 0) {
        log.printx_filtered(lib, 0, "print_tcp_tx_q : /proc/net/tcp read failed\n");
        return 0;
    }
    // Line by line through a fixed buffer; a line longer than it is cut, the
    // rest of it skipped.
    char chunk[512];
    char line[256];
    size_t fill = 0;
    bool header = true;
    const auto take_line = [&] {
        line[fill] = '\0';
        if (header) {
            header = false;
        } else if (std::strlen(line) >= 3) {
            // The queue columns are read as decimal although the kernel
            // prints them in hex; the recorder's tools have always shown
            // them this way.
            int slot = 0, tx = 0, rx = 0, timer = 0, retr = 0, uid = 0, probes = 0, inode = 0, ref = 0;
            int rest[5] = {};
            unsigned laddr = 0, lport = 0, raddr = 0, rport = 0, state = 0, when = 0, sock = 0;
            std::sscanf(
                line, "%d: %08X:%04X %08X:%04X %02X %08d:%08d %02d:%08X %08d %d %d %d %d %08x %d %d %d %d %d",
                &slot, &laddr, &lport, &raddr, &rport, &state, &tx, &rx, &timer, &when, &retr, &uid, &probes,
                &inode, &ref, &sock, &rest[0], &rest[1], &rest[2], &rest[3], &rest[4]);
            if (laddr == kTcpWatchAddress)
                log.printx_filtered(lib, 2, "Total Memory( tcp )  : (T)%d/(R)%d\n", tx, rx);
        }
        fill = 0;
    };
    for (;;) {
        const long got = os.read(fd, chunk, sizeof chunk);
        if (got <= 0) break;
        for (long i = 0; i < got; ++i) {
            if (chunk[i] == '\n') {
                take_line();
            } else if (fill < sizeof line - 1) {
                line[fill++] = chunk[i];
            }
        }
    }
    if (fill > 0) take_line();
    os.close(fd);
    return 0;
}

}  // namespace ptz
