// The command line as the system hands it over: words of UTF-16, here cut at NULs, with
// the program name before them. What parses must hold the promises the later steps rely
// on: configuration values of one line each that the configuration file gives back as
// they were, and a password that reaches the agent whole.
#include <iomanip>
#include <sstream>

#include "setup/config/agent_config.h"
#include "setup/setup_settings.h"
#include "setup/uninstall/farewell_arguments.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

class CheckedEffects final : public IOptionEffects {
public:
    bool CopyAntivirusInstaller(const SetupSettings&, const std::wstring&) override {
        return true;
    }
    void WriteCertificate(const std::wstring& body) override {
        FUZZ_CHECK(!body.empty() && body.size() % 4 == 0);
    }
};

// Every text value is one line, and the file gives back each value as written.
void CheckConfigurationReadsBack(const SetupSettings& settings) {
    for (const std::wstring* text : {&settings.token, &settings.serverUrl, &settings.proxyServer,
                                     &settings.proxyLogin, &settings.proxyPassword}) {
        FUZZ_CHECK(text->find_first_of(L"\r\n") == std::wstring::npos);
    }
    ini_sys::IniDocument written;
    FUZZ_CHECK(agent_config::BuildAgentConfig(settings, written) == kStatusOk);
    ini_sys::IniDocument read;
    read.Parse(written.Serialize());
    FUZZ_CHECK(read.Serialize() == written.Serialize());
}

void CheckPasswordReachesTheAgent(const std::wstring& password) {
    const std::wstring arguments = FarewellArguments(password);
    std::wistringstream line(arguments.substr(arguments.find(L'"')));
    std::wstring read;
    line >> std::quoted(read, L'"', L'\\');
    FUZZ_CHECK(read == password);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> arguments = fuzz_input::Words(data, size);
    arguments.insert(arguments.begin(), L"C:\\dl\\setup.exe");
    SetupSettings settings;
    CheckedEffects effects;
    if (!ParseArguments(settings, arguments, effects)) {
        return 0;
    }
    FUZZ_CHECK(settings.install || settings.uninstall || settings.clone);
    FUZZ_CHECK(settings.serverUrl.empty() || settings.serverUrl.back() != L'/');
    FUZZ_CHECK(settings.proxyPort <= 0xFFFF || settings.proxyPort == 0xFFFFFFFF);
    FUZZ_CHECK(settings.password.find(L'\0') == std::wstring::npos);
    CheckConfigurationReadsBack(settings);
    CheckPasswordReachesTheAgent(settings.password);
    return 0;
}
