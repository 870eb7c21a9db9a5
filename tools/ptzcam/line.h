// What ptzcam's camera and monitor share: cutting the bytes of a line into
// frames with the protocol library, and printing each frame as one line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "proto.h"

namespace ptzcam {

using Bytes = std::vector<uint8_t>;

// One result cut from the line: a frame, or bytes that are not one.
struct Cut {
    const Protocol* proto = nullptr;
    Frame frame;
    Bytes bytes;
};

// Bytes arrive in any pieces; frames come out whole. With several protocols
// (the monitor's auto mode over a mixed line) each position is offered to all
// of them in order and the first that decodes a frame takes it.
class LineReader {
public:
    explicit LineReader(std::vector<const Protocol*> protos) : protos_(std::move(protos)) {}
    // Once `upgrade` has seen a transfer's handshake (the owner hands it the
    // frames of the camera being upgraded), the image and the trailer are cut
    // by it alone, named `as`: image bytes are no frames of any protocol.
    void follow(UpgradeStream* upgrade, const Protocol* as) { upgrade_ = upgrade, upgrade_as_ = as; }
    bool in_transfer() const { return upgrade_ != nullptr && upgrade_->busy(); }
    void feed(const uint8_t* p, size_t n) { buf_.insert(buf_.end(), p, p + n); }
    // The next result, or false while a frame may still complete. `flush`
    // (the line went quiet, the file ended) turns a partial frame into a
    // truncated one.
    bool next(Cut& out, bool flush);
    bool pending() const { return !buf_.empty(); }

private:
    void take(Cut& out, size_t n);  // the first n bytes (at most all) into `out`
    std::vector<const Protocol*> protos_;
    Bytes buf_;
    UpgradeStream* upgrade_ = nullptr;
    const Protocol* upgrade_as_ = nullptr;
};

// How many checksummed frames of `proto` the bytes hold, read with it alone.
bool checked(const Protocol& proto, Bytes frame);
int score(const Protocol& proto, const Bytes& stream);

// The serial protocols ranked by score over `stream`, best first; only those
// that decode at least a quarter as many frames as the best (and at least one).
std::vector<const Protocol*> rank(const Bytes& stream);

std::string hex(const uint8_t* p, size_t n);
std::string clock_now();  // "14:02:33.125"
// "14:02:33.125 pelco-d   addr 1   pan left 32  [ff 01 00 04 20 00 25]"
void print(FILE* out, const Cut& c, const char* note = "");

}  // namespace ptzcam
