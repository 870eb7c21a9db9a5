// The recorder's log facility: every diagnostic is one 128-byte record handed
// to the kernel log device, plus the per-prefix filtered log that the common
// library shares with the recorder's other processes.
#pragma once

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "os/os.h"
#include "os/requests.h"

#define PTZ_PRINTF(fmt_idx, args_idx) __attribute__((format(printf, fmt_idx, args_idx)))

namespace ptz {

using LogRecord = std::array<char, kLogRecordSize>;

// Formats into a record: at most 127 characters and a NUL; a longer text is
// marked with '|' at byte 125; bytes 126 and 127 always hold a line feed and
// a NUL, so a truncated record still ends its line. Starts at `offset`.
int format_record(LogRecord& rec, size_t offset, const char* fmt, va_list ap);

class Logger {
public:
    static constexpr int kMaxEntries = 100;
    static constexpr size_t kPrefixSize = 32;

    explicit Logger(Os& os) : os_(os) {}

    int log(const char* fmt, ...) PTZ_PRINTF(2, 3);
    int vlog(const char* fmt, va_list ap);

    int register_using_printx_filtered(const char* prefix, int level);
    int printx_filtered(int id, int level, const char* fmt, ...) PTZ_PRINTF(4, 5);
    int vprintx_filtered(int id, int level, const char* fmt, va_list ap);
    void dump_registry();
    void set_level_all(int level);
    int set_level_by_prefix(const char* prefix, int level);
    int set_level_by_id(int id, int level);

    // Registers LIB_COMMON. The daemon itself never calls this, so the
    // serial library's level-tagged messages stay silent in the server.
    void common_init() { lib_common_ = register_using_printx_filtered("LIB_COMMON", 1); }
    int lib_common() const { return lib_common_; }
    int count() const { return count_; }

private:
    void emit(const char* device, LogRecord& rec);

    struct Entry {
        std::array<char, kPrefixSize> prefix{};
        int level = 0;
    };
    Os& os_;
    std::array<Entry, kMaxEntries> entries_{};
    int count_ = 0;
    int lib_common_ = -1;
};

}  // namespace ptz
