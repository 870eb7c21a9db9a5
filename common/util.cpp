#include "common/util.h"

#include <cstdio>
#include <cstdlib>

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

}  // namespace ptz
