#include "tests/support/agent_machine.h"

#include <filesystem>

#include "sys/service_sys.h"
#include "tests/support/test_support.h"

namespace agent_machine {

std::wstring BackendFolder() {
    std::wstring folder = L"Z:" HOLLIN_BACKEND_FOLDER;
    for (wchar_t& c : folder) {
        c = c == L'/' ? L'\\' : c;
    }
    return folder;
}

std::string BackendPort() { return test_support::ReadFileBytes(BackendFolder() + L"\\backend.port"); }

std::wstring PackageSetup() { return test_support::BinFolder() + L"\\..\\package\\setup.exe"; }

void CopyPackageWith(const std::wstring& folder, const std::wstring& builtSetup, bool withAgent) {
    for (const wchar_t* file : {L"runtime.dll", L"sqlite3.dll", L"agentsvc.exe"}) {
        if (withAgent || std::wstring(file) != L"agentsvc.exe") {
            test_support::CopyBuiltProgram(std::wstring(L"..\\package\\") + file, folder, file);
        }
    }
    test_support::CopyBuiltProgram(builtSetup, folder, L"setup.exe");
}

void SetNetFrameworkInstalled() {
    const DWORD release = 528040;
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full",
                    L"Release", REG_DWORD, &release, sizeof(release));
}

bool WaitForAgentState(DWORD state) {
    for (int pass = 0; pass < 100; ++pass) {
        if (service_sys::GetServiceState(L"ClientManager") == state) {
            return true;
        }
        Sleep(100);
    }
    return false;
}

void CleanMachine() {
    service_sys::StopService(L"ClientManager");
    WaitForAgentState(SERVICE_STOPPED);
    service_sys::DeleteServiceByName(L"ClientManager");
    std::error_code ignored;
    std::filesystem::remove_all(kCompanyProgramFolder, ignored);
    std::filesystem::remove_all(L"C:\\ProgramData\\ZELKO Software", ignored);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ZELKO Software");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kUninstallKey.c_str());
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(), L"PendingFileRenameOperations");
}

}  // namespace agent_machine
