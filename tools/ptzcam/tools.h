// The three modes of ptzcam.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "proto.h"

namespace ptzcam {

// What the simulated camera does wrong on purpose when it answers.
struct Fault {
    int late_ms = 0;
    bool badsum = false, noise = false, twice = false, silent = false;
    bool any() const { return late_ms > 0 || badsum || noise || twice || silent; }
    std::string text() const {
        std::string s;
        if (late_ms > 0) s += "late=" + std::to_string(late_ms) + " ";
        if (badsum) s += "badsum ";
        if (noise) s += "noise ";
        if (twice) s += "twice ";
        if (silent) s += "silent ";
        if (!s.empty()) s.pop_back();
        return s;
    }
};
bool parse_fault(std::string_view text, Fault& f);

// protos: one for every address, or one per address (same order).
int run_camera(const std::vector<const Protocol*>& protos, const std::vector<int>& addresses,
               const std::string& link, const Fault& fault);
// `proto` null: auto. `baud` 0: the protocol's usual rate (auto: try them).
int run_monitor_device(const Protocol* proto, const std::string& device, unsigned baud);
int run_monitor_file(const Protocol* proto, const std::string& file);
int run_reports(const std::string& trace);

}  // namespace ptzcam
