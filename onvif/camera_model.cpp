#include "onvif/camera_model.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "zoombox/zoombox.h"

namespace ptz::onvif {

namespace {

// Hundredths of a degree; Pelco-D heads look from straight up (-9000) to
// straight down (9000), the lens over the simulated and C1080 lenses' range.
constexpr AbsUnits kPelcoD{{0, 36000}, {-9000, 9000}, {0, 16384}, true};
// The C1080PT's Probe lens; its driver reports no tilt above the horizon.
constexpr AbsUnits kProbe{{0, 36000}, {0, 9000}, {273, 5460}, true};
// WONWOO heads: the Z20B and IR Z30B look 8 degrees above the horizon.
constexpr AbsUnits kWonwoo{{0, 36000}, {0, 9000}, {0, 16384}, true};
constexpr AbsUnits kWonwooUp{{0, 36000}, {-800, 9000}, {0, 16384}, true};
// EZ and F2E: tenths of a degree.
constexpr AbsUnits kEz{{0, 3600}, {0, 900}, {0, 16384}, false};

// Pelco-D dialects: 33 and 34 are flip and pan zero; from 88 on the numbers
// switch IR, limits, the menu and the scans.
constexpr PresetRange kPelcoPresets{1, 80, true};
// WONWOO heads keep their tours, scans and patterns from preset 71 on.
constexpr PresetRange kWonwooPresets{1, 64, true};
// C1080B: recalled through the aux fallback, which is a go-to only for
// codes 10..109 that name no function of their own.
constexpr PresetRange kC1080bPresets{10, 87, true};
constexpr PresetRange kByte{1, 64, false};
constexpr PresetRange kNone{0, 0, false};

constexpr uint16_t kPelcoAux = aux_outputs | aux_pelco_fn | aux_tours | aux_patterns | aux_scans;

struct Row {
    uint16_t model;
    const char* protocol;
    uint8_t pt_max = 63, pt_min = 3, zoom_max = 63;
    const AbsUnits* abs = nullptr;
    Lens lens = Lens::none;
    PresetRange presets = kByte;
    Recall recall = Recall::direct;
    bool accumulates = false, stop_by_action = false;
    uint16_t aux = 0;
};

constexpr ModelTraits traits(const Row& r) {
    return {r.model, r.protocol, true,     r.pt_max,      r.pt_min,         r.zoom_max, r.abs,
            r.lens,  r.presets,  r.recall, r.accumulates, r.stop_by_action, r.aux};
}

constexpr Row kC1080b{.model = 0,
                      .protocol = "C1080B",
                      .presets = kC1080bPresets,
                      .recall = Recall::aux_fallback,
                      .stop_by_action = true,
                      .aux = aux_outputs | aux_pelco_fn | aux_patterns4};
constexpr Row kEzRow{.model = 0,
                     .protocol = "EZ",
                     .abs = &kEz,
                     .presets = {1, 128, false},
                     .aux = aux_tours | aux_patterns | aux_scans};

// The WONWOO modes differ only in their lens and how far up the head looks.
constexpr Row wonwoo(uint16_t model, const char* protocol, const AbsUnits* abs, Lens lens) {
    return {.model = model,
            .protocol = protocol,
            .abs = abs,
            .lens = lens,
            .presets = kWonwooPresets,
            .aux = aux_outputs | aux_tours | aux_patterns | aux_scans | aux_wiper};
}

constexpr Row with(Row r, uint16_t model, const char* protocol = nullptr) {
    r.model = model;
    if (protocol != nullptr) r.protocol = protocol;
    return r;
}

// Sorted by model id. Speeds: most protocols carry the distance from 0x40
// (or a fixed multiple of it) and reach their top ordinary speed at 63, one
// short of the turbo or wrapped value at 64; HUNT's four-fold speed tops at
// 239 (distance 59), HIK-C's doubled one at 63 (distance 32), Panasonic's
// quarter at 15 (distance 60), the SPD variant's shaped speed at 56.
// Samsung-E's dead band reaches 16 from the centre.
constexpr ModelTraits kModels[] = {
    traits({.model = 0x100, .protocol = "ADI"}),
    traits({.model = 0x200, .protocol = "Philips AutoDome"}),
    traits({.model = 0x201, .protocol = "Philips AutoDome (fixed speed)"}),
    traits({.model = 0x300, .protocol = "Canon VC-C4", .presets = {1, 8, false}}),
    traits(with(kC1080b, 0x301)),
    traits({.model = 0x302,
            .protocol = "C1080PT",
            .abs = &kProbe,
            .lens = Lens::probe,
            .presets = kPelcoPresets,
            .aux = kPelcoAux}),
    traits(wonwoo(0x303, "C1080PT WONWOO (Z20B)", &kWonwoo, Lens::z20b_nowrap)),
    traits(wonwoo(0x304, "C1080PT WONWOO (Z20B)", &kWonwooUp, Lens::z20b)),
    traits(wonwoo(0x305, "C1080PT WONWOO (Z10B)", &kWonwoo, Lens::z10b)),
    traits(wonwoo(0x306, "C1080PT WONWOO (IR Z30B)", &kWonwooUp, Lens::ir_z30b)),
    traits({.model = 0x801, .protocol = "HUNT", .pt_max = 59, .zoom_max = 59}),
    traits({.model = 0x802, .protocol = "ScanDome"}),
    traits({.model = 0x804, .protocol = "ScanDome (HTX keyboard)", .presets = kNone}),
    traits({.model = 0x808, .protocol = "HIK-C", .pt_max = 32}),
    traits({.model = 0x809, .protocol = "HDA"}),
    traits({.model = 0x900, .protocol = "INOS", .presets = kNone}),
    traits({.model = 0x1200, .protocol = "STX-framed", .presets = kNone}),
    traits({.model = 0x1300, .protocol = "three-byte", .presets = {1, 63, false}}),
    traits(with(kEzRow, 0x1400)),
    traits({.model = 0x1500, .protocol = "ORX1000", .presets = kNone}),
    traits({.model = 0x1600,
            .protocol = "Pelco-D",
            .abs = &kPelcoD,
            .presets = kPelcoPresets,
            .accumulates = true,
            .aux = kPelcoAux | aux_wiper}),
    traits({.model = 0x1601, .protocol = "Pelco-P", .presets = kPelcoPresets, .aux = aux_outputs}),
    traits({.model = 0x1602, .protocol = "Panasonic", .pt_max = 60, .presets = {1, 156, false}}),
    traits({.model = 0x1900, .protocol = "SPD"}),
    traits({.model = 0x1901, .protocol = "SRX-100B", .presets = kNone}),
    traits({.model = 0x1903, .protocol = "SJ", .presets = {1, 7, false}}),
    traits({.model = 0x1904, .protocol = "Samsung-E", .pt_min = 17, .presets = {1, 128, false}}),
    traits({.model = 0x2200, .protocol = "letter-command"}),
    traits({.model = 0x2201, .protocol = "SPD (sequences)", .pt_max = 56}),
    traits({.model = 0x2202, .protocol = "Vicon"}),
    traits(with(kEzRow, 0x2300, "F2E")),
    traits(with(kEzRow, 0x2301, "F2E")),
    traits(with(kC1080b, 0x2302)),
    traits(with(kC1080b, 0x2303)),
};

constexpr bool sorted() {
    for (size_t i = 1; i < std::size(kModels); ++i)
        if (kModels[i - 1].model >= kModels[i].model) return false;
    return true;
}
static_assert(sorted(), "models are searched by bisection");

constexpr ModelTraits kTvi = traits({.model = 0x1600, .protocol = "Pelco-D (TVI coax)", .presets = kNone});
constexpr ModelTraits kCoaxAuto =
    traits({.model = 0, .protocol = "coax automatic", .pt_max = 32, .presets = kNone});

uint8_t axis_byte(double v, int lo, int hi) {
    if (!(std::fabs(v) > 0)) return 0x40;  // NaN moves nothing either
    const double a = std::min(std::fabs(v), 1.0);
    const int d = std::clamp(static_cast<int>(std::lround(a * hi)), lo, hi);
    return static_cast<uint8_t>(v < 0 ? 0x40 - d : 0x40 + d);
}

// Linear between the generic range [glo, ghi] and the units [s.lo, s.hi];
// `flip` when the units grow the other way.
int32_t to_units(double g, double glo, double ghi, Span s, bool flip) {
    double f = (std::clamp(g, glo, ghi) - glo) / (ghi - glo);
    if (flip) f = 1 - f;
    return static_cast<int32_t>(std::lround(s.lo + f * (s.hi - s.lo)));
}
double to_generic(int32_t u, double glo, double ghi, Span s, bool flip) {
    double f = (static_cast<double>(std::clamp(u, s.lo, s.hi)) - s.lo) / (s.hi - s.lo);
    if (flip) f = 1 - f;
    return glo + f * (ghi - glo);
}

struct AuxName {
    const char* name;
    uint16_t code;
    bool on;
    uint16_t set;
};

constexpr AuxName kAuxNames[] = {
    {"tt:Wiper|On", 502, true, aux_wiper},       {"tt:IRLamp|On", 588, true, aux_pelco_fn},
    {"tt:IRLamp|Off", 588, false, aux_pelco_fn}, {"Flip", 533, true, aux_pelco_fn},
    {"PanZero", 534, true, aux_pelco_fn},        {"AutoScan", 599, true, aux_pelco_fn},
    {"FrameScan", 598, true, aux_pelco_fn},      {"RandomScan", 597, true, aux_pelco_fn},
    {"StopScan", 596, true, aux_pelco_fn},
};

}  // namespace

const ModelTraits* find_model(uint16_t model_id) {
    const auto it = std::lower_bound(std::begin(kModels), std::end(kModels), model_id,
                                     [](const ModelTraits& t, uint16_t m) { return t.model < m; });
    return (it != std::end(kModels) && it->model == model_id) ? it : nullptr;
}

const ModelTraits& pelco_d_tvi() { return kTvi; }
const ModelTraits& coax_automatic() { return kCoaxAuto; }

ChannelInfo channel_info(int channel, const ModelTraits& t) {
    ChannelInfo c;
    c.channel = channel;
    c.model_id = t.model;
    c.protocol = t.protocol;
    c.zoom = t.zoom;
    c.absolute = t.abs != nullptr;
    c.fov_relative = t.abs != nullptr && t.lens != Lens::none;
    c.home = t.abs != nullptr;
    c.max_presets = max_presets(t);
    c.aux = aux_names(t);
    return c;
}

uint8_t pt_byte(const ModelTraits& t, double v) { return axis_byte(v, t.pt_min, t.pt_max); }
uint8_t zoom_byte(const ModelTraits& t, double v) { return axis_byte(v, 1, t.zoom_max); }

// Pan is an angle: its span is the full turn, and the turn itself is 0 again.
int32_t pan_units(const AbsUnits& a, double g) {
    return std::min(to_units(g, -1, 1, a.pan, false), a.pan.hi - 1);
}
int32_t tilt_units(const AbsUnits& a, double g) { return to_units(g, -1, 1, a.tilt, true); }
int32_t zoom_units(const AbsUnits& a, double g) { return to_units(g, 0, 1, a.zoom, false); }
double pan_generic(const AbsUnits& a, int32_t u) { return to_generic(u, -1, 1, a.pan, false); }
double tilt_generic(const AbsUnits& a, int32_t u) { return to_generic(u, -1, 1, a.tilt, true); }
double zoom_generic(const AbsUnits& a, int32_t u) { return to_generic(u, 0, 1, a.zoom, false); }

uint32_t to_wire(int32_t units) { return static_cast<uint32_t>(units < 0 ? 36000 + units : units); }
int32_t tilt_from_wire(uint32_t v) {
    const int32_t s = static_cast<int32_t>(v & 0xFFFF);
    return s > 18800 && s <= 36000 && v <= 36000 ? s - 36000 : static_cast<int32_t>(v);
}

bool preset_usable(const ModelTraits& t, int n) {
    if (n < t.presets.lo || n > t.presets.hi || t.presets.hi == 0) return false;
    return !(t.presets.skip_functions && (n == 33 || n == 34));
}

int max_presets(const ModelTraits& t) {
    int n = 0;
    for (int i = t.presets.lo; i <= t.presets.hi && t.presets.hi > 0; ++i) n += preset_usable(t, i) ? 1 : 0;
    return n;
}

std::vector<std::string> aux_names(const ModelTraits& t) {
    std::vector<std::string> out;
    for (const AuxName& a : kAuxNames)
        if (t.aux & a.set) out.emplace_back(a.name);
    if (t.aux & aux_outputs) {
        for (int i : {1, 2, 3, 4, 5, 6, 7, 9}) {
            out.push_back("AuxOutput" + std::to_string(i) + "|On");
            out.push_back("AuxOutput" + std::to_string(i) + "|Off");
        }
    }
    const struct {
        uint16_t set;
        const char* name;
        int count;
    } numbered[] = {{aux_tours, "Tour", 8},
                    {aux_patterns, "Pattern", 8},
                    {aux_patterns4, "Pattern", 4},
                    {aux_scans, "Scan", 8}};
    for (const auto& n : numbered)
        if (t.aux & n.set)
            for (int i = 1; i <= n.count; ++i) out.push_back(n.name + std::to_string(i));
    return out;
}

bool aux_code(const ModelTraits& t, const std::string& name, uint16_t& code, bool& on) {
    const auto names = aux_names(t);
    if (std::find(names.begin(), names.end(), name) == names.end()) return false;
    for (const AuxName& a : kAuxNames) {
        if (name == a.name) {
            code = a.code, on = a.on;
            return true;
        }
    }
    // The numbered ones: a prefix, a number, and for outputs "|On"/"|Off".
    const struct {
        const char* prefix;
        uint16_t base;
    } kNumbered[] = {{"AuxOutput", 0}, {"Tour", 710}, {"Pattern", 550}, {"Scan", 720}};
    for (const auto& n : kNumbered) {
        const std::string p = n.prefix;
        if (name.compare(0, p.size(), p) != 0) continue;
        const int i = std::atoi(name.c_str() + p.size());
        code = static_cast<uint16_t>(n.base + i);
        on = name.find("|Off") == std::string::npos;
        return true;
    }
    return false;
}

bool fov_target(Lens lens, const uint32_t pos[3], double x, double y, uint32_t out[3]) {
    using namespace zoombox;
    // The geometry moves a point at the picture's edge (960 pixels from the
    // centre) by the lens table's whole field of view, the picture's width:
    // the edge of the picture, half that angle away, is where the geometry
    // puts the point 480 pixels out. ONVIF's x = 1 is that edge.
    const double px = 960 + 480 * std::clamp(x, -1.0, 1.0);
    const double py = 540 - 270 * std::clamp(y, -1.0, 1.0);
    const double p = pos[0], t = pos[1], z = pos[2];
    Position r{};
    switch (lens) {
        case Lens::probe: r = getNewPtValue_Probe(p, t, z, px, py); break;
        case Lens::z20b: r = getNewPtValue_Z20B(p, t, z, px, py); break;
        case Lens::z20b_nowrap: r = getNewPtValue_Z20B_nowrap(p, t, z, px, py); break;
        case Lens::z10b: r = getNewPtValue_Z10B(p, t, z, px, py); break;
        case Lens::ir_z30b: r = getNewPtValue_IR_Z30B(p, t, z, px, py); break;
        case Lens::none: return false;
    }
    if (!std::isfinite(r.pan) || !std::isfinite(r.tilt)) return false;
    out[0] = static_cast<uint32_t>(std::lround(r.pan)) % 36000;
    out[1] = static_cast<uint32_t>(std::lround(r.tilt));
    out[2] = pos[2];
    return true;
}

}  // namespace ptz::onvif
