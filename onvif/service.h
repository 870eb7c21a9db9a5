// The ONVIF device, media and PTZ services as one request handler, free of
// sockets: the HTTP glue, the unit tests and the fuzzer all drive it the
// same way. Operations are told apart by the SOAP body's element and its
// namespace, not by the path, since clients post to whichever address we
// advertise.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "onvif/auth.h"
#include "onvif/controller.h"

namespace ptz::onvif {

struct Request {
    std::string method = "POST";
    std::string path = "/onvif/device_service";
    std::string host;           // the Host header, for the addresses we hand out
    std::string authorization;  // the Authorization header
    std::string body;
    std::string client;  // the client's address, for the log line
    int64_t now_ms = 0;  // wall clock, milliseconds since 1970
};

struct Response {
    int status = 200;
    std::string content_type = "application/soap+xml; charset=utf-8";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string op;  // the operation, for the log line
    std::string user;
};

struct ServiceConfig {
    std::string listen = "127.0.0.1:8000";  // ADDR:PORT we serve on
    std::string rtsp_template;              // "{channel}" replaced by the channel, or empty
    std::string uuid;                       // our WS-Discovery endpoint, urn:uuid:...
};

// The HTTP status a SOAP answer goes with: faults of the sender 400, of the
// receiver 500, a missing or wrong HTTP Digest 401.
class Service {
public:
    Service(Controller& ctl, Auth& auth, ServiceConfig cfg);
    Response handle(const Request& req);

private:
    struct Ctx;
    void dispatch(Ctx& c);
    void device_op(Ctx& c);
    void media_op(Ctx& c);
    void ptz_op(Ctx& c);
    void ptz_move_op(Ctx& c, const ChannelInfo& ch);
    void ptz_preset_op(Ctx& c, const ChannelInfo& ch);

    Controller& ctl_;
    Auth& auth_;
    ServiceConfig cfg_;
};

// The scopes we announce, for GetScopes and WS-Discovery.
std::vector<std::string> device_scopes();

}  // namespace ptz::onvif
