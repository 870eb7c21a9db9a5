#include "proto.h"

namespace ptzcam {

std::span<const Protocol> protocols() { return {}; }

const Protocol* find_protocol(std::string_view name) {
    for (const Protocol& p : protocols())
        if (name == p.name) return &p;
    return nullptr;
}

const Protocol* protocol_for_model(uint16_t model_id) {
    for (const Protocol& p : protocols())
        for (const uint16_t* m = p.models; *m; ++m)
            if (*m == model_id) return &p;
    return nullptr;
}

Frame UpgradeStream::decode(const uint8_t*, size_t) { return {}; }

}  // namespace ptzcam
