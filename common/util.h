// Process and system utilities of the common library that the server uses.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ptz {
class Os;
class Logger;

// Creates or truncates `path` (0644, never through a symbolic link) and
// writes the decimal process id without a line feed. 0, -1 open failed,
// -2 short write.
int write_pid_file(Os& os, const char* path);
// Reads a decimal number from a small text file; unreadable files read as 0.
int read_number_from_file(Os& os, const char* path);
// Logs `len` bytes (at most 256) in rows of 16; returns the count shown.
int hex_dump(Logger& log, const char* title, const uint8_t* data, int len);
int watchdog_kick(Os& os, unsigned long value);
}  // namespace ptz
