#include "zoombox/zoombox.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace ptz::zoombox {
namespace {

enum class ZoomFn { probe, z20b, z30b, z10b };
enum class PtFn { probe, z20b, z20b_nowrap, ir_z30b, z10b };

// clang-format off
struct ZoomGolden { ZoomFn fn; double z; int w, h; double zoom; };
struct PtGolden { PtFn fn; int p, t; double z; int x, y; double pan, tilt; };
struct TraceGolden { size_t row; const char* text; };
// clang-format on

#include "tests/zoombox_golden.inc"

double zoom_of(const ZoomGolden& g, const Trace& tr) {
    switch (g.fn) {
        case ZoomFn::probe: return zoom_box_ratio(kProbe, g.z, g.w, g.h, tr);
        case ZoomFn::z20b: return zoom_box_ratio(kZ20B, g.z, g.w, g.h, tr);
        case ZoomFn::z30b: return getNewZoomValue_Z30B(g.z, g.w, g.h, tr);
        case ZoomFn::z10b: return getNewZoomValue_Z10B(g.z, g.w, g.h, tr);
    }
    return 0;
}

Position pt_of(const PtGolden& g, const Trace& tr) {
    using F = Position (*)(double, double, double, double, double, const Trace&);
    constexpr F fns[] = {getNewPtValue_Probe, getNewPtValue_Z20B, getNewPtValue_Z20B_nowrap,
                         getNewPtValue_IR_Z30B, getNewPtValue_Z10B};
    return fns[static_cast<int>(g.fn)](g.p, g.t, g.z, g.x, g.y, tr);
}

// Bit-for-bit: the camera and the recorder must agree on the last bit.
std::string hex(double v) {
    char s[64];
    std::snprintf(s, sizeof s, "%a", v);
    return s;
}
bool same_bits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

struct Captured {
    std::string text;
    Trace trace() {
        return {[](void* c, const char* t, size_t n) { static_cast<Captured*>(c)->text.append(t, n); }, this};
    }
};

// Each row against the reference, and its trace where the reference holds one.
TEST(ZoomBox, NewZoomMatchesTheReferenceBitForBit) {
    const TraceGolden* trace = std::begin(kZoomTraces);
    for (size_t i = 0; i < std::size(kZoomGolden); ++i) {
        const ZoomGolden& g = kZoomGolden[i];
        Captured out;
        const double got = zoom_of(g, out.trace());
        EXPECT_TRUE(same_bits(got, g.zoom)) << "row " << i << ": " << hex(got) << " != " << hex(g.zoom);
        if (trace != std::end(kZoomTraces) && trace->row == i) {
            EXPECT_EQ(out.text, (trace++)->text) << i;
        }
    }
    EXPECT_EQ(trace, std::end(kZoomTraces));
}

TEST(ZoomBox, NewPanTiltMatchesTheReferenceBitForBit) {
    const TraceGolden* trace = std::begin(kPtTraces);
    for (size_t i = 0; i < std::size(kPtGolden); ++i) {
        const PtGolden& g = kPtGolden[i];
        Captured out;
        const Position got = pt_of(g, out.trace());
        EXPECT_TRUE(same_bits(got.pan, g.pan) && same_bits(got.tilt, g.tilt) && same_bits(got.zoom, g.z))
            << "row " << i << ": " << hex(got.pan) << "," << hex(got.tilt) << " != " << hex(g.pan) << ","
            << hex(g.tilt);
        if (trace != std::end(kPtTraces) && trace->row == i) {
            EXPECT_EQ(out.text, (trace++)->text) << i;
        }
    }
    EXPECT_EQ(trace, std::end(kPtTraces));
}

// The cases the cameras' engineers check by hand.
TEST(ZoomBox, WorkedExamples) {
    // clang-format off
    struct Case { const char* name; double got, want; };
    const Case cases[] = {
        {"Probe full tele stays", zoom_box_ratio(kProbe, 5460, 192, 108), 5460},
        // Two steps from row 10 land on step 20, whose far row counts as zoom 0.
        {"Probe past its last row falls towards 0", zoom_box_ratio(kProbe, 2800, 960, 540), 5460 * (1 - 2 * (1 - 203.0 / 273))},
        {"pan wraps past 36000", getNewPtValue_Z10B(35990, 0, 0, 960 + 960.0 * 20 / 2766, 540).pan, 10},
        {"Z20B reads 35500 as -500, clamps -2276 to -800", getNewPtValue_Z20B(0, 35500, 0, 960, 0).tilt, 35200},
        {"IR Z30B keeps a negative result", getNewPtValue_IR_Z30B(0, 35500, 16384, 960, 140).tilt, 36000 - 500 + 117 * 0.59 * -400 / 540},
        // A raw Z10B tilt below the horizon is past the compensation table: compensation 1, not 1.97.
        {"Z10B 35500 keeps the pan offset", getNewPtValue_Z10B(0, 35500, 0, 1920, 540).pan, 2766},
        // From the second row on, (21 - idx) / 20 is 0: the compensation angle no longer moves the tilt.
        {"Probe at row 2 takes no compensation angle", getNewPtValue_Probe(0, 3000, 681.5, 1500, 300).tilt, 2690.6666666666665},
    };
    // clang-format on
    for (const Case& c : cases) EXPECT_NEAR(c.got, c.want, 1e-9) << c.name;
}

// The lens tables as the lens makers publish them, by their column sums: one value changed shows, and the
// reference cases above do not reach every row.
TEST(ZoomBox, LensTables) {
    const auto sums = [](LensTable t) {
        double zoom = 0, fov = 0;
        for (const LensRow& r : t) zoom += r.zoom, fov += r.fov;
        return std::pair{zoom, fov};
    };
    EXPECT_EQ(sums(kProbe), std::pair(57316.0, 10540.0));
    EXPECT_EQ(sums(kZ20B), std::pair(247541.0, 10988.0));
    EXPECT_EQ(sums(kZ30B), std::pair(377674.0, 12599.0));
    EXPECT_EQ(sums(kZ10B), std::pair(119567.0, 10444.0));
    double tilt = 0, angle = 0, value = 0;
    for (const TiltRow& r : kTiltCompExt) tilt += r.tilt, angle += r.angle, value += r.value;
    EXPECT_EQ(std::vector({tilt, angle, value}), std::vector({135000.0, 13474.0, 2614.0}));
}

}  // namespace
}  // namespace ptz::zoombox
