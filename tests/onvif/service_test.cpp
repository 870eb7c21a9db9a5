// The operations as a client sees them, against a fake controller: who may
// do what, what each camera advertises, what reaches the controller, and
// the fault for each failure.
#include "onvif/service.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/onvif/fake_controller.h"

namespace ptz::onvif {
namespace {

struct Fixture : Rig {
    Response call(const std::string& op, const std::string& args = "",
                  const std::string& header = creds("op", "pw"), const char* ns = kNsPtz) {
        Request r;
        r.host = "10.0.0.5:8000";
        r.now_ms = 1700000000000;
        r.body = envelope("<" + op + " xmlns=\"" + ns + "\">" + args + "</" + op + ">", header);
        return svc.handle(r);
    }
};

bool has(const Response& r, const std::string& s) { return r.body.find(s) != std::string::npos; }

TEST(Service, WhoMayDoWhat) {
    // The operation, the credentials, and the status with what the answer shows (never a position:
    // the fake camera reads none).
    const std::tuple<const char*, const char*, std::string, int, const char*> rows[] = {
        {"GetSystemDateAndTime", kNsDevice, "", 200, "UTCDateTime"},
        {"GetProfiles", kNsMedia, "", 401, "ter:NotAuthorized"},
        {"GetStatus", kNsPtz, creds("op", "bad"), 400, "ter:NotAuthorized"},
        {"GetStatus", kNsPtz, creds("ghost", "pw"), 400, "ter:NotAuthorized"},
        {"ContinuousMove", kNsPtz, creds("v", "vw"), 400, "ter:NotAuthorized"},
        {"GotoPreset", kNsPtz, creds("v", "vw"), 400, "ter:NotAuthorized"},
        {"GetStatus", kNsPtz, creds("v", "vw"), 200, "<tt:MoveStatus>"},
        {"GetStatus", kNsMedia, creds("v", "vw"), 500, "ter:ActionNotSupported"},
        {"Reboot", kNsDevice, creds("op", "pw"), 500, "ter:ActionNotSupported"},
    };
    for (const auto& [op, ns, header, status, shows] : rows) {
        Fixture f;
        Response resp =
            f.call(op, "<ProfileToken>ch0</ProfileToken><PresetToken>1</PresetToken>", header, ns);
        EXPECT_EQ(resp.status, status) << op << " " << header;
        EXPECT_TRUE(has(resp, shows) && !has(resp, "tt:Position")) << op << resp.body;
        // A refused request never reaches a camera.
        EXPECT_TRUE(status == 200 || f.ctl.calls.empty()) << op;
        bool challenged = !resp.headers.empty() && resp.headers[0].first == "WWW-Authenticate";
        EXPECT_EQ(challenged, status == 401) << op;
    }
    // An empty request without credentials is how HTTP Digest clients ask for the challenge.
    Fixture f;
    Response empty = f.svc.handle(Request{});
    EXPECT_EQ(empty.status, 401);
    EXPECT_TRUE(!empty.headers.empty() && empty.headers[0].first == "WWW-Authenticate");
}

TEST(Service, FaultForEachFailure) {
    const std::tuple<Err, int, const char*> rows[] = {
        {Err::no_profile, 400, "ter:NoProfile"},      {Err::not_supported, 500, "ter:ActionNotSupported"},
        {Err::invalid_arg, 400, "ter:InvalidArgVal"}, {Err::no_token, 400, "ter:NoToken"},
        {Err::too_many, 500, "ter:TooManyPresets"},   {Err::no_home, 500, "ter:NoHomePosition"},
        {Err::unreachable, 500, "s:Receiver"},
    };
    for (const auto& [err, status, subcode] : rows) {
        Fixture f;
        f.ctl.next = err;
        Response resp = f.call("SetPreset", "<ProfileToken>ch3</ProfileToken>");
        EXPECT_EQ(resp.status, status) << subcode;
        EXPECT_TRUE(has(resp, subcode)) << resp.body;
    }
}

// Each node offers exactly what its camera does: ch0 is a plain dome, ch3 a
// zoom-box head with positions and a home.
TEST(Service, NodesTellTheTruth) {
    Fixture f;
    Response r = f.call("GetNodes");
    SoapRequest parsed;
    ASSERT_EQ(parse_soap(r.body, parsed), SoapError::none);
    std::map<std::string, std::string> nodes;
    for (pugi::xml_node n = parsed.op.first_child(); n; n = n.next_sibling()) {
        std::ostringstream os;
        n.print(os);
        nodes[n.attribute("token").value()] = os.str();
    }
    ASSERT_EQ(nodes.size(), 2u);
    const std::tuple<const char*, bool, bool> rows[] = {
        {"ContinuousPanTiltVelocitySpace", true, true},
        {"AbsolutePanTiltPositionSpace", false, true},
        {"TranslationSpaceFov", false, true},
        {"<tt:HomeSupported>true", false, true},
        {"tt:Wiper|On", true, false},
        {"MaximumNumberOfPresets>64<", true, false},
    };
    for (const auto& [text, plain, head] : rows) {
        EXPECT_EQ(nodes["node0"].find(text) != std::string::npos, plain) << text;
        EXPECT_EQ(nodes["node3"].find(text) != std::string::npos, head) << text;
    }
}

// A move with its speed and timeout, a relative move and a named preset, as the
// node test's client sends them, are followed to the line there.
TEST(Service, WhatReachesTheController) {
    const std::string pt = "<ProfileToken>ch0</ProfileToken>", head = "<ProfileToken>ch3</ProfileToken>";
    // The operation, its arguments, and the call it makes or (nullptr) the fault that refuses it.
    const std::tuple<const char*, std::string, const char*, const char*> rows[] = {
        {"ContinuousMove", pt + "<Velocity><Zoom x=\"-1\"/></Velocity>", "0 move -0,0 -1 -1", nullptr},
        {"ContinuousMove", pt + "<Velocity><PanTilt x=\"1.5\" y=\"0\"/></Velocity>", nullptr,
         "ter:InvalidVelocity"},
        {"ContinuousMove", pt + "<Velocity><PanTilt x=\"NaN\" y=\"0\"/></Velocity>", nullptr,
         "ter:InvalidVelocity"},
        {"ContinuousMove", pt + "<Velocity><PanTilt x=\"0.1\" y=\"0\" space=\"urn:x\"/></Velocity>", nullptr,
         "ter:SpaceNotSupported"},
        {"ContinuousMove", pt + "<Velocity><PanTilt x=\"0.1\" y=\"0\"/></Velocity><Timeout>5s</Timeout>",
         nullptr, "ter:TimeoutNotSupported"},
        {"Stop", pt + "<PanTilt>false</PanTilt><Zoom>true</Zoom>", "0 stop 01", nullptr},
        {"Stop", pt, "0 stop 11", nullptr},
        {"AbsoluteMove", head + "<Position><Zoom x=\"-0.3\"/></Position>", nullptr, "ter:InvalidPosition"},
        {"AbsoluteMove", pt + "<Position><PanTilt x=\"0\" y=\"0\"/></Position>", nullptr,
         "ter:ActionNotSupported"},
        {"RelativeMove", head + "<Translation><PanTilt x=\"0.5\" y=\"1\"/><Zoom x=\"0.2\"/></Translation>",
         nullptr, "ter:SpaceNotSupported"},
        {"RelativeMove", pt + "<Translation><PanTilt x=\"0.5\" y=\"1\"/></Translation>", nullptr,
         "ter:ActionNotSupported"},
        {"GotoHomePosition", pt, nullptr, "ter:ActionNotSupported"},
        {"SetHomePosition", head, "3 set home", nullptr},
        {"SendAuxiliaryCommand", pt + "<AuxiliaryData>tt:Wiper|On</AuxiliaryData>", "0 aux tt:Wiper|On",
         nullptr},
        {"SendAuxiliaryCommand", pt + "<AuxiliaryData>tt:Light|On</AuxiliaryData>", nullptr,
         "ter:ActionNotSupported"},
        {"SetPreset", pt + "<PresetToken>3</PresetToken>", "0 set 3 ", nullptr},
        {"RemovePreset", pt + "<PresetToken>3</PresetToken>", "0 remove 3", nullptr},
        {"GetStatus", "<ProfileToken>ch9</ProfileToken>", nullptr, "ter:NoProfile"},
    };
    for (const auto& [op, args, call, fault] : rows) {
        Fixture f;
        Response resp = f.call(op, args);
        if (call) {
            EXPECT_EQ(resp.status, 200) << op << args << resp.body;
            ASSERT_EQ(f.ctl.calls.size(), 1u) << op << args;
            EXPECT_EQ(f.ctl.calls[0], call);
        } else {
            EXPECT_TRUE(has(resp, fault)) << op << args << resp.body;
            EXPECT_TRUE(f.ctl.calls.empty()) << op << args;
        }
    }
}

}  // namespace
}  // namespace ptz::onvif
