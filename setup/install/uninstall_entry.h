#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "setup/branding/branding.h"

// The agent's entry in the system's list of installed programs.
namespace uninstall_entry {

// Replaces the brand's entry (and the former management console's) with one for the agent
// installed in programFolder; languageId 0 leaves the language to the uninstaller.
void Write(const CAgentBranding& brand, const std::wstring& programFolder,
           std::uint32_t languageId, const std::array<std::uint16_t, 4>& version);

// Deletes the former console agent's autostart value, unless that agent is still present.
void RemoveFormerConsoleAutostart();

}  // namespace uninstall_entry
