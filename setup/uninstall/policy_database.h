#pragma once

#include <string>

#include "sys/status.h"

// Reads the uninstall password flag from the policy table of the agent's database file,
// which must exist (SQLite would create a missing one). The flag is written only on
// success; anything the mapper or SQLite throws ends as kStatusDatabaseUnavailable.
Status ReadPasswordFlag(const std::wstring& databasePath, bool& requiresPassword);
