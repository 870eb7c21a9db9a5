#include "zoombox/zoombox.h"

#include <gtest/gtest.h>

#include <cstdio>
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
    if (g.fn == ZoomFn::z30b) return getNewZoomValue_Z30B(g.z, g.w, g.h, tr);
    if (g.fn == ZoomFn::z10b) return getNewZoomValue_Z10B(g.z, g.w, g.h, tr);
    return zoom_box_ratio(g.fn == ZoomFn::probe ? LensTable(kProbe) : kZ20B, g.z, g.w, g.h, tr);
}

Position pt_of(const PtGolden& g, const Trace& tr) {
    using F = Position (*)(double, double, double, double, double, const Trace&);
    constexpr F fns[] = {getNewPtValue_Probe, getNewPtValue_Z20B, getNewPtValue_Z20B_nowrap,
                         getNewPtValue_IR_Z30B, getNewPtValue_Z10B};
    return fns[static_cast<int>(g.fn)](g.p, g.t, g.z, g.x, g.y, tr);
}

// The values as "%a" writes them: every bit shows, as the camera and the recorder must agree on the last.
std::string hex(std::initializer_list<double> values) {
    std::string s;
    char v[32];
    for (double x : values) s += std::string(v, static_cast<size_t>(std::snprintf(v, sizeof v, "%a ", x)));
    return s;
}

struct Captured {
    std::string text;
    Trace trace() {
        return {[](void* c, const char* t, size_t n) { static_cast<Captured*>(c)->text.append(t, n); }, this};
    }
};

// Each row against the reference, bit for bit, and its trace where the reference holds one.
template <class Golden, size_t N, size_t T, class Result>
void replay(const Golden (&rows)[N], const TraceGolden (&traces)[T], Result result) {
    const TraceGolden* trace = traces;
    for (size_t i = 0; i < N; ++i) {
        Captured out;
        const auto [got, want] = result(rows[i], out.trace());
        EXPECT_EQ(got, want) << "row " << i;
        if (trace != traces + T && trace->row == i) {
            EXPECT_EQ(out.text, (trace++)->text) << i;
        }
    }
    EXPECT_EQ(trace, traces + T);
}

TEST(ZoomBox, NewZoomAndPanTiltMatchTheReference) {
    replay(kZoomGolden, kZoomTraces, [](const ZoomGolden& g, const Trace& tr) {
        return std::pair(hex({zoom_of(g, tr)}), hex({g.zoom}));
    });
    replay(kPtGolden, kPtTraces, [](const PtGolden& g, const Trace& tr) {
        const Position got = pt_of(g, tr);
        return std::pair(hex({got.pan, got.tilt, got.zoom}), hex({g.pan, g.tilt, g.z}));
    });
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
