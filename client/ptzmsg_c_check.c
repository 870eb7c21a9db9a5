/* Compiled as C99 and linked with the C linker in every build, never run:
 * the header must stay C, and the library must need nothing of the C++
 * runtime, or the recorder's C programs cannot link it. */
#include <unistd.h>

#include "client/ptzmsg.h"

int main(int argc, char** argv) {
    uint8_t m[PTZMSG_MAX];
    char path[108];
    struct ptzmsg_report r;
    size_t n = 0;
    int fd;
    if (argc != 2 || ptzmsg_report_path(argv[1], path, sizeof path) != 0) return 2;
    n += ptzmsg_move(m, 0, 0, 0x20, 0x40, 1);
    n += ptzmsg_move_cont(m, 0, 0, 0x20, 0x40, 0);
    n += ptzmsg_stop(m, 0);
    n += ptzmsg_preset(m, 0xE114, 0, 5);
    n += ptzmsg_aux(m, 0xE091, 0, 9, 1);
    n += ptzmsg_set_position(m, 0, 1, 2, 3);
    n += ptzmsg_zoom_box(m, 0, 860, 490, 200, 100, 0);
    n += ptzmsg_query_position(m, 0, 60000);
    fd = ptzmsg_open(argv[1]);
    if (fd < 0 || ptzmsg_send(fd, m, n % PTZMSG_MAX) != 0) return 1;
    close(fd);
    return ptzmsg_parse_report(m, n, &r);
}
