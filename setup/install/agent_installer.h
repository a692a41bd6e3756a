#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <vector>

#include "setup/logging.h"
#include "setup/progress.h"
#include "setup/runtime/runtime_bridge.h"
#include "sys/library_loader.h"
#include "sys/status.h"

constexpr Status kStatusStillMissing = ToStatus(0x80000014);
constexpr Status kStatusDownloadUnavailable = ToStatus(0x8000000A);
constexpr Status kStatusCopyFailed = ToStatus(0x8000002D);
constexpr Status kStatusRenameFailed = ToStatus(0x8000002F);
constexpr Status kStatusProbeNotStarted = ToStatus(0x80000127);

// What the installation works with besides the machine itself. The defaults are the
// product's; tests replace single entries.
struct InstallerEnvironment {
    std::wstring schedulerProbe = L"schtasks /query /fo TABLE";
    std::wstring schedulerService = L"Schedule";
    std::wstring netInstallerUrl;  // the build's .NET Framework 4.8 offline installer address
    std::wstring netDetectionKey = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    std::wstring avWrapperService = L"ZelkoAvWrapper";
    DWORD schedulerProbeLimitMs = 30000;
    std::wstring systemInfoTool;  // empty: systeminfo.exe of the system folder
    DWORD systemInfoLimitMs = 30000;
    // Called before the steps that can fail after the previous folder was moved aside, by
    // name; a failing status makes that step fail, and it may throw.
    Status (*faultAt)(const char* step) = nullptr;
};

// Installs or upgrades the agent.
class AgentInstaller final : public CLogging {
public:
    AgentInstaller();
    explicit AgentInstaller(InstallerEnvironment environment);
    ~AgentInstaller() override;

    std::wstring LogFileName() const override { return L"agentinstaller.log"; }
    std::wstring ComponentName() const override { return L"Installer"; }

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

    // Works with a runtime loaded elsewhere instead of loading its own.
    void UseRuntime(IRuntime* runtime);

private:
    struct ServiceRegistration {
        bool saved = false;
        std::wstring imagePath;
        DWORD type = 0;
        DWORD startType = 0;
        std::wstring displayName;
        std::wstring description;
    };

    void Progress(Stage stage);
    Status Fault(const char* step) const;
    Status DownloadInstallerWithErr(const std::wstring& url, std::wstring& path);
    bool AgentFilesPendingRemoval();
    Status RunInstall(IProgress* progress);
    Status EarlyFailure(Status status);
    Status Rollback(Status status);
    void RestoreConfig();
    void RestoreServiceRegistration();
    void StartAfterRollback(const std::wstring& service);
    void RemoveNewService();
    void NoteMissingRuntimeKeys();
    void RemoveNewRuntimeKeys();
    Status Succeed();
    void WriteUninstallEntry();
    void RemoveFormerConsoleAutostart();
    void SaveServiceRegistration();

    InstallerEnvironment environment_;
    IProgress* progress_ = nullptr;
    CLibraryLoader loader_;
    RuntimeSession session_;
    std::uint32_t restartNeededCount_ = 0;
    std::wstring programFolder_;
    std::wstring previousProgramFolder_;
    std::wstring backupFolder_;
    std::wstring installedConfigPath_;
    std::wstring configBackupPath_;
    bool protectionRequested_ = false;
    bool rollbackArmed_ = false;  // the previous folder may have been moved aside
    bool configPlaced_ = false;   // a new configuration was (maybe partly) written
    bool serviceTouched_ = false;  // the registration of the agent service may have changed
    bool serviceCreated_ = false;  // no agent service was registered before
    std::vector<std::wstring> newRuntimeKeys_;  // runtime settings keys this run creates
    ServiceRegistration savedService_;
};
