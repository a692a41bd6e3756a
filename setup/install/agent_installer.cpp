#include "setup/install/agent_installer.h"

#include <windows.h>
#include <shlobj.h>

#include <array>

#include "setup/auth/auth.h"
#include "setup/branding/branding.h"
#include "setup/config/agent_config.h"
#include "setup/install/install_settings.h"
#include "setup/runtime/payload.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/setup_settings.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/registry_sys.h"
#include "sys/service_sys.h"
#include "sys/text_sys.h"

namespace {

constexpr char kInstall[] = "AgentInstaller::Install";
constexpr int kInviteAttempts = 60;
constexpr int kFolderMoveAttempts = 31;  // a counter from 30 that allows one more try
constexpr wchar_t kFormerConsole[] = L"Zelko Business Fernhaven";
constexpr wchar_t kUninstallRoot[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";
// The former console agent's start-menu folders, below the common programs folder.
constexpr const wchar_t* kFormerConsoleFolders[] = {L"Zelko Business Fernhaven",
                                                    L"Zelko\\Business Fernhaven"};

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFile(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

std::wstring SetupFolder() { return process_sys::FolderOf(process_sys::GetModulePath()); }

std::wstring AgentDataFolder() {
    return file_sys::GetCommonAppDataFolder() + L"\\" + GetBranding()->GetProgramSubfolder();
}

void SetText(HKEY key, const wchar_t* name, const std::wstring& value) {
    // Stored without the terminating zero; readers must not rely on one.
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>(value.size() * sizeof(wchar_t)));
}

void SetNumber(HKEY key, const wchar_t* name, DWORD value) {
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                   sizeof(value));
}

std::wstring ReadProgramDirectory() {
    std::wstring folder;
    if (Failed(ReadRuntimeText(L"runtime://directory/program", folder))) {
        return {};
    }
    if (!folder.empty() && folder.back() == L'\\') {
        folder.pop_back();
    }
    if (!IsFolder(folder) || file_sys::ListFolder(folder).empty()) {
        return {};
    }
    return folder;
}

void DeleteOrMark(const std::wstring& path) {
    if (IsFolder(path)) {
        DeleteOrDeferFolder(path);
    } else if (_wremove(path.c_str()) != 0) {
        MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
    }
}

}  // namespace

AgentInstaller::AgentInstaller() : AgentInstaller(InstallerEnvironment{}) {}

AgentInstaller::AgentInstaller(InstallerEnvironment environment)
    : environment_(std::move(environment)) {
    if (environment_.netInstallerUrl.empty()) {
        environment_.netInstallerUrl = kNetInstallerUrl;
    }
}

AgentInstaller::~AgentInstaller() {
    // The logger and the runtime live in runtime.dll, which the loader frees last.
    DetachLogger();
    session_.runtime.Reset();
    session_.manager.Reset();
}

void AgentInstaller::Progress(Stage stage) {
    if (progress_ != nullptr) {
        progress_->Report(stage);
    }
}

Status AgentInstaller::Fault(const char* step) const {
    return environment_.faultAt != nullptr ? environment_.faultAt(step) : kStatusOk;
}

void AgentInstaller::UseRuntime(IRuntime* runtime) {
    runtime->AddRef();
    session_.runtime = CObjectSmPtr<IRuntime>(runtime);
    SetupLogging(runtime);
}

bool AgentInstaller::AgentFilesPendingRemoval() {
    DWORD size = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, L"PendingFileRenameOperations",
                     RRF_RT_REG_MULTI_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS ||
        size == 0) {
        return false;
    }
    std::vector<wchar_t> entries(size / sizeof(wchar_t) + 2, L'\0');
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, L"PendingFileRenameOperations",
                     RRF_RT_REG_MULTI_SZ, nullptr, entries.data(), &size) != ERROR_SUCCESS) {
        return false;
    }
    std::wstring programFiles;
    file_sys::GetProgramFilesFolder(false, programFiles);
    const std::wstring folders[] = {
        text_sys::ToLowerText(AgentDataFolder()),
        text_sys::ToLowerText(programFiles + L"\\" + GetBranding()->GetDataSubfolder())};
    // Sources and targets alternate, and the target of a deletion is empty: an empty
    // string is no end marker here, only the end of the value is.
    const wchar_t* end = entries.data() + size / sizeof(wchar_t);
    for (const wchar_t* entry = entries.data(); entry < end; entry += wcslen(entry) + 1) {
        if (*entry == L'\0') {
            continue;
        }
        const std::wstring lowered = text_sys::ToLowerText(entry);
        for (const std::wstring& folder : folders) {
            if (lowered.find(folder) != std::wstring::npos) {
                return true;
            }
        }
    }
    return false;
}

void AgentInstaller::SaveServiceRegistration() {
    const std::wstring name = GetBranding()->GetServiceName();
    ServiceRegistration saved;
    saved.imagePath = service_sys::GetImagePath(name);
    service_sys::ServiceType type{};
    service_sys::ServiceStartMode start{};
    saved.saved = !saved.imagePath.empty() &&
                  !Failed(service_sys::GetServiceType(name, type)) &&
                  !Failed(service_sys::GetStartMode(name, start));
    saved.type = type;
    saved.startType = start;
    service_sys::GetServiceDisplayNameW(name, saved.displayName);
    service_sys::GetServiceDescription(name, saved.description);
    savedService_ = saved;
}

Status AgentInstaller::EarlyFailure(Status status) {
    LOG_ERROR(kInstall, L"installation ended with an error", status);
    LOG_INFO(kInstall, L"Starting agent service...");
    service_sys::StartServiceByName(GetBranding()->GetServiceName());
    return status;
}

Status AgentInstaller::Rollback(Status status) {
    const CAgentBranding& brand = *GetBranding();
    LOG_ERROR(kInstall, L"error during installation, performing rollback", status);
    Progress(Stage::kRollingBack);
    if (protectionRequested_) {
        // The self-protection hand-over only logs for now.
        LOG_INFO(kInstall, L"self-protection asked again to protect the agent's folders");
    }
    DeleteRuntimeValue(L"runtime://agent/deployId");

    if (IsFolder(programFolder_)) {
        const Status removed = DeleteOrDeferFolder(programFolder_);
        if (removed == kStatusPendingRestart) {
            LOG_WARNING(kInstall, L"new program folder deferred to the next restart", removed);
        } else if (Failed(removed)) {
            LOG_ERROR(kInstall, L"failed to remove the new program folder", removed);
        }
    }
    std::wstring programFiles;
    if (!Failed(file_sys::GetProgramFilesFolder(false, programFiles))) {
        const std::wstring companyFolder = programFiles + L"\\" + brand.GetCompanyFolder();
        if (IsFolder(companyFolder) && file_sys::ListFolder(companyFolder).empty() &&
            !RemoveDirectoryW(companyFolder.c_str())) {
            LOG_WARNING(kInstall, L"failed to remove the empty folder " + companyFolder +
                                      L", GetLastError: " + std::to_wstring(GetLastError()));
        }
    }
    if (!backupFolder_.empty() &&
        _wrename(backupFolder_.c_str(), previousProgramFolder_.c_str()) != 0) {
        LOG_ERROR(kInstall, L"failed to restore the backup dir", kStatusRenameFailed);
    }
    RestoreConfig();
    if (serviceTouched_ && !backupFolder_.empty()) {
        RestoreServiceRegistration();
    } else if (serviceTouched_ && serviceCreated_) {
        RemoveNewService();
    }
    RemoveNewRuntimeKeys();
    StartAfterRollback(brand.GetServiceName());
    StartAfterRollback(environment_.avWrapperService);
    LOG_ERROR(kInstall, L"installation ended with error", status);
    return status;
}

void AgentInstaller::RestoreConfig() {
    if (!configBackupPath_.empty()) {
        _wremove(installedConfigPath_.c_str());  // the rename below tells whether it worked
        if (_wrename(configBackupPath_.c_str(), installedConfigPath_.c_str()) != 0) {
            LOG_ERROR(kInstall, L"failed to restore the agent config file", kStatusRenameFailed);
        }
    } else if (configPlaced_ && _wremove(installedConfigPath_.c_str()) != 0) {
        // There was none before; the new one carries the invite token.
        LOG_ERROR(kInstall, L"failed to remove the new agent config file", kStatusFileWriteFailed);
    }
}

void AgentInstaller::RestoreServiceRegistration() {
    const std::wstring name = GetBranding()->GetServiceName();
    if (!savedService_.saved) {
        LOG_ERROR(kInstall, L"the previous registration of the service " + name +
                                L" was not read; it cannot be restored",
                  kStatusServiceFailed);
        return;
    }
    DWORD lastError = 0;
    Status status = Fault("restore-service");
    if (!Failed(status)) {
        status = service_sys::CreateOrUpdateService(
            name, savedService_.imagePath, savedService_.type, savedService_.startType,
            savedService_.displayName.c_str(), savedService_.description.c_str(), &lastError);
    }
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"failed to restore the service: " + name + L", GetLastError: " +
                                std::to_wstring(lastError),
                  status);
        return;
    }
    status = service_sys::SetServiceRecovery(name, &lastError);
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"failed to restore auto restart for the service: " + name +
                                L", GetLastError: " + std::to_wstring(lastError),
                  status);
    }
}

// There was no agent before: a service left registered would point at a deleted folder.
void AgentInstaller::RemoveNewService() {
    const std::wstring name = GetBranding()->GetServiceName();
    service_sys::StopService(name);  // the deletion below tells whether it is gone
    const Status status = service_sys::DeleteServiceByName(name);
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"failed to delete the new service: " + name, status);
    }
}

void AgentInstaller::NoteMissingRuntimeKeys() {
    const std::wstring base = RuntimeRegistryBase();
    const std::wstring company = base.empty() ? base : base.substr(0, base.size() - 1);
    for (const std::wstring& key : {base + L"Business Agent", base + L"SB Runtime", company}) {
        if (!key.empty() && !registry_sys::KeyExists(key)) {
            newRuntimeKeys_.push_back(key);
        }
    }
}

// Keys that did not exist before this installation hold nothing but what it wrote.
void AgentInstaller::RemoveNewRuntimeKeys() {
    for (const std::wstring& key : newRuntimeKeys_) {
        const bool company = key + L"\\" == RuntimeRegistryBase();
        // The company key may have gained other products' keys meanwhile: only when empty.
        const Status status = registry_sys::DeleteRegistryKey(key, registry_sys::kAllAccess64,
                                                              !company);
        if (Failed(status) && status != kStatusNotFound && !company) {
            LOG_WARNING(kInstall, L"failed to remove the new registry key " + key, status);
        }
    }
}

void AgentInstaller::StartAfterRollback(const std::wstring& service) {
    DWORD lastError = 0;
    const Status status = service_sys::StartServiceByName(service, &lastError);
    // Nothing more can be done about it; the log says so for whoever looks.
    if (Failed(status) && lastError != ERROR_SERVICE_DOES_NOT_EXIST) {
        LOG_WARNING(kInstall, L"failed to start the service: " + service + L", GetLastError: " +
                                  std::to_wstring(lastError),
                    status);
    }
}

Status AgentInstaller::Succeed() {
    if (!configBackupPath_.empty()) {
        DeleteOrMark(configBackupPath_);
    }
    std::wstring programFiles32;
    if (!Failed(file_sys::GetProgramFilesFolder(true, programFiles32))) {
        const std::wstring older = programFiles32 + L"\\" + GetBranding()->GetDataSubfolder();
        if (IsFolder(older)) {
            DeleteOrDeferFolder(older);
        }
    }
    LOG_INFO(kInstall, L"Installation completed successfully");
    return restartNeededCount_ > 0 ? kStatusRestartNeeded : kStatusOk;
}

void AgentInstaller::WriteUninstallEntry() {
    const CAgentBranding& brand = *GetBranding();
    const SetupSettings& settings = GetSetupSettings();
    registry_sys::DeleteRegistryKey(std::wstring(kUninstallRoot) + kFormerConsole,
                                    registry_sys::kAllAccess64, true);
    registry_sys::DeleteRegistryKey(brand.GetUninstallRegistryKey(), registry_sys::kAllAccess64,
                                    true);
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, brand.GetUninstallRegistryKey(), 0, nullptr, 0,
                        KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, &key,
                        nullptr) != ERROR_SUCCESS) {
        return;
    }
    std::array<std::uint16_t, 4> version{};
    file_sys::GetFileVersion(version);
    // The deployed setup program removes the agent again; it needs its mode letter.
    const std::wstring uninstaller = programFolder_ + L"\\setup.exe";
    std::wstring command = L"\"" + uninstaller + L"\" /u";
    if (settings.languageId != 0) {
        command += L" -lid \"" + std::to_wstring(settings.languageId) + L"\"";
    }
    SetText(key, L"DisplayName", brand.GetProductFamilyName());
    SetText(key, L"UninstallString", command);
    SetText(key, L"Publisher", brand.GetPublisher());
    SetText(key, L"DisplayIcon", uninstaller);
    SetText(key, L"DisplayVersion", std::to_wstring(version[0]) + L"." +
                                        std::to_wstring(version[1]) + L"." +
                                        std::to_wstring(version[2]));
    SetText(key, L"HelpLink", brand.GetWebPageUrl());
    SetNumber(key, L"NoModify", 1);
    SetNumber(key, L"NoRepair", 1);
    SetNumber(key, L"VersionMajor", version[0]);
    SetNumber(key, L"VersionMinor", version[1]);
    // Major in the high byte, minor in the next, build in the low 16 bits.
    SetNumber(key, L"Version",
              static_cast<DWORD>(version[0]) << 24 | static_cast<DWORD>(version[1] & 0xFF) << 16 |
                  version[2]);
    SetText(key, L"InstallLocation", programFolder_);
    RegCloseKey(key);
    RemoveFormerConsoleAutostart();
}

void AgentInstaller::RemoveFormerConsoleAutostart() {
    wchar_t programs[MAX_PATH] = {};
    if (SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_COMMON_PROGRAMS, nullptr, SHGFP_TYPE_CURRENT,
                                   programs))) {
        for (const wchar_t* folder : kFormerConsoleFolders) {
            if (IsFolder(std::wstring(programs) + L"\\" + folder)) {
                return;  // that agent is still present and keeps its autostart
            }
        }
    }
    registry_sys::DeleteRegistryValue(registry_sys::kLocalMachine, kRunKey, kFormerConsole);
}

Status AgentInstaller::Install(IProgress* progress) {
    const char* what = "not a standard exception";
    try {
        return RunInstall(progress);
    } catch (const UnknownBrandError&) {
        throw;  // the entry turns it into its own exit code
    } catch (const std::exception& error) {
        what = error.what();
    } catch (...) {
    }
    LOG_ERROR(kInstall, L"unexpected exception: " + text_sys::Widen(what),
              kStatusUnexpectedException);
    return rollbackArmed_ ? Rollback(kStatusUnexpectedException)
                          : EarlyFailure(kStatusUnexpectedException);
}

Status AgentInstaller::RunInstall(IProgress* progress) {
    progress_ = progress;
    const CAgentBranding& brand = *GetBranding();
    const SetupSettings& settings = GetSetupSettings();
    const std::wstring serviceName = brand.GetServiceName();

    NoteMissingRuntimeKeys();
    Progress(Stage::kStoppingServices);
    RestartTaskSchedulerServiceIfNeeded();
    Status status = StopServiceAndWait(serviceName);
    if (Failed(status)) {
        return status;
    }
    Progress(Stage::kInitialising);

    CObjectSmPtr<CRuntimeSettings> host(new CRuntimeSettings());
    status = StartRuntime(loader_, settings, host.Get(), session_);
    if (!Failed(status)) {
        status = SetupLogging(session_.runtime.Get());
    }
    if (Failed(status)) {
        return EarlyFailure(status);
    }

    std::array<std::uint16_t, 4> version{};
    Status versionStatus = file_sys::GetFileVersion(version);
    if (Failed(versionStatus)) {
        LOG_WARNING(kInstall, L"Get setup.exe file version info failed", versionStatus);
    }
    LOG_INFO(kInstall, L"Installation of agent " + std::to_wstring(version[0]) + L"." +
                           std::to_wstring(version[1]) + L"." + std::to_wstring(version[2]) +
                           L" was started");
    LogSystemInfo();

    if (AgentFilesPendingRemoval()) {
        LOG_ERROR(kInstall,
                  L"Agent files were planned for removal after reboot in the previous installation",
                  kStatusPendingRestart);
        return EarlyFailure(kStatusPendingRestart);
    }
    // Self-protection is asked to trust this process; it can only be logged here.
    LOG_INFO(kInstall, L"self-protection hand-over requested");

    Progress(Stage::kDownloadingPolicy);
    status = WriteAgentConfig();
    if (Failed(status)) {
        return EarlyFailure(status);
    }

    CObjectSmPtr<CAuth> auth(new CAuth({version[0], version[1], version[2], version[3]}));
    auth->SetupLogging(session_.runtime.Get());
    status = auth->Init(session_.runtime.Get());
    if (Failed(status)) {
        return EarlyFailure(status);
    }
    CObjectSmPtr<IPayload> response(new CPayload());
    for (int attempt = 1; attempt <= kInviteAttempts; ++attempt) {
        response->Clear();
        status = auth->GetInstallInvite(response.Get());
        if (status == kStatusOk || status == kStatusInviteGone) {
            break;
        }
        process_sys::SleepFor(std::chrono::milliseconds(1000));  // after the last try too
    }
    const std::string body(reinterpret_cast<const char*>(response->Data()), response->Size());
    std::wstring wideBody;
    text_sys::Utf8ToWide(body, wideBody);
    if (Failed(status)) {
        if (!body.empty()) {
            LOG_INFO(kInstall, L"Unexpected backend response: " + wideBody);
        }
        LOG_ERROR(kInstall, L"CAuth::GetInstallInvite failed", status);
        return EarlyFailure(status);
    }
    if (!body.empty()) {
        LOG_INFO(kInstall, L"Response for auth request: " + wideBody);
    }

    StopServiceAndWait(environment_.avWrapperService);

    std::wstring programFiles;
    status = file_sys::GetProgramFilesFolder(false, programFiles);
    if (Failed(status)) {
        return EarlyFailure(status);
    }
    programFolder_ = programFiles + L"\\" + brand.GetDataSubfolder();
    previousProgramFolder_ = ReadProgramDirectory();

    if (!previousProgramFolder_.empty()) {
        const std::wstring backup = previousProgramFolder_ + RandomSuffix() + L".backup";
        bool moved = false;
        for (int attempt = 0; attempt < kFolderMoveAttempts && !moved; ++attempt) {
            moved = _wrename(previousProgramFolder_.c_str(), backup.c_str()) == 0;
            if (!moved) {
                process_sys::SleepFor(std::chrono::milliseconds(1000));
            }
        }
        if (!moved) {
            LOG_ERROR(kInstall, L"Could not rename original program folder", kStatusRenameFailed);
            LOG_INFO(kInstall, L"Starting agent service...");
            service_sys::StartServiceByName(serviceName);
            return kStatusRenameFailed;
        }
        backupFolder_ = backup;
    }

    // From here on every failure is rolled back.
    rollbackArmed_ = true;
    if (!IsNetFrameworkInstalled()) {
        Progress(Stage::kInstallingNetFramework);
        status = InstallMissingNetFrameworkInstaller();
        if (status == kStatusPendingRestart) {
            restartNeededCount_ = 1;
        } else if (Failed(status)) {
            LOG_ERROR(kInstall, L"InstallMissingNetFrameworkInstaller failed", status);
            return Rollback(status);
        }
    }

    Progress(Stage::kCopyingFiles);
    status = Fault("copy");
    if (!Failed(status)) {
        status = CopyAllFiles(SetupFolder(), programFolder_,
                              {L"smbpol.db", L"events.db", L"setup2.exe"});
    }
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"CopyAllFiles failed", status);
        return Rollback(status);
    }

    installedConfigPath_ = agent_config::InstalledConfigPath();
    if (IsFile(installedConfigPath_)) {
        const std::wstring backup = installedConfigPath_ + RandomSuffix() + L".backup";
        status = Fault("config-move");
        if (!Failed(status) && _wrename(installedConfigPath_.c_str(), backup.c_str()) != 0) {
            status = kStatusRenameFailed;
        }
        if (Failed(status)) {
            LOG_ERROR(kInstall, L"Could not rename original agent config file", status);
            return Rollback(status);
        }
        configBackupPath_ = backup;
    }
    const std::wstring stagedConfig = agent_config::StagedConfigPath();
    status = Fault("config-copy");
    if (!Failed(status)) {
        configPlaced_ = true;  // a failed copy may leave part of a file behind
        status = CopyFilePath(stagedConfig, installedConfigPath_);
    }
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"copying agent config file failed", status);
        return Rollback(status);
    }
    _wremove(stagedConfig.c_str());
    Progress(Stage::kInstallingAgent);

    WriteRuntimeNumber(L"runtime://common/debug", settings.debug ? 1 : 0);
    if (!settings.avc.empty()) {
        WriteRuntimeText(L"runtime://common/avc", settings.avc);
    }
    if (settings.remoteDeploymentId.empty()) {
        LOG_INFO(kInstall, L"Remote deployment id not provided");
        DeleteRuntimeValue(L"runtime://agent/deployId");
    } else {
        LOG_INFO_PREFIXED(kInstall, L"Remote deployment id - [" + settings.remoteDeploymentId + L"]");
        WriteRuntimeText(L"runtime://agent/deployId", settings.remoteDeploymentId);
    }
    protectionRequested_ = true;
    LOG_INFO(kInstall, L"self-protection asked to protect the agent's folders");

    SaveServiceRegistration();
    serviceCreated_ = savedService_.imagePath.empty();
    serviceTouched_ = true;
    LOG_INFO(kInstall, L"Installing agent service...");
    DWORD lastError = 0;
    status = Fault("service");
    if (!Failed(status)) {
        status = service_sys::CreateOrUpdateService(
            serviceName, programFolder_ + L"\\agentsvc.exe", service_sys::kOwnProcess,
            service_sys::kAutoStart, brand.GetServiceDisplayName(),
            brand.GetServiceDescription(), &lastError);
    }
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"failed to install the service: " + serviceName +
                                L", GetLastError: " + std::to_wstring(lastError),
                  status);
        return Rollback(status);
    }
    status = Fault("recovery");
    if (!Failed(status)) {
        status = service_sys::SetServiceRecovery(serviceName, &lastError);
    }
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"failed to set auto restart for the service: " + serviceName +
                                L", GetLastError: " + std::to_wstring(lastError),
                  status);
        return Rollback(status);
    }
    LOG_INFO(kInstall, L"Starting agent service...");
    status = Fault("start");
    if (!Failed(status)) {
        status = service_sys::StartServiceByName(serviceName, &lastError);
    }
    if (Failed(status)) {
        LOG_ERROR(kInstall, L"failed to start the service: " + serviceName +
                                L", GetLastError: " + std::to_wstring(lastError),
                  status);
        return Rollback(status);
    }

    WriteUninstallEntry();
    if (!backupFolder_.empty() && Failed(DeleteOrDeferFolder(backupFolder_))) {
        LOG_WARNING(kInstall, L"previous program folder deferred to the next restart");
    }
    return Succeed();
}
