// The serial library: opening the recorder's UARTs and USB adapters, raw line
// settings, RS-485 transmit enable and block writes timed to the line.
#pragma once

#include <cstdint>

namespace ptz {
class Daemon;

// Mark returned by the read primitives when nothing was read.
constexpr int kNothingRead = 0xFFFF;

// Line rate of a baud index 0..7; an index outside that range (a damaged
// configuration) is treated as 9600 baud, the line's default.
uint32_t baud_rate(int index);

int open_serial(Daemon& d, int port);
int set_serial(Daemon& d, int fd, int baud, int data_bits, int parity, int stop_bits);
void tx_enable_serial(Daemon& d, int port, uint32_t wait_us);
void tx_disable_serial(Daemon& d, int port);
// Line time of `length` bytes at the port's rate, doubled, in microseconds.
uint32_t line_wait_us(Daemon& d, int port, int length);
long write_serial_block(Daemon& d, int port, const uint8_t* data, int length, uint32_t minimum_us);
// Descriptor of a port; -1 for ports outside the table.
int port_fd(const Daemon& d, int port);
int port_read(Daemon& d, int port, uint8_t* buf, int len);
int port_read_byte(Daemon& d, int port);
}  // namespace ptz
