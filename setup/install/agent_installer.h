#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/progress.h"
#include "setup/runtime/runtime_bridge.h"
#include "setup/run_record.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/setup_settings.h"
#include "sys/library_loader.h"
#include "sys/status.h"

// The component the installation's lines are written for.
inline constexpr wchar_t kInstallerComponent[] = L"Installer";

// What the installation works with besides the machine itself. The defaults are the
// product's; tests replace single entries.
struct InstallerEnvironment {
    // System tools start by full path from the system folder: by bare name the system
    // would look in the folder of setup.exe first.
    std::wstring schedulerProbe;  // empty: schtasks.exe of the system folder, "/query /fo TABLE"
    std::wstring schedulerService = L"Schedule";
    std::wstring netInstallerUrl;  // the build's .NET Framework 4.8 offline installer address
    std::wstring netInstallerPublisher;  // who must have signed it; the build's by default
    std::wstring netDetectionKey = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    std::wstring avWrapperService = L"ZelkoAvWrapper";
    DWORD schedulerProbeLimitMs = 30000;
    std::wstring systemInfoTool;  // empty: systeminfo.exe of the system folder
    DWORD systemInfoLimitMs = 30000;
    // The package manifest; empty: the one this program carries. Tests that install from their
    // own folder hand in one of that folder.
    std::string packageManifest;
    // For tests only: called with a step's name before it is done, with "undo-" and the name
    // before it is undone, with "end" after the last step and with "copy-file" before each
    // file is copied; a failing status makes that step fail. It may throw, or end the process.
    Status (*faultAt)(const char* step) = nullptr;
    // Where the steps' course goes for the run's record; may be null.
    run_record::SequenceTrace* trace = nullptr;
};

// Installs or upgrades the agent. The steps are in install_steps.cpp; this class holds what
// they share with the operations tests call one by one.
class AgentInstaller {
public:
    AgentInstaller(const SetupSettings& settings, const CAgentBranding& brand, CLogging& log,
                   InstallerEnvironment environment = {});
    ~AgentInstaller();
    AgentInstaller(const AgentInstaller&) = delete;
    AgentInstaller& operator=(const AgentInstaller&) = delete;

    // Runs the whole installation; progress may be null (silent run).
    Status Install(IProgress* progress);

    Status CopyAllFiles(const std::wstring& source, const std::wstring& destination,
                        const std::vector<std::wstring>& excluded);
    Status CopyFilePath(const std::wstring& source, const std::wstring& destination);

    bool IsNetFrameworkInstalled();
    Status InstallMissingNetFrameworkInstaller();

    Status RestartTaskSchedulerServiceIfNeeded();
    void LogSystemInfo();

    Status StopServiceAndWait(const std::wstring& service);

    // From now on the package's files come from folder, a verified copy (package_check.h).
    void UsePackage(const std::wstring& folder) { packageFolder_ = folder; }
    const std::wstring& PackageFolder() const { return packageFolder_; }
    // Loads runtime.dll of the verified package and makes the runtime; Runtime() is null
    // before.
    Status StartRuntime();
    IRuntime* Runtime() const { return session_.runtime.Get(); }
    // Works with a runtime loaded elsewhere instead of loading its own.
    void UseRuntime(IRuntime* runtime);

private:
    Status DownloadInstallerWithErr(const std::wstring& url, std::wstring& path);
    Status TakeIntoPackageFolder(const std::wstring& downloaded, std::wstring& installer);
    Status CheckDownloadSignature(std::wstring& installer);

    const SetupSettings& settings_;
    const CAgentBranding& brand_;
    CLogging& log_;
    InstallerEnvironment environment_;
    CLibraryLoader loader_;
    CObjectSmPtr<CRuntimeSettings> host_{new CRuntimeSettings()};
    RuntimeSession session_;
    std::wstring packageFolder_;
};
