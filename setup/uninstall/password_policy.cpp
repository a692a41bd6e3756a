#include "setup/uninstall/password_policy.h"

#include <windows.h>

#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/uninstall/policy_database.h"

Status ReadUninstallPasswordPolicy(bool& requiresPassword) {
    const std::wstring path = agent_folders::DataFolder(GetBranding()) + L"\\database\\agent.db";
    return ReadUninstallPasswordPolicy(path, requiresPassword);
}

Status ReadUninstallPasswordPolicy(const std::wstring& databasePath, bool& requiresPassword) {
    // An absent file is no database: opening must not create one.
    if (GetFileAttributesW(databasePath.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return kStatusDatabaseUnavailable;
    }
    return ReadPasswordFlag(databasePath, requiresPassword);
}
