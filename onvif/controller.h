// What the ONVIF operations ask of the recorder's cameras. The SOAP side
// (requests, answers, faults, users) talks only to this interface; the
// camera side turns each call into ptz_command datagrams for the daemon and
// reads the position reports back. Values are in ONVIF's generic spaces:
// pan and tilt -1..1, zoom 0..1 for positions, -1..1 for velocities; the
// field-of-view translation space for relative moves (-1..1 across the
// picture, (1, 1) its upper-right corner).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ptz::onvif {

// Every failure an operation can meet; the SOAP side maps each to its fault.
enum class Err {
    ok,
    no_profile,     // no PTZ camera on that channel
    not_supported,  // the camera's protocol cannot do this
    invalid_arg,    // a value outside its space, a missing vector
    no_token,       // no preset with that token
    too_many,       // no free preset number left
    no_home,        // home position not set or not supported
    unreachable,    // the daemon's socket does not take the datagram
};

// One PTZ camera of the recorder: a video channel whose model is a PTZ camera.
struct ChannelInfo {
    int channel = 0;            // video channel, from 0; the profile is "ch<channel>"
    uint16_t model_id = 0;
    std::string protocol;       // the protocol's name, for GetNode and GetDeviceInformation
    bool zoom = true;           // the protocol drives a zoom lens
    bool absolute = false;      // AbsoluteMove, and GetStatus gives a position read from the camera
    bool fov_relative = false;  // RelativeMove in the field-of-view translation space
    bool home = false;          // GotoHomePosition and SetHomePosition
    int max_presets = 0;        // presets the camera can store through this service
    std::vector<std::string> aux;  // SendAuxiliaryCommand names, e.g. "tt:Wiper|On"
};

struct Vector {
    bool has_pan_tilt = false;
    double pan = 0, tilt = 0;
    bool has_zoom = false;
    double zoom = 0;
};

enum class Move { idle, moving, unknown };

struct Status {
    Move pan_tilt = Move::unknown;
    Move zoom = Move::unknown;
    bool has_position = false;  // a position read from the camera, never an echo of a request
    Vector position;
};

struct Preset {
    std::string token;  // the camera's preset number, in decimal
    std::string name;
    bool has_position = false;
    Vector position;
};

class Controller {
public:
    virtual ~Controller() = default;

    virtual const std::vector<ChannelInfo>& channels() const = 0;

    // timeout_ms < 0: no timeout; otherwise the stop goes out when it runs out.
    virtual Err continuous_move(int ch, const Vector& velocity, int64_t timeout_ms) = 0;
    virtual Err stop(int ch, bool pan_tilt, bool zoom) = 0;
    virtual Err absolute_move(int ch, const Vector& position) = 0;
    virtual Err relative_move(int ch, const Vector& translation) = 0;
    // Blocks at most about a second for a position read.
    virtual Err status(int ch, Status& out) = 0;

    virtual Err presets(int ch, std::vector<Preset>& out) = 0;
    virtual Err goto_preset(int ch, const std::string& token) = 0;
    // token empty: a new preset (its token is written back); otherwise that
    // preset is stored again (and renamed when name is not empty).
    virtual Err set_preset(int ch, const std::string& name, std::string& token) = 0;
    virtual Err remove_preset(int ch, const std::string& token) = 0;
    virtual Err goto_home(int ch) = 0;
    virtual Err set_home(int ch) = 0;

    virtual Err aux(int ch, const std::string& command) = 0;
};

}  // namespace ptz::onvif
