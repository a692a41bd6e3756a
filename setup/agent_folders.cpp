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

std::vector<DataTreeFolder> DataFolderTree(const std::wstring& dataFolder) {
    return {{dataFolder, kDataFolderAccess, false},
            {dataFolder + L"\\setup", kDataFolderAccess, true},
            {dataFolder + L"\\temp", kDataFolderAccess, true},
            {dataFolder + L"\\log", kLogFolderAccess, false},
            {dataFolder + L"\\database", kDataFolderAccess, false},
            {dataFolder + L"\\dump", kDataFolderAccess, false}};
}

}  // namespace agent_folders
