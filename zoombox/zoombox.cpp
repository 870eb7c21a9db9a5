// Zoom-box geometry.
//
// The lens table is read as a scale of equal magnification steps: the box
// ratio (picture over box) is added, in whole and fractional steps, to the
// fractional row of the current zoom. Pan and tilt move by the box centre's
// offset times the current field of view, with a tilt compensation that
// only acts at the widest zoom step.
//
// Kept on purpose: the zoom step one past the last row reads a zoom of 0, so
// just past the last step the zoom falls back towards the wide end; the
// tilt compensation's (21 - idx) / 20 is integer division.
//
// Bounds: rows before a lens table read as its first row and rows past it
// as zero, so no input reads outside a table. A zoom below the first row (the
// Probe reports down to 0 after a failed read) is computed as the first
// row's zoom, the widest the lens has, while the traces show the row search's
// own index for it, 0. A tilt at or past the last row of a compensation
// table takes that row's compensation, 1 (every table ends at angle 1 and
// 100 %): the Z10B hands on its raw tilt, so a tilt below the horizon
// (36000 + t) lands there.
#include "zoombox/zoombox.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "os/os.h"

namespace ptz::zoombox {

namespace {

constexpr double kPictureW = 1920, kPictureH = 1080;
constexpr double kCentreX = 960, kCentreY = 540;
constexpr double kClick = 20;  // boxes under 20 x 20 pixels are clicks

constexpr LensRow lens_row(LensTable t, int i) {
    if (i < 0) return t[0];
    if (static_cast<size_t>(i) >= t.size()) return {0, 0};
    return t[static_cast<size_t>(i)];
}

constexpr TiltRow tilt_row(TiltTable t, int i) {
    if (i < 0) return t[0];
    if (static_cast<size_t>(i) >= t.size()) return {0, 0, 0};
    return t[static_cast<size_t>(i)];
}

template <class Row, class Key>
int search(std::span<const Row> t, double v, Key key) {
    if (v < key(t[0])) return 0;
    const int n = static_cast<int>(t.size());
    for (int i = 1; i < n; ++i)
        if (key(t[static_cast<size_t>(i)]) > v) return i;
    return n;
}

double clamp_to_first_row(LensTable t, double z) { return z < t[0].zoom ? t[0].zoom : z; }

enum class ZoomLog { ratio, z30b, z10b };

double new_zoom(LensTable t, double z, double w, double h, ZoomLog lg, const Trace& tr) {
    if (lg == ZoomLog::z30b) tr("getNewZoomValue_Z30B : %g, -> %g, %g\n", z, w, h);
    if (lg == ZoomLog::z10b) tr("getNewZoomValue_Z10B : %g, -> %g, %g\n", z, w, h);
    const double zs = clamp_to_first_row(t, z);
    const int idx = lens_index(t, zs);
    const int shown = lens_index(t, z);  // 0 below the first row, where idx is 1
    if (lg == ZoomLog::ratio)
        tr("zoom_index : %d\n", shown);
    else
        tr("angle_index : %d\n", shown);
    const double full = w >= h ? kPictureW : kPictureH;
    const double r = full / (w >= h ? w : h);
    const double zi = lens_row(t, idx).zoom, zp = lens_row(t, idx - 1).zoom;
    const double frac = (zi - zs) / (zi - zp);
    const double ratio = (w < kClick && h < kClick) ? 1.0 : r;
    const double a = ratio * (1 - frac);
    const double pos = a + idx * ratio;
    if (lg == ZoomLog::ratio) {
        tr("zoom_box_ratio : %g %g\n", ratio, a);
        tr("zoom_box_ratio : %g %g\n", pos, a);
    }
    const double whole = std::trunc(pos);
    const double f = pos - whole;
    if (lg == ZoomLog::ratio) tr("zoom_box_ratio : %g %g\n", pos, f);
    const int rows = static_cast<int>(t.size());
    // Steps beyond any table (and a NaN from a degenerate box) never reach
    // the integer conversion.
    constexpr double kFar = 1e9;
    const int n = (whole > -kFar && whole < kFar) ? static_cast<int>(whole) : whole >= kFar ? rows + 1 : -1;
    double result;
    if (n <= rows) {
        const double z0 = lens_row(t, n - 1).zoom, z1 = lens_row(t, n).zoom;
        result = z0 + (z1 - z0) * f;
    } else {
        result = t[t.size() - 1].zoom;
    }
    if (lg != ZoomLog::ratio) tr("result is %d, %g\n", n, result);
    return result;
}

enum class Lens { probe, z20b, z20b_nowrap, ir_z30b, z10b };

struct PtModel {
    Lens lens;
    LensTable table;
    TiltTable comp;
    double factor;  // vertical field of view as a share of the horizontal
    bool keeps_negative;
};

void first_line(const PtModel& m, const Trace& tr, double p, double t, double z, double x, double y) {
    switch (m.lens) {
        case Lens::probe: tr("getNewPtValue_Probe : %g, %g, %g - %g, %g\n", p, t, z, x, y); break;
        case Lens::z20b:
        case Lens::z20b_nowrap: tr("getNewPtValue_Z20B : %g, %g, %g - %g, %g\n", p, t, z, x, y); break;
        case Lens::ir_z30b: tr("getNewPtValue_IR_Z30B : %g, %g, %g -> %g, %g\n", p, t, z, x, y); break;
        case Lens::z10b: tr("getNewPtValue_Z10B : %g, %g, %g -> %g, %g\n", p, t, z, x, y); break;
    }
}

Position new_pt(const PtModel& m, double p, double t, double z, double x, double y, const Trace& tr) {
    double tc = t;
    if (m.lens != Lens::z10b && t > 18800) {
        tc = t - 36000;
        tr("\t curPos.t is minus value, %g ", t);
        tr("-> %g\n", t - 36000);
    }
    if (m.lens == Lens::z20b_nowrap)
        first_line(m, tr, p, t, z, x, y);
    else
        first_line(m, tr, p, tc, z, x, y);

    const double zs = clamp_to_first_row(m.table, z);
    const int idx = lens_index(m.table, zs);
    const int shown = lens_index(m.table, z);  // 0 below the first row, where idx is 1
    const LensRow lo = lens_row(m.table, idx - 1), hi = lens_row(m.table, idx);
    const double zoom_diff = hi.zoom - lo.zoom;
    const double pan_diff = lo.fov - hi.fov;
    tr("zoom_diff : %g, pan_diff : %g\n", zoom_diff, pan_diff);
    const double pt_weight = pan_diff / zoom_diff;
    tr("angle_index : %d pt_weight : %g \n", shown, pt_weight);
    const double fov = lo.fov - (zs - lo.zoom) * pt_weight;
    tr("angle_index : %d pt_weight : %g \n", shown, fov);

    double dp = (x - kCentreX) * fov / kCentreX;
    double dt = fov * m.factor * (y - kCentreY) / kCentreY;
    if (tc >= m.comp[0].tilt) {
        const double comp_ratio = std::fabs(x - kCentreX) / kCentreX;
        tr("comp_ratio : %g\n", comp_ratio);
        const int j = tilt_index(m.comp, tc);
        double comp_angle, comp_value;
        if (static_cast<size_t>(j) >= m.comp.size()) {
            // At or past the last row: its compensation holds. At the row
            // itself this is what the interpolation gives.
            const TiltRow& last = m.comp.back();
            comp_angle = last.angle;
            comp_value = last.value / 100;
        } else {
            const TiltRow c0 = tilt_row(m.comp, j - 1), c1 = tilt_row(m.comp, j);
            comp_angle = c0.angle + (c1.angle - c0.angle) / (c1.tilt - c0.tilt) * (tc - c0.tilt);
            comp_value = (c0.value + (c1.value - c0.value) / (c1.tilt - c0.tilt) * (tc - c0.tilt)) / 100;
        }
        double tilt_w, pan_w;
        if (y <= kCentreY) {
            tilt_w = 1 - (kCentreY - y) / kCentreY * 0.32;
            pan_w = 1 - (kCentreY - y) / kCentreY * 0.14;
        } else {
            tilt_w = 1 + (y - kCentreY) / kCentreY * 0.2;
            pan_w = 1 + (y - kCentreY) / kCentreY * 0.08;
        }
        tr("pan_w : %g, tilt_w : %g\n", pan_w, tilt_w);
        dp = (x - kCentreX) * fov / kCentreX * pan_w * comp_value;
        // Only the widest zoom step is compensated.
        const int k = (21 - idx) / 20;
        dt = fov * m.factor * (y - kCentreY) / kCentreY - tilt_w * comp_ratio * comp_angle * k;
        tr("comp_value : %g, comp_angle : %g\n", comp_value, comp_angle);
        tr(" %d, %d\n", shown, k);
    }

    double pan = p + dp;
    if (pan > 36000)
        pan -= 36000;
    else if (pan < 0)
        pan += 36000;
    // Past the zenith the picture is upside down: picture-down is tilt-up.
    double tilt = tc > 9000 ? tc - dt : tc + dt;
    if (m.keeps_negative) {
        if (tilt > 18000)
            tilt = 18000;
        else if (tilt < -800)
            tilt = -800;
        if (tilt < 0) {
            tr("\t newPos.t is minus value, %g ", tilt);
            tilt = 36000 + tilt;
            tr("-> %g\n", tilt);
        }
    } else {
        if (tilt > 18000)
            tilt = 18000;
        else if (tilt < 0)
            tilt = 0;
    }
    return {pan, tilt, z};
}

}  // namespace

void Trace::operator()(const char* fmt, ...) const {
    if (sink == nullptr) return;
    char text[256];
    va_list ap;
    va_start(ap, fmt);
    const int n = std::vsnprintf(text, sizeof text, fmt, ap);
    va_end(ap);
    if (n > 0) sink(ctx, text, std::min(static_cast<size_t>(n), sizeof text - 1));
}

Trace stdout_trace(Os& os) {
    return {[](void* ctx, const char* text, size_t len) { static_cast<Os*>(ctx)->write(1, text, len); }, &os};
}

int lens_index(LensTable t, double zoom) {
    return search(t, zoom, [](const LensRow& r) { return r.zoom; });
}

int tilt_index(TiltTable t, double tilt) {
    return search(t, tilt, [](const TiltRow& r) { return r.tilt; });
}

double zoom_box_ratio(LensTable t, double z, double w, double h, const Trace& tr) {
    return new_zoom(t, z, w, h, ZoomLog::ratio, tr);
}
double getNewZoomValue_Z30B(double z, double w, double h, const Trace& tr) {
    return new_zoom(kZ30B, z, w, h, ZoomLog::z30b, tr);
}
double getNewZoomValue_Z10B(double z, double w, double h, const Trace& tr) {
    return new_zoom(kZ10B, z, w, h, ZoomLog::z10b, tr);
}

Position getNewPtValue_Probe(double p, double t, double z, double x, double y, const Trace& tr) {
    return new_pt({Lens::probe, kProbe, kTiltComp, 0.58, false}, p, t, z, x, y, tr);
}
Position getNewPtValue_Z20B(double p, double t, double z, double x, double y, const Trace& tr) {
    return new_pt({Lens::z20b, kZ20B, kTiltCompExt, 0.59, true}, p, t, z, x, y, tr);
}
Position getNewPtValue_Z20B_nowrap(double p, double t, double z, double x, double y, const Trace& tr) {
    return new_pt({Lens::z20b_nowrap, kZ20B, kTiltComp, 0.59, false}, p, t, z, x, y, tr);
}
Position getNewPtValue_IR_Z30B(double p, double t, double z, double x, double y, const Trace& tr) {
    return new_pt({Lens::ir_z30b, kZ30B, kTiltComp, 0.59, true}, p, t, z, x, y, tr);
}
Position getNewPtValue_Z10B(double p, double t, double z, double x, double y, const Trace& tr) {
    return new_pt({Lens::z10b, kZ10B, kTiltComp, 0.59, false}, p, t, z, x, y, tr);
}

}  // namespace ptz::zoombox
