// agentconfig.conf and other INI text as found on the machine, read as setup reads the
// installed copy.
#include "setup/config/agent_config.h"
#include "sys/ini_sys.h"
#include "sys/text_sys.h"
#include "tests/fuzz/fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    ini_sys::IniDocument document;
    document.Parse(text);
    ini_sys::IniDocument again;
    again.Parse(document.Serialize());

    // What the reader hands out has no comment, no line end and no blank at either end, and
    // its own writing read again gives the same.
    for (const char* key : {agent_config::kToken, agent_config::kTokenHash,
                            agent_config::kBaseUrl, agent_config::kProxyPasswordEnc}) {
        const std::string value = document.GetText(agent_config::kSection, key);
        FUZZ_CHECK(value.find_first_of("#\n") == std::string::npos);
        FUZZ_CHECK(value.empty() || (value.front() != ' ' && value.back() != ' '));
        FUZZ_CHECK(again.GetText(agent_config::kSection, key) == value);
    }
    FUZZ_CHECK(document.GetText(agent_config::kSection, "QPXSig").empty());

    // The token comparison on what was read, with a token taken from the text itself.
    const std::string firstLine = text.substr(0, text.find('\n'));
    std::wstring token;
    if (!Failed(text_sys::Utf8ToWide(firstLine, token))) {
        agent_config::HoldsOtherToken(document, token);
    }
    return 0;
}
