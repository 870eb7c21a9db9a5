// ptzcam: a simulated camera on a pseudo-terminal, and a bus monitor that
// names every frame on a serial line. Both read frames through the protocol
// library (proto/), the one place that knows each protocol's frames.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tools.h"

namespace {

using namespace ptzcam;

int usage(FILE* out) {
    std::fputs(
        "usage: ptzcam camera --protocol NAME[,NAME...] --address N[,N...] --link PATH [--fault F]...\n"
        "         A simulated camera: a pseudo-terminal whose slave is linked at PATH (e.g. DIR/dev/ttyS2 of "
        "a\n"
        "         board directory). Prints every frame, moves a simulated head, answers position queries.\n"
        "         One protocol for all addresses, or one per address (cameras of several makes on a line);\n"
        "         a c1080b camera also shows a firmware transfer's image and trailer.\n"
        "         F: late=MS (answer MS ms late), badsum, noise (bytes before the answer), twice, silent.\n"
        "       ptzcam monitor (--device PATH [--baud N] | --file PATH) [--protocol NAME|auto]\n"
        "         Decodes a serial line (read only, never written) or a recorded byte stream. auto (the\n"
        "         default) picks the protocol, and on a device the rate, whose checksummed frames decode.\n"
        "       ptzcam reports --trace FILE\n"
        "         Follows a host runner's trace and prints the position reports sent to the recorder.\n"
        "protocols:",
        out);
    for (const Protocol& p : protocols()) std::fprintf(out, " %s", p.name);
    std::fputc('\n', out);
    return out == stdout ? 0 : 2;
}

[[noreturn]] void fail(const std::string& what) {
    std::fprintf(stderr, "ptzcam: %s\n", what.c_str());
    std::exit(2);
}

long number(const char* what, const char* text, long lo, long hi) {
    char* end = nullptr;
    const long v = std::strtol(text, &end, 0);
    if (end == text || *end != '\0' || v < lo || v > hi)
        fail(std::string(what) + " '" + text + "' out of range " + std::to_string(lo) + ".." +
             std::to_string(hi));
    return v;
}

// "1" or "1,2": the cameras sharing the line.
std::vector<int> address_list(const std::string& text) {
    std::vector<int> out;
    for (size_t from = 0; from <= text.size();) {
        const size_t comma = std::min(text.find(',', from), text.size());
        out.push_back(
            static_cast<int>(number("address", text.substr(from, comma - from).c_str(), 0, 0xFFFF)));
        from = comma + 1;
    }
    return out;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 2) return usage(stderr);
    const std::string_view mode = argv[1];
    if (mode == "--help" || mode == "-h") return usage(stdout);
    std::string link, device, file, trace, protocol = "auto";
    std::vector<int> addresses;
    unsigned baud = 0;
    Fault fault;
    for (int i = 2; i < argc; ++i) {
        const std::string_view o = argv[i];
        if (o == "--help" || o == "-h") return usage(stdout);
        if (i + 1 >= argc) fail("option " + std::string(o) + " needs a value");
        const char* v = argv[++i];
        if (o == "--protocol")
            protocol = v;
        else if (o == "--address")
            addresses = address_list(v);
        else if (o == "--link")
            link = v;
        else if (o == "--device")
            device = v;
        else if (o == "--file")
            file = v;
        else if (o == "--trace")
            trace = v;
        else if (o == "--baud")
            baud = static_cast<unsigned>(number("baud", v, 300, 115200));
        else if (o == "--fault") {
            if (!parse_fault(v, fault))
                fail(std::string("unknown fault '") + v + "' (late=MS, badsum, noise, twice, silent)");
        } else {
            fail("unknown option " + std::string(o));
        }
    }
    if (mode == "camera") {
        // "c1080pt" for every address, or "c1080pt,c1080b" with "1,2": one protocol each.
        std::vector<const Protocol*> protos;
        for (size_t from = 0; protocol != "auto" && from <= protocol.size();) {
            const size_t comma = std::min(protocol.find(',', from), protocol.size());
            const std::string name = protocol.substr(from, comma - from);
            const Protocol* p = find_protocol(name);
            if (p == nullptr) fail("unknown protocol '" + name + "' (see ptzcam --help)");
            if (p->coax) fail(name + " travels on the coax cable, not a serial line");
            protos.push_back(p);
            from = comma + 1;
        }
        if (protos.empty()) fail("camera needs --protocol NAME");
        if (addresses.empty()) fail("camera needs --address N");
        if (protos.size() != 1 && protos.size() != addresses.size())
            fail("camera needs one protocol, or one for each address");
        if (link.empty()) fail("camera needs --link PATH");
        return run_camera(protos, addresses, link, fault);
    }
    const Protocol* proto = protocol == "auto" ? nullptr : find_protocol(protocol);
    if (protocol != "auto" && proto == nullptr)
        fail("unknown protocol '" + protocol + "' (see ptzcam --help)");
    if (mode == "monitor") {
        if (device.empty() == file.empty()) fail("monitor needs --device PATH or --file PATH");
        return file.empty() ? run_monitor_device(proto, device, baud) : run_monitor_file(proto, file);
    }
    if (mode == "reports") {
        if (trace.empty()) fail("reports needs --trace FILE");
        return run_reports(trace);
    }
    fail("unknown mode '" + std::string(mode) + "' (camera, monitor, reports)");
}
