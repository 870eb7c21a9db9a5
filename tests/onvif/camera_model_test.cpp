// The camera side's pure parts: joystick bytes, absolute units, the
// field-of-view target and the preset store.
#include "onvif/camera_model.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <tuple>

#include "onvif/presets.h"

using namespace ptz::onvif;

namespace {

const ModelTraits& model(uint16_t id) {
    const ModelTraits* t = find_model(id);
    EXPECT_NE(t, nullptr) << std::hex << id;
    return *t;
}

TEST(CameraModel, VelocityBytes) {
    // model, velocity, byte: the top ordinary speed at +-1 (Pelco-D 63, not
    // its turbo 64; Panasonic's quarter 15; HIK-C's double 63; HUNT's four
    // times 59 under its limit of 239), the dead band left at the smallest
    // velocity, proportional in between.
    const std::tuple<uint16_t, double, int> rows[] = {
        {0x1600, 1, 0x7F},    {0x1600, -1, 0x01},    {0x1600, 0, 0x40},    {0x1600, 0.5, 0x60},
        {0x1600, 1e-6, 0x43}, {0x1600, -1e-6, 0x3D}, {0x1600, 7.0, 0x7F},  {0x1602, 1, 0x7C},
        {0x1602, -1, 0x04},   {0x1904, 1e-6, 0x51},  {0x1904, -0.1, 0x2F}, {0x808, 1, 0x60},
        {0x808, -1, 0x20},    {0x801, 1, 0x7B},      {0x2201, -1, 0x08},   {0x1600, NAN, 0x40},
    };
    for (const auto& [id, v, byte] : rows)
        EXPECT_EQ(pt_byte(model(id), v), byte) << std::hex << id << " " << v;
    EXPECT_EQ(zoom_byte(model(0x1600), 1e-6), 0x41);
    EXPECT_EQ(zoom_byte(model(0x1600), -1), 0x01);
}

TEST(CameraModel, AbsoluteRoundTrip) {
    // Every position-reporting model: generic -> units -> wire -> units ->
    // generic within one unit, negative tilts included.
    for (uint16_t id : {0x302, 0x303, 0x304, 0x305, 0x306, 0x1400, 0x1600, 0x2300, 0x2301}) {
        const ModelTraits& t = model(id);
        ASSERT_NE(t.abs, nullptr) << std::hex << id;
        const AbsUnits& a = *t.abs;
        for (double g : {-1.0, -0.73, -0.5, 0.0, 0.01, 0.5, 0.999, 1.0}) {
            const double step_pt = 2.01 / (a.pan.hi - a.pan.lo), step_t = 2.0 / (a.tilt.hi - a.tilt.lo);
            EXPECT_NEAR(pan_generic(a, int32_t(to_wire(pan_units(a, g)))), g, step_pt) << std::hex << id;
            EXPECT_NEAR(tilt_generic(a, tilt_from_wire(to_wire(tilt_units(a, g)))), g, step_t)
                << std::hex << id;
            const double z = (g + 1) / 2;
            EXPECT_NEAR(zoom_generic(a, int32_t(to_wire(zoom_units(a, z)))), z,
                        1.0 / (a.zoom.hi - a.zoom.lo));
        }
        // Up is the lowest tilt, the top of the generic space.
        EXPECT_EQ(tilt_units(a, 1), a.tilt.lo);
        EXPECT_TRUE(channel_info(0, t).absolute && channel_info(0, t).home);
    }
}

TEST(CameraModel, WhatEachModelOffers) {
    EXPECT_EQ(find_model(0x500), nullptr);  // no encoder: nothing reaches a camera
    EXPECT_EQ(find_model(0x901), nullptr);  // a sensor device
    EXPECT_FALSE(channel_info(0, model(0x1601)).absolute || channel_info(0, model(0x1600)).fov_relative);
    EXPECT_TRUE(channel_info(0, model(0x302)).fov_relative);
    // 1..80 without Pelco-D's flip and pan zero; Panasonic's three hex digits.
    EXPECT_EQ(max_presets(model(0x1600)) * 1000 + max_presets(model(0x1602)), 78156);
    EXPECT_EQ(max_presets(pelco_d_tvi()), 0);
    // model, name, the code (0: none), on
    const std::tuple<uint16_t, const char*, int, bool> rows[] = {
        {0x1600, "Tour3", 713, true},      {0x1600, "AuxOutput9|Off", 9, false},
        {0x305, "tt:Wiper|On", 502, true}, {0x1601, "tt:Wiper|On", 0, false},
        {0x301, "Pattern5", 0, false},     {0x302, "tt:IRLamp|Off", 588, false}};
    for (const auto& [id, name, want_code, want_on] : rows) {
        uint16_t code = 0;
        bool on = false;
        EXPECT_EQ(aux_code(model(id), name, code, on), want_code != 0) << name;
        EXPECT_EQ(code * 2 + on, want_code * 2 + want_on) << name;
    }
}

TEST(CameraModel, FieldOfViewTarget) {
    // x = 0.5 pans a quarter of the lens table's field of view, y = 1 tilts
    // half the picture's height up; the zoom never changes. At tilt 0 the
    // compensation leaves pans alone, and a point on the vertical centre
    // line tilts without it. (The Probe lens is checked against the daemon's
    // own zoom box in the node test.)
    struct Row {
        Lens lens;
        uint32_t pos[3];
        double x, y, dpan, dtilt;
    } rows[] = {
        {Lens::z10b, {100, 0, 16384}, -0.5, 0, -304 / 4.0, 0},
        {Lens::z10b, {100, 4000, 16384}, 0, -0.5, 0, 304 * 0.59 / 4},
        {Lens::z20b_nowrap, {35990, 0, 16384}, 0.5, 0, 161 / 4.0 - 36000, 0},
    };
    for (const Row& r : rows) {
        uint32_t out[3];
        ASSERT_TRUE(fov_target(r.lens, r.pos, r.x, r.y, out));
        EXPECT_NEAR(double(out[0]), r.pos[0] + r.dpan, 1.5);
        EXPECT_NEAR(double(out[1]), r.pos[1] + r.dtilt, 1.5);
        EXPECT_EQ(out[2], r.pos[2]);
    }
    uint32_t out[3];
    EXPECT_FALSE(fov_target(Lens::none, rows[0].pos, 0, 0, out));
}

TEST(PresetStore, PersistsNamesAndHome) {
    const std::string path = testing::TempDir() + "ptz_ch0.presets";
    std::remove(path.c_str());
    ChannelPresets p;
    ASSERT_TRUE(load_presets(path, p) && p.presets.empty());  // none yet
    p.presets[35] = {"Front door, left", true, {100, 35200, 4000}};
    p.presets[2] = {"x\ny", false, {}};
    p.has_home = true;
    p.home[0] = 9000;
    ASSERT_TRUE(save_presets(path, p));
    ChannelPresets q;
    ASSERT_TRUE(load_presets(path, q));
    ASSERT_EQ(q.presets.size(), 2u);
    EXPECT_EQ(q.presets[35].name, "Front door, left");
    EXPECT_EQ(q.presets[35].position[1], 35200u);
    EXPECT_EQ(q.presets[2].name, "x y");  // one line per preset
    EXPECT_TRUE(q.has_home && q.home[0] == 9000u);
    std::remove(path.c_str());
}

TEST(PresetStore, LowestFreeNumber) {
    const ModelTraits& pelco = model(0x1600);
    ChannelPresets p;
    EXPECT_EQ(lowest_free_preset(pelco, p), 1);
    for (int n = 1; n <= 32; ++n) p.presets[n] = {};
    EXPECT_EQ(lowest_free_preset(pelco, p), 35);  // 33 and 34 are the camera's functions
    for (int n = 35; n <= 80; ++n) p.presets[n] = {};
    EXPECT_EQ(lowest_free_preset(pelco, p), 0);  // full
    p.presets.erase(7);
    EXPECT_EQ(lowest_free_preset(pelco, p), 7);
    EXPECT_EQ(lowest_free_preset(model(0x301), ChannelPresets{}), 10);
    EXPECT_EQ(lowest_free_preset(model(0x1901), ChannelPresets{}), 0);
}

}  // namespace
