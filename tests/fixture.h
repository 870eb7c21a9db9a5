// A fresh daemon on a fresh simulated board for every test.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "common/wire.h"
#include "core/command.h"
#include "core/config.h"
#include "core/daemon.h"
#include "core/dispatch.h"
#include "os/sim_board.h"

namespace ptz::test {

// A fixed frame as the byte vector the board records.
template <size_t N>
Bytes bytes(const std::array<uint8_t, N>& frame) {
    return Bytes(frame.begin(), frame.end());
}

// A command datagram built field by field.
struct CmdBuilder {
    Bytes b = Bytes(28, 0);
    CmdBuilder(uint16_t id, uint16_t channel = 0) {
        wr16(b.data() + off::msg_id, id);
        wr32(b.data() + off::body_size, 20);
        wr16(b.data() + off::channel, channel);
    }
    CmdBuilder& action(uint16_t v) { return wr16(b.data() + off::action, v), *this; }
    CmdBuilder& xy(uint8_t x, uint8_t y) { return b[off::x] = x, b[off::y] = y, *this; }
    CmdBuilder& arg16(uint16_t v) { return wr16(b.data() + off::arg16, v), *this; }
    CmdBuilder& stop_after(uint8_t v) { return b[off::stop_after_action] = v, *this; }
    CmdBuilder& osd(uint8_t v) { return b[off::is_osd_cmd] = v, *this; }
    CmdBuilder& pos(uint32_t p, uint32_t t, uint32_t z) {
        wr32(b.data() + off::pan, p), wr32(b.data() + off::tilt, t), wr32(b.data() + off::zoom, z);
        return *this;
    }
    CmdBuilder& requester(int32_t r) {
        return wr32(b.data() + off::requester, static_cast<uint32_t>(r)), *this;
    }
    operator Bytes() const { return b; }
};

// A joystick move on channel 0.
inline Bytes mv(uint8_t x, uint8_t y, uint16_t action = 0, uint8_t stop = 0) {
    return CmdBuilder(0xE011).action(action).xy(x, y).stop_after(stop);
}

// An aux command on channel 0: "on" as 0xE091, "off" as 0xE090 (the drivers take both alike).
inline Bytes aux(uint16_t code, bool on = true, uint16_t channel = 0) {
    return CmdBuilder(on ? 0xE091 : 0xE090, channel).arg16(code).action(on ? 0x0101 : 0);
}

class DaemonTest : public ::testing::Test {
protected:
    SimBoard board;
    std::unique_ptr<Daemon> d;

    DaemonTest() {
        board.config.assign(kMaxChannels * kChannelRecordSize, 0);
        wr32(board.config.data(), kConfValid);
        sysvar("video_ch_cnt", 4);
        for (const char* name : {"coc_type", "rs485_type", "model"}) sysvar(name, 0);
        for (const char* tty : {"/dev/ttyS0", "/dev/ttyS1", "/dev/ttyS2", "/dev/ttyS3", "/dev/ttyUSB0"})
            board.add_device(tty);
    }

    void sysvar(const std::string& name, int v) {
        board.set_sysvar("/proc/orv_sys_vars/" + name, std::to_string(v));
    }

    // Channel settings in buffer B; defaults: 9600 8N1.
    void channel(int ch, int port, uint16_t model, uint16_t addr = 1, int baud = 3, int data = 0,
                 int parity = 0, int stop = 0) {
        uint8_t* r = board.config.data() + kChannelRecordSize * static_cast<size_t>(ch);
        r[cfg::port] = static_cast<uint8_t>(port);
        r[cfg::baud] = static_cast<uint8_t>(baud);
        r[cfg::data_bits] = static_cast<uint8_t>(data);
        r[cfg::parity] = static_cast<uint8_t>(parity);
        r[cfg::stop_bits] = static_cast<uint8_t>(stop);
        wr16(r + cfg::address, addr);
        wr16(r + cfg::model_id, model);
    }
    void preset_entry(int ch, int k, uint16_t v) {
        wr16(board.config.data() + kChannelRecordSize * static_cast<size_t>(ch) + cfg::preset_table +
                 cfg::preset_stride * static_cast<size_t>(k),
             v);
    }

    // A fresh daemon through start-up; false with `status` when it must exit.
    bool boot(int& status) {
        d = std::make_unique<Daemon>(board);
        return d->startup(status);
    }
    // Starts the daemon and forgets start-up's calls.
    void start() {
        int status = 0;
        ASSERT_TRUE(boot(status));
        board.clear_calls();
    }

    // Delivers a datagram and runs the loop until it has been handled.
    void send(const Bytes& datagram) {
        board.queue_datagram(board.now(), datagram);
        while (board.datagrams_pending()) d->run_once();
    }

    // Runs one command straight through the dispatcher.
    int handle(int ch, Bytes cmd) {
        cmd.resize(kMinCommandBuffer, 0);
        return eptz_handler(*d, static_cast<uint32_t>(ch), cmd.data());
    }

    std::vector<Bytes> writes(const std::string& dev = "/dev/ttyS2") const { return board.writes(dev); }
    // The 10 frame bytes of every coax transmit request.
    std::vector<Bytes> coax_frames() const {
        std::vector<Bytes> out;
        for (const SimCall* c : board.find("ioctl", "/dev/av_devs"))
            if (c->req == 0x40126120)
                out.emplace_back(c->data.begin() + 8, c->data.begin() + 8 + rd32(c->data.data() + 4));
        return out;
    }
    bool logged(const std::string& text) const { return std::ranges::count(board.logs(), text) > 0; }
    size_t count_sleeps(uint32_t us) const { return static_cast<size_t>(std::ranges::count(sleeps(), us)); }
    std::vector<uint32_t> sleeps() const {
        std::vector<uint32_t> out;
        for (const SimCall* c : board.find("sleep")) out.push_back(c->us);
        return out;
    }
};

// A daemon started with one camera: channel `Ch` on `Port`, its model and address.
template <int Ch, int Port, uint16_t Model, uint16_t Addr, class Base = DaemonTest>
class OneCamera : public Base {
protected:
    void SetUp() override {
        this->channel(Ch, Port, Model, Addr);
        this->start();
    }
};

}  // namespace ptz::test
