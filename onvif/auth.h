// Users and their credentials: WS-Security UsernameToken (PasswordDigest
// and PasswordText) and HTTP Digest (MD5, qop=auth). Every cache here has a
// fixed size, so that no client can grow the memory, and each fails closed:
// what falls out of a cache is refused afterwards, never accepted again.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace ptz::onvif {

enum class Level { user = 0, operator_ = 1, administrator = 2 };

struct User {
    std::string name;
    Level level = Level::user;
    std::string password;
};

// One user a line, "NAME LEVEL PASSWORD"; blank lines and lines starting
// with '#' are skipped. The file must not be readable by anyone but its
// owner. On failure `error` names the file and the line, never a password.
bool load_users(const std::string& path, std::vector<User>& users, std::string& error);
// The same for text already read, for tests.
bool parse_users(std::string_view text, std::vector<User>& users, std::string& error);

enum class AuthResult { ok, none, refused };

// How long a WS-Security Created time may lie from ours, and how long an
// HTTP Digest nonce of ours stays good.
inline constexpr int64_t kAuthWindowMs = 5 * 60 * 1000;

class Auth {
public:
    // capacity: the most WS-Security nonces and HTTP Digest nonces each kept.
    explicit Auth(std::vector<User> users, size_t capacity = 16384);

    // The UsernameToken in a SOAP header; `none` when there is none.
    AuthResult check_wsse(pugi::xml_node header, int64_t now_ms, const User*& who);
    // An Authorization header; `none` when it is empty or not Digest.
    AuthResult check_digest(std::string_view authorization, std::string_view method, int64_t now_ms,
                            const User*& who);
    // A WWW-Authenticate value with a fresh nonce of ours.
    std::string challenge(int64_t now_ms);

    static constexpr const char* kRealm = "ptzonvif";

private:
    const User* find(std::string_view name) const;

    std::vector<User> users_;
    size_t capacity_;
    std::mutex mu_;
    // WS-Security nonces seen, with their Created time. When full the oldest
    // goes, and no token created at or before it is taken any more.
    std::unordered_map<std::string, int64_t> ws_seen_;
    std::deque<std::pair<int64_t, std::string>> ws_order_;
    int64_t ws_floor_ms_ = INT64_MIN;
    // HTTP Digest nonces we handed out: issue time and the highest nc used.
    struct Issued {
        int64_t issued_ms;
        uint32_t last_nc;
    };
    std::unordered_map<std::string, Issued> issued_;
    std::deque<std::string> issued_order_;
};

// ISO 8601 UTC time as WS-Security's Created uses it
// (2024-01-02T03:04:05Z, fractions and offsets allowed): false for anything else.
bool parse_utc(std::string_view s, int64_t& ms);

}  // namespace ptz::onvif
