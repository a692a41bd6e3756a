// The proxy password envelope from the command line, opened with the invite token. The
// first byte splits the input: that many bytes (of the rest) are the token, the others
// the envelope.
#include "setup/config/proxy_envelope.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/sealing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    const std::string rest(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string token = rest.substr(0, std::min<size_t>(data[0], rest.size()));
    const std::string envelope = rest.substr(token.size());

    std::string plaintext = "untouched";
    if (!DecryptProxyPassword(envelope, token, plaintext)) {
        FUZZ_CHECK(plaintext == "untouched");
    }

    // Whatever is sealed with a token long enough opens again to the same bytes.
    if (token.size() >= 32) {
        std::string opened;
        FUZZ_CHECK(DecryptProxyPassword("a:b:c:" + test_support::SealProxyPassword(envelope, token),
                                        token, opened) == !envelope.empty());
        FUZZ_CHECK(envelope.empty() || opened == envelope);
    }
    return 0;
}
