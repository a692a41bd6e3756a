#pragma once

#include <string>

// Writes the agent's database with a "policy" table that does or does not ask for the
// uninstall password; the testbed agent accepts uninstall_password. False on failure.
bool WritePasswordPolicy(const std::wstring& dataFolder, bool requirePassword,
                         const std::string& password);
