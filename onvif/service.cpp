#include "onvif/service.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>

#include "onvif/soap.h"

namespace ptz::onvif {

namespace {

constexpr const char* kPtAbs = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/PositionGenericSpace";
constexpr const char* kZoomAbs = "http://www.onvif.org/ver10/tptz/ZoomSpaces/PositionGenericSpace";
constexpr const char* kPtFov = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/TranslationSpaceFov";
constexpr const char* kPtVel = "http://www.onvif.org/ver10/tptz/PanTiltSpaces/VelocityGenericSpace";
constexpr const char* kZoomVel = "http://www.onvif.org/ver10/tptz/ZoomSpaces/VelocityGenericSpace";

// Longest ContinuousMove timeout we take; PTZConfigurationOptions says so.
constexpr int64_t kMaxTimeoutMs = 3600 * 1000;

// Who may call what: everything that moves a camera or changes what it
// stores needs an Operator; reading is open to every user.
struct Op {
    const char* ns;
    const char* name;
    Level need;
};
constexpr Op kOps[] = {
    {kNsDevice, "GetSystemDateAndTime", Level::user},
    {kNsDevice, "GetDeviceInformation", Level::user},
    {kNsDevice, "GetCapabilities", Level::user},
    {kNsDevice, "GetServices", Level::user},
    {kNsDevice, "GetServiceCapabilities", Level::user},
    {kNsDevice, "GetScopes", Level::user},
    {kNsMedia, "GetProfiles", Level::user},
    {kNsMedia, "GetProfile", Level::user},
    {kNsMedia, "GetVideoSources", Level::user},
    {kNsMedia, "GetStreamUri", Level::user},
    {kNsMedia, "GetServiceCapabilities", Level::user},
    {kNsPtz, "GetNodes", Level::user},
    {kNsPtz, "GetNode", Level::user},
    {kNsPtz, "GetConfigurations", Level::user},
    {kNsPtz, "GetConfiguration", Level::user},
    {kNsPtz, "GetConfigurationOptions", Level::user},
    {kNsPtz, "GetServiceCapabilities", Level::user},
    {kNsPtz, "GetStatus", Level::user},
    {kNsPtz, "GetPresets", Level::user},
    {kNsPtz, "ContinuousMove", Level::operator_},
    {kNsPtz, "Stop", Level::operator_},
    {kNsPtz, "AbsoluteMove", Level::operator_},
    {kNsPtz, "RelativeMove", Level::operator_},
    {kNsPtz, "GotoPreset", Level::operator_},
    {kNsPtz, "SetPreset", Level::operator_},
    {kNsPtz, "RemovePreset", Level::operator_},
    {kNsPtz, "GotoHomePosition", Level::operator_},
    {kNsPtz, "SetHomePosition", Level::operator_},
    {kNsPtz, "SendAuxiliaryCommand", Level::operator_},
};

const Op* find_op(std::string_view ns, std::string_view name) {
    for (const Op& op : kOps) {
        if (ns == op.ns && name == op.name) return &op;
    }
    return nullptr;
}

std::string num(double v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6g", v);
    return buf;
}

std::string utc_text(int64_t ms) {
    time_t t = static_cast<time_t>(ms / 1000);
    struct tm tm;
    gmtime_r(&t, &tm);
    char buf[32];
    std::strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

bool host_ok(std::string_view h) {
    if (h.empty() || h.size() > 255) return false;
    for (char ch : h) {
        if (!std::isalnum(static_cast<unsigned char>(ch)) && !std::strchr(".-:[]", ch)) return false;
    }
    return true;
}

void add_space2(pugi::xml_node parent, const char* qname, const char* uri, double lo, double hi) {
    pugi::xml_node s = parent.append_child(qname);
    add_text(s, "tt:URI", uri);
    for (const char* axis : {"tt:XRange", "tt:YRange"}) {
        pugi::xml_node r = s.append_child(axis);
        add_text(r, "tt:Min", num(lo));
        add_text(r, "tt:Max", num(hi));
    }
}

void add_space1(pugi::xml_node parent, const char* qname, const char* uri, double lo, double hi) {
    pugi::xml_node s = parent.append_child(qname);
    add_text(s, "tt:URI", uri);
    pugi::xml_node r = s.append_child("tt:XRange");
    add_text(r, "tt:Min", num(lo));
    add_text(r, "tt:Max", num(hi));
}

// Only the spaces the camera's protocol can do: clients offer what a node
// advertises, so an advertised space that fails would be a lie.
void add_spaces(pugi::xml_node s, const ChannelInfo& ch) {
    if (ch.absolute) {
        add_space2(s, "tt:AbsolutePanTiltPositionSpace", kPtAbs, -1, 1);
        if (ch.zoom) add_space1(s, "tt:AbsoluteZoomPositionSpace", kZoomAbs, 0, 1);
    }
    if (ch.fov_relative) add_space2(s, "tt:RelativePanTiltTranslationSpace", kPtFov, -1, 1);
    add_space2(s, "tt:ContinuousPanTiltVelocitySpace", kPtVel, -1, 1);
    if (ch.zoom) add_space1(s, "tt:ContinuousZoomVelocitySpace", kZoomVel, -1, 1);
}

void add_node(pugi::xml_node parent, const char* qname, const ChannelInfo& ch) {
    std::string n = std::to_string(ch.channel);
    pugi::xml_node node = parent.append_child(qname);
    node.append_attribute("token") = ("node" + n).c_str();
    node.append_attribute("FixedHomePosition") = false;
    node.append_attribute("GeoMove") = false;
    add_text(node, "tt:Name", "ch" + n + " " + ch.protocol);
    add_spaces(node.append_child("tt:SupportedPTZSpaces"), ch);
    add_text(node, "tt:MaximumNumberOfPresets", std::to_string(ch.max_presets));
    add_text(node, "tt:HomeSupported", ch.home ? "true" : "false");
    for (const std::string& a : ch.aux) add_text(node, "tt:AuxiliaryCommands", a);
}

void add_ptz_config(pugi::xml_node parent, const char* qname, const ChannelInfo& ch) {
    std::string n = std::to_string(ch.channel);
    pugi::xml_node c = parent.append_child(qname);
    c.append_attribute("token") = ("ptz" + n).c_str();
    add_text(c, "tt:Name", "ptz" + n);
    add_text(c, "tt:UseCount", "1");
    add_text(c, "tt:NodeToken", "node" + n);
    if (ch.absolute) {
        add_text(c, "tt:DefaultAbsolutePantTiltPositionSpace", kPtAbs);
        if (ch.zoom) add_text(c, "tt:DefaultAbsoluteZoomPositionSpace", kZoomAbs);
    }
    if (ch.fov_relative) add_text(c, "tt:DefaultRelativePanTiltTranslationSpace", kPtFov);
    add_text(c, "tt:DefaultContinuousPanTiltVelocitySpace", kPtVel);
    if (ch.zoom) add_text(c, "tt:DefaultContinuousZoomVelocitySpace", kZoomVel);
    if (ch.absolute) {
        pugi::xml_node pl = c.append_child("tt:PanTiltLimits");
        add_space2(pl, "tt:Range", kPtAbs, -1, 1);
        if (ch.zoom) add_space1(c.append_child("tt:ZoomLimits"), "tt:Range", kZoomAbs, 0, 1);
    }
}

// Nominal picture figures: the recorder's encoder owns the real ones, but
// clients want a source and an encoder configuration in each profile.
constexpr int kWidth = 1920, kHeight = 1080, kFps = 25;

void add_video_source_config(pugi::xml_node parent, const char* qname, int ch) {
    std::string n = std::to_string(ch);
    pugi::xml_node c = parent.append_child(qname);
    c.append_attribute("token") = ("vsc" + n).c_str();
    add_text(c, "tt:Name", "vsc" + n);
    add_text(c, "tt:UseCount", "1");
    add_text(c, "tt:SourceToken", "vs" + n);
    pugi::xml_node b = c.append_child("tt:Bounds");
    b.append_attribute("x") = 0;
    b.append_attribute("y") = 0;
    b.append_attribute("width") = kWidth;
    b.append_attribute("height") = kHeight;
}

void add_encoder_config(pugi::xml_node parent, const char* qname, int ch) {
    std::string n = std::to_string(ch);
    pugi::xml_node c = parent.append_child(qname);
    c.append_attribute("token") = ("vec" + n).c_str();
    add_text(c, "tt:Name", "vec" + n);
    add_text(c, "tt:UseCount", "1");
    add_text(c, "tt:Encoding", "H264");
    pugi::xml_node r = c.append_child("tt:Resolution");
    add_text(r, "tt:Width", std::to_string(kWidth));
    add_text(r, "tt:Height", std::to_string(kHeight));
    add_text(c, "tt:Quality", "5");
    pugi::xml_node rc = c.append_child("tt:RateControl");
    add_text(rc, "tt:FrameRateLimit", std::to_string(kFps));
    add_text(rc, "tt:EncodingInterval", "1");
    add_text(rc, "tt:BitrateLimit", "4096");
    pugi::xml_node m = c.append_child("tt:Multicast");
    pugi::xml_node a = m.append_child("tt:Address");
    add_text(a, "tt:Type", "IPv4");
    add_text(a, "tt:IPv4Address", "0.0.0.0");
    add_text(m, "tt:Port", "0");
    add_text(m, "tt:TTL", "1");
    add_text(m, "tt:AutoStart", "false");
    add_text(c, "tt:SessionTimeout", "PT60S");
}

void add_profile(pugi::xml_node parent, const char* qname, const ChannelInfo& ch) {
    std::string n = std::to_string(ch.channel);
    pugi::xml_node p = parent.append_child(qname);
    p.append_attribute("token") = ("ch" + n).c_str();
    p.append_attribute("fixed") = true;
    add_text(p, "tt:Name", "ch" + n);
    add_video_source_config(p, "tt:VideoSourceConfiguration", ch.channel);
    add_encoder_config(p, "tt:VideoEncoderConfiguration", ch.channel);
    add_ptz_config(p, "tt:PTZConfiguration", ch);
}

void add_vector(pugi::xml_node parent, const char* qname, const Vector& v, const char* pt_space,
                const char* zoom_space) {
    pugi::xml_node p = parent.append_child(qname);
    if (v.has_pan_tilt) {
        pugi::xml_node pt = p.append_child("tt:PanTilt");
        pt.append_attribute("x") = num(v.pan).c_str();
        pt.append_attribute("y") = num(v.tilt).c_str();
        pt.append_attribute("space") = pt_space;
    }
    if (v.has_zoom) {
        pugi::xml_node z = p.append_child("tt:Zoom");
        z.append_attribute("x") = num(v.zoom).c_str();
        z.append_attribute("space") = zoom_space;
    }
}

const char* move_text(Move m) {
    switch (m) {
        case Move::idle: return "IDLE";
        case Move::moving: return "MOVING";
        default: return "UNKNOWN";
    }
}

// A fault's code, subcodes and the HTTP status it goes with.
struct Fault {
    const char* code;
    const char* sub1;
    const char* sub2;
    const char* reason;
};

Fault fault_for(Err e, const char* invalid_sub) {
    switch (e) {
        case Err::no_profile: return {"Sender", "ter:InvalidArgVal", "ter:NoProfile", "no such profile"};
        case Err::not_supported:
            return {"Receiver", "ter:ActionNotSupported", "ter:PTZNotSupported", "the camera cannot do this"};
        case Err::invalid_arg: return {"Sender", "ter:InvalidArgVal", invalid_sub, "a value is out of range"};
        case Err::no_token: return {"Sender", "ter:InvalidArgVal", "ter:NoToken", "no such preset"};
        case Err::too_many: return {"Receiver", "ter:Action", "ter:TooManyPresets", "no free preset left"};
        case Err::no_home: return {"Receiver", "ter:Action", "ter:NoHomePosition", "no home position"};
        case Err::unreachable:
            return {"Receiver", "ter:Action", nullptr, "the PTZ daemon does not take commands"};
        case Err::ok: break;
    }
    return {"Receiver", "ter:Action", nullptr, "internal error"};
}

// A vector from a request. `has_*` says which parts came; false with the
// fault's second subcode in `bad` for a value that is not a number or lies
// outside its range, or a space other than the one the operation takes.
bool read_vector(pugi::xml_node v, const char* pt_space, const char* zoom_space, double zoom_lo, Vector& out,
                 const char*& bad, const char* invalid) {
    out = Vector{};
    if (pugi::xml_node pt = child(v, "PanTilt")) {
        std::string_view space = pt.attribute("space").value();
        if (!space.empty() && space != pt_space) {
            bad = "ter:SpaceNotSupported";
            return false;
        }
        if (!parse_double(pt.attribute("x").value(), out.pan) ||
            !parse_double(pt.attribute("y").value(), out.tilt) || out.pan < -1 || out.pan > 1 ||
            out.tilt < -1 || out.tilt > 1) {
            bad = invalid;
            return false;
        }
        out.has_pan_tilt = true;
    }
    if (pugi::xml_node z = child(v, "Zoom")) {
        std::string_view space = z.attribute("space").value();
        if (!space.empty() && (!zoom_space || space != zoom_space)) {
            bad = "ter:SpaceNotSupported";
            return false;
        }
        if (!parse_double(z.attribute("x").value(), out.zoom) || out.zoom < zoom_lo || out.zoom > 1) {
            bad = invalid;
            return false;
        }
        out.has_zoom = true;
    }
    return true;
}

}  // namespace

std::vector<std::string> device_scopes() {
    return {"onvif://www.onvif.org/type/ptz", "onvif://www.onvif.org/type/video_encoder",
            "onvif://www.onvif.org/Profile/Streaming", "onvif://www.onvif.org/name/ptzonvif",
            "onvif://www.onvif.org/hardware/ptzsvr"};
}

struct Service::Ctx {
    const Request& req;
    Response& resp;
    SoapRequest soap;
    std::unique_ptr<SoapReply> reply;
    std::string base;  // http://host:port

    void fault(int status, const Fault& f) {
        reply = std::make_unique<SoapReply>(soap.soap11);
        reply->fault(f.code, f.sub1, f.sub2, f.reason);
        resp.status = status;
    }
    void fault(const Fault& f) { fault(std::strcmp(f.code, "Sender") == 0 ? 400 : 500, f); }
    void fault(Err e, const char* invalid_sub = "ter:InvalidArgs") { fault(fault_for(e, invalid_sub)); }
    pugi::xml_node answer() {
        reply = std::make_unique<SoapReply>(soap.soap11);
        std::string name = std::string(soap.op_ns == kNsDevice  ? "tds:"
                                       : soap.op_ns == kNsMedia ? "trt:"
                                                                : "tptz:") +
                           std::string(soap.op_name) + "Response";
        return reply->add(name.c_str());
    }
    std::string arg(std::string_view local) const { return child_text(soap.op, local); }
};

Service::Service(Controller& ctl, Auth& auth, ServiceConfig cfg)
    : ctl_(ctl), auth_(auth), cfg_(std::move(cfg)) {}

Response Service::handle(const Request& req) {
    Response resp;
    Ctx c{req, resp, {}, nullptr, {}};
    c.base = "http://" + (host_ok(req.host) ? req.host : cfg_.listen);
    if (req.method != "POST") {
        resp.status = 405;
        resp.content_type = "text/plain";
        resp.body = "ONVIF services take SOAP requests by POST\n";
        resp.headers.emplace_back("Allow", "POST");
        return resp;
    }
    if (trim(req.body).empty() && req.authorization.empty()) {
        // An empty request without credentials asks for the challenge (an
        // HTTP Digest client such as curl --digest sends its body only with
        // the answer to it).
        resp.op = "(empty)";
        c.fault(401, {"Sender", "ter:NotAuthorized", nullptr, "the sender is not authorized"});
        resp.headers.emplace_back("WWW-Authenticate", auth_.challenge(req.now_ms));
        resp.body = c.reply->str();
        return resp;
    }
    switch (parse_soap(req.body, c.soap)) {
        case SoapError::none: dispatch(c); break;
        case SoapError::doctype:
            resp.op = "(doctype)";
            c.fault(400,
                    {"Sender", "ter:InvalidArgs", nullptr, "document type declarations are not accepted"});
            break;
        case SoapError::malformed:
            resp.op = "(malformed)";
            c.fault(400, {"Sender", "ter:WellFormed", nullptr, "the request is not well-formed XML"});
            break;
        case SoapError::not_soap:
            resp.op = "(not soap)";
            c.fault(400, {"Sender", "ter:InvalidArgs", nullptr, "the request is not a SOAP envelope"});
            break;
    }
    if (c.soap.soap11) resp.content_type = "text/xml; charset=utf-8";
    resp.body = c.reply->str();
    return resp;
}

void Service::dispatch(Ctx& c) {
    // The operation's name goes to the log: printable and short.
    for (char ch : c.soap.op_name.substr(0, 64))
        c.resp.op += std::isgraph(static_cast<unsigned char>(ch)) ? ch : '?';
    const Op* op = find_op(c.soap.op_ns, c.soap.op_name);
    bool open = op && std::strcmp(op->name, "GetSystemDateAndTime") == 0;
    const User* who = nullptr;
    if (!open) {
        // HTTP Digest when the request carries it, else WS-Security; no
        // credentials at all get the challenge.
        AuthResult r = auth_.check_digest(c.req.authorization, c.req.method, c.req.now_ms, who);
        bool by_digest = r != AuthResult::none;
        if (!by_digest) r = auth_.check_wsse(c.soap.header, c.req.now_ms, who);
        if (r != AuthResult::ok) {
            c.fault(by_digest || r == AuthResult::none ? 401 : 400,
                    {"Sender", "ter:NotAuthorized", nullptr, "the sender is not authorized"});
            if (c.resp.status == 401)
                c.resp.headers.emplace_back("WWW-Authenticate", auth_.challenge(c.req.now_ms));
            return;
        }
        c.resp.user = who->name;
    }
    if (!op) {
        c.fault(500, {"Receiver", "ter:ActionNotSupported", nullptr, "unknown operation"});
        return;
    }
    if (who && who->level < op->need) {
        c.fault(400, {"Sender", "ter:NotAuthorized", nullptr, "this user may not do that"});
        return;
    }
    if (c.soap.op_ns == kNsDevice)
        device_op(c);
    else if (c.soap.op_ns == kNsMedia)
        media_op(c);
    else
        ptz_op(c);
}

void Service::device_op(Ctx& c) {
    std::string_view op = c.soap.op_name;
    if (op == "GetSystemDateAndTime") {
        time_t t = static_cast<time_t>(c.req.now_ms / 1000);
        struct tm tm;
        gmtime_r(&t, &tm);
        pugi::xml_node d = c.answer().append_child("tds:SystemDateAndTime");
        add_text(d, "tt:DateTimeType", "Manual");
        add_text(d, "tt:DaylightSavings", "false");
        add_text(d.append_child("tt:TimeZone"), "tt:TZ", "UTC0");
        pugi::xml_node u = d.append_child("tt:UTCDateTime");
        pugi::xml_node tt = u.append_child("tt:Time");
        add_text(tt, "tt:Hour", std::to_string(tm.tm_hour));
        add_text(tt, "tt:Minute", std::to_string(tm.tm_min));
        add_text(tt, "tt:Second", std::to_string(tm.tm_sec));
        pugi::xml_node dd = u.append_child("tt:Date");
        add_text(dd, "tt:Year", std::to_string(tm.tm_year + 1900));
        add_text(dd, "tt:Month", std::to_string(tm.tm_mon + 1));
        add_text(dd, "tt:Day", std::to_string(tm.tm_mday));
    } else if (op == "GetDeviceInformation") {
        pugi::xml_node a = c.answer();
        add_text(a, "tds:Manufacturer", "ptzsvr");
        add_text(a, "tds:Model", "ptzonvif");
        add_text(a, "tds:FirmwareVersion", "1.0");
        add_text(a, "tds:SerialNumber",
                 cfg_.uuid.size() > 12 ? cfg_.uuid.substr(cfg_.uuid.size() - 12) : cfg_.uuid);
        add_text(a, "tds:HardwareId", "ptzsvr");
    } else if (op == "GetCapabilities") {
        std::string cat = c.arg("Category");
        if (!cat.empty() && cat != "All" && cat != "Device" && cat != "Media" && cat != "PTZ") {
            c.fault({"Receiver", "ter:ActionNotSupported", "ter:NoSuchService", "no such service"});
            return;
        }
        pugi::xml_node caps = c.answer().append_child("tds:Capabilities");
        if (cat.empty() || cat == "All" || cat == "Device") {
            pugi::xml_node d = caps.append_child("tt:Device");
            add_text(d, "tt:XAddr", c.base + "/onvif/device_service");
        }
        if (cat.empty() || cat == "All" || cat == "Media") {
            pugi::xml_node m = caps.append_child("tt:Media");
            add_text(m, "tt:XAddr", c.base + "/onvif/media_service");
            pugi::xml_node s = m.append_child("tt:StreamingCapabilities");
            add_text(s, "tt:RTPMulticast", "false");
            add_text(s, "tt:RTP_TCP", "true");
            add_text(s, "tt:RTP_RTSP_TCP", "true");
        }
        if (cat.empty() || cat == "All" || cat == "PTZ") {
            add_text(caps.append_child("tt:PTZ"), "tt:XAddr", c.base + "/onvif/ptz_service");
        }
    } else if (op == "GetServices") {
        bool caps = c.arg("IncludeCapability") == "true";
        pugi::xml_node a = c.answer();
        struct {
            const char* ns;
            const char* path;
            int major;
        } services[] = {{kNsDevice, "/onvif/device_service", 2},
                        {kNsMedia, "/onvif/media_service", 2},
                        {kNsPtz, "/onvif/ptz_service", 2}};
        for (const auto& s : services) {
            pugi::xml_node e = a.append_child("tds:Service");
            add_text(e, "tds:Namespace", s.ns);
            add_text(e, "tds:XAddr", c.base + s.path);
            if (caps) {
                pugi::xml_node cap = e.append_child("tds:Capabilities");
                if (s.ns == kNsPtz) {
                    pugi::xml_node pc = cap.append_child("tptz:Capabilities");
                    pc.append_attribute("MoveStatus") = true;
                    bool pos = false;
                    for (const ChannelInfo& ch : ctl_.channels()) pos = pos || ch.absolute;
                    pc.append_attribute("StatusPosition") = pos;
                } else if (s.ns == kNsMedia) {
                    pugi::xml_node mc = cap.append_child("trt:Capabilities");
                    mc.append_attribute("SnapshotUri") = false;
                    mc.append_child("trt:ProfileCapabilities").append_attribute("MaximumNumberOfProfiles") =
                        static_cast<unsigned>(ctl_.channels().size());
                    mc.append_child("trt:StreamingCapabilities").append_attribute("RTP_RTSP_TCP") = true;
                } else {
                    cap.append_child("tds:Capabilities");
                }
            }
            pugi::xml_node v = e.append_child("tds:Version");
            add_text(v, "tt:Major", std::to_string(s.major));
            add_text(v, "tt:Minor", "0");
        }
    } else if (op == "GetServiceCapabilities") {
        pugi::xml_node cap = c.answer().append_child("tds:Capabilities");
        cap.append_child("tds:Network");
        cap.append_child("tds:Security").append_attribute("UsernameToken") = true;
        cap.append_child("tds:System");
    } else if (op == "GetScopes") {
        pugi::xml_node a = c.answer();
        for (const std::string& s : device_scopes()) {
            pugi::xml_node e = a.append_child("tds:Scopes");
            add_text(e, "tt:ScopeDef", "Fixed");
            add_text(e, "tt:ScopeItem", s);
        }
    }
}

namespace {

const ChannelInfo* find_channel(const std::vector<ChannelInfo>& chans, std::string_view token,
                                std::string_view prefix) {
    if (token.size() <= prefix.size() || token.substr(0, prefix.size()) != prefix) return nullptr;
    std::string_view digits = token.substr(prefix.size());
    if (digits.size() > 4 || (digits.size() > 1 && digits[0] == '0')) return nullptr;
    int n = 0;
    for (char ch : digits) {
        if (ch < '0' || ch > '9') return nullptr;
        n = n * 10 + (ch - '0');
    }
    for (const ChannelInfo& c : chans) {
        if (c.channel == n) return &c;
    }
    return nullptr;
}

}  // namespace

void Service::media_op(Ctx& c) {
    std::string_view op = c.soap.op_name;
    const std::vector<ChannelInfo>& chans = ctl_.channels();
    if (op == "GetProfiles") {
        pugi::xml_node a = c.answer();
        for (const ChannelInfo& ch : chans) add_profile(a, "trt:Profiles", ch);
    } else if (op == "GetVideoSources") {
        pugi::xml_node a = c.answer();
        for (const ChannelInfo& ch : chans) {
            pugi::xml_node v = a.append_child("trt:VideoSources");
            v.append_attribute("token") = ("vs" + std::to_string(ch.channel)).c_str();
            add_text(v, "tt:Framerate", std::to_string(kFps));
            pugi::xml_node r = v.append_child("tt:Resolution");
            add_text(r, "tt:Width", std::to_string(kWidth));
            add_text(r, "tt:Height", std::to_string(kHeight));
        }
    } else if (op == "GetServiceCapabilities") {
        pugi::xml_node cap = c.answer().append_child("trt:Capabilities");
        cap.append_attribute("SnapshotUri") = false;
        cap.append_child("trt:ProfileCapabilities").append_attribute("MaximumNumberOfProfiles") =
            static_cast<unsigned>(chans.size());
        cap.append_child("trt:StreamingCapabilities").append_attribute("RTP_RTSP_TCP") = true;
    } else {
        const ChannelInfo* ch = find_channel(chans, c.arg("ProfileToken"), "ch");
        if (!ch) return c.fault(Err::no_profile);
        if (op == "GetProfile") {
            add_profile(c.answer(), "trt:Profile", *ch);
        } else if (cfg_.rtsp_template.empty()) {
            c.fault(
                {"Receiver", "ter:Action", "ter:IncompleteConfiguration", "no stream address is configured"});
        } else {
            std::string uri = cfg_.rtsp_template;
            std::string n = std::to_string(ch->channel);
            for (size_t p; (p = uri.find("{channel}")) != std::string::npos;) uri.replace(p, 9, n);
            pugi::xml_node m = c.answer().append_child("trt:MediaUri");
            add_text(m, "tt:Uri", uri);
            add_text(m, "tt:InvalidAfterConnect", "false");
            add_text(m, "tt:InvalidAfterReboot", "false");
            add_text(m, "tt:Timeout", "PT0S");
        }
    }
}

void Service::ptz_op(Ctx& c) {
    std::string_view op = c.soap.op_name;
    const std::vector<ChannelInfo>& chans = ctl_.channels();
    if (op == "GetNodes") {
        pugi::xml_node a = c.answer();
        for (const ChannelInfo& ch : chans) add_node(a, "tptz:PTZNode", ch);
    } else if (op == "GetNode") {
        const ChannelInfo* ch = find_channel(chans, c.arg("NodeToken"), "node");
        if (!ch) return c.fault({"Sender", "ter:InvalidArgVal", "ter:NoEntity", "no such node"});
        add_node(c.answer(), "tptz:PTZNode", *ch);
    } else if (op == "GetConfigurations") {
        pugi::xml_node a = c.answer();
        for (const ChannelInfo& ch : chans) add_ptz_config(a, "tptz:PTZConfiguration", ch);
    } else if (op == "GetConfiguration" || op == "GetConfigurationOptions") {
        bool options = op == "GetConfigurationOptions";
        const ChannelInfo* ch =
            find_channel(chans, c.arg(options ? "ConfigurationToken" : "PTZConfigurationToken"), "ptz");
        if (!ch) return c.fault({"Sender", "ter:InvalidArgVal", "ter:NoConfig", "no such configuration"});
        if (!options) return void(add_ptz_config(c.answer(), "tptz:PTZConfiguration", *ch));
        pugi::xml_node o = c.answer().append_child("tptz:PTZConfigurationOptions");
        add_spaces(o.append_child("tt:Spaces"), *ch);
        pugi::xml_node t = o.append_child("tt:PTZTimeout");
        add_text(t, "tt:Min", "PT0.1S");
        add_text(t, "tt:Max", "PT1H");
    } else if (op == "GetServiceCapabilities") {
        pugi::xml_node cap = c.answer().append_child("tptz:Capabilities");
        cap.append_attribute("EFlip") = false;
        cap.append_attribute("Reverse") = false;
        cap.append_attribute("GetCompatibleConfigurations") = false;
        cap.append_attribute("MoveStatus") = true;
        bool pos = false;
        for (const ChannelInfo& ch : chans) pos = pos || ch.absolute;
        cap.append_attribute("StatusPosition") = pos;
    } else {
        const ChannelInfo* ch = find_channel(chans, c.arg("ProfileToken"), "ch");
        if (!ch) return c.fault(Err::no_profile);
        if (op == "GetPresets" || op == "GotoPreset" || op == "SetPreset" || op == "RemovePreset") {
            ptz_preset_op(c, *ch);
        } else {
            ptz_move_op(c, *ch);
        }
    }
}

void Service::ptz_move_op(Ctx& c, const ChannelInfo& ch) {
    std::string_view op = c.soap.op_name;
    const char* bad = nullptr;
    Vector v;
    Err e = Err::ok;
    const char* invalid = "ter:InvalidArgs";
    if (op == "GetStatus") {
        Status st;
        if ((e = ctl_.status(ch.channel, st)) != Err::ok) return c.fault(e);
        pugi::xml_node s = c.answer().append_child("tptz:PTZStatus");
        if (st.has_position) add_vector(s, "tt:Position", st.position, kPtAbs, kZoomAbs);
        pugi::xml_node m = s.append_child("tt:MoveStatus");
        add_text(m, "tt:PanTilt", move_text(st.pan_tilt));
        if (ch.zoom) add_text(m, "tt:Zoom", move_text(st.zoom));
        add_text(s, "tt:UtcTime", utc_text(c.req.now_ms));
        return;
    }
    if (op == "ContinuousMove") {
        invalid = "ter:InvalidVelocity";
        if (!read_vector(child(c.soap.op, "Velocity"), kPtVel, ch.zoom ? kZoomVel : nullptr, -1, v, bad,
                         invalid)) {
            return c.fault(Err::invalid_arg, bad);
        }
        int64_t timeout = -1;
        if (pugi::xml_node t = child(c.soap.op, "Timeout")) {
            if (!parse_duration(t.child_value(), timeout) || timeout <= 0 || timeout > kMaxTimeoutMs) {
                return c.fault(Err::invalid_arg, "ter:TimeoutNotSupported");
            }
        }
        // Clients send a zero zoom to cameras without a lens motor too.
        if (v.has_zoom && !ch.zoom) {
            if (v.zoom != 0) return c.fault(Err::invalid_arg, "ter:SpaceNotSupported");
            v.has_zoom = false;
        }
        if (!v.has_pan_tilt && !v.has_zoom) return c.fault(Err::invalid_arg, invalid);
        e = ctl_.continuous_move(ch.channel, v, timeout);
    } else if (op == "Stop") {
        std::string pt = c.arg("PanTilt"), z = c.arg("Zoom");
        bool stop_pt = pt.empty() || pt == "true" || pt == "1";
        bool stop_z = z.empty() || z == "true" || z == "1";
        if (!stop_pt && !stop_z) return void(c.answer());
        e = ctl_.stop(ch.channel, stop_pt, stop_z && ch.zoom);
    } else if (op == "AbsoluteMove") {
        if (!ch.absolute) return c.fault(Err::not_supported);
        invalid = "ter:InvalidPosition";
        if (!read_vector(child(c.soap.op, "Position"), kPtAbs, ch.zoom ? kZoomAbs : nullptr, 0, v, bad,
                         invalid)) {
            return c.fault(Err::invalid_arg, bad);
        }
        if (!v.has_pan_tilt && !v.has_zoom) return c.fault(Err::invalid_arg, invalid);
        e = ctl_.absolute_move(ch.channel, v);
    } else if (op == "RelativeMove") {
        if (!ch.fov_relative) return c.fault(Err::not_supported);
        invalid = "ter:InvalidTranslation";
        // The field of view is the only relative space; a zoom part is
        // taken only when it asks for nothing.
        if (!read_vector(child(c.soap.op, "Translation"), kPtFov, nullptr, -1, v, bad, invalid)) {
            return c.fault(Err::invalid_arg, bad);
        }
        if (v.has_zoom && v.zoom != 0) return c.fault(Err::invalid_arg, "ter:SpaceNotSupported");
        v.has_zoom = false;
        if (!v.has_pan_tilt) return c.fault(Err::invalid_arg, invalid);
        e = ctl_.relative_move(ch.channel, v);
    } else if (op == "GotoHomePosition" || op == "SetHomePosition") {
        if (!ch.home) return c.fault(Err::not_supported);
        e = op == "GotoHomePosition" ? ctl_.goto_home(ch.channel) : ctl_.set_home(ch.channel);
    } else if (op == "SendAuxiliaryCommand") {
        std::string cmd = c.arg("AuxiliaryData");
        bool known = false;
        for (const std::string& a : ch.aux) known = known || a == cmd;
        if (!known) return c.fault(Err::not_supported);
        e = ctl_.aux(ch.channel, cmd);
        if (e == Err::ok) return void(add_text(c.answer(), "tptz:AuxiliaryResponse", cmd));
    }
    if (e != Err::ok) return c.fault(e, invalid);
    c.answer();
}

void Service::ptz_preset_op(Ctx& c, const ChannelInfo& ch) {
    std::string_view op = c.soap.op_name;
    Err e = Err::ok;
    if (op == "GetPresets") {
        std::vector<Preset> presets;
        if ((e = ctl_.presets(ch.channel, presets)) != Err::ok) return c.fault(e);
        pugi::xml_node a = c.answer();
        for (const Preset& p : presets) {
            pugi::xml_node e2 = a.append_child("tptz:Preset");
            e2.append_attribute("token") = p.token.c_str();
            add_text(e2, "tt:Name", p.name);
            if (p.has_position) add_vector(e2, "tt:PTZPosition", p.position, kPtAbs, kZoomAbs);
        }
        return;
    }
    std::string token = c.arg("PresetToken");
    if (op == "GotoPreset") {
        e = ctl_.goto_preset(ch.channel, token);
    } else if (op == "RemovePreset") {
        e = ctl_.remove_preset(ch.channel, token);
    } else {
        std::string name = c.arg("PresetName");
        if (name.size() > 64) return c.fault(Err::invalid_arg, "ter:InvalidPresetName");
        for (char k : name) {
            if (static_cast<unsigned char>(k) < 0x20)
                return c.fault(Err::invalid_arg, "ter:InvalidPresetName");
        }
        e = ctl_.set_preset(ch.channel, name, token);
        if (e == Err::ok) return void(add_text(c.answer(), "tptz:PresetToken", token));
    }
    if (e != Err::ok) return c.fault(e);
    c.answer();
}

}  // namespace ptz::onvif
