// Every protocol the recorder speaks, by the model_ids of its dispatch table. The usual line rate is the
// recorder's own default (9600 baud, 8 data bits, no parity, one stop bit): the channel configuration sets
// the real one, and no protocol here asks for another.
#include "detail.h"

namespace ptzcam {
namespace {
using namespace family;

Answer none(const Frame&, const HeadState&, int) { return {}; }

constexpr uint16_t kPelcoD[] = {5632, 0}, kNoModel[] = {0}, kC1080B[] = {769, 8962, 8963, 0},
                   kC1080PT[] = {770, 0}, kWonwoo[] = {771, 772, 773, 774, 0}, kInos[] = {2304, 0},
                   kInosV900[] = {2305, 0};

constexpr Protocol line(const char* name, const uint16_t* models, Decode* d, Reply* a = none) {
    return {name, models, 9600, 8, 'N', 1, false, d, a};
}
constexpr Protocol coax(const char* name, const uint16_t* models, Decode* d) {
    return {name, models, 0, 8, 'N', 1, true, d, none};
}

// Models that two entries share (Pelco-D and its TVI form) resolve to the first entry.
constexpr Protocol kProtocols[] = {
    line("pelco-d", kPelcoD, pelco_d, pelco_d_answer),
    coax("pelco-d-tvi", kPelcoD, pelco_d_tvi),
    line("c1080b", kC1080B, c1080b),
    line("c1080pt", kC1080PT, c1080pt, c1080pt_answer),
    line("c1080pt-wonwoo", kWonwoo, wonwoo, c1080pt_answer),
    line("inos", kInos, pelco_d, inos_answer),
    line("inos-v900", kInosV900, inos_v900, inos_v900_answer),
    line("smartfarm", kNoModel, pelco_d, smartfarm_answer),
};

}  // namespace

std::span<const Protocol> protocols() { return kProtocols; }

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

}  // namespace ptzcam
