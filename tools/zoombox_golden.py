#!/usr/bin/env python3
"""Golden results of the zoom-box geometry, computed apart from the daemon.

A second implementation of the cameras' lens arithmetic, written apart
from the daemon's code (Python floats are IEEE doubles, and every operation
below is done in the same order), run over a grid of boxes, zooms, pans and
tilts. Writes tests/zoombox_golden.inc; the C++ test compares the daemon's
results with it bit for bit.

    tools/zoombox_golden.py > tests/zoombox_golden.inc
"""

import math

PROBE = [(273, 2730), (545, 1420), (818, 980), (1091, 750), (1364, 600), (1638, 490), (1911, 425),
         (2184, 375), (2457, 335), (2730, 305), (3003, 280), (3276, 255), (3549, 238), (3822, 220),
         (4095, 210), (4358, 200), (4641, 190), (4914, 184), (5187, 180), (5460, 173)]
Z20B = [(0, 3010), (6267, 1549), (8863, 1043), (10564, 783), (11638, 631), (12444, 529), (13160, 449),
        (13698, 394), (14145, 352), (14593, 313), (14951, 284), (15220, 263), (15488, 242), (15667, 228),
        (15936, 206), (16025, 198), (16204, 181), (16294, 172), (16384, 161)]
Z30B = [(0, 2998), (5570, 1612), (8082, 1090), (9593, 822), (10649, 658), (11450, 549), (12087, 471),
        (12633, 412), (13107, 367), (13535, 330), (13917, 300), (14272, 275), (14590, 254), (14873, 236),
        (15127, 220), (15346, 206), (15528, 194), (15692, 183), (15819, 174), (15937, 165), (16029, 157),
        (16101, 150), (16174, 143), (16229, 137), (16274, 132), (16320, 126), (16356, 121), (16384, 117)]
Z10B = [(0, 2766), (3747, 1931), (6155, 1471), (9216, 992), (11207, 747), (12715, 599), (13885, 499),
        (14774, 428), (15472, 374), (16012, 333), (16384, 304)]
COMP = [(0, 1, 100), (3000, 350, 114), (4500, 650, 133), (6000, 900, 164), (7500, 1500, 238),
        (8250, 2020, 285), (9000, 2750, 346), (9750, 2000, 285), (10500, 1500, 238), (12000, 1000, 164),
        (13500, 500, 133), (15000, 300, 114), (18000, 1, 100)]
COMP_EXT = [(-800, 1, 100)] + COMP + [(18800, 1, 100)]

PROBE, Z20B, Z30B, Z10B = ([tuple(float(v) for v in r) for r in t] for t in (PROBE, Z20B, Z30B, Z10B))
COMP, COMP_EXT = ([tuple(float(v) for v in r) for r in t] for t in (COMP, COMP_EXT))


def row(table, i):
    """Rows before a table read as its first row, rows past it as zeros."""
    if i < 0:
        return table[0]
    if i >= len(table):
        return tuple(0.0 for _ in table[0])
    return table[i]


def index(table, v):
    if v < table[0][0]:
        return 0
    for i in range(1, len(table)):
        if table[i][0] > v:
            return i
    return len(table)


class Out:
    def __init__(self):
        self.text = []

    def __call__(self, fmt, *args):
        self.text.append(fmt % args)


def new_zoom(table, kind, z, w, h, out):
    if kind != 'ratio':
        out('getNewZoomValue_%s : %%g, -> %%g, %%g\n' % kind, z, w, h)
    zs = table[0][0] if z < table[0][0] else z
    idx = index(table, zs)
    out('zoom_index : %d\n' if kind == 'ratio' else 'angle_index : %d\n', index(table, z))
    full = 1920.0 if w >= h else 1080.0
    r = full / (w if w >= h else h)
    frac = (row(table, idx)[0] - zs) / (row(table, idx)[0] - row(table, idx - 1)[0])
    ratio = 1.0 if (w < 20 and h < 20) else r
    a = ratio * (1 - frac)
    pos = a + idx * ratio
    if kind == 'ratio':
        out('zoom_box_ratio : %g %g\n', ratio, a)
        out('zoom_box_ratio : %g %g\n', pos, a)
    n = int(pos)  # truncation toward zero
    f = pos - n
    if kind == 'ratio':
        out('zoom_box_ratio : %g %g\n', pos, f)
    if n <= len(table):
        result = row(table, n - 1)[0] + (row(table, n)[0] - row(table, n - 1)[0]) * f
    else:
        result = table[-1][0]
    if kind != 'ratio':
        out('result is %d, %g\n', n, result)
    return result


FIRST = {
    'Probe': 'getNewPtValue_Probe : %g, %g, %g - %g, %g\n',
    'Z20B': 'getNewPtValue_Z20B : %g, %g, %g - %g, %g\n',
    'Z20B_nowrap': 'getNewPtValue_Z20B : %g, %g, %g - %g, %g\n',
    'IR_Z30B': 'getNewPtValue_IR_Z30B : %g, %g, %g -> %g, %g\n',
    'Z10B': 'getNewPtValue_Z10B : %g, %g, %g -> %g, %g\n',
}
MODELS = {  # lens table, tilt table, factor, negative tilts kept
    'Probe': (PROBE, COMP, 0.58, False),
    'Z20B': (Z20B, COMP_EXT, 0.59, True),
    'Z20B_nowrap': (Z20B, COMP, 0.59, False),
    'IR_Z30B': (Z30B, COMP, 0.59, True),
    'Z10B': (Z10B, COMP, 0.59, False),
}


def new_pt(name, p, t, z, x, y, out):
    table, comp, F, negative = MODELS[name]
    tt = t
    if name != 'Z10B' and t > 18800:
        tt = t - 36000
        out('\t curPos.t is minus value, %g ', t)
        out('-> %g\n', t - 36000)
    out(FIRST[name], p, t if name == 'Z20B_nowrap' else tt, z, x, y)
    zs = table[0][0] if z < table[0][0] else z
    idx = index(table, zs)
    shown = index(table, z)  # the traces name the search's own index, 0 below the first row
    zoom_diff = row(table, idx)[0] - row(table, idx - 1)[0]
    pan_diff = row(table, idx - 1)[1] - row(table, idx)[1]
    out('zoom_diff : %g, pan_diff : %g\n', zoom_diff, pan_diff)
    pt_weight = pan_diff / zoom_diff
    out('angle_index : %d pt_weight : %g \n', shown, pt_weight)
    fov = row(table, idx - 1)[1] - (zs - row(table, idx - 1)[0]) * pt_weight
    out('angle_index : %d pt_weight : %g \n', shown, fov)
    dp = (x - 960) * fov / 960
    dt = fov * F * (y - 540) / 540
    if tt >= comp[0][0]:
        comp_ratio = math.fabs(x - 960) / 960
        out('comp_ratio : %g\n', comp_ratio)
        j = index(comp, tt)
        if j == len(comp):  # at or past the last row: its compensation
            comp_angle = comp[-1][1]
            comp_value = comp[-1][2] / 100
        else:
            t0, a0, v0 = row(comp, j - 1)
            t1, a1, v1 = row(comp, j)
            comp_angle = a0 + (a1 - a0) / (t1 - t0) * (tt - t0)
            comp_value = (v0 + (v1 - v0) / (t1 - t0) * (tt - t0)) / 100
        if y <= 540:
            tilt_w = 1 - (540 - y) / 540 * 0.32
            pan_w = 1 - (540 - y) / 540 * 0.14
        else:
            tilt_w = 1 + (y - 540) / 540 * 0.2
            pan_w = 1 + (y - 540) / 540 * 0.08
        out('pan_w : %g, tilt_w : %g\n', pan_w, tilt_w)
        dp = (x - 960) * fov / 960 * pan_w * comp_value
        k = int((21 - idx) / 20)  # C's integer division truncates toward zero
        dt = fov * F * (y - 540) / 540 - tilt_w * comp_ratio * comp_angle * k
        out('comp_value : %g, comp_angle : %g\n', comp_value, comp_angle)
        out(' %d, %d\n', shown, k)
    np = p + dp
    if np > 36000:
        np = np - 36000
    elif np < 0:
        np = np + 36000
    nt = tt - dt if tt > 9000 else tt + dt
    if negative:
        if nt > 18000:
            nt = 18000.0
        elif nt < -800:
            nt = -800.0
        if nt < 0:
            out('\t newPos.t is minus value, %g ', nt)
            nt = 36000 + nt
            out('-> %g\n', nt)
    else:
        if nt > 18000:
            nt = 18000.0
        elif nt < 0:
            nt = 0.0
    return np, nt


def lit(v):
    assert math.isfinite(v), v
    return v.hex()


def cstr(s):
    return '"' + s.replace('\\', '\\\\').replace('\t', '\\t').replace('\n', '\\n').replace('"', '\\"') + '"'


ZOOM_TABLES = {'ratio_Probe': PROBE, 'ratio_Z20B': Z20B, 'Z30B': Z30B, 'Z10B': Z10B}
ZOOM_ENUM = {'ratio_Probe': 'probe', 'ratio_Z20B': 'z20b', 'Z30B': 'z30b', 'Z10B': 'z10b'}
PT_ENUM = {'Probe': 'probe', 'Z20B': 'z20b', 'Z20B_nowrap': 'z20b_nowrap', 'IR_Z30B': 'ir_z30b', 'Z10B': 'z10b'}


def zooms_for(table):
    """First row, between rows, a middle row, last row, past the table; below the first row where the
    lens has one."""
    first, second, mid, last = table[0][0], table[1][0], table[len(table) // 2][0], table[-1][0]
    zs = [first, math.floor((first + second) / 2) + 0.5, mid, last - 1, last, last + 1000]
    if first > 0:
        zs += [0.0, first - 1]
    return zs


BOXES = [(10, 10), (19, 19), (19, 25), (20, 20), (30, 5), (192, 108), (400, 600), (1920, 1080), (3840, 100),
         (64, 36)]
CENTRES = [(960, 540), (0, 0), (1919, 1079), (100, 900), (1800, 200)]
TILTS = [0, 1500, 4500, 9000, 12000, 18000, 18500, 18800, 35500, 35000]
PANS = [0, 35990, 18000, 50]


def main():
    zoom_rows, zoom_traces = [], []
    for name, table in ZOOM_TABLES.items():
        kind = 'ratio' if name.startswith('ratio') else name
        for z in zooms_for(table):
            for w, h in BOXES:
                out = Out()
                v = new_zoom(table, kind, float(z), float(w), float(h), out)
                zoom_rows.append('    {ZoomFn::%s, %r, %d, %d, %s},' % (ZOOM_ENUM[name], float(z), w, h, lit(v)))
                if (w, h) in ((19, 19), (192, 108)):
                    zoom_traces.append((len(zoom_rows) - 1, ''.join(out.text)))
    pt_rows, pt_traces = [], []
    for name in MODELS:
        table = MODELS[name][0]
        i = 0
        for z in [zz for zz in zooms_for(table) if zz != table[len(table) // 2][0]]:
            for t in TILTS:
                for x, y in CENTRES:
                    p = PANS[i % len(PANS)]
                    i += 1
                    out = Out()
                    np, nt = new_pt(name, float(p), float(t), float(z), float(x), float(y), out)
                    pt_rows.append('    {PtFn::%s, %d, %d, %r, %d, %d, %s, %s},' %
                                   (PT_ENUM[name], p, t, float(z), x, y, lit(np), lit(nt)))
                    if (x, y) == (100, 900) and t in (4500, 12000, 35500):
                        pt_traces.append((len(pt_rows) - 1, ''.join(out.text)))
    print('// Generated by tools/zoombox_golden.py from its own implementation of the geometry; do not edit.')
    print('// clang-format off')
    print('constexpr ZoomGolden kZoomGolden[] = {')
    print('\n'.join(zoom_rows))
    print('};')
    print('constexpr PtGolden kPtGolden[] = {')
    print('\n'.join(pt_rows))
    print('};')
    print('constexpr TraceGolden kZoomTraces[] = {')
    for i, text in zoom_traces:
        print('    {%d, %s},' % (i, cstr(text)))
    print('};')
    print('constexpr TraceGolden kPtTraces[] = {')
    for i, text in pt_traces:
        print('    {%d, %s},' % (i, cstr(text)))
    print('};')
    print('// clang-format on')


if __name__ == '__main__':
    main()
