// ptzsend: sends one command datagram to a running ptzsvr, for driving a
// camera by hand.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "common/wire.h"

namespace {

constexpr size_t kCommandSize = 28;
constexpr uint32_t kBodySize = 24;
constexpr uint16_t kActionOn = 0x0101;

[[noreturn]] void usage() {
    std::fputs(
        "usage: ptzsend --socket PATH CMD ARGS...\n"
        "  move CH X Y [STOP]      pan/tilt, 0x40 is the centre\n"
        "  zoom|focus|iris CH X    0x40 is the centre\n"
        "  stop CH\n"
        "  goto CH N               go to preset N\n"
        "  gotocfg CH K            go to the preset of table entry K\n"
        "  set CH N | clear CH N   store or clear preset N\n"
        "  aux CH CODE on|off\n"
        "  setpos CH PAN TILT ZOOM\n"
        "  query CH REQUESTER      position report tagged REQUESTER\n"
        "  bypass CH HEX...        bytes written to the line unchanged\n"
        "  raw HEX...              any datagram\n"
        "numbers are decimal or 0x-prefixed hex\n",
        stderr);
    std::exit(2);
}

[[noreturn]] void bad(const char* what, const char* text) {
    std::fprintf(stderr, "ptzsend: bad %s: %s\n", what, text);
    std::exit(2);
}

long long number(const char* text, long long lo, long long hi) {
    const bool hex = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const char* digits = hex ? text + 2 : text;
    char* end = nullptr;
    errno = 0;
    const long long v = std::strtoll(digits, &end, hex ? 16 : 10);
    if (errno != 0 || end == digits || *end != '\0' || v < lo || v > hi) bad("number", text);
    return v;
}

uint8_t u8(const char* text) { return static_cast<uint8_t>(number(text, 0, 0xFF)); }
uint16_t u16(const char* text) { return static_cast<uint16_t>(number(text, 0, 0xFFFF)); }
// Accepts negative values too: some cameras read these fields as signed.
uint32_t u32(const char* text) { return static_cast<uint32_t>(number(text, INT32_MIN, UINT32_MAX)); }

void append_hex(std::vector<uint8_t>& out, const char* text) {
    std::string_view s = text;
    if (s.starts_with("0x") || s.starts_with("0X")) s.remove_prefix(2);
    if (s.empty() || s.size() % 2 != 0) bad("hex bytes", text);
    for (size_t i = 0; i < s.size(); i += 2) {
        const char pair[3] = {s[i], s[i + 1], '\0'};
        char* end = nullptr;
        const unsigned long v = std::strtoul(pair, &end, 16);
        if (*end != '\0' || pair[0] == '-' || pair[0] == '+') bad("hex bytes", text);
        out.push_back(static_cast<uint8_t>(v));
    }
}

std::vector<uint8_t> build(int argc, char** argv) {
    const std::string_view cmd = argv[0];
    std::vector<uint8_t> m;
    if (cmd == "raw") {
        for (int i = 1; i < argc; ++i) append_hex(m, argv[i]);
        if (m.empty()) usage();
        return m;
    }
    if (argc < 2) usage();
    m.assign(kCommandSize, 0);
    uint8_t* p = m.data();
    const auto need = [&](int min, int max) {
        if (argc < min || argc > max) usage();
    };
    const auto header = [&](uint16_t id) {
        ptz::wr16(p, id);
        ptz::wr32(p + 4, kBodySize);
        ptz::wr16(p + 8, u16(argv[1]));
    };
    static constexpr std::string_view kLens[] = {"zoom", "focus", "iris"};
    if (cmd == "move") {
        need(4, 5);
        header(0xE011);
        p[12] = u8(argv[2]);
        p[13] = u8(argv[3]);
        if (argc == 5) p[14] = u8(argv[4]);
    } else if (cmd == kLens[0] || cmd == kLens[1] || cmd == kLens[2]) {
        need(3, 3);
        header(0xE011);
        ptz::wr16(p + 10, cmd == kLens[0] ? 1 : cmd == kLens[1] ? 2 : 3);
        p[12] = u8(argv[2]);
    } else if (cmd == "stop") {
        need(2, 2);
        header(0xE013);
    } else if (cmd == "goto" || cmd == "gotocfg") {
        need(3, 3);
        header(cmd == "goto" ? 0xE114 : 0xE014);
        ptz::wr16(p + 12, u16(argv[2]));
    } else if (cmd == "set" || cmd == "clear") {
        need(3, 3);
        header(cmd == "set" ? 0xE120 : 0xE122);
        ptz::wr16(p + 10, u16(argv[2]));
    } else if (cmd == "aux") {
        need(4, 4);
        const std::string_view state = argv[3];
        if (state != "on" && state != "off") usage();
        header(0xE091);
        ptz::wr16(p + 10, state == "on" ? kActionOn : 0);
        ptz::wr16(p + 12, u16(argv[2]));
    } else if (cmd == "setpos") {
        need(5, 5);
        header(0xE0A4);
        for (int i = 0; i < 3; ++i) ptz::wr32(p + 12 + 4 * i, u32(argv[2 + i]));
    } else if (cmd == "query") {
        need(3, 3);
        header(0xE0A6);
        ptz::wr32(p + 24, u32(argv[2]));
    } else if (cmd == "bypass") {
        need(3, argc);
        header(0xE0A2);
        m.resize(12);
        for (int i = 2; i < argc; ++i) append_hex(m, argv[i]);
        const size_t count = m.size() - 12;
        if (count > 0xFFFF) bad("bypass length", argv[2]);
        if (m.size() < kCommandSize) m.resize(kCommandSize, 0);
        ptz::wr16(m.data() + 10, static_cast<uint16_t>(count));
    } else {
        usage();
    }
    return m;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4 || std::string_view(argv[1]) != "--socket") usage();
    const std::vector<uint8_t> msg = build(argc - 3, argv + 3);

    sockaddr_un addr;
    std::memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    if (std::strlen(argv[2]) >= sizeof addr.sun_path) bad("socket path", argv[2]);
    std::strcpy(addr.sun_path, argv[2]);
    const int fd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
    if (fd < 0 || ::sendto(fd, msg.data(), msg.size(), 0, reinterpret_cast<const sockaddr*>(&addr),
                           sizeof addr) != static_cast<ssize_t>(msg.size())) {
        std::fprintf(stderr, "ptzsend: %s: %s\n", argv[2], std::strerror(errno));
        return 1;
    }
    ::close(fd);
    return 0;
}
