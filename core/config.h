// System variables and the recorder's camera configuration image.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/wire.h"

namespace ptz {

constexpr int kMaxChannels = 64;
constexpr size_t kChannelRecordSize = 4016;
constexpr uint32_t kConfValid = 0x12345678;

// Buffer A is the recorder's general configuration, 330328 bytes.
constexpr size_t kConfASize = 330328;
// Buffer B is the camera configuration. Its 64 channel records end at
// 257024 bytes, but the recorder core decides how much it copies. The camera
// section is a part of the recorder's configuration and never larger than
// the general image, so B gets the general size rounded up to the next
// 64 KiB: the recorder's driver cannot write past either buffer, and the
// preset look-ups that read on past a channel's record stay inside B.
constexpr size_t kConfBSize = 384 * 1024;
static_assert(kConfBSize >= kConfASize && kConfBSize >= kMaxChannels * kChannelRecordSize);

namespace cfg {
constexpr size_t receiver_type = 2921;
constexpr size_t port = 2990;
constexpr size_t baud = 2992;
constexpr size_t stop_bits = 2993;
constexpr size_t data_bits = 2994;
constexpr size_t parity = 2995;
constexpr size_t address = 2996;
constexpr size_t model_id = 2998;
constexpr size_t preset_table = 3006;
constexpr size_t preset_stride = 78;
}  // namespace cfg

struct SysVars {
    int video_ch_cnt = 16;
    int coc_type = 0;
    int rs485_type = 0;
    int model = 0;
    int support_ravel_oem = 0;
    int support_tosk_oem = 0;
    int face_detect = 0;
};

// Read access to buffer B. Channels are always below kMaxChannels here (the
// core refuses others before it looks anything up), so every fixed field is
// inside the image.
class ConfigImage {
public:
    uint8_t* a() { return a_; }
    uint8_t* b() { return b_; }
    uint32_t valid_word() const { return rd32(b_); }

    uint8_t u8(int ch, size_t field) const { return b_[rec(ch) + field]; }
    uint16_t u16(int ch, size_t field) const { return rd16(b_ + rec(ch) + field); }

    int port(int ch) const { return u8(ch, cfg::port); }
    int baud(int ch) const { return u8(ch, cfg::baud); }
    int stop_bits(int ch) const { return u8(ch, cfg::stop_bits); }
    int data_bits(int ch) const { return u8(ch, cfg::data_bits); }
    int parity(int ch) const { return u8(ch, cfg::parity); }
    uint16_t address(int ch) const { return u16(ch, cfg::address); }
    uint16_t model_id(int ch) const { return u16(ch, cfg::model_id); }
    int receiver_type(int ch) const { return u8(ch, cfg::receiver_type); }

    // Preset number of table entry k. Entries lie 78 bytes apart from the
    // channel's record and read on into the following records for large k;
    // false only when the entry lies past the end of the image.
    bool preset(int ch, uint32_t k, uint16_t& out) const {
        const size_t o = rec(ch) + cfg::preset_table + cfg::preset_stride * static_cast<size_t>(k);
        if (o + 2 > kConfBSize) return false;
        out = rd16(b_ + o);
        return true;
    }

private:
    static size_t rec(int ch) { return kChannelRecordSize * static_cast<size_t>(ch); }
    uint8_t a_[kConfASize]{};
    uint8_t b_[kConfBSize]{};
};

}  // namespace ptz
