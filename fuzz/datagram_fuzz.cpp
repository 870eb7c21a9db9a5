// libFuzzer target: one board configuration, scripted camera replies and a
// few datagrams per input, through start-up and the daemon's main loop on
// the simulated board (virtual clock: the protocols' waits cost nothing).
// The input layout is described in fuzz/harness.h.
#include <cstddef>
#include <cstdint>

#include "fuzz/harness.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ptz::fuzz::Run run;
    run.execute(data, size);
    return 0;
}
