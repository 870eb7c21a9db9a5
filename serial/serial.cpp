#include "serial/serial.h"

#include <cmath>
#include <cstdio>

#include "core/daemon.h"

namespace ptz {

namespace {
constexpr uint32_t kRates[8] = {1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200};
constexpr int kDefaultBaudIndex = 3;

bool valid_port(int port) { return port >= 0 && port < kPortTableSize; }
}  // namespace

uint32_t baud_rate(int index) {
    return (index >= 0 && index < 8) ? kRates[index] : kRates[kDefaultBaudIndex];
}

int port_fd(const Daemon& d, int port) {
    return valid_port(port) ? d.ports[static_cast<size_t>(port)].fd : -1;
}

int open_serial(Daemon& d, int port) {
    Logger& lg = d.logger;
    const int lib = lg.lib_common();
    d.log("ptzsvr(%s) : port %d, rs485_type is %d\n", "open_serial", port, d.sv.rs485_type);
    char name[32] = "";
    const int t = d.sv.rs485_type;
    switch (port) {
        case 1: std::snprintf(name, sizeof name, "/dev/ttyS0"); break;
        case 2:
            std::snprintf(
                name, sizeof name,
                (t == 17 || t == 19 || t == 20 || t == 21 || t == 24) ? "/dev/ttyS1" : "/dev/ttyS2");
            break;
        case 3: std::snprintf(name, sizeof name, "/dev/ttyS2"); break;
        case 4: std::snprintf(name, sizeof name, "/dev/ttyS3"); break;
        case 5:
        case 6:
        case 7:
        case 8: lg.printx_filtered(lib, 1, "LIBSERIAL : open_serial() : We must not reach here\n"); break;
        case 9:
        case 10:
        case 11:
        case 12:
            lg.printx_filtered(lib, 2, "LIBSERIAL : open ttyUSB%d\n", port - 9);
            std::snprintf(name, sizeof name, "/dev/ttyUSB%d", port - 9);
            break;
        case 13:
            lg.printx_filtered(lib, 2, "LIBSERIAL : open ttyUSB0 for USB Keyboard\n");
            std::snprintf(name, sizeof name, "/dev/ttyUSB0");
            break;
        default: lg.printx_filtered(lib, 0, "LIBSERIAL : open_serial() : wrong port(%d)\n", port); break;
    }
    const int fd = d.os.open(name, open_rdwr_nonblock);
    if (fd < 0) {
        lg.printx_filtered(lib, 0, "%s() : open(%s) failed\n", "open_serial", name);
        return -1;
    }
    d.log("LIBSERIAL : open %s is %d\n", name, fd);
    set_serial(d, fd, kDefaultBaudIndex, 2, 0, 0);
    return fd;
}

int set_serial(Daemon& d, int fd, int baud, int data_bits, int parity, int stop_bits) {
    LineSettings s{};
    s.baud = baud_rate(baud);
    s.data_bits = data_bits == 1 ? 7 : 8;
    s.parity = parity == 2 ? Parity::odd : parity == 1 ? Parity::even : Parity::none;
    s.stop_bits = (stop_bits == 1 || stop_bits == 2) ? 2 : 1;
    if (d.os.tcsetattr(fd, s) < 0) {
        d.logger.printx_filtered(d.logger.lib_common(), 0, "%s() : tcsetattr() failed\n", "set_serial");
        return -1;
    }
    return 0;
}

void tx_enable_serial(Daemon& d, int port, uint32_t wait_us) {
    d.logger.printx_filtered(d.logger.lib_common(), 2, "PTZSVR : tx_enable_serial for port %d\n", port);
    const int fd = d.os.open("/dev/dio", open_read);
    if (port == 2) d.os.ioctl_val(fd, req::tx_enable_p2, 0);
    if (port == 3) d.os.ioctl_val(fd, req::tx_enable_p3, 0);
    d.os.close(fd);
    d.os.usleep(wait_us);
}

void tx_disable_serial(Daemon& d, int port) {
    const int fd = d.os.open("/dev/dio", open_read);
    if (port == 2) d.os.ioctl_val(fd, req::tx_disable_p2, 0);
    if (port == 3) d.os.ioctl_val(fd, req::tx_disable_p3, 0);
    d.os.close(fd);
}

uint32_t line_wait_us(Daemon& d, int port, int length) {
    int index = valid_port(port) ? d.ports[static_cast<size_t>(port)].baud : -1;
    // A port's line time is its own rate. Right after a reopen it has no
    // applied settings yet; the channel being served will get its configured
    // ones, so time the line by those (never by the channel served last).
    if (index < 0) index = d.conf.baud(d.served_channel);
    const float rate = static_cast<float>(baud_rate(index));
    const float t = 1000000.0f / rate * 10.0f * static_cast<float>(length);
    return 2u * static_cast<uint32_t>(std::trunc(t));
}

long write_serial_block(Daemon& d, int port, const uint8_t* data, int length, uint32_t minimum_us) {
    const uint32_t wait = line_wait_us(d, port, length);
    if (!d.sv.face_detect) tx_enable_serial(d, port, 10000);
    const int fd = port_fd(d, port);
    d.log("PTZSVR : write_serial_block for fd %d, data %d\n", fd, length);
    const long r = d.os.write(fd, data, static_cast<size_t>(length < 0 ? 0 : length));
    if (d.sv.rs485_type == 23) {
        d.os.tcdrain(fd);
        d.os.usleep(1);
    } else {
        d.os.usleep(wait > minimum_us ? wait : minimum_us);
    }
    tx_disable_serial(d, port);
    return r;
}

int port_read(Daemon& d, int port, uint8_t* buf, int len) {
    const long r = d.os.read(port_fd(d, port), buf, static_cast<size_t>(len < 0 ? 0 : len));
    return r < 1 ? kNothingRead : static_cast<int>(r);
}

int port_read_byte(Daemon& d, int port) {
    uint8_t b = 0;
    const long r = d.os.read(port_fd(d, port), &b, 1);
    return r == 0 ? kNothingRead : b;
}

}  // namespace ptz
