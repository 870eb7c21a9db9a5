// Every input the datagram fuzzer found a fault with, replayed through the
// same harness. In the sanitizer build a relapse stops the test outright; in
// every build each datagram of an input must have reached the handler.
#include <string>

#include "fuzz/harness.h"
#include "tests/fixture.h"

namespace ptz::test {
namespace {

Bytes from_hex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

TEST(FuzzRegression, FoundInputsRunCleanly) {
    struct Finding {
        const char* what;
        const char* input;  // hex, in the layout of fuzz/harness.h
        size_t datagrams;
    };
    const Finding findings[] = {
        // The simulated board copied an empty datagram from a null buffer.
        {"empty datagram", "00000000000000000000000000", 1},
        {"empty datagram after a TVI move (as found)",
         "030000040000000000010005"
         "1c0300000011000005000600"
         "00001c11e000001400000000"
         "000000401000000000000000"
         "00fb000100000000000000",
         3},
    };
    for (const Finding& f : findings) {
        SCOPED_TRACE(f.what);
        const Bytes input = from_hex(f.input);
        fuzz::Run run(true);
        run.execute(input.data(), input.size());
        ASSERT_NE(run.d, nullptr);
        size_t handled = 0;
        for (const std::string& l : run.board.logs()) handled += l.rfind("KVORN_0628 : hdr->msg_id=", 0) == 0;
        EXPECT_EQ(run.datagrams, f.datagrams);
        EXPECT_EQ(handled, f.datagrams);
    }
}

}  // namespace
}  // namespace ptz::test
