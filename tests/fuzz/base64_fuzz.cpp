// Base64 values of the command line (-cn, -password) and of the proxy envelope.
#include "setup/base64.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/support/sealing.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    const std::optional<std::string> lenient = DecodeBase64(text);
    const std::optional<std::string> strict = DecodeBase64Strict(text);
    if (strict) {
        // The strict decoder accepts a subset and agrees on it; what it gives encodes back
        // to text that decodes the same.
        FUZZ_CHECK(lenient && *lenient == *strict);
        FUZZ_CHECK(DecodeBase64Strict(test_support::Base64(*strict)) == strict);
    }
    return 0;
}
