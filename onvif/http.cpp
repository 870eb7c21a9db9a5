#include "onvif/http.h"

#include <arpa/inet.h>
#include <civetweb.h>
#include <dirent.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace ptz::onvif {

namespace {

uint32_t steady_ms() {
    using namespace std::chrono;
    return static_cast<uint32_t>(duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
}

int64_t wall_ms() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

const char* reason_of(int status) {
    switch (status) {
        case 200: return "OK";
        case 400: return "Bad Request";
        case 401: return "Unauthorized";
        case 405: return "Method Not Allowed";
        case 408: return "Request Timeout";
        case 413: return "Content Too Large";
        case 500: return "Internal Server Error";
        default: return "Error";
    }
}

// An answer that ends the connection: the rest of the request is never read.
void send_close(mg_connection* conn, int status) {
    mg_printf(
        conn,
        "HTTP/1.1 %d %s\r\nContent-Type: text/plain\r\nContent-Length: %zu\r\nConnection: close\r\n\r\n%s\n",
        status, reason_of(status), std::strlen(reason_of(status)) + 1, reason_of(status));
}

}  // namespace

HttpServer::HttpServer(Service& service, HttpConfig cfg) : service_(service), cfg_(std::move(cfg)) {}

HttpServer::~HttpServer() { stop(); }

bool HttpServer::start(std::string& error) {
    std::string threads = std::to_string(cfg_.threads);
    std::string timeout = std::to_string(cfg_.header_timeout_ms);
    const char* options[] = {
        "listening_ports",
        cfg_.listen.c_str(),
        "num_threads",
        threads.c_str(),
        // Connections that wait for a free thread.
        "connection_queue",
        "256",
        "listen_backlog",
        "256",
        // civetweb's own bound on the request line and headers, counted
        // from the first byte; the body's bound is ours (serve).
        "request_timeout_ms",
        timeout.c_str(),
        "enable_keep_alive",
        "yes",
        "keep_alive_timeout_ms",
        "5000",
        // Room for the request line and headers; longer ones get 413.
        "max_request_size",
        "16384",
        nullptr,
    };
    mg_callbacks cb{};
    cb.http_error = on_http_error;
    cb.init_connection = on_init_connection;
    mg_init_library(0);
    ctx_ = mg_start(&cb, this, options);
    if (!ctx_) {
        error = "cannot listen on " + cfg_.listen;
        return false;
    }
    port_ = port();
    stopping_ = false;
    watchdog_ = std::thread([this] { watchdog(); });
    mg_set_request_handler(ctx_, "/", on_request, this);
    return true;
}

void HttpServer::stop() {
    {
        std::lock_guard<std::mutex> lock(mu_);
        stopping_ = true;
    }
    cv_.notify_all();
    if (watchdog_.joinable()) watchdog_.join();
    if (ctx_) {
        mg_stop(ctx_);
        ctx_ = nullptr;
        mg_exit_library();
    }
}

namespace {

// The descriptor of our accepted socket from that peer, found by its
// addresses; only slow clients pay for the search.
int find_socket(const std::string& peer, int peer_port, int local_port) {
    DIR* d = opendir("/proc/self/fd");
    if (!d) return -1;
    int found = -1;
    while (dirent* e = readdir(d)) {
        int fd = std::atoi(e->d_name);
        if (fd <= 2 || fd == dirfd(d)) continue;
        sockaddr_storage a{};
        socklen_t len = sizeof a;
        if (getpeername(fd, reinterpret_cast<sockaddr*>(&a), &len) != 0) continue;
        char text[INET6_ADDRSTRLEN] = "";
        int port = -1;
        if (a.ss_family == AF_INET) {
            auto* in = reinterpret_cast<sockaddr_in*>(&a);
            inet_ntop(AF_INET, &in->sin_addr, text, sizeof text);
            port = ntohs(in->sin_port);
        } else if (a.ss_family == AF_INET6) {
            auto* in6 = reinterpret_cast<sockaddr_in6*>(&a);
            inet_ntop(AF_INET6, &in6->sin6_addr, text, sizeof text);
            port = ntohs(in6->sin6_port);
        }
        if (port != peer_port || peer != text) continue;
        sockaddr_storage me{};
        len = sizeof me;
        if (getsockname(fd, reinterpret_cast<sockaddr*>(&me), &len) != 0) continue;
        int my_port = me.ss_family == AF_INET ? ntohs(reinterpret_cast<sockaddr_in*>(&me)->sin_port)
                                              : ntohs(reinterpret_cast<sockaddr_in6*>(&me)->sin6_port);
        if (my_port == local_port) {
            found = fd;
            break;
        }
    }
    closedir(d);
    return found;
}

}  // namespace

std::list<HttpServer::Pending>::iterator HttpServer::watch(const mg_connection* conn, uint32_t deadline_ms) {
    const mg_request_info* ri = mg_get_request_info(conn);
    std::lock_guard<std::mutex> lock(mu_);
    return pending_.insert(pending_.end(), Pending{deadline_ms, ri->remote_addr, ri->remote_port, false});
}

bool HttpServer::unwatch(std::list<Pending>::iterator it) {
    std::lock_guard<std::mutex> lock(mu_);
    bool cut = it->cut;
    pending_.erase(it);
    return cut;
}

void HttpServer::watchdog() {
    std::unique_lock<std::mutex> lock(mu_);
    while (!stopping_) {
        cv_.wait_for(lock, std::chrono::milliseconds(100));
        uint32_t now = steady_ms();
        for (Pending& p : pending_) {
            if (p.cut || static_cast<int32_t>(now - p.deadline_ms) < 0) continue;
            // The handler is still reading (it unwatches under this lock
            // first), so the socket is still this connection's.
            p.cut = true;
            int fd = find_socket(p.peer, p.peer_port, port_);
            if (fd >= 0) shutdown(fd, SHUT_RD);
        }
    }
}

int HttpServer::port() const {
    mg_server_port ports[1];
    if (!ctx_ || mg_get_server_ports(ctx_, 1, ports) < 1) return -1;
    return ports[0].port;
}

int HttpServer::on_init_connection(const mg_connection*, void** data) {
    // The time the connection started, for telling a request that took too
    // long from one that was malformed (civetweb reports both as 400).
    *data = reinterpret_cast<void*>(static_cast<uintptr_t>(steady_ms()));
    return 0;
}

int HttpServer::on_http_error(mg_connection* conn, int status, const char*) {
    auto* self = static_cast<HttpServer*>(mg_get_user_data(mg_get_context(conn)));
    if (status != 400 || !self) return 1;
    auto since = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(mg_get_user_connection_data(conn)));
    if (static_cast<int>(steady_ms() - since) < self->cfg_.header_timeout_ms - 100) return 1;
    send_close(conn, 408);
    return 0;
}

int HttpServer::on_request(mg_connection* conn, void* self) {
    return static_cast<HttpServer*>(self)->serve(conn);
}

int HttpServer::serve(mg_connection* conn) {
    uint32_t start = steady_ms();
    const mg_request_info* ri = mg_get_request_info(conn);
    // The request line and headers took at most header_timeout_ms, and
    // civetweb notices that a few hundred milliseconds late at worst.
    const int body_budget = cfg_.request_deadline_ms - 2 * cfg_.header_timeout_ms;
    Request req;
    req.method = ri->request_method ? ri->request_method : "";
    req.path = ri->local_uri ? ri->local_uri : "";
    req.client = ri->remote_addr;
    if (const char* h = mg_get_header(conn, "Host")) req.host = h;
    if (const char* a = mg_get_header(conn, "Authorization")) req.authorization = a;

    if (ri->content_length > static_cast<long long>(cfg_.max_body)) {
        mg_disable_connection_keep_alive(conn);
        send_close(conn, 413);
        if (cfg_.log)
            std::fprintf(stderr, "ptzonvif: %s body of %lld bytes refused\n", req.client.c_str(),
                         ri->content_length);
        return 413;
    }
    if (ri->content_length > 0) req.body.reserve(static_cast<size_t>(ri->content_length));
    char buf[8192];
    bool complete = false;
    auto watched = watch(conn, start + static_cast<uint32_t>(body_budget));
    for (;;) {
        if (static_cast<int>(steady_ms() - start) > body_budget) break;
        int n = mg_read(conn, buf, sizeof buf);
        if (n <= 0) {
            // Without a length, the end of the chunks is the end of the body.
            complete = ri->content_length < 0 || req.body.size() == static_cast<size_t>(ri->content_length);
            break;
        }
        if (req.body.size() + static_cast<size_t>(n) > cfg_.max_body) {
            unwatch(watched);
            mg_disable_connection_keep_alive(conn);
            send_close(conn, 413);
            if (cfg_.log)
                std::fprintf(stderr, "ptzonvif: %s chunked body over the limit refused\n",
                             req.client.c_str());
            return 413;
        }
        req.body.append(buf, static_cast<size_t>(n));
        if (ri->content_length >= 0 && req.body.size() == static_cast<size_t>(ri->content_length)) {
            complete = true;
            break;
        }
    }
    if (unwatch(watched)) complete = false;
    if (!complete) {
        mg_disable_connection_keep_alive(conn);
        send_close(conn, 408);
        if (cfg_.log) std::fprintf(stderr, "ptzonvif: %s stopped sending its body\n", req.client.c_str());
        return 408;
    }

    req.now_ms = wall_ms();
    Response resp = service_.handle(req);
    // One write for the status line, headers and body: two small writes on
    // a kept-alive connection wait for the client's delayed acknowledgement.
    std::string out = "HTTP/1.1 " + std::to_string(resp.status) + " " + reason_of(resp.status) +
                      "\r\nContent-Type: " + resp.content_type +
                      "\r\nContent-Length: " + std::to_string(resp.body.size()) + "\r\n";
    for (const auto& [k, v] : resp.headers) out += k + ": " + v + "\r\n";
    out += "\r\n";
    out += resp.body;
    mg_write(conn, out.data(), out.size());
    mg_set_user_connection_data(conn, reinterpret_cast<void*>(static_cast<uintptr_t>(steady_ms())));
    if (cfg_.log) {
        std::fprintf(stderr, "ptzonvif: %s %s %s %d %ums\n", req.client.c_str(),
                     resp.user.empty() ? "-" : resp.user.c_str(), resp.op.empty() ? "-" : resp.op.c_str(),
                     resp.status, steady_ms() - start);
    }
    return resp.status;
}

}  // namespace ptz::onvif
