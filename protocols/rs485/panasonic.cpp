// Panasonic ASCII protocol on RS-485.
//
// Line: STX "AD" address text ETX, the address as two decimal digits. Every
// command is preceded by the power/on-line frame ";RON:7"; moves, zoom, focus
// and stops are short control frames ";GC7:" + 7 characters, presets long
// control frames ";GCF:" + 15 characters. All frames at least 1 ms apart.
//
// No command state, and an action's stop_after_action byte is not looked at.
// Kept on purpose: the zoom and focus nibble below the centre is the speed
// OR 4, taken after the division, so it wraps (x = 0 gives 4 like x = 63,
// x = 16 gives 7); a move that points nowhere (on a diagonal through the
// centre) sends the direction character '0'.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "core/command.h"
#include "core/daemon.h"
#include "protocols/drivers.h"
#include "protocols/rs485/vocabulary.h"
#include "serial/serial.h"

namespace ptz {

namespace {

constexpr uint8_t kStx = 0x02, kEtx = 0x03;
constexpr uint32_t kMinWaitUs = 1000;
constexpr int kMaxClearReads = 100;
constexpr int kMaxStorePreset = 156;  // stored as n + 99 in two hex digits

template <size_t N>
using Text = std::array<char, N>;
using ShortBody = Text<7>;
using LongBody = Text<15>;

constexpr char hex_digit(int v) { return "0123456789ABCDEF"[v & 0xF]; }

// "%02d" of the address, of which the frame has room for two characters: a
// three-digit address loses its last digit.
constexpr Text<2> address_digits(uint8_t a) {
    if (a >= 100) return {static_cast<char>('0' + a / 100), static_cast<char>('0' + a / 10 % 10)};
    return {static_cast<char>('0' + a / 10), static_cast<char>('0' + a % 10)};
}

template <size_t H, size_t B>
constexpr std::array<uint8_t, 6 + (H - 1) + B> pana_frame(uint8_t addr, const char (&head)[H],
                                                          const Text<B>& body) {
    std::array<uint8_t, 6 + (H - 1) + B> f{};
    size_t i = 0;
    f[i++] = kStx;
    f[i++] = 'A';
    f[i++] = 'D';
    for (char ch : address_digits(addr)) f[i++] = static_cast<uint8_t>(ch);
    for (size_t k = 0; k + 1 < H; ++k) f[i++] = static_cast<uint8_t>(head[k]);
    for (char ch : body) f[i++] = static_cast<uint8_t>(ch);
    f[i] = kEtx;
    return f;
}

// Zoom and focus speed: 0..11 above the centre; below it the speed OR 4.
constexpr int lens_nibble(int x) {
    if (x > kCentre) return (x - kCentre) / 16;
    if (x < kCentre) return ((kCentre - x) / 16) | 4;
    return 0;
}
static_assert(lens_nibble(0) == 4 && lens_nibble(63) == 4 && lens_nibble(16) == 7 && lens_nibble(0xFF) == 11);

constexpr char direction_char(Dir dir) {
    switch (dir) {
        case Dir::left_up: return '9';
        case Dir::left_down: return 'F';
        case Dir::right_up: return 'B';
        case Dir::right_down: return 'D';
        case Dir::left: return '8';
        case Dir::right: return 'C';
        case Dir::down: return 'E';
        case Dir::up: return 'A';
        case Dir::none: break;
    }
    return '0';
}

// One hex digit: a quarter of the distance from the centre, at most 15.
constexpr int axis_speed(int v) { return std::min(speed_of(v) / 4, 15); }

constexpr ShortBody pan_tilt_body(int x, int y) {
    return {'9',
            '0',
            '2',
            '8',
            direction_char(classify_xy(x, y)),
            hex_digit(axis_speed(x)),
            hex_digit(axis_speed(y))};
}
constexpr ShortBody zoom_body(int x) { return {'9', '0', '2', hex_digit(lens_nibble(x)), '1', '0', '0'}; }
constexpr ShortBody focus_body(int x) { return {'9', '0', '3', '4', '1', '0', hex_digit(lens_nibble(x))}; }
constexpr ShortBody kPanTiltStop{'9', '0', '2', '8', '1', '0', '0'};
constexpr ShortBody kLensStop{'9', '0', '3', '4', '0', '0', '8'};
constexpr ShortBody kStorePresetLead{'D', '8', '1', '0', '0', '0', '0'};

// Twelve fixed characters, the preset as two hex digits, '0'.
constexpr LongBody preset_body(const char (&head)[13], uint8_t n) {
    LongBody b{};
    for (size_t i = 0; i < 12; ++i) b[i] = head[i];
    b[12] = hex_digit(n >> 4);
    b[13] = hex_digit(n);
    b[14] = '0';
    return b;
}

constexpr auto as_bytes(const char* s) {
    std::array<uint8_t, 18> out{};
    for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<uint8_t>(s[i]);
    return out;
}
static_assert(pana_frame(7, ";GC7:", pan_tilt_body(0, 64)) == as_bytes("\x02"
                                                                       "AD07;GC7:90288F0\x03"));
static_assert(pana_frame(123, ";GC7:", zoom_body(0x40)) == as_bytes("\x02"
                                                                    "AD12;GC7:9020100\x03"));
static_assert(pana_frame(1, ";RON:7", Text<0>{}).size() == 12 &&
              pana_frame(1, ";GCF:", LongBody{}).size() == 26);

template <size_t N>
long pana_write(Daemon& d, int port, const std::array<uint8_t, N>& f) {
    return write_serial_block(d, port, f.data(), static_cast<int>(N), kMinWaitUs);
}

long send_short(Daemon& d, int port, uint8_t addr, const ShortBody& body) {
    return pana_write(d, port, pana_frame(addr, ";GC7:", body));
}

// Long frames go out on an empty receive side: whatever is left on the line
// from earlier frames is read and dropped first.
long send_long(Daemon& d, int port, uint8_t addr, const LongBody& body) {
    int count = 0;
    uint8_t b = 0;
    while (count < kMaxClearReads && port_read(d, port, &b, 1) != kNothingRead) ++count;
    d.log("pana_clear_recv : %d\n", count);
    return pana_write(d, port, pana_frame(addr, ";GCF:", body));
}

void handle_action(Daemon& d, int port, uint8_t addr, Cmd c) {
    const int x = c.x();
    switch (c.action()) {
        case act::zoom: send_short(d, port, addr, zoom_body(x)); break;
        case act::pan_tilt:
            d.log("pan_spd : %d, %d\n", std::abs(kCentre - x), axis_speed(x));
            send_short(d, port, addr, pan_tilt_body(x, c.y()));
            break;
        case act::focus: send_short(d, port, addr, focus_body(x)); break;
        default: break;
    }
}

}  // namespace

void PTZAction_Panasonic(Daemon& d, int port, uint16_t addr16, uint8_t* cmd) {
    const Cmd c{cmd};
    const uint8_t addr = static_cast<uint8_t>(addr16);
    pana_write(d, port, pana_frame(addr, ";RON:7", Text<0>{}));
    switch (c.msg_id()) {
        case msg::move:
        case msg::move_cont: handle_action(d, port, addr, c); break;
        case msg::stop:
            send_short(d, port, addr, kPanTiltStop);
            send_short(d, port, addr, kLensStop);
            break;
        // Preset numbers past what two hex digits hold are not expected; the
        // frame carries the low byte.
        case msg::goto_preset:
            send_long(d, port, addr, preset_body("2021400:2022", static_cast<uint8_t>(c.arg16() - 1)));
            break;
        case msg::set_preset:
            // The camera keeps presets 1 to 156 at 100 to 255; a larger one
            // cut to two digits would be read as a recall of another preset
            // and move the camera, so it is refused on the line.
            if (c.action() > kMaxStorePreset) {
                d.log("pana_set_preset : preset %d out of range(1~%d), not stored\n", c.action(),
                      kMaxStorePreset);
                break;
            }
            send_short(d, port, addr, kStorePresetLead);
            send_long(d, port, addr, preset_body("00219F0:0022", static_cast<uint8_t>(c.action() + 99)));
            break;
        default: break;
    }
}

}  // namespace ptz
