#include "setup/uninstall/uninstall.h"

#include <windows.h>

#include <iomanip>
#include <sstream>

#include "setup/branding/branding.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/registry_sys.h"
#include "sys/service_sys.h"
#include "ui/localisation.h"
#include "ui/progress_callback.h"

namespace {

constexpr int kWaitPasses = 300;

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void Show(IProgressCallback* progress, unsigned id) {
    if (progress != nullptr) {
        progress->SetStatusText(LoadUiString(id).c_str());
    }
}

// Everything from the deletion of the service on: removes what it can, reports the first
// failure by folder.
Status RemoveAgent(IProgressCallback* progress, const CAgentBranding& brand,
                   const std::wstring& programFolder) {
    Show(progress, 215);
    const std::wstring dataFolder =
        file_sys::GetCommonAppDataFolder() + L"\\" + brand.GetProgramSubfolder();
    std::uint32_t keepDataFolder = 0;
    if (Failed(ReadRuntimeNumber(L"runtime://agent/keepdatadir", keepDataFolder))) {
        keepDataFolder = 0;
    }
    const Status data = keepDataFolder == 0 ? DeleteOrDeferFolder(dataFolder) : kStatusOk;
    const Status program = DeleteOrDeferFolder(programFolder);
    const Status status = Failed(program) ? program : Failed(data) ? data : kStatusOk;

    std::wstring programFiles32;
    if (!Failed(file_sys::GetProgramFilesFolder(true, programFiles32))) {
        const std::wstring company = programFiles32 + L"\\" + brand.GetCompanyFolder();
        if (IsFolder(company)) {
            DeleteOrDeferFolder(company);
        }
    }

    registry_sys::DeleteRegistryKey(brand.GetUninstallRegistryKey(), registry_sys::kSetValue,
                                    false);
    const std::wstring base = RuntimeRegistryBase();
    registry_sys::DeleteRegistryKey(base + L"SB Runtime", registry_sys::kSetValue, true);
    registry_sys::DeleteRegistryKey(base + L"Business Agent", registry_sys::kSetValue, true);
    registry_sys::DeleteRegistryKey(
        L"SOFTWARE\\Classes\\CLSID\\{5E2B8C41-7A3D-4F96-B0E2-1C7D9A34F85B}\\",
        registry_sys::kSetValue, true);
    return status;
}

}  // namespace

std::wstring FarewellArguments(const std::wstring& password) {
    std::wostringstream arguments;
    arguments << L"--nodaemon --farewell --password " << std::quoted(password, L'"', L'\\');
    return arguments.str();
}

Status UninstallAgent(IProgressCallback* progress, const std::wstring& password) {
    const CAgentBranding& brand = *GetBranding();
    Show(progress, 211);
    std::wstring programFiles;
    Status status = file_sys::GetProgramFilesFolder(false, programFiles);
    if (Failed(status)) {
        return status;
    }
    const std::wstring programFolder = programFiles + L"\\" + brand.GetProgramSubfolder();
    if (!IsFolder(programFolder)) {
        return kStatusNothingInstalled;
    }
    const std::wstring service = brand.GetServiceName();
    bool exists = false;
    status = service_sys::ServiceExists(service, exists);
    if (Failed(status)) {
        return status;
    }
    if (exists) {
        for (int pass = 0; pass < kWaitPasses; ++pass) {
            if (service_sys::GetServiceState(service) == SERVICE_STOPPED) {
                break;
            }
            service_sys::StopService(service);
            process_sys::SleepFor(std::chrono::milliseconds(1000));
        }
    }
    for (int pass = 0; pass < kWaitPasses; ++pass) {
        if (process_sys::GetPidsByName(L"agentsvc.exe").empty()) {
            break;
        }
        process_sys::SleepFor(std::chrono::milliseconds(1000));
    }
    Show(progress, 222);

    // The agent decides: it checks the password against its own policy.
    std::wstring arguments = FarewellArguments(password);
    {
        process_sys::ChildProcess farewell(
            process_sys::BuildCommandLine(programFolder + L"\\agentsvc.exe", arguments.c_str()),
            false);
        SecureZeroMemory(arguments.data(), arguments.size() * sizeof(wchar_t));
        if (!farewell.Started()) {
            status = kStatusCannotStartProgram;
        } else {
            status = farewell.Wait(0);
            if (!Failed(status)) {
                DWORD exitCode = 0;
                if (!GetExitCodeProcess(farewell.Process(), &exitCode)) {
                    exitCode = 0xFFFFFFFF;
                }
                status = exitCode == 0                                           ? kStatusOk
                         : exitCode == static_cast<DWORD>(kStatusPasswordRefused) ? kStatusPasswordRefused
                                                                                  : kStatusFarewellFailed;
            }
        }
    }
    if (!Failed(status)) {
        status = service_sys::DeleteServiceByName(service);
    }
    if (Failed(status)) {
        // Refused or failed: the machine stays protected.
        service_sys::StartServiceByName(service);
        return status;
    }
    return RemoveAgent(progress, brand, programFolder);
}
