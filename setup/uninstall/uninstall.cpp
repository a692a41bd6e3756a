#include "setup/uninstall/uninstall.h"

#include <windows.h>

#include <iterator>

#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/runtime/runtime_bridge.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/setup_settings.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/registry_sys.h"
#include "sys/service_sys.h"
#include "sys/text_sys.h"
#include "setup/progress.h"

namespace {

constexpr int kWaitPasses = 300;
constexpr char kUninstall[] = "UninstallAgent";

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsInside(const std::wstring& path, const std::wstring& folder) {
    const std::wstring lowered = text_sys::ToLowerText(path);
    const std::wstring prefix = text_sys::ToLowerText(folder) + L"\\";
    return lowered.compare(0, prefix.size(), prefix) == 0;
}

void Show(IProgress* progress, Stage stage) {
    if (progress != nullptr) {
        progress->Report(stage);
    }
}

// The removal's lines go to the installer's log through the runtime beside this program.
// Logging never stops the removal: without the runtime the lines are dropped.
class UninstallLog final : public CLogging {
public:
    UninstallLog() {
        if (!Failed(StartRuntime(loader_, GetSetupSettings(), host_.Get(), session_))) {
            SetupLogging(session_.runtime.Get());  // without a logger the lines are dropped
        }
    }
    ~UninstallLog() override { Close(); }

    std::wstring LogFileName() const override { return L"agentinstaller.log"; }
    std::wstring ComponentName() const override { return L"Uninstaller"; }

    // Lets go of the runtime library, so that a folder holding it can be removed.
    void Close() {
        DetachLogger();
        session_.runtime.Reset();
        session_.manager.Reset();
        loader_.UnloadUnused();
    }

private:
    CLibraryLoader loader_;
    CObjectSmPtr<CRuntimeSettings> host_{new CRuntimeSettings()};
    RuntimeSession session_;
};

Status RemoveFolder(UninstallLog& log, const std::wstring& folder) {
    const Status status = DeleteOrDeferFolder(folder);
    if (status == kStatusPendingRestart) {
        log.LOG_WARNING(kUninstall, L"folder will be removed at the next restart: " + folder,
                        status);
    } else if (Failed(status)) {
        log.LOG_ERROR(kUninstall, L"could not remove the folder " + folder, status);
    }
    return status;
}

void RemoveKey(UninstallLog& log, const std::wstring& key, bool recursive) {
    const Status status = registry_sys::DeleteRegistryKey(key, registry_sys::kSetValue, recursive);
    if (Failed(status) && status != kStatusNotFound) {
        // Not part of the result: the files are what matters to the next installation.
        log.LOG_WARNING(kUninstall, L"could not delete the registry key " + key, status);
    }
}

// Everything from the deletion of the service on: removes what it can, reports the first
// failure by folder.
Status RemoveAgent(UninstallLog& log, IProgress* progress, const CAgentBranding& brand,
                   const std::wstring& programFolder) {
    Show(progress, Stage::kRemovingFiles);
    log.LOG_INFO(kUninstall, L"Removing files...");
    const std::wstring dataFolder =
        file_sys::GetCommonAppDataFolder() + L"\\" + brand.GetProgramSubfolder();
    std::uint32_t keepDataFolder = 0;
    if (Failed(ReadRuntimeNumber(L"runtime://agent/keepdatadir", keepDataFolder))) {
        keepDataFolder = 0;
    }
    // This program may run from the folder it removes, with the runtime loaded from there.
    if (IsInside(process_sys::GetModulePath(), programFolder)) {
        log.Close();
    }
    Status data = kStatusOk;
    if (keepDataFolder == 0) {
        data = RemoveFolder(log, dataFolder);
    } else {
        log.LOG_INFO(kUninstall, L"the data folder is kept: " + dataFolder);
    }
    const Status program = RemoveFolder(log, programFolder);
    const Status status = Failed(program) ? program : Failed(data) ? data : kStatusOk;

    std::wstring programFiles32;
    if (!Failed(file_sys::GetProgramFilesFolder(true, programFiles32))) {
        const std::wstring company = programFiles32 + L"\\" + brand.GetCompanyFolder();
        if (IsFolder(company)) {
            RemoveFolder(log, company);  // an older 32-bit leftover; never part of the result
        }
    }

    registry_sys::DeleteRegistryKey(brand.GetUninstallRegistryKey(), registry_sys::kSetValue,
                                    false);  // a key that still has subkeys stays, on purpose
    const std::wstring base = RuntimeRegistryBase();
    RemoveKey(log, base + L"SB Runtime", true);
    RemoveKey(log, base + L"Business Agent", true);
    RemoveKey(log, L"SOFTWARE\\Classes\\CLSID\\{5E2B8C41-7A3D-4F96-B0E2-1C7D9A34F85B}\\", true);
    log.LOG_RESULT(kUninstall, status);
    return status;
}

// Stops the agent service and waits for every agent process to end, ten minutes at most.
void StopAgent(UninstallLog& log, const std::wstring& service) {
    bool exists = false;
    service_sys::ServiceExists(service, exists);  // checked by the caller already
    if (exists) {
        log.LOG_INFO(kUninstall, L"Stopping agent service...");
        for (int pass = 0; pass < kWaitPasses; ++pass) {
            if (service_sys::GetServiceState(service) == SERVICE_STOPPED) {
                break;
            }
            service_sys::StopService(service);  // the state is what counts, not the answer
            process_sys::SleepFor(std::chrono::milliseconds(1000));
        }
    }
    for (int pass = 0; pass < kWaitPasses; ++pass) {
        if (process_sys::GetPidsByName(L"agentsvc.exe").empty()) {
            return;
        }
        process_sys::SleepFor(std::chrono::milliseconds(1000));
    }
    log.LOG_WARNING(kUninstall, L"agent processes still run; asking the agent all the same");
}

// The agent decides: it checks the password against its own policy and tidies its state.
Status RunFarewell(UninstallLog& log, const std::wstring& programFolder,
                   const std::wstring& password) {
    std::wstring arguments = FarewellArguments(password);
    std::wstring commandLine =
        process_sys::BuildCommandLine(programFolder + L"\\agentsvc.exe", arguments.c_str());
    process_sys::ChildProcess farewell(commandLine, process_sys::ChildStreams::kInherit);
    SecureZeroMemory(arguments.data(), arguments.size() * sizeof(wchar_t));
    SecureZeroMemory(commandLine.data(), commandLine.size() * sizeof(wchar_t));
    if (!farewell.Started()) {
        log.LOG_ERROR(kUninstall, L"could not start the agent's farewell run, GetLastError: " +
                                      std::to_wstring(GetLastError()),
                      kStatusCannotStartProgram);
        return kStatusCannotStartProgram;
    }
    Status status = farewell.Wait(0);
    if (Failed(status)) {
        log.LOG_ERROR(kUninstall, L"waiting for the agent's farewell run failed", status);
        return status;
    }
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(farewell.Process(), &exitCode)) {
        exitCode = 0xFFFFFFFF;
    }
    if (exitCode == 0) {
        log.LOG_INFO(kUninstall, L"the agent agreed to be removed");
        return kStatusOk;
    }
    if (exitCode == static_cast<DWORD>(kStatusPasswordRefused)) {
        log.LOG_ERROR(kUninstall, L"the agent refused the password", kStatusPasswordRefused);
        return kStatusPasswordRefused;
    }
    log.LOG_ERROR(kUninstall, L"the agent's farewell run ended with " + std::to_wstring(exitCode),
                  kStatusFarewellFailed);
    return kStatusFarewellFailed;
}

Status Uninstall(UninstallLog& log, IProgress* progress, const std::wstring& password) {
    const CAgentBranding& brand = *GetBranding();
    log.LOG_INFO(kUninstall, L"Uninstallation was started");
    Show(progress, Stage::kStoppingServices);
    std::wstring programFiles;
    Status status = file_sys::GetProgramFilesFolder(false, programFiles);
    if (Failed(status)) {
        log.LOG_ERROR(kUninstall, L"the program files folder is unknown", status);
        return status;
    }
    const std::wstring programFolder = programFiles + L"\\" + brand.GetProgramSubfolder();
    if (!IsFolder(programFolder)) {
        log.LOG_ERROR(kUninstall, L"nothing is installed: " + programFolder,
                      kStatusNothingInstalled);
        return kStatusNothingInstalled;
    }
    const std::wstring service = brand.GetServiceName();
    bool exists = false;
    status = service_sys::ServiceExists(service, exists);
    if (Failed(status)) {
        log.LOG_ERROR(kUninstall, L"could not look for the service " + service, status);
        return status;
    }
    StopAgent(log, service);
    Show(progress, Stage::kInitialising);

    status = RunFarewell(log, programFolder, password);
    if (!Failed(status)) {
        status = service_sys::DeleteServiceByName(service);
        if (Failed(status)) {
            log.LOG_ERROR(kUninstall, L"could not delete the service " + service, status);
        }
    }
    if (Failed(status)) {
        // Refused or failed: the machine stays protected.
        log.LOG_INFO(kUninstall, L"Starting agent service...");
        service_sys::StartServiceByName(service);  // the status already tells the failure
        return status;
    }
    return RemoveAgent(log, progress, brand, programFolder);
}

}  // namespace

std::wstring FarewellArguments(const std::wstring& password) {
    static constexpr wchar_t kPrefix[] = L"--nodaemon --farewell --password ";
    // Built in place, reserved once: no stream buffer or reallocation keeps a stray copy.
    std::wstring arguments;
    arguments.reserve(std::size(kPrefix) + 2 * password.size() + 2);
    arguments = kPrefix;
    arguments += L'"';
    for (wchar_t c : password) {
        if (c == L'"' || c == L'\\') {
            arguments += L'\\';
        }
        arguments += c;
    }
    arguments += L'"';
    return arguments;
}

Status UninstallAgent(IProgress* progress, const std::wstring& password) {
    UninstallLog log;
    try {
        return Uninstall(log, progress, password);
    } catch (const UnknownBrandError&) {
        throw;  // the entry turns it into its own exit code
    } catch (const std::exception& error) {
        log.LOG_ERROR(kUninstall, L"unexpected exception: " + text_sys::Widen(error.what()),
                      kStatusUnexpectedException);
    } catch (...) {
        log.LOG_ERROR(kUninstall, L"unexpected exception", kStatusUnexpectedException);
    }
    return kStatusUnexpectedException;
}
