/* The recorder's command datagrams (`ptz_command`) and the daemon's position
 * report, for any process of the recorder that drives cameras through ptzsvr:
 * ptzctl, ptzonvif and the recorder's own C programs. Every field is written
 * by byte offset, little-endian, so the bytes are the same on the recorder
 * and on a developer's machine. */
#ifndef PTZMSG_H
#define PTZMSG_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Room for any datagram the fixed-size builders below write. */
#define PTZMSG_MAX 32

/* Each builder writes one complete datagram into out (PTZMSG_MAX bytes),
 * zero-filling every byte it does not set, and returns its length (28). */

/* A move (action 0 pan/tilt, 1 zoom, 2 focus, 3 iris; x and y centred on
 * 0x40), 0xE011; the continuous form 0xE012 takes the same fields. */
size_t ptzmsg_move(uint8_t* out, uint16_t channel, uint16_t action, uint8_t x, uint8_t y,
                   uint8_t stop_after_action); /* 0xE011 */
size_t ptzmsg_move_cont(uint8_t* out, uint16_t channel, uint16_t action, uint8_t x, uint8_t y,
                        uint8_t stop_after_action); /* 0xE012 */
size_t ptzmsg_stop(uint8_t* out, uint16_t channel); /* 0xE013 */
/* Presets by the camera's own number: 0xE114 go to, 0xE120 store, 0xE122 clear;
 * by preset-table entry: 0xE014, 0xE020, 0xE022. The number goes where the
 * message id carries it (offset 12 for go to, 10 for store and clear).
 * Any other msg_id builds nothing and returns 0 (so does ptzmsg_aux). */
size_t ptzmsg_preset(uint8_t* out, uint16_t msg_id, uint16_t channel, uint16_t preset);
/* Aux function: 0xE091 with a vocabulary code, 0xE090 with a recorder code. */
size_t ptzmsg_aux(uint8_t* out, uint16_t msg_id, uint16_t channel, uint16_t code, int on);
size_t ptzmsg_set_position(uint8_t* out, uint16_t channel, uint32_t pan, uint32_t tilt,
                           uint32_t zoom);                                       /* 0xE0A4 */
size_t ptzmsg_query_position(uint8_t* out, uint16_t channel, int32_t requester); /* 0xE0A6 */
/* The report answering a query carries its requester as the tag when the
 * recorder routes that tag (0, 1, 1000..60999), else -1. ptzonvif asks with
 * tags in 60000..60999; the recorder's other processes keep out of them. */
#define PTZMSG_TAG_ONVIF_FIRST 60000
#define PTZMSG_TAG_ONVIF_LAST 60999
size_t ptzmsg_zoom_box(uint8_t* out, uint16_t channel, uint16_t left, uint16_t top, uint16_t width,
                       uint16_t height, uint8_t zoom_out); /* 0xE0AA */

/* A datagram socket connected to the daemon's socket at socket_path: the
 * descriptor, or -1 with errno set (ENOENT or ECONNREFUSED: no daemon
 * listens there; ENAMETOOLONG: the path does not fit a socket address).
 * Close it with close(). */
int ptzmsg_open(const char* socket_path);
/* Sends one datagram of any length on a descriptor from ptzmsg_open,
 * waiting while the daemon's queue is full: 0, or -1 with errno. After the
 * daemon restarts, sends fail (ECONNREFUSED, then ENOTCONN): open again. */
int ptzmsg_send(int fd, const uint8_t* msg, size_t len);

/* The position report (0x4014): reply tag, channel, status, three values. */
#define PTZMSG_REPORT_SIZE 32
struct ptzmsg_report {
    int32_t tag;
    uint32_t channel;
    uint32_t status;
    uint32_t value[3];
};
/* 0 when msg holds a whole position report, -1 otherwise. */
int ptzmsg_parse_report(const uint8_t* msg, size_t len, struct ptzmsg_report* out);

/* Where a host runner (and, on the recorder, the core) delivers copies of the
 * position reports: the datagram socket "ptzreport.sock" in the directory of
 * the command socket. Writes the path into out (cap bytes); 0, or -1 when it
 * does not fit. */
int ptzmsg_report_path(const char* socket_path, char* out, size_t cap);

#ifdef __cplusplus
}
#endif

#endif
