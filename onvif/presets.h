// The preset names and home position of one channel, kept in one small file
// under the state directory so that they survive a restart. The camera keeps
// the positions; the file keeps what the camera cannot: the names, which
// numbers are in use, and the position each preset was stored at where the
// camera reports positions.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "onvif/camera_model.h"

namespace ptz::onvif {

struct StoredPreset {
    std::string name;
    bool has_position = false;
    uint32_t position[3] = {};  // report values (pan, tilt, zoom)
};

struct ChannelPresets {
    std::map<int, StoredPreset> presets;  // by the camera's preset number
    bool has_home = false;
    uint32_t home[3] = {};
};

// A missing file is an empty store; false only when the file cannot be read.
bool load_presets(const std::string& path, ChannelPresets& out);
// Written to a temporary file and renamed over the old one.
bool save_presets(const std::string& path, const ChannelPresets& in);
// The lowest preset number the protocol can use that is not taken, or 0.
int lowest_free_preset(const ModelTraits& t, const ChannelPresets& p);

}  // namespace ptz::onvif
