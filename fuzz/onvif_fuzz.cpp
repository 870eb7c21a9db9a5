// libFuzzer target for ptzonvif's request path: an Authorization header and
// a SOAP body through credentials, parsing and every operation against a
// fake controller, and the same bytes as a WS-Discovery datagram.
//
// Input layout: flags, the controller's answer (% 8, an Err), the
// Authorization header up to the first NUL, then the body. Flags:
//   bit 0  the body is the inside of <s:Body> in an envelope with an
//          Operator's credentials, so that most inputs reach an operation
//   bit 1  the method is GET
//   bit 2  the body also goes through the WS-Discovery answer
#include <cstddef>
#include <cstdint>
#include <string>

#include "onvif/discovery.h"
#include "tests/onvif/fake_controller.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace ptz::onvif;
    if (size < 2) return 0;
    uint8_t flags = data[0];
    std::string rest(reinterpret_cast<const char*>(data + 2), size - 2);
    size_t nul = rest.find('\0');
    Request req;
    if (nul != std::string::npos) {
        req.authorization = rest.substr(0, nul);
        rest.erase(0, nul + 1);
    }
    req.method = flags & 2 ? "GET" : "POST";
    req.host = "192.0.2.1:8000";
    req.now_ms = 1700000000000;
    req.body = flags & 1 ? envelope(rest, creds("op", "pw")) : rest;
    Rig rig;
    rig.ctl.next = static_cast<Err>(data[1] % 8);
    Response r = rig.svc.handle(req);
    if (r.status != 200 && r.status != 400 && r.status != 401 && r.status != 405 && r.status != 500)
        __builtin_trap();
    if (r.status != 405) {
        // Every answer is a well-formed envelope.
        SoapRequest back;
        if (parse_soap(r.body, back) != SoapError::none) __builtin_trap();
    }
    if (flags & 4) probe_reply(req.body, DiscoveryConfig{"0.0.0.0:8000", "urn:uuid:0", 3702}, "192.0.2.1");
    return 0;
}
