// The checks around the installation: .NET Framework, the Task Scheduler, system facts.
#include <windows.h>

#include <cstdio>

#include "setup/install/agent_installer.h"
#include "setup/install/download_trust.h"
#include "sys/file_sys.h"
#include "sys/text_sys.h"
#include "sys/process_sys.h"
#include "sys/scope_exit.h"
#include "sys/service_sys.h"
#include "sys/signature_sys.h"
#include "sys/unique_handle.h"

namespace {

constexpr DWORD kNetRelease48 = 528040;
constexpr wchar_t kNetInstallerArguments[] = L"/q /norestart";
constexpr std::uint32_t kNetInstallerLimitMs = 600000;

bool ReadRelease(const std::wstring& key, REGSAM view, DWORD& release) {
    DWORD value = 0;
    DWORD size = sizeof(value);
    DWORD type = 0;
    UniqueRegKey opened;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_QUERY_VALUE | view, opened.Put()) !=
        ERROR_SUCCESS) {
        return false;
    }
    const bool read = RegQueryValueExW(opened.Get(), L"Release", nullptr, &type,
                                       reinterpret_cast<BYTE*>(&value), &size) == ERROR_SUCCESS &&
                      type == REG_DWORD && size == sizeof(value);
    if (read) {
        release = value;
    }
    return read;
}

// The command line of a tool of the system folder: its quoted full path, then arguments.
Status SystemToolCommand(const wchar_t* program, const wchar_t* arguments, std::wstring& line) {
    std::wstring folder;
    const Status status = file_sys::GetSystemFolder(folder);
    if (Failed(status)) {
        return status;
    }
    line = process_sys::BuildCommandLine(text_sys::JoinPath(folder, program), arguments);
    return kStatusOk;
}

}  // namespace

bool AgentInstaller::IsNetFrameworkInstalled() {
    constexpr char kFunction[] = "AgentInstaller::IsNetFrameworkInstalled";
    DWORD release = 0;
    if (!ReadRelease(environment_.netDetectionKey, KEY_WOW64_64KEY, release)) {
        ReadRelease(environment_.netDetectionKey, KEY_WOW64_32KEY, release);
    }
    if (release < kNetRelease48) {
        log_.Info(kFunction, L".NET Framework 4.8 or later is NOT installed (version: " +
                                std::to_wstring(release) + L")");
        return false;
    }
    log_.Info(kFunction,
             L".NET Framework is installed (version: " + std::to_wstring(release) + L")");
    return true;
}

Status AgentInstaller::DownloadInstallerWithErr(const std::wstring& url, std::wstring& path) {
    constexpr char kFunction[] = "AgentInstaller::DownloadInstallerWithErr";
    Status status = kStatusDownloadUnavailable;
    CObjectSmPtr<IResourceManager> resources;
    if (session_.runtime &&
        !Failed(session_.runtime->GetResourceManager(resources.Receive())) && resources) {
        wchar_t downloaded[MAX_PATH] = {};
        status = resources->Download(url.c_str(), downloaded, MAX_PATH);
        path = downloaded;
    }
    log_.Info(kFunction, L"Download: " + url + L", path: " + path + L", result: " +
                            std::to_wstring(status) + L".");
    return status;
}

// The runtime downloads where it keeps its temporary files; the installer runs only from the
// run's own folder, which nobody but administrators can write, so that what was checked is
// what runs.
Status AgentInstaller::TakeIntoPackageFolder(const std::wstring& downloaded,
                                             std::wstring& installer) {
    std::string bytes;
    const Status read = file_sys::ReadWholeFile(downloaded, bytes);
    DeleteFileW(downloaded.c_str());
    RemoveDirectoryW(file_sys::GetParentFolder(downloaded).c_str());  // the download's own
    if (Failed(read) || packageFolder_.empty()) {
        return Failed(read) ? read : kStatusPackageNotVerified;
    }
    installer = packageFolder_ + L"\\" + downloaded.substr(downloaded.find_last_of(L'\\') + 1) +
                L".exe";
    const Status written = file_sys::WriteWholeFile(installer, bytes);
    if (Failed(written)) {
        installer.clear();
    }
    return written;
}

Status AgentInstaller::CheckDownloadSignature(std::wstring& installer) {
    constexpr char kFunction[] = "AgentInstaller::CheckDownloadSignature";
    const signature_sys::Signature signature = signature_sys::Check(installer);
    const std::wstring facts = L"signature check " + CLogging::FormatStatus(signature.trust) + L", signer \"" +
                               signature.signer + L"\", expected \"" +
                               environment_.netInstallerPublisher + L"\"";
    if (IsTrustedDownload(signature.trust, signature.signer,
                          environment_.netInstallerPublisher)) {
        log_.Info(kFunction, L"the .NET Framework installer is signed as expected: " + facts);
        return kStatusOk;
    }
    DeleteFileW(installer.c_str());
    installer.clear();
    return log_.Check(kStatusDownloadNotTrusted, kFunction,
                      L"the downloaded .NET Framework installer is refused and deleted: " + facts);
}

Status AgentInstaller::InstallMissingNetFrameworkInstaller() {
    constexpr char kFunction[] = "AgentInstaller::InstallMissingNetFrameworkInstaller";
    log_.Info(kFunction, L"Downloading .NET Framework 4.8");
    std::wstring downloaded;
    Status status = log_.Check(DownloadInstallerWithErr(environment_.netInstallerUrl, downloaded),
                               kFunction, L"Downloading .NET Framework installer failed");
    if (Failed(status)) {
        return status;
    }
    std::wstring installer;
    status = TakeIntoPackageFolder(downloaded, installer);
    // Whatever happens next, the installer goes again.
    const ScopeExit cleanup([&installer] {
        if (!installer.empty()) {
            DeleteFileW(installer.c_str());  // else it goes with the run's folder
        }
    });
    if (Failed(status)) {
        return log_.Check(status, kFunction, L"could not move the download into the run's folder");
    }
    status = CheckDownloadSignature(installer);
    if (Failed(status)) {
        return status;
    }

    log_.Info(kFunction, L"Launching .NET Framework installer: " + installer + L" " +
                            kNetInstallerArguments);
    CObjectSmPtr<IProcessManager> processes;
    CObjectSmPtr<IProcess> process;
    status = session_.runtime ? session_.runtime->GetProcessManager(processes.Receive())
                              : kStatusDownloadUnavailable;
    if (!Failed(status)) {
        status = processes->CreateProcessObject(process.Receive());
    }
    if (Failed(status)) {
        return status;
    }
    std::uint32_t exitCode = 0;
    status = process->Run(installer.c_str(), kNetInstallerArguments, kNetInstallerLimitMs,
                          &exitCode);
    if (!Failed(status) && exitCode == ERROR_SUCCESS_REBOOT_REQUIRED) {
        log_.Info(kFunction, L"installation succeeded, changes will be effective after reboot");
        return kStatusPrerequisiteNeedsRestart;
    }
    if (!Failed(status) && exitCode != 0) {
        log_.Info(kFunction,
                 L"Installer exited with non-zero exit-code: " + std::to_wstring(exitCode));
    }
    // The registry decides, not the installer's exit code.
    return IsNetFrameworkInstalled() ? kStatusOk : kStatusStillMissing;
}

Status AgentInstaller::RestartTaskSchedulerServiceIfNeeded() {
    constexpr char kFunction[] = "AgentInstaller::RestartTaskSchedulerServiceIfNeeded";
    log_.Trace(kFunction);
    std::wstring command = environment_.schedulerProbe;
    if (command.empty() &&
        Failed(SystemToolCommand(L"schtasks.exe", L"/query /fo TABLE", command))) {
        log_.Error(kFunction, L"Could not find the system folder for schtasks");
        return kStatusProbeNotStarted;
    }
    process_sys::ChildProcess probe(command, process_sys::ChildStreams::kInput);
    if (!probe.Started()) {
        log_.Error(kFunction, L"Could not create schtasks process");
        return kStatusProbeNotStarted;
    }
    // Only whether the query ends in time matters; a hung tool means a sick service.
    if (!Failed(probe.Wait(environment_.schedulerProbeLimitMs))) {
        log_.Info(kFunction, L"Task Scheduler service OK");
        return kStatusOk;
    }
    log_.Info(kFunction, L"Stopping Task scheduler service");
    // The scheduler restarts itself when stopping or starting fails; nothing more to do here.
    service_sys::StopService(environment_.schedulerService);
    process_sys::SleepFor(std::chrono::milliseconds(2000));
    log_.Info(kFunction, L"Starting Task scheduler service");
    service_sys::StartServiceByName(environment_.schedulerService);
    log_.Trace(kFunction);
    return kStatusOk;
}

void AgentInstaller::LogSystemInfo() {
    constexpr char kFunction[] = "AgentInstaller::LogSystemInfo";
    std::wstring tool = environment_.systemInfoTool;
    if (tool.empty() && Failed(SystemToolCommand(L"systeminfo.exe", nullptr, tool))) {
        return;
    }
    const DWORD limitMs = environment_.systemInfoLimitMs;
    process_sys::ChildProcess child(tool, process_sys::ChildStreams::kOutput);
    if (!child.Started()) {
        return;
    }
    // One limit for reading and waiting together: a tool that never ends holds nothing up.
    const auto start = std::chrono::steady_clock::now();
    log_.Info(kFunction, L"System info: " + child.ReadOutput(limitMs));
    const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(
                           std::chrono::steady_clock::now() - start)
                           .count();
    const DWORD left = spent >= limitMs ? 1 : limitMs - static_cast<DWORD>(spent);
    child.Wait(left);  // the outcome does not matter: the text is logged already
}

Status AgentInstaller::StopServiceAndWait(const std::wstring& service) {
    constexpr char kFunction[] = "AgentInstaller::StopServiceAndWait";
    constexpr int kPasses = 300;
    log_.Info(kFunction, L"waiting until the service stops...");
    for (int pass = 0; pass < kPasses; ++pass) {
        const DWORD state = service_sys::GetServiceState(service);
        if (state == SERVICE_STOPPED || state == service_sys::kStateUnknown) {
            return kStatusOk;
        }
        if (state != SERVICE_STOP_PENDING) {
            service_sys::StopService(service);  // the state read next pass is what counts
        }
        process_sys::SleepFor(std::chrono::milliseconds(1000));
    }
    return kStatusServiceFailed;
}
