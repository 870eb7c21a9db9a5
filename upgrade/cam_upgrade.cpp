// Camera firmware upgrade: a blind transfer, paced by fixed waits.
//
// Kept on purpose: the "start to send" line prints checksum 0 (it is written
// before the sum is computed); the stop request is looked at only before the
// first block and after each full block, never during the handshake (a
// SIGUSR2 then is noted and honoured before the first block); the final
// partial write goes out even when nothing remains (a write of 0 bytes, still
// followed by its 0.1 s); the line after it prints the fixed "0 : 1024"; the
// image size is not checked against what the datagram carried; write errors
// are not reported.
#include "upgrade/cam_upgrade.h"

#include <algorithm>
#include <cstddef>

#include "common/wire.h"
#include "core/command.h"
#include "core/daemon.h"
#include "protocols/rs485/pelco_d.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint32_t kBlockPauseUs = 100000;
constexpr int kLoaderEntrySeconds = 10;
constexpr int kMemoryPrepareSeconds = 5;

namespace ctl {
constexpr uint16_t start = 0x9010, check_loader = 0x9030, model_info = 0x4801;
constexpr uint8_t file_size = 0x58;
constexpr uint16_t start_address = 0x6800;
constexpr uint8_t trailer_mark = 0x65;
}  // namespace ctl

void send_control(Daemon& d, int port, uint8_t addr, uint16_t cmd, uint8_t d1, uint8_t d2) {
    pelcod_send(d, port, addr, cmd, d1, d2, 0);
}

// One-second steps, so that the log shows the camera's loader being waited for.
void wait_seconds(Daemon& d, int seconds) {
    for (int i = 0; i < seconds; ++i) {
        d.log("[cam_upgrade]\twait count %d\n", i);
        d.os.sleep(1);
    }
}

bool stop_requested(Daemon& d) {
    if (!d.stop_coc_upgrade) return false;
    d.log("[cam_upgrade]ptzsvr : ******************** stop upgrade received **********************\n");
    d.stop_coc_upgrade = 0;
    return true;
}

uint8_t image_checksum(const uint8_t* image, uint32_t size) {
    uint8_t sum = 0;
    for (uint32_t i = 0; i < size; ++i) sum = static_cast<uint8_t>(sum + image[i]);
    return sum;
}

}  // namespace

int C1080B_upgrade_progress(Daemon& d, int percent) {
    if (percent == d.drv.upgrade_progress) return 0;
    d.drv.upgrade_progress = percent;
    d.log("[cam_upgrade]%s() progress %d\n", "C1080B_upgrade_progress", percent);
    return 0;
}

int cam_upgrade(Daemon& d, int port, uint8_t addr, int /*channel*/, uint32_t size, const uint8_t* image) {
    const int isize = static_cast<int>(size);  // below 16 MiB: what one datagram carries
    d.log("[cam_upgrade]cam_upgrade start, size %d\n", isize);
    C1080B_upgrade_progress(d, 1);
    send_control(d, port, addr, ctl::start, 0x11, 0x22);
    d.log("[cam_upgrade]start code sent\n");
    wait_seconds(d, kLoaderEntrySeconds);
    send_control(d, port, addr, ctl::check_loader, 0x00, 0x00);
    d.log("[cam_upgrade]check loader******************************************\n");
    send_control(d, port, addr, ctl::model_info, ctl::trailer_mark, 0x00);
    d.log("[cam_upgrade]model info\n");
    send_control(d, port, addr, static_cast<uint16_t>(ctl::file_size << 8 | ((size >> 16) & 0xFF)),
                 static_cast<uint8_t>(size >> 8), static_cast<uint8_t>(size));
    d.log("[cam_upgrade]file size\n");
    send_control(d, port, addr, ctl::start_address, 0x80, 0x00);
    d.log("[cam_upgrade]start address\n");
    wait_seconds(d, kMemoryPrepareSeconds);

    d.log("[cam_upgrade]ptzsvr : start to send %d bytes, chksum is %02x\n", isize, 0);
    const uint8_t sum = image_checksum(image, size);
    d.log("[cam_upgrade]\tchksum is %02xh\n", sum);
    if (stop_requested(d)) return -1;

    // The position moves by what each write returned, a short write going
    // on from where its count puts it. A write that moves nothing (the line
    // is gone: -1, or 0) ends the blocks instead of repeating forever with
    // the daemon held up; the final write and the trailer still follow.
    int64_t pos = 0;
    int64_t remaining = size;
    while (remaining >= kUpgradeBlock) {
        const long n = write_serial_block(d, port, image + pos, kUpgradeBlock, kBlockPauseUs);
        if (n > 0) pos = std::min<int64_t>(pos + n, size);
        remaining = size - pos;
        const int percent = static_cast<int>(100 * pos / size);
        if (percent > 1) C1080B_upgrade_progress(d, percent);
        d.log("[cam_upgrade]\t%d written\n", static_cast<int>(n));
        if (stop_requested(d)) return -1;
        if (n <= 0) break;
    }
    write_serial_block(d, port, image + pos, static_cast<int>(remaining), kBlockPauseUs);
    d.log("[cam_upgrade]\t%d : %d written\n", 0, kUpgradeBlock);
    const uint8_t trailer[3] = {sum, ctl::trailer_mark, 0x00};
    write_serial_block(d, port, trailer, 3, 0);
    C1080B_upgrade_progress(d, 100);
    return 0;
}

int cam_upgrade_request(Daemon& d, int port, uint8_t addr, uint8_t* cmd) {
    const Cmd c{cmd};
    // Only the receive buffer holds a whole datagram; every other command
    // buffer is kMinCommandBuffer long. A size that runs past the buffer is
    // cut at its end: whatever lies behind the received data inside the
    // buffer is streamed, nothing beyond it is ever read.
    const size_t buffer = cmd == d.rx.data() ? d.rx.size() : kMinCommandBuffer;
    const uint32_t size =
        static_cast<uint32_t>(std::min<size_t>(rd32(cmd + off::image_size), buffer - off::image));
    return cam_upgrade(d, port, addr, c.channel(), size, cmd + off::image);
}

}  // namespace ptz
