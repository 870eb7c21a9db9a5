// ptzctl: builds one `ptz_command` datagram from a readable command line and
// sends it to a running ptzsvr (or prints it with --dry-run). Every message id
// the daemon takes has a command; `raw` sends any bytes at all.
//
// The datagrams are those of every recorder process (client/ptzmsg.h); the
// firmware image and the line bypass, which only engineers send, are laid out
// here with the daemon's own offsets (core/command.h). Arguments are checked
// before anything is built: a bad one is a one-line error and exit status 2,
// never a malformed datagram.
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "client/ptzmsg.h"
#include "common/wire.h"
#include "core/command.h"

namespace {

using Bytes = std::vector<uint8_t>;
using Args = std::vector<std::string_view>;

// Fixed fields end with the requester at 24..27.
constexpr size_t kCommandSize = 28;
constexpr size_t kHeaderSize = 8;                                  // msg_id, the zero word, body_size
constexpr size_t kMaxImage = ptz::kMaxDatagram - ptz::off::image;  // 393216
constexpr int kChannels = 64;                                      // channel records of the recorder
constexpr int kPresetEntries = 256;  // preset-table entries a recorder process names
constexpr int kPictureW = 1920, kPictureH = 1080;

[[noreturn]] void fail(const char* fmt, ...) __attribute__((format(printf, 1, 2)));
void fail(const char* fmt, ...) {
    std::fputs("ptzctl: ", stderr);
    va_list ap;
    va_start(ap, fmt);
    std::vfprintf(stderr, fmt, ap);
    va_end(ap);
    std::fputc('\n', stderr);
    std::exit(2);
}

// Decimal, or hex with 0x; signed where lo is negative.
long long number(std::string_view what, std::string_view text, long long lo, long long hi) {
    const std::string s(text);
    const bool neg = !s.empty() && s[0] == '-';
    const char* digits = s.c_str() + (neg || s[0] == '+' ? 1 : 0);
    const bool hex = digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    char* end = nullptr;
    errno = 0;
    const unsigned long long mag = std::strtoull(hex ? digits + 2 : digits, &end, hex ? 16 : 10);
    if (errno != 0 || end == digits || end == digits + 2 * hex || *end != '\0' || digits[0] == '-' ||
        mag > static_cast<unsigned long long>(LLONG_MAX))
        fail("%.*s '%s' is not a number", int(what.size()), what.data(), s.c_str());
    const long long v = neg ? -static_cast<long long>(mag) : static_cast<long long>(mag);
    if (v < lo || v > hi) fail("%.*s %lld out of range %lld..%lld", int(what.size()), what.data(), v, lo, hi);
    return v;
}

void hex_bytes(Bytes& out, std::string_view text) {
    std::string_view s = text;
    if (s.starts_with("0x") || s.starts_with("0X")) s.remove_prefix(2);
    const auto nibble = [](char c) {
        return c >= '0' && c <= '9'   ? c - '0'
               : c >= 'a' && c <= 'f' ? c - 'a' + 10
               : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                      : -1;
    };
    if (s.empty() || s.size() % 2 != 0) fail("'%.*s' is not hex bytes", int(text.size()), text.data());
    for (size_t i = 0; i < s.size(); i += 2) {
        const int hi = nibble(s[i]), lo = nibble(s[i + 1]);
        if (hi < 0 || lo < 0) fail("'%.*s' is not hex bytes", int(text.size()), text.data());
        out.push_back(static_cast<uint8_t>(hi << 4 | lo));
    }
}

uint16_t channel(std::string_view text) {
    return static_cast<uint16_t>(number("channel", text, 0, kChannels - 1));
}

// A datagram from the library.
struct Msg {
    uint8_t b[PTZMSG_MAX];
    Bytes take(size_t len) const { return Bytes(b, b + len); }
};

// A datagram of variable length under construction.
struct Datagram {
    Bytes b = Bytes(kCommandSize, 0);
    uint8_t* at(size_t off) { return b.data() + off; }
    void header(uint16_t id, std::string_view ch) {
        ptz::wr16(at(ptz::off::msg_id), id);
        ptz::wr16(at(ptz::off::channel), channel(ch));
    }
    // body_size counts the bytes behind the 8-byte header; the daemon only logs it.
    Bytes done() {
        ptz::wr32(at(ptz::off::body_size), static_cast<uint32_t>(b.size() - kHeaderSize));
        return std::move(b);
    }
};

struct Command {
    const char* name;
    const char* synopsis;
    const char* help;
    int min_args, max_args;  // after the command name
    Bytes (*build)(const Args& a);
};

// Takes every `name` out of the arguments (options may stand anywhere after
// the command); whether there was one.
bool take(Args& a, std::string_view name) {
    const size_t before = a.size();
    std::erase(a, name);
    return a.size() != before;
}

// What is left must be exactly the positional arguments.
void positional(const Args& a, size_t lo, size_t hi, const char* synopsis) {
    for (const std::string_view s : a)
        if (s.starts_with("--")) fail("unexpected option '%.*s' (%s)", int(s.size()), s.data(), synopsis);
    if (a.size() < lo || a.size() > hi) fail("expected %s", synopsis);
}

Bytes move(Args a, bool raw) {
    const bool cont = take(a, "--cont"), stop = take(a, "--stop");
    positional(a, 3, 3, raw ? "CH X Y [--cont] [--stop]" : "CH PAN TILT [--cont] [--stop]");
    const uint16_t ch = channel(a[0]);
    uint8_t x, y;
    if (raw) {
        x = static_cast<uint8_t>(number("x", a[1], 0, 0xFF));
        y = static_cast<uint8_t>(number("y", a[2], 0, 0xFF));
    } else {
        // Signed speeds around the 0x40 centre: right and up are positive.
        x = static_cast<uint8_t>(0x40 + number("pan speed", a[1], -64, 63));
        y = static_cast<uint8_t>(0x40 + number("tilt speed", a[2], -64, 63));
    }
    Msg m;
    return m.take((cont ? ptzmsg_move_cont : ptzmsg_move)(m.b, ch, ptz::act::pan_tilt, x, y, stop ? 1 : 0));
}

// zoom/focus/iris: a direction word and a speed 0..11 (the driver's
// abs(x - 0x40) / 16), or the raw x byte.
Bytes lens(Args a, uint16_t action, std::string_view up, std::string_view down) {
    const bool stop = take(a, "--stop");
    positional(a, 2, 3, "CH DIRECTION [SPEED] [--stop] or CH X [--stop]");
    const uint16_t ch = channel(a[0]);
    const std::string_view dir = a[1];
    uint8_t x;
    if (dir == up || dir == down) {
        // x <= 0x40 is the low side, so the low side reaches speed 4 at most.
        const long long s = a.size() > 2 ? number("speed", a[2], 0, dir == up ? 11 : 4) : 1;
        x = static_cast<uint8_t>(dir == up ? 0x40 + 16 * s : 0x40 - 16 * s);
    } else {
        positional(a, 2, 2, "CH X [--stop]");
        x = static_cast<uint8_t>(number("x", dir, 0, 0xFF));
    }
    Msg m;
    return m.take(ptzmsg_move(m.b, ch, action, x, 0x40, stop ? 1 : 0));
}

Bytes preset(const Args& a, uint16_t id, bool entry) {
    const uint16_t ch = channel(a[0]);
    const long long n = entry ? number("preset table entry", a[1], 0, kPresetEntries - 1)
                              : number("preset", a[1], 1, 255);  // the frames carry one byte
    Msg m;
    return m.take(ptzmsg_preset(m.b, id, ch, static_cast<uint16_t>(n)));
}

// Aux functions by name: the recorder's menu keys (which the daemon rewrites)
// and the functions of the camera's aux table.
struct AuxName {
    const char* name;
    uint16_t id;      // 0xE090 for the menu keys, else 0xE091 (code passes unchanged)
    uint16_t code;    // for numbered names the code of number 1 minus 1
    int first, last;  // number range; 0, 0 for a name without number
    const char* help;
};
constexpr AuxName kAuxNames[] = {
    {"menu", ptz::msg::aux, 113, 0, 0, "open the camera's on-screen menu"},
    {"enter", ptz::msg::aux, 114, 0, 0, "menu enter"},
    {"esc", ptz::msg::aux, 115, 0, 0, "menu escape"},
    {"menu-exit", ptz::msg::aux, 116, 0, 0, "leave the menu"},
    {"output", ptz::msg::aux2, 0, 1, 9, "auxiliary output N (1..7, 9)"},
    {"manual-iris", ptz::msg::aux2, 130, 0, 0, "on: open, off: close"},
    {"wiper", ptz::msg::aux2, 502, 0, 0, "wiper"},
    {"flip", ptz::msg::aux2, 533, 0, 0, "flip"},
    {"pan-zero", ptz::msg::aux2, 534, 0, 0, "pan zero"},
    {"pattern", ptz::msg::aux2, 550, 1, 8, "run pattern N"},
    {"pattern-record", ptz::msg::aux2, 560, 0, 8, "on: start recording pattern N, off: stop"},
    {"ascan-record", ptz::msg::aux2, 570, 0, 8, "on: start recording auto scan N, off: stop"},
    {"ir", ptz::msg::aux2, 588, 0, 0, "on: infrared filter in, off: out"},
    {"limit", ptz::msg::aux2, 590, 0, 0, "on: manual limit start, off: stop"},
    {"stop-scan", ptz::msg::aux2, 596, 0, 0, "stop scan"},
    {"random-scan", ptz::msg::aux2, 597, 0, 0, "on: random scan, off: stop scan"},
    {"frame-scan", ptz::msg::aux2, 598, 0, 0, "on: frame scan, off: stop scan"},
    {"auto-scan", ptz::msg::aux2, 599, 0, 0, "on: auto scan, off: stop scan"},
    {"tour", ptz::msg::aux2, 710, 1, 8, "run tour N"},
    {"scan", ptz::msg::aux2, 720, 1, 8, "run scan N"},
};

Bytes aux(const Args& a) {
    const std::string_view what = a[1];
    uint16_t id = ptz::msg::aux2, code = 0;
    size_t next = 2;
    if (!what.empty() && (what[0] >= '0' && what[0] <= '9')) {
        code = static_cast<uint16_t>(number("aux code", what, 0, 0xFFFF));
    } else {
        const AuxName* n = nullptr;
        for (const AuxName& k : kAuxNames) n = what == k.name ? &k : n;
        if (n == nullptr)
            fail("unknown aux function '%.*s' (see ptzctl aux --help)", int(what.size()), what.data());
        id = n->id, code = n->code;
        if (n->last != 0) {
            if (a.size() < 3) fail("aux %s needs a number %d..%d", n->name, n->first, n->last);
            const long long k = number(n->name, a[2], n->first, n->last);
            if (n->code == 0 && k == 8) fail("output 8 is not an auxiliary output (1..7, 9)");
            code = static_cast<uint16_t>(code + k);
            next = 3;
        }
    }
    if (a.size() != next + 1 || (a[next] != "on" && a[next] != "off")) fail("aux needs 'on' or 'off' last");
    Msg m;
    return m.take(ptzmsg_aux(m.b, id, channel(a[0]), code, a[next] == "on"));
}

Bytes aux_entry(const Args& a) {
    // The daemon sends the preset of table entry V + 16 for these.
    if (a[2] != "on" && a[2] != "off") fail("aux-entry needs 'on' or 'off' last");
    const uint16_t ch = channel(a[0]);
    const auto value = static_cast<uint16_t>(number("aux value", a[1], 0, 112));
    Msg m;
    return m.take(ptzmsg_aux(m.b, ptz::msg::aux, ch, value, a[2] == "on"));
}

Bytes setpos(const Args& a) {
    const uint16_t ch = channel(a[0]);
    const auto pan = static_cast<uint32_t>(number("pan", a[1], 0, UINT32_MAX));
    const auto tilt = static_cast<uint32_t>(number("tilt", a[2], 0, UINT32_MAX));
    const auto zoom = static_cast<uint32_t>(number("zoom", a[3], 0, UINT32_MAX));
    Msg m;
    return m.take(ptzmsg_set_position(m.b, ch, pan, tilt, zoom));
}

Bytes getpos(const Args& a) {
    const uint16_t ch = channel(a[0]);
    int32_t tag = 0;
    if (a.size() == 3) {
        if (a[1] != "--requester") fail("unexpected argument '%.*s'", int(a[1].size()), a[1].data());
        tag = static_cast<int32_t>(number("requester", a[2], INT32_MIN, INT32_MAX));
    } else if (a.size() != 1) {
        fail("getpos takes CH [--requester TAG]");
    }
    Msg m;
    return m.take(ptzmsg_query_position(m.b, ch, tag));
}

Bytes zoombox(const Args& in) {
    Args a = in;
    const bool out = take(a, "--out");
    positional(a, 5, 5, "CH X Y W H [--out]");
    const uint16_t ch = channel(a[0]);
    const long long x = number("box left", a[1], 0, kPictureW - 1);
    const long long y = number("box top", a[2], 0, kPictureH - 1);
    const long long w = number("box width", a[3], 1, kPictureW - x);
    const long long h = number("box height", a[4], 1, kPictureH - y);
    Msg m;
    return m.take(ptzmsg_zoom_box(m.b, ch, static_cast<uint16_t>(x), static_cast<uint16_t>(y),
                                  static_cast<uint16_t>(w), static_cast<uint16_t>(h), out ? 1 : 0));
}

Bytes upgrade(const Args& a) {
    Datagram d;
    d.header(ptz::msg::upgrade, a[0]);
    const std::string path(a[1]);
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) fail("cannot read image %s: %s", path.c_str(), std::strerror(errno));
    struct stat st;
    if (::fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode))
        fail("image %s is not a regular file", path.c_str());
    if (static_cast<unsigned long long>(st.st_size) > kMaxImage)
        fail("image %s has %lld bytes; one datagram carries at most %zu", path.c_str(),
             static_cast<long long>(st.st_size), kMaxImage);
    d.b.resize(ptz::off::image + static_cast<size_t>(st.st_size));
    if (std::fread(d.at(ptz::off::image), 1, static_cast<size_t>(st.st_size), f) !=
        static_cast<size_t>(st.st_size))
        fail("cannot read image %s", path.c_str());
    std::fclose(f);
    ptz::wr32(d.at(ptz::off::image_size), static_cast<uint32_t>(st.st_size));
    // A small image must not end inside the fixed fields the daemon reads.
    if (d.b.size() < kCommandSize) d.b.resize(kCommandSize, 0);
    return d.done();
}

Bytes bypass(const Args& a) {
    Datagram d;
    d.header(ptz::msg::bypass, a[0]);
    d.b.resize(ptz::off::bypass_data);
    for (size_t i = 1; i < a.size(); ++i) hex_bytes(d.b, a[i]);
    const size_t count = d.b.size() - ptz::off::bypass_data;
    if (count > 0xFFFF) fail("bypass of %zu bytes; the count field holds at most 65535", count);
    ptz::wr16(d.at(ptz::off::action), static_cast<uint16_t>(count));
    if (d.b.size() < kCommandSize) d.b.resize(kCommandSize, 0);
    return d.done();
}

Bytes raw(const Args& a) {
    Bytes b;
    for (const std::string_view s : a) hex_bytes(b, s);
    if (b.size() > ptz::kMaxDatagram)
        fail("raw datagram of %zu bytes; the daemon takes at most %zu", b.size(), ptz::kMaxDatagram);
    return b;
}

Bytes stop(const Args& a) {
    Msg m;
    return m.take(ptzmsg_stop(m.b, channel(a[0])));
}

constexpr Command kCommands[] = {
    {"move", "CH PAN TILT [--cont] [--stop]",
     "Pan/tilt at signed speeds -64..63 (right and up positive, 0 holds the axis; 62..66 raw is the\n"
     "camera's dead band). --cont sends 0xE012 instead of 0xE011; --stop asks for a stop frame after it.",
     3, 5, [](const Args& a) { return move(a, false); }},
    {"move-raw", "CH X Y [--cont] [--stop]", "Pan/tilt with the raw x and y bytes 0..255, centred on 0x40.",
     3, 5, [](const Args& a) { return move(a, true); }},
    {"zoom", "CH in|out [SPEED] [--stop] | CH X [--stop]",
     "Zoom in (tele, speed 0..11) or out (wide, speed 0..4), default speed 1; or the raw x byte.", 2, 4,
     [](const Args& a) { return lens(a, ptz::act::zoom, "in", "out"); }},
    {"focus", "CH far|near [SPEED] [--stop] | CH X [--stop]",
     "Focus far (speed 0..11) or near (0..4); or raw x.", 2, 4,
     [](const Args& a) { return lens(a, ptz::act::focus, "far", "near"); }},
    {"iris", "CH open|close [SPEED] [--stop] | CH X [--stop]", "Iris open or close; or raw x.", 2, 4,
     [](const Args& a) { return lens(a, ptz::act::iris, "open", "close"); }},
    {"stop", "CH", "Stop all motion (0xE013).", 1, 1, stop},
    {"goto", "CH N", "Go to preset N (1..255) as the camera numbers it (0xE114).", 2, 2,
     [](const Args& a) { return preset(a, ptz::msg::goto_preset_direct, false); }},
    {"store", "CH N", "Store the current position as preset N (0xE120).", 2, 2,
     [](const Args& a) { return preset(a, ptz::msg::set_preset_direct, false); }},
    {"clear", "CH N", "Clear preset N (0xE122).", 2, 2,
     [](const Args& a) { return preset(a, ptz::msg::clear_preset_direct, false); }},
    {"goto-entry", "CH K",
     "Go to the preset held in entry K of the channel's preset table (0xE014; the daemon looks it up,\n"
     "and stops the camera first when the last command was a position command).",
     2, 2, [](const Args& a) { return preset(a, ptz::msg::goto_preset, true); }},
    {"store-entry", "CH K", "Store the preset of table entry K (0xE020).", 2, 2,
     [](const Args& a) { return preset(a, ptz::msg::set_preset, true); }},
    {"clear-entry", "CH K", "Clear the preset of table entry K (0xE022).", 2, 2,
     [](const Args& a) { return preset(a, ptz::msg::clear_preset, true); }},
    {"aux", "CH CODE|NAME [N] on|off", nullptr, 3, 4, aux},
    {"aux-entry", "CH V on|off",
     "Aux value V as the recorder sends it (0xE090): the daemon sends the preset of table entry V + 16.", 3,
     3, aux_entry},
    {"setpos", "CH PAN TILT ZOOM",
     "Set the absolute position (0xE0A4; units and bits used are the camera's).", 4, 4, setpos},
    {"getpos", "CH [--requester TAG]",
     "Ask for the position (0xE0A6); the report to the recorder carries TAG (0, 1 and 1000..60999 pass,\n"
     "others become -1).",
     1, 3, getpos},
    {"zoombox", "CH X Y W H [--out]",
     "Centre and fill the picture with the box at X,Y of W x H pixels of the 1920 x 1080 picture (0xE0AA);\n"
     "--out zooms out fully instead.",
     5, 6, zoombox},
    {"upgrade", "CH FILE", "Load the firmware image FILE (at most 393216 bytes) into the camera (0xF001).", 2,
     2, upgrade},
    {"bypass", "CH HEX...", "Write the bytes unchanged to the channel's line (0xE0A2).", 2, INT_MAX, bypass},
    {"raw", "HEX...", "Send these bytes as the whole datagram.", 1, INT_MAX, raw},
};

void aux_help() {
    std::puts(
        "usage: ptzctl aux CH CODE|NAME [N] on|off\n"
        "An aux code (0..65535) reaches the camera's aux table unchanged (0xE091). Names:");
    for (const AuxName& k : kAuxNames)
        std::printf("  %-15s %-3s %s\n", k.name, k.last != 0 ? "N" : "", k.help);
}

int usage(FILE* out) {
    std::fputs(
        "usage: ptzctl [--socket PATH | --board DIR] [--dry-run] COMMAND ARGS...\n"
        "Sends one command datagram to ptzsvr (default socket /tmp/ptzsvr.sock; --board DIR uses\n"
        "DIR/tmp/ptzsvr.sock of a host runner). --dry-run prints it instead. CH is the video channel\n"
        "0..63; numbers are decimal or 0x hex. 'ptzctl COMMAND --help' explains a command.\n",
        out);
    for (const Command& c : kCommands) std::fprintf(out, "  %-12s %s\n", c.name, c.synopsis);
    return out == stdout ? 0 : 2;
}

// --- dry run: the fields in words ---------------------------------------

const char* name_of(uint16_t id) {
    switch (id) {
        case ptz::msg::move: return "move";
        case ptz::msg::move_cont: return "continuous move";
        case ptz::msg::stop: return "stop";
        case ptz::msg::goto_preset: return "go to preset of table entry";
        case ptz::msg::set_preset: return "store preset of table entry";
        case ptz::msg::clear_preset: return "clear preset of table entry";
        case ptz::msg::aux: return "aux (recorder code)";
        case ptz::msg::aux2: return "aux";
        case ptz::msg::bypass: return "bypass";
        case ptz::msg::set_position: return "set position";
        case ptz::msg::query_position: return "get position";
        case ptz::msg::zoom_box: return "zoom box";
        case ptz::msg::goto_preset_direct: return "go to preset";
        case ptz::msg::set_preset_direct: return "store preset";
        case ptz::msg::clear_preset_direct: return "clear preset";
        case ptz::msg::upgrade: return "firmware upgrade";
        case ptz::msg::passthrough: return "passthrough";
        default: return "not a message the daemon takes";
    }
}

std::string axis(uint8_t v, const char* neg, const char* pos) {
    if (v >= 62 && v <= 66) return "still";
    return std::string(v < 62 ? neg : pos) + " " + std::to_string(v < 0x40 ? 0x40 - v : v - 0x40);
}

void describe(const Bytes& b) {
    const size_t shown = b.size() < 64 ? b.size() : 64;
    for (size_t i = 0; i < shown; ++i) std::printf("%02x%c", b[i], i + 1 == shown ? '\n' : ' ');
    if (shown < b.size()) std::printf("... (%zu bytes in all)\n", b.size());
    if (b.size() < kCommandSize) {
        std::printf("%zu bytes (the daemon reads the missing fields from its buffer as it stands)\n",
                    b.size());
        return;
    }
    const uint8_t* p = b.data();
    const uint16_t id = ptz::rd16(p), action = ptz::rd16(p + ptz::off::action);
    std::printf("msg_id 0x%04X %s, body_size %u, channel %u", id, name_of(id),
                ptz::rd32(p + ptz::off::body_size), ptz::rd16(p + ptz::off::channel));
    const uint8_t x = p[ptz::off::x], y = p[ptz::off::y];
    switch (id) {
        case ptz::msg::move:
        case ptz::msg::move_cont: {
            static const char* const kAction[] = {"pan/tilt", "zoom", "focus", "iris"};
            static const char* const kLensWords[3][2] = {{"out", "in"}, {"near", "far"}, {"close", "open"}};
            std::printf(", action %u %s, x 0x%02x y 0x%02x", action, action < 4 ? kAction[action] : "(none)",
                        x, y);
            if (action == ptz::act::pan_tilt)
                std::printf(" (pan %s, tilt %s)", axis(x, "left", "right").c_str(),
                            axis(y, "down", "up").c_str());
            else if (action < 4)
                std::printf(" (%s, speed %d)", kLensWords[action - 1][x > 0x40],
                            (x > 0x40 ? x - 0x40 : 0x40 - x) / 16);
            std::printf(", stop after action %u", p[ptz::off::stop_after_action]);
            break;
        }
        case ptz::msg::goto_preset:
        case ptz::msg::goto_preset_direct: std::printf(", preset %u", ptz::rd16(p + ptz::off::arg16)); break;
        case ptz::msg::set_preset:
        case ptz::msg::clear_preset:
        case ptz::msg::set_preset_direct:
        case ptz::msg::clear_preset_direct: std::printf(", preset %u", action); break;
        case ptz::msg::aux:
        case ptz::msg::aux2:
            std::printf(", code %u %s", ptz::rd16(p + ptz::off::arg16),
                        action == ptz::act::aux_on ? "on" : "off");
            break;
        case ptz::msg::set_position:
            std::printf(", pan %u tilt %u zoom %u", ptz::rd32(p + ptz::off::pan),
                        ptz::rd32(p + ptz::off::tilt), ptz::rd32(p + ptz::off::zoom));
            break;
        case ptz::msg::query_position:
            std::printf(", requester %d", static_cast<int32_t>(ptz::rd32(p + ptz::off::requester)));
            break;
        case ptz::msg::zoom_box:
            std::printf(", box at %u,%u size %u x %u, zoom out %u", ptz::rd16(p + ptz::off::box_left),
                        ptz::rd16(p + ptz::off::box_top), ptz::rd16(p + ptz::off::box_width),
                        ptz::rd16(p + ptz::off::box_height), p[ptz::off::box_zoom_out]);
            break;
        case ptz::msg::upgrade:
            std::printf(", image of %u bytes", ptz::rd32(p + ptz::off::image_size));
            break;
        case ptz::msg::bypass: std::printf(", %u bytes for the line", action); break;
        default: break;
    }
    std::putchar('\n');
}

// --- sending ---------------------------------------------------------------

int send(const std::string& path, const Bytes& b) {
    const int fd = ptzmsg_open(path.c_str());
    int err = errno;
    if (fd < 0 && err == ENAMETOOLONG) fail("socket path %s is too long", path.c_str());
    if (fd >= 0) {
        // A firmware image makes a datagram larger than the default send buffer.
        int size = static_cast<int>(b.size()) * 2 + 4096;
        if (::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size) != 0 || b.size() > 100000)
            ::setsockopt(fd, SOL_SOCKET, SO_SNDBUFFORCE, &size, sizeof size);  // root only; best effort
        const int sent = ptzmsg_send(fd, b.data(), b.size());
        err = errno;
        ::close(fd);
        if (sent == 0) return 0;
    }
    if (err == ENOENT || err == ECONNREFUSED)
        std::fprintf(stderr, "ptzctl: nobody listens on %s (%s)\n", path.c_str(), std::strerror(err));
    else if (err == EMSGSIZE || err == ENOBUFS)
        std::fprintf(stderr,
                     "ptzctl: %s: a datagram of %zu bytes is larger than this system allows (%s; raise "
                     "net.core.wmem_max or run as root)\n",
                     path.c_str(), b.size(), std::strerror(err));
    else
        std::fprintf(stderr, "ptzctl: %s: %s\n", path.c_str(), std::strerror(err));
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    std::string socket_path = "/tmp/ptzsvr.sock";
    bool dry = false;
    int i = 1;
    for (; i < argc && argv[i][0] == '-'; ++i) {
        const std::string_view o = argv[i];
        if (o == "--help" || o == "-h") return usage(stdout);
        if (o == "--dry-run") {
            dry = true;
        } else if ((o == "--socket" || o == "--board") && i + 1 < argc) {
            socket_path = std::string(argv[++i]) + (o == "--board" ? "/tmp/ptzsvr.sock" : "");
        } else {
            fail("unknown option '%s' (see ptzctl --help)", argv[i]);
        }
    }
    if (i == argc) return usage(stderr);
    const std::string_view name = argv[i];
    const Command* cmd = nullptr;
    for (const Command& c : kCommands) cmd = name == c.name ? &c : cmd;
    if (cmd == nullptr) fail("unknown command '%s' (see ptzctl --help)", argv[i]);
    const Args args(argv + i + 1, argv + argc);
    if (!args.empty() && (args[0] == "--help" || args[0] == "-h")) {
        if (cmd->build == aux) {
            aux_help();
        } else {
            std::printf("usage: ptzctl %s %s\n%s\n", cmd->name, cmd->synopsis, cmd->help);
        }
        return 0;
    }
    if (static_cast<int>(args.size()) < cmd->min_args || static_cast<int>(args.size()) > cmd->max_args)
        fail("%s takes %s", cmd->name, cmd->synopsis);
    const Bytes datagram = cmd->build(args);
    if (dry) {
        describe(datagram);
        return 0;
    }
    return send(socket_path, datagram);
}
