// WS-Discovery: answers Probe messages on UDP 3702 (multicast
// 239.255.255.250 and unicast) with where the device service is, so that
// clients that search the network find the recorder's cameras.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>

namespace ptz::onvif {

struct DiscoveryConfig {
    std::string listen = "127.0.0.1:8000";  // the HTTP service's ADDR:PORT
    std::string uuid;                       // urn:uuid:..., the same across restarts
    uint16_t port = 3702;
};

// The ProbeMatches answer to one datagram, or empty when it is no Probe for
// us (wrong types, not SOAP, a document type declaration, too long).
// `local_addr` is our address as the prober sees it, for the XAddrs.
std::string probe_reply(std::string_view datagram, const DiscoveryConfig& cfg, const std::string& local_addr);

class Discovery {
public:
    explicit Discovery(DiscoveryConfig cfg) : cfg_(std::move(cfg)) {}
    ~Discovery() { stop(); }
    // False with `error` set when the port cannot be bound.
    bool start(std::string& error);
    void stop();

private:
    void run();
    DiscoveryConfig cfg_;
    int fd_ = -1;
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace ptz::onvif
