#include "onvif/presets.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace ptz::onvif {

bool load_presets(const std::string& path, ChannelPresets& out) {
    out = {};
    std::ifstream f(path);
    if (!f) return access(path.c_str(), F_OK) != 0;
    std::string line;
    while (std::getline(f, line)) {
        std::istringstream in(line);
        std::string kind;
        in >> kind;
        if (kind == "home") {
            out.has_home = static_cast<bool>(in >> out.home[0] >> out.home[1] >> out.home[2]);
        } else if (kind == "preset") {
            int n = 0, has = 0;
            StoredPreset p;
            if (!(in >> n >> has >> p.position[0] >> p.position[1] >> p.position[2])) continue;
            p.has_position = has != 0;
            // The name is the rest of the line after one separating space.
            std::getline(in, p.name);
            if (!p.name.empty() && p.name[0] == ' ') p.name.erase(0, 1);
            out.presets[n] = p;
        }
    }
    return true;
}

bool save_presets(const std::string& path, const ChannelPresets& in) {
    std::string text;
    char buf[96];
    if (in.has_home) {
        std::snprintf(buf, sizeof buf, "home %u %u %u\n", in.home[0], in.home[1], in.home[2]);
        text += buf;
    }
    for (const auto& [n, p] : in.presets) {
        std::snprintf(buf, sizeof buf, "preset %d %d %u %u %u ", n, p.has_position ? 1 : 0, p.position[0],
                      p.position[1], p.position[2]);
        text += buf;
        for (char c : p.name) text += (c == '\n' || c == '\r') ? ' ' : c;
        text += '\n';
    }
    const std::string tmp = path + ".tmp";
    const int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) return false;
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ok = fsync(fd) == 0 && ok;
    ok = close(fd) == 0 && ok;
    if (!ok || rename(tmp.c_str(), path.c_str()) != 0) {
        unlink(tmp.c_str());
        return false;
    }
    return true;
}

int lowest_free_preset(const ModelTraits& t, const ChannelPresets& p) {
    for (int n = t.presets.lo; n <= t.presets.hi && t.presets.hi > 0; ++n)
        if (preset_usable(t, n) && p.presets.count(n) == 0) return n;
    return 0;
}

}  // namespace ptz::onvif
