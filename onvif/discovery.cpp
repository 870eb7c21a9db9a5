#include "onvif/discovery.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/random.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <sstream>

#include "onvif/service.h"
#include "onvif/soap.h"

namespace ptz::onvif {

namespace {

constexpr const char* kNsDiscovery = "http://schemas.xmlsoap.org/ws/2005/04/discovery";
constexpr const char* kNsAddressing = "http://schemas.xmlsoap.org/ws/2004/08/addressing";
constexpr size_t kMaxDatagram = 8192;
constexpr int kRepliesPerSecond = 20;

std::string new_uuid() {
    uint8_t b[16];
    if (getrandom(b, sizeof b, 0) != static_cast<ssize_t>(sizeof b)) std::memset(b, 0, sizeof b);
    b[6] = static_cast<uint8_t>((b[6] & 0x0f) | 0x40);
    b[8] = static_cast<uint8_t>((b[8] & 0x3f) | 0x80);
    char s[40];
    std::snprintf(s, sizeof s, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0],
                  b[1], b[2], b[3], b[4], b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14],
                  b[15]);
    return std::string("urn:uuid:") + s;
}

// Whether every scope a probe asks for is one of ours or a path prefix of one.
bool scopes_match(std::string_view wanted) {
    std::istringstream in{std::string(wanted)};
    std::string w;
    std::vector<std::string> ours = device_scopes();
    while (in >> w) {
        bool found = false;
        for (const std::string& s : ours) {
            found = found || s == w ||
                    (s.compare(0, w.size(), w) == 0 && (w.back() == '/' || s[w.size()] == '/'));
        }
        if (!found) return false;
    }
    return true;
}

bool types_match(std::string_view types) {
    std::istringstream in{std::string(types)};
    std::string t;
    bool any = false;
    while (in >> t) {
        any = true;
        std::string_view local = t;
        if (size_t colon = local.rfind(':'); colon != std::string_view::npos) local = local.substr(colon + 1);
        if (local == "NetworkVideoTransmitter" || local == "Device") return true;
    }
    return !any;
}

}  // namespace

std::string probe_reply(std::string_view datagram, const DiscoveryConfig& cfg,
                        const std::string& local_addr) {
    if (datagram.size() > kMaxDatagram) return {};
    SoapRequest req;
    if (parse_soap(datagram, req) != SoapError::none) return {};
    if (req.op_name != "Probe" || req.op_ns != kNsDiscovery) return {};
    if (!types_match(child_text(req.op, "Types")) || !scopes_match(child_text(req.op, "Scopes"))) return {};
    std::string relates = child_text(req.header, "MessageID");
    if (relates.size() > 256) return {};

    pugi::xml_document doc;
    pugi::xml_node decl = doc.append_child(pugi::node_declaration);
    decl.append_attribute("version") = "1.0";
    decl.append_attribute("encoding") = "UTF-8";
    pugi::xml_node env = doc.append_child("s:Envelope");
    env.append_attribute("xmlns:s") = kNsSoap12;
    env.append_attribute("xmlns:a") = kNsAddressing;
    env.append_attribute("xmlns:d") = kNsDiscovery;
    env.append_attribute("xmlns:dn") = "http://www.onvif.org/ver10/network/wsdl";
    env.append_attribute("xmlns:tds") = kNsDevice;
    pugi::xml_node h = env.append_child("s:Header");
    add_text(h, "a:MessageID", new_uuid());
    if (!relates.empty()) add_text(h, "a:RelatesTo", relates);
    add_text(h, "a:To", "http://schemas.xmlsoap.org/ws/2004/08/addressing/role/anonymous");
    add_text(h, "a:Action", "http://schemas.xmlsoap.org/ws/2005/04/discovery/ProbeMatches");
    pugi::xml_node m = env.append_child("s:Body").append_child("d:ProbeMatches").append_child("d:ProbeMatch");
    add_text(m.append_child("a:EndpointReference"), "a:Address", cfg.uuid);
    add_text(m, "d:Types", "dn:NetworkVideoTransmitter tds:Device");
    std::string scopes;
    for (const std::string& s : device_scopes()) scopes += (scopes.empty() ? "" : " ") + s;
    add_text(m, "d:Scopes", scopes);
    size_t colon = cfg.listen.rfind(':');
    std::string port = colon == std::string::npos ? "8000" : cfg.listen.substr(colon + 1);
    add_text(m, "d:XAddrs", "http://" + local_addr + ":" + port + "/onvif/device_service");
    add_text(m, "d:MetadataVersion", "1");
    std::ostringstream os;
    doc.save(os, "", pugi::format_raw, pugi::encoding_utf8);
    return os.str();
}

bool Discovery::start(std::string& error) {
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd_ < 0) {
        error = std::string("socket: ") + std::strerror(errno);
        return false;
    }
    int one = 1;
    setsockopt(fd_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(cfg_.port);
    a.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        error = "UDP port " + std::to_string(cfg_.port) + ": " + std::strerror(errno);
        close(fd_);
        fd_ = -1;
        return false;
    }
    ip_mreq mreq{};
    mreq.imr_multiaddr.s_addr = inet_addr("239.255.255.250");
    mreq.imr_interface.s_addr = htonl(INADDR_ANY);
    if (setsockopt(fd_, IPPROTO_IP, IP_ADD_MEMBERSHIP, &mreq, sizeof mreq) != 0) {
        // Unicast probes still work, e.g. on a machine without a multicast route.
        std::fprintf(stderr, "ptzonvif: discovery: no multicast group: %s\n", std::strerror(errno));
    }
    thread_ = std::thread([this] { run(); });
    return true;
}

void Discovery::stop() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
}

void Discovery::run() {
    std::string bound_host = cfg_.listen.substr(0, cfg_.listen.rfind(':'));
    bool any_host = bound_host.empty() || bound_host == "0.0.0.0";
    std::vector<char> buf(kMaxDatagram + 1);
    auto window = std::chrono::steady_clock::now();
    int sent = 0;
    while (!stop_) {
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, 200) <= 0) continue;
        sockaddr_in from{};
        socklen_t flen = sizeof from;
        ssize_t n = recvfrom(fd_, buf.data(), buf.size(), 0, reinterpret_cast<sockaddr*>(&from), &flen);
        if (n <= 0 || static_cast<size_t>(n) > kMaxDatagram) continue;
        auto now = std::chrono::steady_clock::now();
        if (now - window > std::chrono::seconds(1)) {
            window = now;
            sent = 0;
        }
        // Answers are larger than probes: a bound keeps us from being an amplifier.
        if (sent >= kRepliesPerSecond) continue;
        std::string local = bound_host;
        if (any_host) {
            // Our address on the route back to the prober.
            int s = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
            sockaddr_in me{};
            socklen_t mlen = sizeof me;
            char text[INET_ADDRSTRLEN] = "127.0.0.1";
            if (s >= 0 && connect(s, reinterpret_cast<sockaddr*>(&from), flen) == 0 &&
                getsockname(s, reinterpret_cast<sockaddr*>(&me), &mlen) == 0) {
                inet_ntop(AF_INET, &me.sin_addr, text, sizeof text);
            }
            if (s >= 0) close(s);
            local = text;
        }
        std::string reply = probe_reply(std::string_view(buf.data(), static_cast<size_t>(n)), cfg_, local);
        if (reply.empty()) continue;
        sendto(fd_, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr*>(&from), flen);
        ++sent;
    }
}

}  // namespace ptz::onvif
