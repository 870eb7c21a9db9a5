// Credentials: WS-Security tokens, HTTP Digest and the users file.
#include "onvif/auth.h"

#include <gtest/gtest.h>
#include <nettle/base16.h>
#include <nettle/base64.h>
#include <nettle/nettle-meta.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <tuple>
#include <vector>

#include "onvif/soap.h"

namespace ptz::onvif {
namespace {

constexpr int64_t kNow = 1700000000000;  // 2023-11-14T22:13:20Z
const char* kNowText = "2023-11-14T22:13:20Z";

std::string b64(const std::string& s) {
    std::string out(BASE64_ENCODE_RAW_LENGTH(s.size()), '\0');
    base64_encode_raw(out.data(), s.size(), reinterpret_cast<const uint8_t*>(s.data()));
    return out;
}

// The raw digest of `s` by `h` (nettle_sha1, nettle_md5).
std::string hash(const nettle_hash& h, const std::string& s) {
    std::vector<uint8_t> ctx(h.context_size);
    std::string d(h.digest_size, '\0');
    h.init(ctx.data());
    h.update(ctx.data(), s.size(), reinterpret_cast<const uint8_t*>(s.data()));
    h.digest(ctx.data(), d.size(), reinterpret_cast<uint8_t*>(d.data()));
    return d;
}

std::string md5(const std::string& s) {  // as hex digits
    const std::string d = hash(nettle_md5, s);
    std::string hex(BASE16_ENCODE_LENGTH(d.size()), '\0');
    base16_encode_update(hex.data(), d.size(), reinterpret_cast<const uint8_t*>(d.data()));
    return hex;
}

// A SOAP header with a UsernameToken; digest true for PasswordDigest.
std::string token(const std::string& user, const std::string& pw, const std::string& nonce,
                  const std::string& created, bool digest) {
    std::string type = digest ? "#PasswordDigest" : "#PasswordText";
    std::string pass = digest ? b64(hash(nettle_sha1, nonce + created + pw)) : pw;
    return "<h xmlns:w=\"" + std::string(kNsWsse) + "\"><w:Security><w:UsernameToken><w:Username>" + user +
           "</w:Username><w:Password Type=\"x" + type + "\">" + pass + "</w:Password><w:Nonce>" + b64(nonce) +
           "</w:Nonce><Created>" + created + "</Created></w:UsernameToken></w:Security></h>";
}

std::vector<User> users() { return {{"op", Level::operator_, "secret"}, {"v", Level::user, "view"}}; }

// Run in order against a replay cache of four nonces.
TEST(Auth, WsSecurityTokens) {
    Auth auth(users(), 4);
    const std::pair<std::string, AuthResult> rows[] = {
        {token("op", "secret", "n1", kNowText, true), AuthResult::ok},
        {token("op", "secret", "n1", kNowText, true), AuthResult::refused},  // the same nonce again
        {token("op", "wrong", "n2", kNowText, true), AuthResult::refused},
        {token("nobody", "secret", "n3", kNowText, true), AuthResult::refused},
        {token("op", "secret", "n4", "2023-11-14T22:07:00Z", true), AuthResult::refused},  // 6:20 old
        {token("op", "secret", "n5", "2023-11-14T22:19:00Z", true), AuthResult::refused},  // 5:40 ahead
        {token("op", "secret", "n6", "2023-11-14T22:09:00Z", true), AuthResult::ok},       // 4:20 old
        {token("op", "secret", "n7", "2023-11-14T23:13:20+01:00", true), AuthResult::ok},
        {token("op", "secret", "n8", "yesterday", true), AuthResult::refused},
        {token("op", "secret", "", kNowText, true), AuthResult::refused},  // a digest needs a nonce
        {token("v", "view", "n9", kNowText, false), AuthResult::ok},
        {token("v", "viewx", "n10", kNowText, false), AuthResult::refused},
        {"<h/>", AuthResult::none},
        {token("op", "secret", "n11", kNowText, true), AuthResult::ok},  // the fifth: n1 falls out
        // Fallen out of the full cache, n1 must still be refused.
        {token("op", "secret", "n1", kNowText, true), AuthResult::refused},
    };
    for (const auto& [header, want] : rows) {
        pugi::xml_document doc;
        doc.load_string(header.c_str());
        const User* who = nullptr;
        EXPECT_EQ(auth.check_wsse(doc.first_child(), kNow, who), want) << header;
        EXPECT_EQ(who != nullptr, want == AuthResult::ok);
    }
}

// The client side of RFC 7616 with qop=auth.
std::string answer(const std::string& challenge, const std::string& user, const std::string& pw,
                   const std::string& nc) {
    size_t at = challenge.find("nonce=\"") + 7;
    std::string nonce = challenge.substr(at, challenge.find('"', at) - at);
    std::string ha1 = md5(user + ":ptzonvif:" + pw), ha2 = md5("POST:/onvif/ptz_service");
    std::string resp = md5(ha1 + ":" + nonce + ":" + nc + ":c0ffee:auth:" + ha2);
    return "Digest username=\"" + user + "\", realm=\"ptzonvif\", nonce=\"" + nonce +
           "\", uri=\"/onvif/ptz_service\", qop=auth, nc=" + nc + ", cnonce=\"c0ffee\", response=\"" + resp +
           "\"";
}

TEST(Auth, HttpDigest) {
    Auth auth(users());
    std::string ch = auth.challenge(kNow);
    EXPECT_NE(ch.find("qop=\"auth\""), std::string::npos);
    const std::tuple<std::string, int64_t, AuthResult> rows[] = {
        {answer(ch, "op", "secret", "00000001"), kNow, AuthResult::ok},
        {answer(ch, "op", "secret", "00000001"), kNow, AuthResult::refused},  // replayed count
        {answer(ch, "op", "secret", "00000002"), kNow + 1000, AuthResult::ok},
        {answer(ch, "op", "wrong", "00000003"), kNow, AuthResult::refused},
        {answer(ch, "nobody", "secret", "00000004"), kNow, AuthResult::refused},
        {answer(ch, "op", "secret", "00000005"), kNow + kAuthWindowMs + 1, AuthResult::refused},
        {answer("nonce=\"forged\"", "op", "secret", "00000001"), kNow, AuthResult::refused},
        {"Basic b3A6c2VjcmV0", kNow, AuthResult::none},
        {"", kNow, AuthResult::none},
    };
    for (const auto& [authz, at, want] : rows) {
        const User* who = nullptr;
        EXPECT_EQ(auth.check_digest(authz, "POST", at, who), want) << authz;
    }
}

TEST(Auth, UsersFile) {
    std::vector<User> u;
    std::string err;
    ASSERT_TRUE(parse_users("# who\nadmin Administrator a b\n\nop Operator x\n", u, err));
    ASSERT_EQ(u.size(), 2u);
    EXPECT_EQ(u[0].password, "a b");
    EXPECT_EQ(u[1].level, Level::operator_);
    for (const char* bad : {"op Root zq9\n", "op Operator\n", "\n"}) {
        EXPECT_FALSE(parse_users(bad, u, err)) << bad;
        EXPECT_EQ(err.find("zq9"), std::string::npos) << "a password in " << err;
    }
    std::string path = testing::TempDir() + "ptzonvif_users";
    std::ofstream(path) << "op Operator pw\n";
    chmod(path.c_str(), 0644);
    EXPECT_FALSE(load_users(path, u, err));
    EXPECT_NE(err.find(path), std::string::npos);
    chmod(path.c_str(), 0600);
    EXPECT_TRUE(load_users(path, u, err)) << err;
    std::remove(path.c_str());
}

}  // namespace
}  // namespace ptz::onvif
