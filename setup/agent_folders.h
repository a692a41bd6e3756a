#pragma once

#include <string>
#include <vector>

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

// The list of the data folder and its subfolders: SYSTEM and Administrators do anything,
// Users read and run. ProgramData lets every user create files and folders below it; the
// protection keeps that out. Administrators own the folders, so that a user who made one
// before the installation does not keep the owner's right to change its list.
inline constexpr wchar_t kDataFolderAccess[] =
    L"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

// The data folder, then the subfolders that setup and the runtime keep their files in.
std::vector<std::wstring> DataFolderTree(const std::wstring& dataFolder);

}  // namespace agent_folders
