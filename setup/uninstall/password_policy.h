#pragma once

#include <string>

#include "sys/status.h"


// Whether the console's policy asks for a password before the agent may be removed. The
// flag is written only on success. The password itself is checked by the agent alone.
Status ReadUninstallPasswordPolicy(bool& requiresPassword);
// The same for a given database file, read with the given SQLite library (empty: beside this
// program).
Status ReadUninstallPasswordPolicy(const std::wstring& databasePath, bool& requiresPassword,
                                   const std::wstring& sqliteLibrary = {});
