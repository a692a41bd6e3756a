#include "setup/uninstall/password_policy.h"

#include <windows.h>

#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/uninstall/policy_database.h"

// With the installed agent's own SQLite library: its program folder is written by
// administrators only, where setup.exe may have been started from anywhere.
Status ReadUninstallPasswordPolicy(bool& requiresPassword) {
    const std::wstring path = agent_folders::DataFolder(GetBranding()) + L"\\database\\agent.db";
    std::wstring programFolder;
    const Status located = agent_folders::ProgramFolder(GetBranding(), false, programFolder);
    return Failed(located) ? located
                           : ReadUninstallPasswordPolicy(path, requiresPassword,
                                                         programFolder + L"\\sqlite3.dll");
}

Status ReadUninstallPasswordPolicy(const std::wstring& databasePath, bool& requiresPassword,
                                   const std::wstring& sqliteLibrary) {
    // An absent file is no database: opening must not create one.
    if (GetFileAttributesW(databasePath.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return kStatusDatabaseUnavailable;
    }
    return ReadPasswordFlag(databasePath, requiresPassword, sqliteLibrary);
}
