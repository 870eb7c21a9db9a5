// The ptzcam protocol library where the cross-check cannot see it: failures (checksums, cut frames, noise),
// the cameras' answers and a garbage sweep. Built only into its own test program (see tools/ptzcam/proto).
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "proto.h"

namespace ptzcam {
namespace {

using Bytes = std::vector<uint8_t>;

// `b` followed by the sum of its bytes from `from` on, masked with `mask` and XORed with `x`: between them
// the checksums of most of the protocols.
Bytes sum(Bytes b, size_t from, uint8_t mask = 0xFF, uint8_t x = 0) {
    unsigned s = 0;
    for (size_t i = from; i < b.size(); ++i) s += b[i];
    b.push_back(uint8_t((s & mask) ^ x));
    return b;
}
Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
Bytes with(Bytes b, size_t at, uint8_t v) {
    b[at] = v;
    return b;
}
Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }
Bytes pd(uint8_t a, uint8_t c1, uint8_t c2, uint8_t d1, uint8_t d2) {  // Pelco-D: sum of bytes 1..5
    return sum({0xFF, a, c1, c2, d1, d2}, 1);
}
Bytes ext(uint8_t a, uint8_t cmd, const Bytes& data = Bytes(6)) {  // 11-byte FF frame: sum of bytes 1..9
    return sum(Bytes{0xFF, a, 0x00, cmd} + data, 1);
}
Bytes spdf(uint8_t a, uint16_t c, uint8_t d1, uint8_t d2, uint8_t d3) {  // AF, then NOT of the sum of 1..8
    Bytes b = sum({0xA0, a, 0, uint8_t(c >> 8), uint8_t(c), d1, d2, d3, 0xFF}, 1, 0xFF, 0xFF);
    b.insert(b.end() - 1, 0xAF);
    return b;
}

// Failures: a bad checksum covers its frame, an unknown command names its code, a cut frame waits for more
// (a cut coax record is truncated). Pelco-D's checksum and noise are read in the monitor's test, its cut
// frames in the answers' below.
TEST(PtzcamProto, Failures) {
    // clang-format off
    struct Row { const char* proto; Bytes bytes; Status status; size_t length; const char* reason; };
    const Row cases[] = {
        {"pelco-d", pd(1, 0, 0x57, 0, 0), Status::unknown_command, 7, "unknown command 0x57"},
        {"pelco-d", pd(1, 0x08, 0, 0, 0), Status::unknown_command, 7, "unknown command 0x800"},
        {"c1080pt", with(ext(1, 0x93), 10, 0), Status::bad_checksum, 11, "bad checksum"},
        {"c1080pt", {0xFF, 1, 0, 0x93, 0, 0, 0}, Status::need_more, 0, ""},
        {"pelco-p", {0xA0, 0, 0, 4, 1, 0, 0xAF, 0x00}, Status::bad_checksum, 8, "bad checksum"},  // XOR of 0..6: 0x0A
        {"samsung-e", sum({0xA0, 0xFE, 1, 3, 0x17, 0x05, 0xFF, 0xFF}, 1, 0xFF, 0xFF), Status::unknown_command, 9, "unknown command 0x17"},
        {"panasonic", text("\2AD01;GC7:9999999\3"), Status::unknown_command, 18, "unknown command GC7:9999999"},
        {"panasonic", text("\2AD01;"), Status::need_more, 0, ""},
        {"autodome", with(sum({0x86, 0, 0, 0x07, 0x04, 0x03}, 0, 0x7F), 6, 0), Status::bad_checksum, 7, "bad checksum"},
        {"vcc4", {0xFF, 0x30, 0x31, 0, 0x77, '0', 0xEF}, Status::unknown_command, 7, "unknown command 0x77"},
        {"vicon", {0x82, 0x23}, Status::unknown_command, 2, "unknown frame type 0x20"},
        {"sj", with(sum({0x40, 'C', 1, 0x04}, 0), 4, 0), Status::bad_checksum, 5, "bad checksum"},
        {"adi", {0x01, 0x83, 0x7D}, Status::bad_checksum, 3, "bad checksum"},
        {"adi", {0x01, 0x77, 0x88}, Status::unknown_command, 3, "unknown command 0x77"},
        {"spd", with(spdf(1, 2, 1, 0, 0), 10, 0), Status::bad_checksum, 11, "bad checksum"},
        {"spd", spdf(1, 0x1000, 0, 0, 0), Status::unknown_command, 11, "unknown command 0x1000"},
        {"ez", with(sum({0xE5, 0x10, 0x01, 0, 1, 0}, 0, 0xFF, 0xA5), 6, 0), Status::bad_checksum, 7, "bad checksum"},
        {"hunt", sum({0xFA, 0x33, 0, 1, 1, 0}, 0, 0x7F), Status::unknown_command, 7, "unknown command 0x33"},
        {"orx1000", sum({0x10, 0x21, 0x30, 0x00, 0x4F}, 0), Status::unknown_command, 6, "unknown command 0x4f"},
        {"scandome", with(sum({0xA5, 1, 0x10, 0x0D, 0x88, 0x55}, 0), 6, 0), Status::bad_checksum, 7, "bad checksum"},
        {"ptc107", sum(Bytes{0x02, 1, 'Z', 'Z'} + Bytes(10), 1) + Bytes{0x04}, Status::unknown_command, 16, "unknown command ZZ"},
        {"hikc", {0x02, 0xB5, 0, 0x14, 0, 0x02, 0, 0, 0, 0x00}, Status::bad_checksum, 10, "bad checksum"},  // 1..4 and 6..8: 0xC9
        {"hikc", {0x02, 0xB5, 0, 0x14}, Status::truncated, 4, "truncated"},
        {"hda", {0x10, 0, 0, 0}, Status::unknown_command, 4, "unknown command 0x10"},
        {"pelco-d-tvi", {0xFF, 0xFF, 3, 0, 0x04}, Status::truncated, 5, "truncated"},
    };
    // clang-format on
    for (const Row& r : cases) {
        SCOPED_TRACE(std::string(r.proto) + ": " + r.reason);
        const Protocol* p = find_protocol(r.proto);
        ASSERT_NE(p, nullptr);
        const Frame f = p->decode(r.bytes.data(), r.bytes.size());
        EXPECT_EQ(f.status, r.status);
        EXPECT_EQ(f.length, r.length);
        EXPECT_STREQ(f.reason, r.reason);
    }
}

// The cameras' answers, byte for byte, built with the checksum rules of the recorder's reply readers: the
// ones the cross-check does not read back through a driver (a tilt below the horizon, the acknowledgements).
TEST(PtzcamProto, Answers) {
    // pan, tilt (reported as 36000 - 1500 = 0x86C4), zoom, sensor, switches, temperature, humidity, dust 1
    // and 2, version bytes and the version result
    const HeadState h{9000, -1500, 4000, 0x12, 0x0304, -250, 55, 7, 9, {1, 2, 3}, 0x42};
    // clang-format off
    struct Row { const char* proto; Bytes request; int address; Bytes answer; };
    const Row cases[] = {
        {"pelco-d", pd(1, 0, 0x53, 0, 0), 1, pd(1, 0, 0x5B, 0x86, 0xC4)},
        {"pelco-d", pd(2, 0, 0x51, 0, 0), 1, {}},         // another camera's query
        {"pelco-d", pd(1, 0, 0x04, 0x20, 0), 1, {}},      // moves are not answered
        {"c1080pt-wonwoo", ext(7, 0x93), 7, ext(7, 0x9B, {0x23, 0x28, 0x86, 0xC4, 0x0F, 0xA0})},
        {"inos-v900", pd(1, 0, 0x03, 0, 5), 1, {}},
        {"smartfarm", pd(1, 0, 0, 0, 0), 1, pd(1, 0, 0, 0, 0)},
        {"ez", sum({0xE5, 0x10, 0x01, 0x00, 0x10, 0x00}, 0, 0xFF, 0xA5), 1, {0x5E, 0x10, 0x01, 0, 0, 0, 0, 0x6F ^ 0xA5}},
        {"ez", sum({0x5E, 0x10, 0x01, 0xFF, 0x70, 0x79, 0, 0, 0, 1}, 0), 1, {0x5E, 0x10, 0x01, 0x6F}},
        {"f2e", sum({0xFA, 0x50, 0x01, 0x80, 0, 0}, 0), 1, {0xCC, 0x50, 0x01, 0x1D}},
        {"spd", spdf(1, 0x0003, 4, 0xFF, 0xFF), 1, spdf(1, 0x0003, 4, 0xFF, 0xFF)},
        {"spd", spdf(1, 0x0007, 4, 0xFF, 0xFF), 1, {}},
        {"vcc4", {0xFF, 0x30, 0x31, 0, 0x8A, ':', 0xEF}, 1, {0xFE, 0x30, 0x31, 0, 0, 0xEF}},
        {"pelco-p", {0xA0, 0, 0, 0x51, 0, 0, 0xAF, 0x5E}, 1, {}},  // XOR of bytes 0..6
    };
    // clang-format on
    for (const Row& r : cases) {
        SCOPED_TRACE(std::string(r.proto) + " answer " + std::to_string(&r - cases));
        const Protocol* p = find_protocol(r.proto);
        ASSERT_NE(p, nullptr);
        for (size_t k = 1; k < r.request.size(); ++k)  // every cut of the request waits for the rest
            EXPECT_EQ(p->decode(r.request.data(), k).status, p->coax ? Status::truncated : Status::need_more);
        const Answer a = p->answer(p->decode(r.request.data(), r.request.size()), h, r.address);
        EXPECT_EQ(Bytes(a.bytes, a.bytes + a.size), r.answer);
    }
}

// Random bytes, biased towards the protocols' start bytes so that the decoders get past their hunt: a decoder
// never reads outside what it is given (the test program runs under the address sanitizer), always covers
// at least one byte unless it waits for more, and a stream is always consumed to its end. Then the upgrade
// stream's failure the cross-check never sees.
TEST(PtzcamProto, GarbageSweep) {
    static constexpr uint8_t kStarts[] = {0xFF, 0xA0, 0xA5, 0x02, 0xE5, 0xFA, 0x40, 0x50, 0x86, 0x87, 0x5E,
                                          0xAA, 0x82, 0x10, 0x30, 0x00, 0x03, 0xEF, 0xB5, 0xFE, 0x21, 0x31};
    std::mt19937 rng(20261122);
    auto fill = [&](size_t n) {
        Bytes b(n);
        for (uint8_t& v : b) v = rng() % 3 ? uint8_t(rng()) : kStarts[rng() % std::size(kStarts)];
        return b;
    };
    const HeadState head;
    for (const Protocol& p : protocols()) {
        SCOPED_TRACE(p.name);
        for (int round = 0; round < 4000; ++round) {
            const Bytes b = fill(rng() % 32);
            const Frame f = p.decode(b.data(), b.size());
            if (f.status == Status::need_more) {
                ASSERT_EQ(f.length, 0u);
            } else {
                ASSERT_GE(f.length, 1u);
                ASSERT_LE(f.length, b.size());
            }
            ASSERT_NE(std::memchr(f.meaning, 0, sizeof f.meaning), nullptr);
            ASSERT_NE(std::memchr(f.reason, 0, sizeof f.reason), nullptr);
            ASSERT_LE(p.answer(f, head, f.address).size, sizeof(Answer::bytes));
        }
        const Bytes stream = fill(4096);
        size_t at = 0;
        while (at < stream.size()) {
            const Frame f = p.decode(stream.data() + at, stream.size() - at);
            if (f.status == Status::need_more) break;
            at += f.length;
        }
        EXPECT_GT(at + 64, stream.size());  // only a frame's worth may be left waiting
    }
    // The upgrade stream, inside an image of 3000 bytes handed over in pieces of any size.
    UpgradeStream up;
    const Bytes size = pd(1, 0x58, 0x00, 0x0B, 0xB8), start = pd(1, 0x68, 0, 0x80, 0);
    up.decode(size.data(), size.size());
    up.decode(start.data(), start.size());
    size_t image = 0;
    for (int round = 0; round < 400; ++round) {
        const Bytes b = fill(rng() % 40);
        const Frame f = up.decode(b.data(), b.size());
        ASSERT_LE(f.length, b.size());
        if (std::strncmp(f.meaning, "image bytes", 11) == 0) image += f.length;
    }
    EXPECT_EQ(image, 3000u);  // the pieces cover the image, and no byte is counted twice

    // An empty image whose trailer, right behind the start address, names another sum.
    UpgradeStream empty;
    const Bytes size0 = pd(1, 0x58, 0, 0, 0), trailer{0x01, 0x65, 0x00};
    for (const Bytes* b : {&size0, &start}) empty.decode(b->data(), b->size());
    const Frame t = empty.decode(trailer.data(), trailer.size());
    EXPECT_EQ(t.status, Status::bad_checksum);
    EXPECT_STREQ(t.reason, "image checksum 0x00, trailer says 0x01");
}

// Every model the cross-check drives is looked up there (and its coax flag decides where it reads); these
// are the ones it does not drive.
TEST(PtzcamProto, Registry) {
    const std::pair<uint16_t, const char*> cases[] = {
        {769, "c1080b"}, {774, "c1080pt-wonwoo"}, {2054, nullptr}, {1280, nullptr}, {0, nullptr}};
    for (const auto& [model, name] : cases) {
        const Protocol* p = protocol_for_model(model);
        EXPECT_STREQ(p ? p->name : nullptr, name) << model;
    }
    EXPECT_EQ(find_protocol("nothing"), nullptr);
}

}  // namespace
}  // namespace ptzcam
