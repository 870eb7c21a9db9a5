// Zoom-box positioning: the operator draws a box on the live picture and the
// camera is to centre it and fill the picture with it. Pure arithmetic on
// doubles over constant lens tables, one family of tables per camera lens.
//
// Units: pan and tilt in hundredths of a degree (pan 0..36000, tilt 0 at the
// horizon to 18000; a tilt above 18800 is a negative tilt written 36000 + t),
// zoom in the lens's own positions, field of view in hundredths of a degree
// of picture width. The picture is 1920 x 1080 with its centre at (960, 540).
//
// The operation order below is the cameras' own: the recorders in the field
// and the cameras agree on these results to the last bit, so every sum and
// product keeps its place.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "common/log.h"  // PTZ_PRINTF

namespace ptz {
class Os;
}

namespace ptz::zoombox {

struct LensRow {
    double zoom;
    double fov;
};

struct TiltRow {
    double tilt;
    double angle;  // compensation angle
    double value;  // compensation in percent
};

using LensTable = std::span<const LensRow>;
using TiltTable = std::span<const TiltRow>;

inline constexpr std::array<LensRow, 20> kProbe{{
    {273, 2730}, {545, 1420}, {818, 980},  {1091, 750}, {1364, 600}, {1638, 490}, {1911, 425},
    {2184, 375}, {2457, 335}, {2730, 305}, {3003, 280}, {3276, 255}, {3549, 238}, {3822, 220},
    {4095, 210}, {4358, 200}, {4641, 190}, {4914, 184}, {5187, 180}, {5460, 173},
}};

inline constexpr std::array<LensRow, 19> kZ20B{{
    {0, 3010},    {6267, 1549}, {8863, 1043}, {10564, 783}, {11638, 631}, {12444, 529}, {13160, 449},
    {13698, 394}, {14145, 352}, {14593, 313}, {14951, 284}, {15220, 263}, {15488, 242}, {15667, 228},
    {15936, 206}, {16025, 198}, {16204, 181}, {16294, 172}, {16384, 161},
}};

inline constexpr std::array<LensRow, 28> kZ30B{{
    {0, 2998},    {5570, 1612}, {8082, 1090}, {9593, 822},  {10649, 658}, {11450, 549}, {12087, 471},
    {12633, 412}, {13107, 367}, {13535, 330}, {13917, 300}, {14272, 275}, {14590, 254}, {14873, 236},
    {15127, 220}, {15346, 206}, {15528, 194}, {15692, 183}, {15819, 174}, {15937, 165}, {16029, 157},
    {16101, 150}, {16174, 143}, {16229, 137}, {16274, 132}, {16320, 126}, {16356, 121}, {16384, 117},
}};

inline constexpr std::array<LensRow, 11> kZ10B{{
    {0, 2766},
    {3747, 1931},
    {6155, 1471},
    {9216, 992},
    {11207, 747},
    {12715, 599},
    {13885, 499},
    {14774, 428},
    {15472, 374},
    {16012, 333},
    {16384, 304},
}};

inline constexpr std::array<TiltRow, 13> kTiltComp{{
    {0, 1, 100},
    {3000, 350, 114},
    {4500, 650, 133},
    {6000, 900, 164},
    {7500, 1500, 238},
    {8250, 2020, 285},
    {9000, 2750, 346},
    {9750, 2000, 285},
    {10500, 1500, 238},
    {12000, 1000, 164},
    {13500, 500, 133},
    {15000, 300, 114},
    {18000, 1, 100},
}};

// The Z20B looks 8 degrees below the horizon and past the nadir side of the
// zenith: the same rows with one more at each end.
inline constexpr std::array<TiltRow, 15> kTiltCompExt = [] {
    std::array<TiltRow, 15> t{};
    t[0] = {-800, 1, 100};
    for (size_t i = 0; i < kTiltComp.size(); ++i) t[i + 1] = kTiltComp[i];
    t[14] = {18800, 1, 100};
    return t;
}();

// Where the geometry's traces go. On the recorder that is standard output;
// a default Trace drops them.
struct Trace {
    void (*sink)(void* ctx, const char* text, size_t len) = nullptr;
    void* ctx = nullptr;
    void operator()(const char* fmt, ...) const PTZ_PRINTF(2, 3);
};

// Standard output through the OS seam (descriptor 1).
Trace stdout_trace(Os& os);

// A new pan and tilt; the zoom is the current one, unchanged.
struct Position {
    double pan;
    double tilt;
    double zoom;
};

// Row search: 0 below the first row, else the first row from 1 on whose key
// is greater than v, or the row count when none is.
int lens_index(LensTable t, double zoom);
int tilt_index(TiltTable t, double tilt);

// New zoom for a box of w x h pixels at current zoom z.
double zoom_box_ratio(LensTable t, double z, double w, double h, const Trace& tr = {});
double getNewZoomValue_Z30B(double z, double w, double h, const Trace& tr = {});
double getNewZoomValue_Z10B(double z, double w, double h, const Trace& tr = {});

// New pan and tilt that centre the point (x, y) of the picture, from the
// current pan p, tilt t and zoom z.
Position getNewPtValue_Probe(double p, double t, double z, double x, double y, const Trace& tr = {});
Position getNewPtValue_Z20B(double p, double t, double z, double x, double y, const Trace& tr = {});
Position getNewPtValue_Z20B_nowrap(double p, double t, double z, double x, double y, const Trace& tr = {});
Position getNewPtValue_IR_Z30B(double p, double t, double z, double x, double y, const Trace& tr = {});
Position getNewPtValue_Z10B(double p, double t, double z, double x, double y, const Trace& tr = {});

}  // namespace ptz::zoombox
