#include "setup/uninstall/uninstall.h"

#include <windows.h>

#include <chrono>
#include <iterator>

#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/recovery.h"
#include "setup/run_journal.h"
#include "setup/runtime/runtime_bridge.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/setup_settings.h"
#include "setup/step_runner.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/registry_sys.h"
#include "sys/service_sys.h"
#include "sys/text_sys.h"

namespace {

constexpr int kWaitPasses = 300;
constexpr char kUninstall[] = "UninstallAgent";

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// What the steps of one removal share.
struct UninstallRun {
    const SetupSettings& settings;
    const CAgentBranding& brand;
    CLogging& log;
    IProgress* progress = nullptr;
    const std::wstring& password;
    std::wstring programFolder;
    Status removal = kStatusOk;  // the removal's own result, by folder
    CLibraryLoader loader;
    CObjectSmPtr<CRuntimeSettings> host{new CRuntimeSettings()};
    RuntimeSession session;
    RunJournal journal;  // what a later run needs when this one is killed

    void Report(Stage stage) const {
        if (progress != nullptr) {
            progress->Report(stage);
        }
    }
    // Lets go of the runtime library, so that a folder holding it can be removed.
    void CloseRuntime() {
        log.DetachLogger();
        session.runtime.Reset();
        session.manager.Reset();
        loader.UnloadUnused();
    }
};

class UninstallStep : public Step {
public:
    explicit UninstallStep(UninstallRun& run) : run_(run) {}

protected:
    UninstallRun& run_;
};

// The removal's lines go to the installer's log through the installed agent's runtime: its
// program folder is written by administrators only, wherever setup.exe was started from.
// Logging never stops the removal: without the runtime (nothing installed) the lines go to
// the debug output.
class AttachLog final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        std::wstring programFolder;
        if (!Failed(agent_folders::ProgramFolder(run_.brand, false, programFolder)) &&
            !Failed(StartRuntime(run_.loader, programFolder, run_.settings, run_.host.Get(),
                                 run_.session))) {
            run_.log.SetupLogging(run_.session.runtime.Get());  // without it, no lines
        }
        run_.log.Info(kUninstall, L"Uninstallation was started");
        run_.Report(Stage::kStoppingServices);
        return kStatusOk;
    }
};

class LocateProgramFolder final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        const Status status = agent_folders::ProgramFolder(run_.brand, false, run_.programFolder);
        if (Failed(status)) {
            return run_.log.Check(status, kUninstall, L"the program files folder is unknown");
        }
        if (!IsFolder(run_.programFolder)) {
            return run_.log.Check(kStatusNothingInstalled, kUninstall,
                                  L"nothing is installed: " + run_.programFolder);
        }
        return kStatusOk;
    }
};

// Stops the agent service and waits for every agent process to end, ten minutes at most.
// A refused or failed removal starts the service again: the machine stays protected.
class StopAgent final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        bool exists = false;
        const Status status = service_sys::ServiceExists(run_.brand.serviceName, exists);
        if (Failed(status)) {
            return run_.log.Check(status, kUninstall,
                                  std::wstring(L"could not look for the service ") +
                                      run_.brand.serviceName);
        }
        stopping_ = true;
        run_.journal.Begin(L"removal");
        run_.journal.Note(L"stopped-agent", run_.brand.serviceName);
        if (exists) {
            StopService();
        }
        WaitForProcesses();
        return kStatusOk;
    }
    void Undo() override {
        if (stopping_) {
            run_.log.Info(kUninstall, L"Starting agent service...");
            // The sequence's status already tells the failure; this is only the way back.
            service_sys::StartServiceByName(run_.brand.serviceName);
        }
    }

private:
    void StopService() {
        run_.log.Info(kUninstall, L"Stopping agent service...");
        for (int pass = 0; pass < kWaitPasses; ++pass) {
            if (service_sys::GetServiceState(run_.brand.serviceName) == SERVICE_STOPPED) {
                return;
            }
            service_sys::StopService(run_.brand.serviceName);  // the state counts, not the answer
            process_sys::SleepFor(std::chrono::milliseconds(1000));
        }
    }
    void WaitForProcesses() {
        for (int pass = 0; pass < kWaitPasses; ++pass) {
            if (process_sys::GetPidsByName(L"agentsvc.exe").empty()) {
                return;
            }
            process_sys::SleepFor(std::chrono::milliseconds(1000));
        }
        run_.log.Warning(kUninstall, L"agent processes still run; asking the agent all the same");
    }

    bool stopping_ = false;
};

// The agent decides: it checks the password against its own policy and tidies its state.
class Farewell final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override;

private:
    static bool Ended(const process_sys::ChildProcess& farewell);
    Status ExitStatus(DWORD exitCode);
};

bool Farewell::Ended(const process_sys::ChildProcess& farewell) {
    for (int pass = 0; pass < kWaitPasses; ++pass) {
        if (WaitForSingleObject(farewell.Process(), 0) == WAIT_OBJECT_0) {
            return true;
        }
        process_sys::SleepFor(std::chrono::milliseconds(1000));
    }
    return WaitForSingleObject(farewell.Process(), 0) == WAIT_OBJECT_0;
}

Status Farewell::Do() {
    run_.Report(Stage::kInitialising);
    std::wstring arguments = FarewellArguments(run_.password);
    std::wstring commandLine = process_sys::BuildCommandLine(
        run_.programFolder + L"\\agentsvc.exe", arguments.c_str());
    process_sys::ChildProcess farewell(commandLine, process_sys::ChildStreams::kInherit);
    SecureZeroMemory(arguments.data(), arguments.size() * sizeof(wchar_t));
    SecureZeroMemory(commandLine.data(), commandLine.size() * sizeof(wchar_t));
    if (!farewell.Started()) {
        return run_.log.Check(kStatusCannotStartProgram, kUninstall,
                              L"could not start the agent's farewell run, GetLastError: " +
                                  std::to_wstring(GetLastError()));
    }
    if (!Ended(farewell)) {
        // A run that hangs would hold the deployment tool forever; the agent keeps running.
        TerminateProcess(farewell.Process(), static_cast<UINT>(kStatusWaitFailed));
        return run_.log.Check(kStatusWaitFailed, kUninstall,
                              L"the agent's farewell run did not end in time and was ended");
    }
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(farewell.Process(), &exitCode)) {
        exitCode = 0xFFFFFFFF;
    }
    return ExitStatus(exitCode);
}

Status Farewell::ExitStatus(DWORD exitCode) {
    if (exitCode == 0) {
        run_.log.Info(kUninstall, L"the agent agreed to be removed");
        run_.journal.Note(L"past-return", L"1");  // from here on the removal goes to its end
        return kStatusOk;
    }
    if (exitCode == static_cast<DWORD>(kStatusPasswordRefused)) {
        return run_.log.Check(kStatusPasswordRefused, kUninstall, L"the agent refused the password");
    }
    return run_.log.Check(kStatusFarewellFailed, kUninstall,
                          L"the agent's farewell run ended with " + std::to_wstring(exitCode));
}

class DeleteService final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        return run_.log.Check(service_sys::DeleteServiceByName(run_.brand.serviceName),
                              kUninstall,
                              std::wstring(L"could not delete the service ") +
                                  run_.brand.serviceName);
    }
};

Status RemoveFolder(CLogging& log, const std::wstring& folder) {
    const Status status = DeleteOrDeferFolder(folder);
    if (status == kStatusRemovalAtRestart) {
        log.Warning(kUninstall, L"folder will be removed at the next restart: " + folder, status);
    } else if (Failed(status)) {
        log.Error(kUninstall, L"could not remove the folder " + folder, status);
    }
    return status;
}

void RemoveKey(CLogging& log, const std::wstring& key, bool recursive) {
    const Status status = registry_sys::DeleteRegistryKey(key, registry_sys::kSetValue, recursive);
    if (Failed(status) && status != kStatusNotFound) {
        // Not part of the result: the files are what matters to the next installation.
        log.Warning(kUninstall, L"could not delete the registry key " + key, status);
    }
}

// From the deletion of the service on nothing stops the removal: it removes what it can and
// its result is the first failure by folder, the program folder's first.
class RemoveFiles final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        run_.Report(Stage::kRemovingFiles);
        run_.log.Info(kUninstall, L"Removing files...");
        const std::wstring dataFolder = agent_folders::DataFolder(run_.brand);
        std::uint32_t keepDataFolder = 0;
        if (Failed(ReadRuntimeNumber(L"runtime://agent/keepdatadir", keepDataFolder))) {
            keepDataFolder = 0;
        }
        // The runtime is loaded from the folder about to go.
        run_.CloseRuntime();
        Status data = kStatusOk;
        if (keepDataFolder == 0) {
            data = RemoveFolder(run_.log, dataFolder);
        } else {
            run_.log.Info(kUninstall, L"the data folder is kept: " + dataFolder);
        }
        const Status program = RemoveFolder(run_.log, run_.programFolder);
        run_.removal = Failed(program) ? program : Failed(data) ? data : kStatusOk;
        std::wstring company32;
        if (!Failed(agent_folders::CompanyFolder(run_.brand, true, company32)) &&
            IsFolder(company32)) {
            RemoveFolder(run_.log, company32);  // an older 32-bit leftover; never part of the result
        }
        return kStatusOk;
    }
};

class RemoveKeys final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        // A key that still has subkeys stays, on purpose; nothing to report either way.
        registry_sys::DeleteRegistryKey(run_.brand.uninstallRegistryKey, registry_sys::kSetValue,
                                        false);
        const std::wstring base = RuntimeRegistryBase();
        RemoveKey(run_.log, base + L"SB Runtime", true);
        RemoveKey(run_.log, base + L"Business Agent", true);
        RemoveKey(run_.log, L"SOFTWARE\\Classes\\CLSID\\{5E2B8C41-7A3D-4F96-B0E2-1C7D9A34F85B}\\",
                  true);
        run_.log.Result(kUninstall, run_.removal);
        return kStatusOk;
    }
};

// A run killed before this one finishes first (setup/recovery.h).
class Recover final : public UninstallStep {
public:
    using UninstallStep::UninstallStep;
    Status Do() override {
        return RecoverInterruptedRun(run_.settings, run_.brand, run_.log).status;
    }
};

std::vector<SequenceStep> UninstallSteps(UninstallRun& run) {
    std::vector<SequenceStep> steps;
    steps.push_back({"recover", std::make_unique<Recover>(run)});
    steps.push_back({"attach-log", std::make_unique<AttachLog>(run)});
    steps.push_back({"locate-program-folder", std::make_unique<LocateProgramFolder>(run)});
    steps.push_back({"stop-agent", std::make_unique<StopAgent>(run)});
    steps.push_back({"farewell", std::make_unique<Farewell>(run)});
    steps.push_back({"delete-service", std::make_unique<DeleteService>(run)});
    steps.push_back({"remove-files", std::make_unique<RemoveFiles>(run)});
    steps.push_back({"remove-keys", std::make_unique<RemoveKeys>(run)});
    return steps;
}

// What is left of a removal once the agent agreed to go.
std::vector<SequenceStep> FinishingSteps(UninstallRun& run) {
    std::vector<SequenceStep> steps;
    steps.push_back({"attach-log", std::make_unique<AttachLog>(run)});
    steps.push_back({"delete-service", std::make_unique<DeleteService>(run)});
    steps.push_back({"remove-files", std::make_unique<RemoveFiles>(run)});
    steps.push_back({"remove-keys", std::make_unique<RemoveKeys>(run)});
    return steps;
}

}  // namespace

Status UninstallAgent(const SetupSettings& settings, const CAgentBranding& brand, CLogging& log,
                      IProgress* progress, const std::wstring& password,
                      Status (*faultAt)(const char* step),
                      run_record::SequenceTrace* trace) {
    UninstallRun run{settings, brand, log, progress, password};
    StepRunner runner(log, kUninstall, UninstallSteps(run), {"stop-agent"}, {});
    runner.SetFaultHook(faultAt);
    runner.SetTrace(trace);
    const Status status = runner.Run();
    run.CloseRuntime();
    return Failed(status) ? status : run.removal;
}

Status FinishRemoval(const SetupSettings& settings, const CAgentBranding& brand, CLogging& log) {
    static const std::wstring kNoPassword;
    UninstallRun run{settings, brand, log, nullptr, kNoPassword};
    if (Failed(agent_folders::ProgramFolder(brand, false, run.programFolder))) {
        return kStatusRecoveryFailed;
    }
    StepRunner runner(log, kUninstall, FinishingSteps(run), {}, {});
    const Status status = runner.Run();
    run.CloseRuntime();
    return Failed(status) ? status : run.removal;
}
