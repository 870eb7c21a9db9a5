#include "onvif/auth.h"

#include <nettle/base64.h>
#include <nettle/md5.h>
#include <nettle/memops.h>
#include <nettle/sha1.h>
#include <sys/random.h>
#include <sys/stat.h>

#include <charconv>
#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>

#include "onvif/soap.h"

namespace ptz::onvif {

namespace {

std::string sha1(std::string_view a, std::string_view b = {}, std::string_view c = {}) {
    sha1_ctx ctx;
    sha1_init(&ctx);
    for (std::string_view p : {a, b, c})
        sha1_update(&ctx, p.size(), reinterpret_cast<const uint8_t*>(p.data()));
    uint8_t d[SHA1_DIGEST_SIZE];
    sha1_digest(&ctx, sizeof d, d);
    return std::string(reinterpret_cast<char*>(d), sizeof d);
}

std::string md5_hex(std::string_view s) {
    md5_ctx ctx;
    md5_init(&ctx);
    md5_update(&ctx, s.size(), reinterpret_cast<const uint8_t*>(s.data()));
    uint8_t d[MD5_DIGEST_SIZE];
    md5_digest(&ctx, sizeof d, d);
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (uint8_t b : d) {
        out += hex[b >> 4];
        out += hex[b & 15];
    }
    return out;
}

bool base64_decode(std::string_view in, std::string& out) {
    if (in.size() > 1024) return false;
    base64_decode_ctx ctx;
    base64_decode_init(&ctx);
    std::string buf(BASE64_DECODE_LENGTH(in.size()) + 1, '\0');
    size_t n = 0;
    if (!base64_decode_update(&ctx, &n, reinterpret_cast<uint8_t*>(buf.data()), in.size(), in.data()) ||
        !base64_decode_final(&ctx)) {
        return false;
    }
    out.assign(buf.data(), n);
    return true;
}

std::string base64_encode(std::string_view in) {
    std::string out(BASE64_ENCODE_RAW_LENGTH(in.size()), '\0');
    base64_encode_raw(out.data(), in.size(), reinterpret_cast<const uint8_t*>(in.data()));
    return out;
}

// Equal lengths are compared in constant time; the lengths of digests are
// no secret.
bool same(std::string_view a, std::string_view b) {
    return a.size() == b.size() && memeql_sec(a.data(), b.data(), a.size());
}

bool level_of(std::string_view s, Level& out) {
    if (s == "Administrator")
        out = Level::administrator;
    else if (s == "Operator")
        out = Level::operator_;
    else if (s == "User")
        out = Level::user;
    else
        return false;
    return true;
}

// The parameters of an HTTP Digest Authorization value.
bool digest_params(std::string_view v, std::unordered_map<std::string, std::string>& out) {
    v = trim(v);
    if (v.size() < 7 || strncasecmp(v.data(), "Digest ", 7) != 0) return false;
    size_t i = 7;
    while (i < v.size() && out.size() < 16) {
        while (i < v.size() && (v[i] == ' ' || v[i] == ',' || v[i] == '\t')) ++i;
        size_t eq = v.find('=', i);
        if (eq == std::string_view::npos) break;
        std::string key(trim(v.substr(i, eq - i)));
        for (char& ch : key) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        i = eq + 1;
        std::string val;
        if (i < v.size() && v[i] == '"') {
            ++i;
            while (i < v.size() && v[i] != '"') {
                if (v[i] == '\\' && i + 1 < v.size()) ++i;
                val += v[i++];
            }
            if (i >= v.size()) return false;
            ++i;
        } else {
            size_t end = v.find(',', i);
            if (end == std::string_view::npos) end = v.size();
            val = std::string(trim(v.substr(i, end - i)));
            i = end;
        }
        out[key] = val;
    }
    return true;
}

std::string random_hex(size_t bytes) {
    uint8_t buf[32];
    if (bytes > sizeof buf) bytes = sizeof buf;
    size_t got = 0;
    while (got < bytes) {
        ssize_t n = getrandom(buf + got, bytes - got, 0);
        if (n > 0) got += static_cast<size_t>(n);
    }
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (size_t k = 0; k < bytes; ++k) {
        out += hex[buf[k] >> 4];
        out += hex[buf[k] & 15];
    }
    return out;
}

}  // namespace

bool parse_users(std::string_view text, std::vector<User>& users, std::string& error) {
    users.clear();
    int line_no = 0;
    while (!text.empty()) {
        size_t nl = text.find('\n');
        std::string_view line = trim(text.substr(0, nl));
        text = nl == std::string_view::npos ? std::string_view() : text.substr(nl + 1);
        ++line_no;
        if (line.empty() || line[0] == '#') continue;
        size_t a = line.find_first_of(" \t");
        size_t b = a == std::string_view::npos ? a : line.find_first_not_of(" \t", a);
        size_t c = b == std::string_view::npos ? b : line.find_first_of(" \t", b);
        User u;
        if (c == std::string_view::npos || !level_of(line.substr(b, c - b), u.level)) {
            error =
                "line " + std::to_string(line_no) + ": expected NAME Administrator|Operator|User PASSWORD";
            return false;
        }
        u.name = std::string(line.substr(0, a));
        u.password = std::string(trim(line.substr(c)));
        users.push_back(std::move(u));
    }
    if (users.empty()) {
        error = "no users";
        return false;
    }
    return true;
}

bool load_users(const std::string& path, std::vector<User>& users, std::string& error) {
    struct stat st;
    if (stat(path.c_str(), &st) != 0) {
        error = path + ": " + std::strerror(errno);
        return false;
    }
    if (st.st_mode & (S_IRGRP | S_IROTH | S_IWGRP | S_IWOTH)) {
        error = path + ": readable or writable by others than its owner (chmod 600 " + path + ")";
        return false;
    }
    std::ifstream in(path);
    std::stringstream ss;
    ss << in.rdbuf();
    if (!in) {
        error = path + ": cannot be read";
        return false;
    }
    if (!parse_users(ss.str(), users, error)) {
        error = path + ": " + error;
        return false;
    }
    return true;
}

bool parse_utc(std::string_view s, int64_t& ms) {
    s = trim(s);
    auto num = [&](size_t pos, size_t len, int& out) {
        if (pos + len > s.size()) return false;
        for (size_t k = pos; k < pos + len; ++k) {
            if (s[k] < '0' || s[k] > '9') return false;
        }
        std::from_chars(s.data() + pos, s.data() + pos + len, out);
        return true;
    };
    int Y = 0, M = 0, D = 0, h = 0, m = 0, sec = 0;
    if (!num(0, 4, Y) || s.size() < 19 || s[4] != '-' || !num(5, 2, M) || s[7] != '-' || !num(8, 2, D) ||
        s[10] != 'T' || !num(11, 2, h) || s[13] != ':' || !num(14, 2, m) || s[16] != ':' ||
        !num(17, 2, sec)) {
        return false;
    }
    using namespace std::chrono;
    year_month_day ymd{year{Y}, month{static_cast<unsigned>(M)}, day{static_cast<unsigned>(D)}};
    if (!ymd.ok() || h > 23 || m > 59 || sec > 60) return false;
    int64_t t = sys_days(ymd).time_since_epoch().count() * 86400LL + h * 3600 + m * 60 + sec;
    t *= 1000;
    size_t i = 19;
    if (i < s.size() && s[i] == '.') {
        int64_t scale = 100;
        ++i;
        size_t start = i;
        while (i < s.size() && s[i] >= '0' && s[i] <= '9') {
            t += (s[i] - '0') * scale;
            scale /= 10;
            ++i;
        }
        if (i == start || i - start > 9) return false;
    }
    if (i == s.size()) {
        ms = t;
        return true;
    }
    if (s[i] == 'Z' && i + 1 == s.size()) {
        ms = t;
        return true;
    }
    int oh, om;
    if ((s[i] == '+' || s[i] == '-') && s.size() == i + 6 && num(i + 1, 2, oh) && s[i + 3] == ':' &&
        num(i + 4, 2, om) && oh < 24 && om < 60) {
        int64_t off = (oh * 60 + om) * 60000LL;
        ms = s[i] == '+' ? t - off : t + off;
        return true;
    }
    return false;
}

Auth::Auth(std::vector<User> users, size_t capacity) : users_(std::move(users)), capacity_(capacity) {}

const User* Auth::find(std::string_view name) const {
    for (const User& u : users_) {
        if (u.name == name) return &u;
    }
    return nullptr;
}

AuthResult Auth::check_wsse(pugi::xml_node header, int64_t now_ms, const User*& who) {
    who = nullptr;
    pugi::xml_node sec = child(header, "Security");
    if (!sec) return AuthResult::none;
    pugi::xml_node tok = child(sec, "UsernameToken");
    if (!tok) return AuthResult::refused;
    std::string name = child_text(tok, "Username");
    pugi::xml_node pw = child(tok, "Password");
    std::string password = child_text(tok, "Password");
    std::string nonce_b64 = child_text(tok, "Nonce");
    std::string created = child_text(tok, "Created");
    std::string_view type = pw.attribute("Type").value();
    bool digest = type.size() >= 15 && type.substr(type.size() - 15) == "#PasswordDigest";
    const User* u = find(name);
    if (!u) return AuthResult::refused;

    int64_t created_ms = 0;
    bool has_created = !created.empty();
    if (has_created && !parse_utc(created, created_ms)) return AuthResult::refused;
    std::string nonce;
    if (!nonce_b64.empty() && !base64_decode(nonce_b64, nonce)) return AuthResult::refused;
    if (digest) {
        if (!has_created || nonce.empty()) return AuthResult::refused;
        if (!same(base64_encode(sha1(nonce, created, u->password)), password)) return AuthResult::refused;
    } else if (!same(sha1(password), sha1(u->password))) {
        return AuthResult::refused;
    }
    if (has_created && (created_ms < now_ms - kAuthWindowMs || created_ms > now_ms + kAuthWindowMs)) {
        return AuthResult::refused;
    }
    if (!nonce.empty()) {
        // A nonce is good once. Tokens need a Created within the window, so
        // one older than the window can be forgotten: it is refused anyway.
        std::lock_guard<std::mutex> lock(mu_);
        while (!ws_order_.empty() && ws_order_.front().first < now_ms - kAuthWindowMs) {
            ws_seen_.erase(ws_order_.front().second);
            ws_order_.pop_front();
        }
        int64_t when = has_created ? created_ms : now_ms;
        if (when <= ws_floor_ms_) return AuthResult::refused;
        std::string key = name + '\n' + nonce;
        if (!ws_seen_.emplace(key, when).second) return AuthResult::refused;
        ws_order_.emplace_back(when, std::move(key));
        while (ws_order_.size() > capacity_) {
            ws_floor_ms_ = std::max(ws_floor_ms_, ws_order_.front().first);
            ws_seen_.erase(ws_order_.front().second);
            ws_order_.pop_front();
        }
    }
    who = u;
    return AuthResult::ok;
}

std::string Auth::challenge(int64_t now_ms) {
    std::string nonce = random_hex(16);
    std::lock_guard<std::mutex> lock(mu_);
    issued_[nonce] = Issued{now_ms, 0};
    issued_order_.push_back(nonce);
    while (issued_order_.size() > capacity_) {
        issued_.erase(issued_order_.front());
        issued_order_.pop_front();
    }
    return std::string("Digest realm=\"") + kRealm + "\", qop=\"auth\", algorithm=MD5, nonce=\"" + nonce +
           "\"";
}

AuthResult Auth::check_digest(std::string_view authorization, std::string_view method, int64_t now_ms,
                              const User*& who) {
    who = nullptr;
    std::unordered_map<std::string, std::string> p;
    if (authorization.empty() || !digest_params(authorization, p)) return AuthResult::none;
    const std::string& algo = p["algorithm"];
    if (p["realm"] != kRealm || p["qop"] != "auth" || (!algo.empty() && algo != "MD5")) {
        return AuthResult::refused;
    }
    const std::string& ncs = p["nc"];
    uint32_t nc = 0;
    auto [end, ec] = std::from_chars(ncs.data(), ncs.data() + ncs.size(), nc, 16);
    if (ncs.size() != 8 || ec != std::errc() || end != ncs.data() + ncs.size() || nc == 0) {
        return AuthResult::refused;
    }
    const User* u = find(p["username"]);
    if (!u) return AuthResult::refused;
    std::string ha1 = md5_hex(u->name + ':' + kRealm + ':' + u->password);
    std::string ha2 = md5_hex(std::string(method) + ':' + p["uri"]);
    std::string want =
        md5_hex(ha1 + ':' + p["nonce"] + ':' + ncs + ':' + p["cnonce"] + ':' + p["qop"] + ':' + ha2);
    std::string got = p["response"];
    for (char& ch : got) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
    if (!same(want, got)) return AuthResult::refused;
    std::lock_guard<std::mutex> lock(mu_);
    auto it = issued_.find(p["nonce"]);
    // Our nonce, still fresh, and a count above every one used with it.
    if (it == issued_.end() || now_ms - it->second.issued_ms > kAuthWindowMs ||
        now_ms < it->second.issued_ms || nc <= it->second.last_nc) {
        return AuthResult::refused;
    }
    it->second.last_nc = nc;
    who = u;
    return AuthResult::ok;
}

}  // namespace ptz::onvif
