#include "setup/setup_settings.h"

#include <windows.h>
#include <shellapi.h>

#include <cstdio>

#include "setup/agent_folders.h"
#include "setup/config/certificate.h"
#include "setup/install/package_check.h"
#include "sys/process_sys.h"
#include "sys/unique_handle.h"

namespace {

// The options' effects on files, beside the running setup program.
class FileOptionEffects final : public IOptionEffects {
public:
    bool CopyAntivirusInstaller(const SetupSettings& settings,
                                const std::wstring& source) override {
        DWORD attributes = source.empty() ? INVALID_FILE_ATTRIBUTES
                                          : GetFileAttributesW(source.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES ||
            (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
            return false;
        }
        const bool secondBrand = settings.brandId == 5 || settings.brandId == 6;
        const std::wstring target = agent_folders::SetupFolder() + L"\\" +
                                    (secondBrand ? L"orv_business_antivirus_setup.exe"
                                                 : L"zelko_business_antivirus_setup.exe");

        DWORD existing = GetFileAttributesW(target.c_str());
        if (existing != INVALID_FILE_ATTRIBUTES && (existing & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
            _wremove(target.c_str()) != 0) {
            return false;
        }
        if (!CopyFileW(source.c_str(), target.c_str(), FALSE)) {
            return false;
        }
        package_check::NoteWrittenByThisRun(target);
        return true;
    }

    void WriteCertificate(const std::wstring& body) override {
        // A missing "resources" folder is not the command line's fault; the install
        // sequence finds the certificate absent.
        if (WriteOnPremiseCertificate(agent_folders::SetupFolder(), body)) {
            package_check::NoteWrittenByThisRun(
                OnPremiseCertificatePath(agent_folders::SetupFolder()));
        }
    }
};

}  // namespace

SetupSettings& GetSetupSettings() {
    static SetupSettings settings;
    return settings;
}

bool ParseCommandLineText(SetupSettings& settings, const wchar_t* commandLine) {
    DWORD sessionId = 0;
    if (ProcessIdToSessionId(GetCurrentProcessId(), &sessionId)) {
        settings.sessionActive = process_sys::IsSessionActive(sessionId);
    }

    if (commandLine == nullptr || *commandLine == L'\0') {
        return false;
    }
    int count = 0;
    const UniqueLocalMemory<LPWSTR*> argumentList(CommandLineToArgvW(commandLine, &count));
    if (!argumentList) {
        return false;
    }
    const std::vector<std::wstring> arguments(argumentList.Get(), argumentList.Get() + count);
    FileOptionEffects effects;
    return ParseArguments(settings, arguments, effects);
}

bool ParseCommandLine(SetupSettings& settings) {
    return ParseCommandLineText(settings, GetCommandLineW());
}
