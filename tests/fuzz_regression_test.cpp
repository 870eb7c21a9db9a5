// Every input the datagram fuzzer found a fault with, replayed through the
// same harness. In the sanitizer build a relapse stops the test outright; in
// every build each datagram of an input must have reached the handler.
#include "fuzz/harness.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

TEST(FuzzRegression, FoundInputsRunCleanly) {
    // Each input in hex (layout: fuzz/harness.h) with the number of datagrams in it.
    const std::pair<std::string, size_t> findings[] = {
        // An empty datagram: the simulated board copied it from a null buffer.
        {"00000000000000000000000000", 1},
    };
    for (const auto& [hex, datagrams] : findings) {
        SCOPED_TRACE(hex);
        Bytes input;
        for (size_t i = 0; i + 1 < hex.size(); i += 2)
            input.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
        fuzz::Run run(true);
        run.execute(input.data(), input.size());
        size_t handled = 0;
        for (const std::string& l : run.board.logs()) handled += l.starts_with("KVORN_0628 : hdr->msg_id=");
        EXPECT_EQ(run.datagrams, datagrams);
        EXPECT_EQ(handled, datagrams);
    }
}

}  // namespace
}  // namespace ptz::test
