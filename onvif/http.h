// The HTTP side of ptzonvif, on civetweb: it bounds what a client may cost
// (body size, time to send a request) and hands each request to the Service.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <list>
#include <mutex>
#include <string>
#include <thread>

#include "onvif/service.h"

struct mg_context;
struct mg_connection;

namespace ptz::onvif {

struct HttpConfig {
    std::string listen = "127.0.0.1:8000";
    int threads = 64;                 // connections served at once
    int header_timeout_ms = 2000;     // civetweb's request_timeout_ms: the request line and headers
    int request_deadline_ms = 10000;  // from a request's first byte to its last
    size_t max_body = 1 << 20;
    bool log = true;
};

class HttpServer {
public:
    HttpServer(Service& service, HttpConfig cfg);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Binds and starts the worker threads; false with `error` set.
    bool start(std::string& error);
    void stop();
    // The TCP port bound (useful with port 0), or -1.
    int port() const;

private:
    static int on_request(mg_connection* conn, void* self);
    static int on_http_error(mg_connection* conn, int status, const char* msg);
    static int on_init_connection(const mg_connection* conn, void** data);
    int serve(mg_connection* conn);

    // Cuts the body of a request that is still arriving at its deadline.
    // civetweb waits as long as a client keeps dripping bytes, so the
    // watchdog shuts the socket's reading side; the handler then answers 408.
    struct Pending {
        uint32_t deadline_ms;
        std::string peer;
        int peer_port;
        bool cut;
    };
    std::list<Pending>::iterator watch(const mg_connection* conn, uint32_t deadline_ms);
    bool unwatch(std::list<Pending>::iterator it);
    void watchdog();

    Service& service_;
    std::mutex mu_;
    std::condition_variable cv_;
    std::list<Pending> pending_;
    bool stopping_ = false;
    std::thread watchdog_;
    int port_ = -1;
    HttpConfig cfg_;
    mg_context* ctx_ = nullptr;
};

}  // namespace ptz::onvif
