// CPU cost of the daemon's own work on the simulated board: one command
// through dispatch and a protocol's encoding, and one idle pass of the main
// loop. The board keeps no call record and its clock is virtual, so the
// protocols' mandated waits cost nothing and what is left is the daemon's
// code plus the board's bookkeeping behind the OS seam.
//
//   ptz_bench [benchmark options]      Google Benchmark
//   ptz_bench --list                   the families built into this daemon
//   ptz_bench --run FAMILY|idle N      N commands (or idle passes) and exit,
//                                      for instruction counts under callgrind
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "common/wire.h"
#include "core/command.h"
#include "core/config.h"
#include "core/daemon.h"
#include "core/dispatch.h"
#include "os/sim_board.h"

namespace {

using ptz::Bytes;

// A protocol family as a recorder would have it wired: the channel's port,
// model and line settings, and the board's coax hardware.
struct Family {
    const char* name;
    uint16_t model;
    int port;
    int coc_type;
    uint32_t format;  // detected video format of channel 0
};

constexpr Family kFamilies[] = {
    {"PelcoD_RS485", 0x1600, 2, 0, 0}, {"PelcoD_TVI", 0x1600, 5, 3, 0}, {"HIKC", 0x808, 5, 6, 4},
    {"PelcoP", 0x1601, 2, 0, 0},       {"SamsungE", 0x1904, 2, 0, 0},   {"Panasonic", 0x1602, 2, 0, 0},
    {"AutoDome", 0x200, 2, 0, 0},      {"VCC4", 0x300, 2, 0, 0},        {"Vicon", 0x2202, 2, 0, 0},
};

bool built_in(const Family& f) {
    const ptz::DriverEntry* e = ptz::find_driver(f.model);
    return e != nullptr && e->fn != nullptr;
}

Bytes command(uint16_t id, uint8_t x, uint8_t y) {
    Bytes b(28, 0);
    ptz::wr16(b.data() + ptz::off::msg_id, id);
    ptz::wr32(b.data() + ptz::off::body_size, 20);
    b[ptz::off::x] = x;
    b[ptz::off::y] = y;
    return b;
}

// A daemon after start-up on a board wired for one family. Commands go in
// through the receive buffer, as the main loop hands them over.
class Bench {
public:
    explicit Bench(const Family& f) {
        board.recording = false;
        board.config.assign(ptz::kMaxChannels * ptz::kChannelRecordSize, 0);
        ptz::wr32(board.config.data(), ptz::kConfValid);
        uint8_t* r = board.config.data();
        r[ptz::cfg::port] = static_cast<uint8_t>(f.port);
        r[ptz::cfg::baud] = 3;  // 9600
        ptz::wr16(r + ptz::cfg::address, 1);
        ptz::wr16(r + ptz::cfg::model_id, f.model);
        board.formats[0] = f.format;
        for (const auto& [name, v] : {std::pair{"video_ch_cnt", 4}, std::pair{"coc_type", f.coc_type},
                                      std::pair{"rs485_type", 0}, std::pair{"model", 0}})
            board.set_sysvar(std::string("/proc/orv_sys_vars/") + name, std::to_string(v));
        for (const char* tty : {"/dev/ttyS0", "/dev/ttyS1", "/dev/ttyS2", "/dev/ttyS3"})
            board.add_device(tty);
        d = std::make_unique<ptz::Daemon>(board);
        int status = 0;
        if (!d->startup(status)) {
            std::fprintf(stderr, "%s: start-up failed\n", f.name);
            std::exit(1);
        }
    }

    // Alternates a move and a stop, so that every command is new to the
    // protocols that skip a repeated one.
    void command(uint64_t i) {
        const Bytes& c = cmds_[i & 1];
        std::memcpy(d->rx.data(), c.data(), c.size());
        d->handle_datagram(static_cast<long>(c.size()));
    }
    void idle() { d->run_once(); }

    ptz::SimBoard board;
    std::unique_ptr<ptz::Daemon> d;

private:
    const Bytes cmds_[2] = {::command(ptz::msg::move, 0x20, 0x30), ::command(ptz::msg::stop, 0x40, 0x40)};
};

void bm_command(benchmark::State& state, const Family* f) {
    Bench b(*f);
    uint64_t i = 0;
    for (auto _ : state) b.command(i++);
    state.SetItemsProcessed(static_cast<int64_t>(i));
}

void bm_idle(benchmark::State& state) {
    Bench b(kFamilies[0]);
    for (auto _ : state) b.idle();
}

int run_count(const std::string& which, long n) {
    if (which == "idle") {
        Bench b(kFamilies[0]);
        for (long i = 0; i < n; ++i) b.idle();
        return 0;
    }
    for (const Family& f : kFamilies) {
        if (which != f.name) continue;
        if (!built_in(f)) break;
        Bench b(f);
        for (long i = 0; i < n; ++i) b.command(static_cast<uint64_t>(i));
        return 0;
    }
    std::fprintf(stderr, "ptz_bench: no family %s in this daemon\n", which.c_str());
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const Family& f : kFamilies)
            if (built_in(f)) std::printf("%s\n", f.name);
        return 0;
    }
    if (argc == 4 && std::strcmp(argv[1], "--run") == 0) return run_count(argv[2], std::atol(argv[3]));

    for (const Family& f : kFamilies)
        if (built_in(f))
            benchmark::RegisterBenchmark((std::string("command/") + f.name).c_str(), bm_command, &f);
    benchmark::RegisterBenchmark("idle_pass", bm_idle);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
