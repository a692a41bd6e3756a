// The backend's answer to claiming the invite, evaluated against the token that was sent.
#include "setup/auth/invite_answer.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string body(reinterpret_cast<const char*>(data), size);
    for (const std::string& token : {std::string("T-1"), std::string()}) {
        const Status status = EvaluateInviteAnswer(body, token);
        FUZZ_CHECK(status == kStatusOk || status == kStatusUnexpectedResponse ||
                   status == kStatusJsonParseFailed);
    }
    return 0;
}
