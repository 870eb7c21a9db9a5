#include "line.h"

#include <sys/time.h>

#include <algorithm>
#include <ctime>

namespace ptzcam {

namespace {
// A frame start that keeps asking for more after this many bytes is not one.
constexpr size_t kLongestFrame = 512;
}  // namespace

bool LineReader::next(Cut& out, bool flush) {
    if (buf_.empty() || protos_.empty()) return false;
    if (in_transfer()) {
        Frame f = upgrade_->decode(buf_.data(), buf_.size());
        if (f.status == Status::need_more && !flush) return false;
        if (f.status == Status::need_more) {
            // The line went quiet inside the trailer: show what came, start over.
            upgrade_->reset();
            f.status = Status::truncated;
            std::snprintf(f.reason, sizeof f.reason, "truncated upgrade trailer");
            f.length = buf_.size();
        }
        out.proto = upgrade_as_, out.frame = f;
        take(out, std::max<size_t>(f.length, 1));
        return true;
    }
    // When nobody decodes a frame here, the failure to show: the first
    // protocol that sees a frame start here (a bad checksum, say), else noise
    // up to the nearest place where any of them might start one.
    Frame failure;
    const Protocol* by = nullptr;
    bool waiting = false;
    for (const Protocol* p : protos_) {
        Frame f = p->decode(buf_.data(), buf_.size());
        if (f.status == Status::ok) {
            out.proto = p, out.frame = f;
            take(out, f.length);
            return true;
        }
        if (f.status == Status::need_more) {
            waiting = true;
        } else if (by == nullptr || (failure.status == Status::noise &&
                                     (f.status != Status::noise || f.length < failure.length))) {
            failure = f, by = p;
        }
    }
    if (waiting && !flush && buf_.size() < kLongestFrame) return false;
    out.proto = by != nullptr ? by : protos_.front();
    out.frame = failure;
    Frame& first = out.frame;
    size_t n = first.length;
    // A frame start that never completed, rather than noise to the end.
    if (by == nullptr || (waiting && first.status == Status::noise && n >= buf_.size())) {
        out.proto = protos_.front();
        out.frame.status = Status::truncated;
        std::snprintf(out.frame.reason, sizeof out.frame.reason, "truncated");
        n = buf_.size();
    }
    n = std::clamp<size_t>(n, 1, buf_.size());
    if (out.frame.reason[0] == '\0')
        std::snprintf(out.frame.reason, sizeof out.frame.reason, "%s",
                      out.frame.status == Status::noise ? "noise" : "not a frame");
    take(out, n);
    return true;
}

void LineReader::take(Cut& out, size_t n) {
    n = std::min(n, buf_.size());
    out.bytes.assign(buf_.begin(), buf_.begin() + static_cast<long>(n));
    buf_.erase(buf_.begin(), buf_.begin() + static_cast<long>(n));
}

// Whether the frame carries a check: some one-byte change of it makes the
// protocol's decoder call it a bad checksum. A protocol without one decodes
// frames out of any bytes, so only checked frames say which protocol a line
// speaks.
bool checked(const Protocol& proto, Bytes frame) {
    for (size_t i = frame.size(); i-- > 0;) {
        frame[i] ^= 0x01;
        if (proto.decode(frame.data(), frame.size()).status == Status::bad_checksum) return true;
        frame[i] ^= 0x01;
    }
    return false;
}

int score(const Protocol& proto, const Bytes& stream) {
    LineReader r({&proto});
    r.feed(stream.data(), stream.size());
    int frames = 0;
    for (Cut c; r.next(c, true);) frames += c.frame.status == Status::ok && checked(proto, c.bytes);
    return frames;
}

std::vector<const Protocol*> rank(const Bytes& stream) {
    std::vector<std::pair<int, const Protocol*>> scored;
    for (const Protocol& p : protocols())
        if (!p.coax) scored.emplace_back(score(p, stream), &p);
    // Stable: among equals the library's order (the common protocol first) decides.
    std::stable_sort(scored.begin(), scored.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    std::vector<const Protocol*> out;
    const int best = scored.empty() ? 0 : scored.front().first;
    for (const auto& [s, p] : scored)
        if (s > 0 && 4 * s >= best) out.push_back(p);
    return out;
}

std::string hex(const uint8_t* p, size_t n) {
    std::string s;
    char t[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(t, sizeof t, i ? " %02x" : "%02x", p[i]);
        s += t;
    }
    return s;
}

std::string clock_now() {
    timeval tv{};
    gettimeofday(&tv, nullptr);
    tm t{};
    localtime_r(&tv.tv_sec, &t);
    char s[32];
    std::snprintf(s, sizeof s, "%02d:%02d:%02d.%03ld", t.tm_hour, t.tm_min, t.tm_sec,
                  long(tv.tv_usec / 1000));
    return s;
}

void print(FILE* out, const Cut& c, const char* note) {
    const Frame& f = c.frame;
    char addr[16] = "-";
    if (f.address >= 0) std::snprintf(addr, sizeof addr, "addr %d", f.address);
    const bool ok = f.status == Status::ok;
    std::fprintf(out, "%s %-10s %-8s %s%s%s  [%s]\n", clock_now().c_str(), c.proto ? c.proto->name : "?",
                 ok ? addr : "?", ok ? "" : "?? ", ok ? f.meaning : f.reason, note,
                 hex(c.bytes.data(), c.bytes.size()).c_str());
    std::fflush(out);
}

}  // namespace ptzcam
