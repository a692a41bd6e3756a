#include "setup/config/agent_config.h"

#include <windows.h>

namespace agent_config {
namespace {

bool IsFile(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

}  // namespace

std::wstring StagedConfigPath(const std::wstring& dataFolder) {
    return dataFolder + L"\\setup\\" + kFileName;
}

std::wstring InstalledConfigPath(const std::wstring& dataFolder) {
    return dataFolder + L"\\" + kFileName;
}

bool IsTokenChanged(const std::wstring& token, const std::wstring& installedPath) {
    if (!IsFile(installedPath)) {
        return false;
    }
    ini_sys::IniDocument installed;
    installed.Load(installedPath);  // an unreadable copy reads empty: the token counts as new
    return HoldsOtherToken(installed, token);
}

Status WriteAgentConfig(const SetupSettings& settings, const std::wstring& stagedPath,
                        const std::wstring& installedPath) {
    ini_sys::IniDocument document;
    Status status = BuildAgentConfig(settings, document);
    if (Failed(status)) {
        return status;
    }
    status = document.Save(stagedPath);
    if (Failed(status)) {
        return status;
    }
    // The document is in memory; these cannot fail once the values above were set.
    if (IsTokenChanged(settings.token, installedPath)) {
        document.SetBoolean(kSection, kRegisterRequired, true);
    }
    if (settings.disableUpdates) {
        document.SetBoolean(kSection, kDisableUpdates, true);
    }
    return document.Save(stagedPath);
}

}  // namespace agent_config
