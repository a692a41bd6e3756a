#include "setup/agent_folders.h"

#include "sys/file_sys.h"
#include "sys/process_sys.h"

namespace agent_folders {
namespace {

Status UnderProgramFiles(bool x86, const wchar_t* subfolder, std::wstring& folder) {
    std::wstring programFiles;
    const Status status = file_sys::GetProgramFilesFolder(x86, programFiles);
    if (!Failed(status)) {
        folder = programFiles + L"\\" + subfolder;
    }
    return status;
}

}  // namespace

std::wstring SetupFolder() { return process_sys::FolderOf(process_sys::GetModulePath()); }

Status ProgramFolder(const CAgentBranding& brand, bool x86, std::wstring& folder) {
    return UnderProgramFiles(x86, brand.dataSubfolder, folder);
}

Status CompanyFolder(const CAgentBranding& brand, bool x86, std::wstring& folder) {
    return UnderProgramFiles(x86, brand.companyFolder, folder);
}

std::wstring DataFolder(const CAgentBranding& brand) {
    return file_sys::GetCommonAppDataFolder() + L"\\" + brand.programSubfolder;
}

std::vector<std::wstring> DataFolderTree(const std::wstring& dataFolder) {
    std::vector<std::wstring> folders = {dataFolder};
    for (const wchar_t* subfolder : {L"setup", L"temp", L"log", L"database", L"dump"}) {
        folders.push_back(dataFolder + L"\\" + subfolder);
    }
    return folders;
}

}  // namespace agent_folders
