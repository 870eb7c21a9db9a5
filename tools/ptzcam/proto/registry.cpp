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
                   kInosV900[] = {2305, 0}, kPelcoP[] = {5633, 0}, kSamsungE[] = {6404, 0},
                   kPanasonic[] = {5634, 0}, kAutodome[] = {512, 513, 0}, kVcc4[] = {768, 0},
                   kVicon[] = {8706, 0}, kSj[] = {6403, 0}, kSrx[] = {6401, 0}, kAdi[] = {256, 0},
                   kStx[] = {4608, 0}, kThreeByte[] = {4864, 0}, kLetter[] = {8704, 0}, kEz[] = {5120, 0},
                   kF2e[] = {8960, 8961, 0}, kSpd[] = {6400, 0}, kSpdVariant[] = {8705, 0},
                   kScandome[] = {2050, 0}, kScandome2[] = {2052, 0}, kOrx[] = {5376, 0}, kHunt[] = {2049, 0},
                   kHikc[] = {2056, 0}, kHda[] = {2057, 0};

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
    line("pelco-p", kPelcoP, pelco_p),
    line("samsung-e", kSamsungE, samsung_e),
    line("panasonic", kPanasonic, panasonic),
    line("autodome", kAutodome, autodome),
    line("vcc4", kVcc4, vcc4, vcc4_answer),
    line("vicon", kVicon, vicon),
    line("sj", kSj, sj),
    line("srx-100b", kSrx, srx100b),
    line("adi", kAdi, adi),
    line("stx-framed", kStx, stx),
    line("three-byte", kThreeByte, three_byte),
    line("letter-command", kLetter, letter),
    line("ez", kEz, ez, ez_answer),
    line("f2e", kF2e, f2e, f2e_answer),
    line("spd", kSpd, spd, spd_answer),
    line("spd-variant", kSpdVariant, spd_variant),
    line("scandome", kScandome, scandome),
    line("scandome2", kScandome2, scandome2),
    line("orx1000", kOrx, orx1000),
    line("hunt", kHunt, hunt),
    line("ptc107", kNoModel, ptc107_203),
    line("ptc203", kNoModel, ptc107_203),
    coax("hikc", kHikc, hikc),
    coax("hda", kHda, hda),
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
