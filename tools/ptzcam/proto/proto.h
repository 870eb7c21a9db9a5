// ptzcam protocol library: an independent reading of the camera protocols the recorder speaks, used by the
// camera emulator and the line monitor to name every frame on the wire and to answer like a camera would.
//
// Notes for the tools (additions to the agreed interface):
//  - Frame::pan_dir and tilt_dir give a move's direction (-1 left/down, +1 right/up) also when the frame
//    carries speed 0, which `pan` and `tilt` cannot tell from no movement (an HDA pan at x = 0, a HIK-C
//    move repeated from the centre).
//  - Frame::code holds the protocol's own command word or byte of the decoded frame (0 when it has none);
//    answer() looks at it, and the monitor may print it.
//  - HeadState carries, besides the position, the INOS-V900 sensor block, switch word and firmware version
//    that the device's status, sensor and version replies report.
//  - UpgradeStream follows a camera firmware transfer (handshake frames, 1024-byte image blocks, trailer),
//    which a stateless decode cannot: the image length comes from the handshake. Feed it the bytes of a
//    C1080B line; between transfers it decodes them as the C1080B protocol.
//  - answer() answers only frames whose address equals `address` (or frames that carry no address).
//  - Coax decoders take one transmit record: a record shorter than its frame is `truncated`, not
//    `need_more`. A bad checksum or an unknown command covers the whole frame.
//  - Where they are told apart from commands, decoders also name the camera's replies (Pelco-D position
//    replies, C1080PT and INOS-V900 replies, EZ/F2E and VC-C4 answers) as Kind::other.
//  - `meaning` uses one vocabulary for every protocol: "pan left 32", "tilt up 16" (no number when the
//    frame carries no speed), "stop", "zoom tele 3", "zoom wide", "focus far", "focus near 2",
//    "iris open", "iris close", "go to preset 5", "set preset 5", "clear preset 5", "aux 3 on",
//    "aux 3 off", "set position pan 9000 tilt 1500 zoom 4000", "query position", "menu",
//    "menu enter", "menu escape"; clauses of one frame are joined with ", ".
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace ptzcam {

enum class Status : uint8_t { ok, need_more, bad_checksum, unknown_command, truncated, noise };
enum class Kind : uint8_t {
    none,
    move,
    stop,
    zoom,
    focus,
    iris,
    goto_preset,
    set_preset,
    clear_preset,
    aux_on,
    aux_off,
    menu,
    set_position,
    query_position,
    query_other,
    other
};

// One frame read from the line (or one failure).
struct Frame {
    Status status = Status::need_more;
    size_t length = 0;  // bytes this result covers (noise: the bytes skipped before a possible frame start)
    int address = -1;   // camera address the frame names; -1 if none
    Kind kind = Kind::none;
    int pan = 0,
        tilt = 0;   // move speeds in the protocol's own units, signed: right/up positive, 0 = not moving
    int value = 0;  // zoom/focus/iris: -1/0/+1 (wide/near/close negative); preset or aux number
    uint32_t abs_pan = 0, abs_tilt = 0, abs_zoom = 0;  // set_position
    char meaning[96] = "";          // readable: "pan left 32, tilt up 16", "go to preset 5", "aux 3 on",
                                    // "set position pan 9000 tilt 1500 zoom 4000"
    char reason[48] = "";           // for failures: "bad checksum", "unknown command 0x51", "truncated"
    uint32_t code = 0;              // the protocol's own command word or byte
    int pan_dir = 0, tilt_dir = 0;  // -1 left/down, +1 right/up, also at speed 0; 0 = not moving
};

// Where the simulated head is, for answers.
struct HeadState {
    double pan = 0, tilt = 0, zoom = 0;  // pan/tilt in hundredths of a degree
    // INOS-V900 sensor and switch block, as the device reports it.
    uint8_t sensor = 0;
    uint16_t switches = 0;
    int temperature = 0, humidity = 0, dust1 = 0, dust2 = 0;
    uint8_t version[3] = {0, 0, 0};  // firmware version bytes
    uint8_t version_result = 0;      // the byte the recorder takes as the version
};

struct Answer {
    uint8_t bytes[64];
    size_t size = 0;
};

struct Protocol {
    const char* name;  // lower-case, e.g. "pelco-d", "pelco-p", "samsung-e", "hikc", "c1080pt", "inos-v900"
    const uint16_t* models;  // model_ids of the daemon's dispatch table that speak it (0-terminated)
    uint32_t baud;           // usual line rate, for the monitor's auto mode
    uint8_t data_bits;
    char parity;
    uint8_t stop_bits;  // 8,'N',1 ...
    bool coax;          // frames travel through the capture driver, not a serial line
    // Decodes the first frame at p[0..n). Never reads past n. `need_more` when a frame may still complete.
    Frame (*decode)(const uint8_t* p, size_t n);
    // The camera's answer to a decoded command frame addressed to `address`, or size 0 when the protocol
    // does not answer it (position replies, acknowledgements, status, sensor and version replies).
    Answer (*answer)(const Frame& f, const HeadState& head, int address);
};

std::span<const Protocol> protocols();
const Protocol* find_protocol(std::string_view name);
const Protocol* protocol_for_model(uint16_t model_id);

// Follows one camera firmware transfer on a C1080B line: the handshake frames, `size` image bytes sent in
// blocks of 1024, then the trailer (image checksum, 0x65, 0x00). Between transfers it decodes the line as
// the handshake only (any other frame is noise to it).
class UpgradeStream {
public:
    Frame decode(const uint8_t* p, size_t n);
    void reset() { *this = UpgradeStream{}; }
    bool in_image() const { return phase_ == Phase::image; }
    bool busy() const { return phase_ != Phase::idle; }  // past the handshake: image or trailer next

private:
    enum class Phase : uint8_t { idle, image, trailer };
    Phase phase_ = Phase::idle;
    uint32_t size_ = 0, done_ = 0;
    uint8_t sum_ = 0;
};

}  // namespace ptzcam
