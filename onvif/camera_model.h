// What each camera protocol of the recorder can do for an ONVIF client, and
// how ONVIF's generic values become the bytes of a ptz_command: joystick
// bytes centred on 0x40, absolute positions in the protocol's own units, and
// points of the picture through the zoom-box geometry of the lens.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "onvif/controller.h"

namespace ptz::onvif {

// The lens geometry a camera's zoom boxes use.
enum class Lens : uint8_t { none, probe, z20b, z20b_nowrap, z10b, ir_z30b };

struct Span {
    int32_t lo, hi;
};

// Absolute positions in the units the set-position command and the position
// report carry. Tilt grows downwards (lo is the highest the head looks); a
// negative tilt travels as 36000 + t.
struct AbsUnits {
    Span pan;  // a full turn: hi is lo again
    Span tilt, zoom;
    // The driver reports a failed read as (0, 0, 0) with a success status.
    bool zeros_mean_failure;
};

// Aux functions, as groups of the vocabulary's codes a protocol realises.
enum AuxSet : uint16_t {
    aux_outputs = 1 << 0,    // auxiliary outputs 1..7 and 9, on and off
    aux_pelco_fn = 1 << 1,   // flip, pan zero, IR in/out, scans by preset, menu
    aux_tours = 1 << 2,      // tours 1..8 (711..718)
    aux_patterns = 1 << 3,   // patterns 1..8 (551..558)
    aux_patterns4 = 1 << 4,  // patterns 1..4 only
    aux_scans = 1 << 5,      // scans 1..8 (721..728)
    aux_wiper = 1 << 6,      // the wiper (502)
};

// Preset numbers a store can use: lo..hi without 33 and 34 where those are
// the camera's flip and pan-zero functions.
struct PresetRange {
    uint16_t lo = 0, hi = 0;
    bool skip_functions = false;
};

// How a preset is recalled: by number (0xE114), or, where the daemon's go-to
// sends nothing, through the aux fallback that the driver turns into a go-to.
enum class Recall : uint8_t { direct, aux_fallback };

struct ModelTraits {
    uint16_t model;
    const char* protocol;
    bool zoom;
    uint8_t pt_max;    // distance from 0x40 of the highest ordinary pan/tilt speed
    uint8_t pt_min;    // smallest distance that leaves the dead band
    uint8_t zoom_max;  // distance of the highest zoom speed
    const AbsUnits* abs;
    Lens lens;
    PresetRange presets;
    Recall recall;
    bool accumulates;     // direction bits add up until a stop: a new direction needs a stop first
    bool stop_by_action;  // the stop command sends nothing; an unknown action sends the stop frame
    uint16_t aux;
};

// The traits of a model the daemon drives, or null (models without an
// encoder, sensor devices, unknown ids).
const ModelTraits* find_model(uint16_t model_id);
// Pelco-D over coax (TVI): fixed speeds, no presets, no positions.
const ModelTraits& pelco_d_tvi();
// A coax-automatic channel: the daemon picks HDA, HIK-C or C1080B by the
// detected video format, so only what all three do is offered.
const ModelTraits& coax_automatic();

ChannelInfo channel_info(int channel, const ModelTraits& t);

// Joystick byte of one axis for a velocity -1..1: 0x40 for 0, else at least
// pt_min and at most pt_max away from it, proportional in between.
uint8_t pt_byte(const ModelTraits& t, double v);
uint8_t zoom_byte(const ModelTraits& t, double v);

// Generic position (pan, tilt -1..1, zoom 0..1) to units and back.
int32_t pan_units(const AbsUnits& a, double g);
int32_t tilt_units(const AbsUnits& a, double g);
int32_t zoom_units(const AbsUnits& a, double g);
double pan_generic(const AbsUnits& a, int32_t u);
double tilt_generic(const AbsUnits& a, int32_t u);
double zoom_generic(const AbsUnits& a, int32_t u);
// Units as the set-position command carries them (a negative tilt as
// 36000 + t), and a report's tilt as units; pan and zoom travel as they are.
uint32_t to_wire(int32_t units);
int32_t tilt_from_wire(uint32_t v);

// Preset numbers.
bool preset_usable(const ModelTraits& t, int n);
int max_presets(const ModelTraits& t);

// Aux functions: their names, and the vocabulary code and on/off of a name.
std::vector<std::string> aux_names(const ModelTraits& t);
bool aux_code(const ModelTraits& t, const std::string& name, uint16_t& code, bool& on);

// The target that brings the point (x, y) of the picture (-1..1, (1, 1) the
// upper-right corner) to its centre, from the position (p, t, z) in report
// values; zoom unchanged. false for a camera without a lens geometry.
bool fov_target(Lens lens, const uint32_t pos[3], double x, double y, uint32_t out[3]);

}  // namespace ptz::onvif
