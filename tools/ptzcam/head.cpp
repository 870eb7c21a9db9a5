#include "head.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace ptzcam {

void Head::advance(double now) {
    const double dt = last_ < 0 ? 0 : now - last_;
    last_ = now;
    s_.pan = std::fmod(s_.pan + vpan_ * dt, 36000.0);
    if (s_.pan < 0) s_.pan += 36000;
    s_.tilt = std::clamp(s_.tilt + vtilt_ * dt, kTiltMin, kTiltMax);
    s_.zoom = std::clamp(s_.zoom + vzoom_ * dt, 0.0, kZoomMax);
}

const char* Head::apply(const Frame& f) {
    note_[0] = '\0';
    switch (f.kind) {
        case Kind::move:
            vpan_ = f.pan * kPerSpeedUnit;
            vtilt_ = f.tilt * kPerSpeedUnit;
            break;
        case Kind::stop: vpan_ = vtilt_ = vzoom_ = 0; break;
        case Kind::zoom: vzoom_ = f.value * kZoomRate; break;
        case Kind::set_preset: presets_[f.value] = s_; break;
        case Kind::clear_preset: presets_.erase(f.value); break;
        case Kind::goto_preset:
            if (auto it = presets_.find(f.value); it != presets_.end()) {
                vpan_ = vtilt_ = vzoom_ = 0;
                s_.pan = it->second.pan, s_.tilt = it->second.tilt, s_.zoom = it->second.zoom;
            } else {
                std::snprintf(note_, sizeof note_, " (no preset %d stored)", f.value);
            }
            break;
        case Kind::set_position: {
            // A protocol that sets one axis a frame names the axis in the
            // meaning ("set pan position 9000"); the others set all three.
            // (Proto library: a per-axis mask in Frame would spare this.)
            const bool one = std::strncmp(f.meaning, "set position", 12) != 0;
            const bool pan = !one || std::strstr(f.meaning, "pan") != nullptr;
            const bool tilt = !one || std::strstr(f.meaning, "tilt") != nullptr;
            const bool zoom = !one || std::strstr(f.meaning, "zoom") != nullptr;
            if (pan) s_.pan = std::fmod(f.abs_pan, 36000.0);
            // Cameras write a negative tilt as 36000 + t.
            if (tilt)
                s_.tilt = std::clamp(f.abs_tilt > 18800 ? f.abs_tilt - 36000.0 : double(f.abs_tilt), kTiltMin,
                                     kTiltMax);
            if (zoom) s_.zoom = std::clamp(double(f.abs_zoom), 0.0, kZoomMax);
            vpan_ = vtilt_ = vzoom_ = 0;
            break;
        }
        default: return note_;
    }
    if (note_[0] == '\0' && f.kind != Kind::set_preset && f.kind != Kind::clear_preset && !moving())
        // Truncated, as a camera reports its position.
        std::snprintf(note_, sizeof note_, " (head at pan %ld tilt %ld zoom %ld)", long(s_.pan),
                      long(s_.tilt), long(s_.zoom));
    return note_;
}

}  // namespace ptzcam
