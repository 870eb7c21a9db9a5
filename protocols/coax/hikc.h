#pragma once

#include <array>
#include <cstdint>

namespace ptz {

using HikcFrame = std::array<uint8_t, 10>;

// 02 B5 00 code d0 02 d1 d2 d3 sum; the sum covers bytes 1-4 and 6-8 only,
// leaving out both 0x02 bytes. The camera address is not carried.
constexpr HikcFrame hikc_frame(uint8_t code, uint8_t d0, uint8_t d1, uint8_t d2, uint8_t d3) {
    return {0x02, 0xB5, 0x00, code, d0,
            0x02, d1,   d2,   d3,   static_cast<uint8_t>(0xB5 + code + d0 + d1 + d2 + d3)};
}
static_assert(hikc_frame(0x14, 0, 0, 0, 0) ==
              HikcFrame{0x02, 0xB5, 0x00, 0x14, 0x00, 0x02, 0x00, 0x00, 0x00, 0xC9});

}  // namespace ptz
