#pragma once

#include <string>

#include "setup/branding/branding.h"
#include "sys/status.h"

// The folders this program and the agent live in, each computed here and nowhere else.
namespace agent_folders {

// The folder the running setup program was started from.
std::wstring SetupFolder();

// The agent's program folder: Program Files joined with the brand's agent folder; with x86,
// the 32-bit Program Files, where older installations lived.
Status ProgramFolder(const CAgentBranding& brand, bool x86, std::wstring& folder);

// The brand's company folder under Program Files (or the 32-bit one), which holds the
// program folder.
Status CompanyFolder(const CAgentBranding& brand, bool x86, std::wstring& folder);

// The agent's data folder: common application data joined with the brand's agent folder.
std::wstring DataFolder(const CAgentBranding& brand);

}  // namespace agent_folders
