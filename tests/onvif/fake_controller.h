// A Controller without a daemon, for the unit tests and the fuzzer (a fresh
// one per request): it records every call and answers with a set error;
// beside it the service built on one, and the requests clients send.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "onvif/controller.h"
#include "onvif/service.h"
#include "onvif/soap.h"

namespace ptz::onvif {

class FakeController : public Controller {
public:
    FakeController() {
        ChannelInfo a;  // a plain RS-485 dome: continuous moves and presets only
        a.channel = 0;
        a.protocol = "Pelco-D";
        a.max_presets = 64;
        a.aux = {"tt:Wiper|On", "tt:Wiper|Off"};
        ChannelInfo b;  // a zoom-box head with positions and a home
        b.channel = 3;
        b.protocol = "C1080PT";
        b.absolute = b.fov_relative = b.home = true;
        b.max_presets = 2;
        chans_ = {a, b};
    }
    const std::vector<ChannelInfo>& channels() const override { return chans_; }
    Err continuous_move(int ch, const Vector& v, int64_t timeout_ms) override {
        return note(ch, "move " + vec(v) + " " + std::to_string(timeout_ms));
    }
    Err stop(int ch, bool pt, bool z) override { return note(ch, std::string("stop ") + "01"[pt] + "01"[z]); }
    Err absolute_move(int ch, const Vector& v) override { return note(ch, "absolute " + vec(v)); }
    Err relative_move(int ch, const Vector& v) override { return note(ch, "relative " + vec(v)); }
    Err status(int ch, Status& out) override {  // idle, and no position read
        out.pan_tilt = out.zoom = Move::idle;
        return note(ch, "status");
    }
    Err presets(int ch, std::vector<Preset>& out) override {
        out = {{"1", "door", false, {}}};
        return note(ch, "presets");
    }
    Err goto_preset(int ch, const std::string& t) override { return note(ch, "goto " + t); }
    Err set_preset(int ch, const std::string& name, std::string& token) override {
        if (token.empty()) token = "7";
        return note(ch, "set " + token + " " + name);
    }
    Err remove_preset(int ch, const std::string& t) override { return note(ch, "remove " + t); }
    Err goto_home(int ch) override { return note(ch, "home"); }
    Err set_home(int ch) override { return note(ch, "set home"); }
    Err aux(int ch, const std::string& c) override { return note(ch, "aux " + c); }

    std::vector<std::string> calls;
    Err next = Err::ok;  // what every call answers

private:
    static std::string vec(const Vector& v) {
        char b[96];
        std::snprintf(b, sizeof b, "%s%g,%g %s%g", v.has_pan_tilt ? "" : "-", v.pan, v.tilt,
                      v.has_zoom ? "" : "-", v.zoom);
        return b;
    }
    Err note(int ch, const std::string& what) {
        calls.push_back(std::to_string(ch) + " " + what);
        return next;
    }
    std::vector<ChannelInfo> chans_;
};

// The service over a fake controller, for an operator "op" and a user "v".
struct Rig {
    FakeController ctl;
    Auth auth{{{"op", Level::operator_, "pw"}, {"v", Level::user, "vw"}}};
    Service svc{ctl, auth, ServiceConfig{}};
};

// A request envelope: `header` is a whole <s:Header> element, or nothing.
inline std::string envelope(const std::string& body, const std::string& header = "",
                            const std::string& ns = kNsSoap12) {
    return "<s:Envelope xmlns:s=\"" + ns + "\">" + header + "<s:Body>" + body + "</s:Body></s:Envelope>";
}

// A header with a plain-text password.
inline std::string creds(const std::string& user, const std::string& pw) {
    return "<s:Header><Security xmlns=\"" + std::string(kNsWsse) + "\"><UsernameToken><Username>" + user +
           "</Username><Password>" + pw + "</Password></UsernameToken></Security></s:Header>";
}

}  // namespace ptz::onvif
