// ptzconf: writes a camera configuration image (the recorder's buffer B) for
// a board directory, so that a board can be described in one command line.
//
//   ptzconf OUT CH:key=value,key=value ...
//   keys: port, model, addr, baud (index 0..7), data, parity, stop (selectors),
//         receiver (receiver type), preset<k> (preset table entry k)
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "common/wire.h"
#include "core/config.h"

namespace {

bool set_field(std::vector<uint8_t>& image, int ch, const std::string& key, long v) {
    using namespace ptz;
    uint8_t* r = image.data() + kChannelRecordSize * static_cast<size_t>(ch);
    struct Field {
        const char* name;
        size_t off;
        int width;
    };
    static constexpr Field kFields[] = {
        {"port", cfg::port, 1},      {"baud", cfg::baud, 1},
        {"stop", cfg::stop_bits, 1}, {"data", cfg::data_bits, 1},
        {"parity", cfg::parity, 1},  {"addr", cfg::address, 2},
        {"model", cfg::model_id, 2}, {"receiver", cfg::receiver_type, 1},
    };
    for (const Field& f : kFields) {
        if (key != f.name) continue;
        if (f.width == 1)
            r[f.off] = static_cast<uint8_t>(v);
        else
            wr16(r + f.off, static_cast<uint16_t>(v));
        return true;
    }
    if (key.rfind("preset", 0) == 0 && key.size() > 6) {
        const long k = std::strtol(key.c_str() + 6, nullptr, 10);
        const size_t o = kChannelRecordSize * static_cast<size_t>(ch) + cfg::preset_table +
                         cfg::preset_stride * static_cast<size_t>(k);
        if (k < 0 || o + 2 > image.size()) return false;
        wr16(image.data() + o, static_cast<uint16_t>(v));
        return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    static const char kUsage[] =
        "usage: ptzconf OUT CH:key=value,... (keys: port model addr baud data parity stop receiver "
        "preset<k>)\n";
    if (argc >= 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(kUsage, stdout);
        return 0;
    }
    // An option where the image's path belongs is a mistake, not a file name.
    if (argc < 2 || argv[1][0] == '-') {
        std::fputs(kUsage, stderr);
        return 2;
    }
    std::vector<uint8_t> image(ptz::kMaxChannels * ptz::kChannelRecordSize, 0);
    ptz::wr32(image.data(), ptz::kConfValid);
    for (int i = 2; i < argc; ++i) {
        std::string arg = argv[i];
        const size_t colon = arg.find(':');
        const int ch = static_cast<int>(std::strtol(arg.c_str(), nullptr, 10));
        if (colon == std::string::npos || ch < 0 || ch >= ptz::kMaxChannels) {
            std::fprintf(stderr, "ptzconf: bad channel in '%s'\n", argv[i]);
            return 2;
        }
        std::string rest = arg.substr(colon + 1);
        while (!rest.empty()) {
            const size_t comma = rest.find(',');
            const std::string kv = rest.substr(0, comma);
            rest = comma == std::string::npos ? "" : rest.substr(comma + 1);
            const size_t eq = kv.find('=');
            if (eq == std::string::npos ||
                !set_field(image, ch, kv.substr(0, eq), std::strtol(kv.c_str() + eq + 1, nullptr, 0))) {
                std::fprintf(stderr, "ptzconf: bad setting '%s'\n", kv.c_str());
                return 2;
            }
        }
    }
    FILE* f = std::fopen(argv[1], "wb");
    if (f == nullptr || std::fwrite(image.data(), 1, image.size(), f) != image.size() ||
        std::fclose(f) != 0) {
        std::perror(argv[1]);
        return 1;
    }
    return 0;
}
