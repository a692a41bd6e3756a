#pragma once

#include <string>

#include "sys/status.h"

// Reads the uninstall password flag from the policy table of the agent's database file,
// which must exist (SQLite would create a missing one). The flag is written only on
// success; anything the mapper or SQLite throws ends as kStatusDatabaseUnavailable.
// sqliteLibrary: the path of the library to read it with; empty for the one beside this
// program (or linked in).
Status ReadPasswordFlag(const std::wstring& databasePath, bool& requiresPassword,
                        const std::wstring& sqliteLibrary = {});
