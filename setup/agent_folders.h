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

// The lists of the agent's data tree, protected from what ProgramData passes down (every
// user may create folders there), owned by Administrators so that a user who made a folder
// first keeps no owner's right to change it. SYSTEM and Administrators do anything. The
// tree holds the invite token, the proxy password's envelope and the uninstall policy, so
// users read nothing but the log folder, whose lines hold no secret.
inline constexpr wchar_t kDataFolderAccess[] = L"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
inline constexpr wchar_t kLogFolderAccess[] =
    L"O:BAD:PAI(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

struct DataTreeFolder {
    std::wstring path;
    const wchar_t* access;
    bool emptied;  // holds nothing a run did not put there itself
};

// The data folder, then the subfolders that setup and the runtime keep their files in.
std::vector<DataTreeFolder> DataFolderTree(const std::wstring& dataFolder);

}  // namespace agent_folders
