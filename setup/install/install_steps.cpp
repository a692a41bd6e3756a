// The installation as a list of steps. Each step undoes its own work; the order of undoing
// is the rollback's own (see InstallUndoOrder), chosen so that the new program folder is gone
// before the old one is renamed back and the service is registered again before it starts.
#include "setup/install/install_steps.h"

#include <windows.h>

#include <cerrno>
#include <chrono>
#include <cstdio>

#include "setup/agent_folders.h"
#include "setup/auth/auth.h"
#include "setup/config/agent_config.h"
#include "setup/install/agent_installer.h"
#include "setup/install/data_tree.h"
#include "setup/install/package_check.h"
#include "setup/install/uninstall_entry.h"
#include "setup/recovery.h"
#include "setup/runtime/payload.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/registry_sys.h"
#include "sys/security_sys.h"
#include "sys/service_sys.h"
#include "sys/text_sys.h"

namespace {

constexpr char kInstall[] = "AgentInstaller::Install";
constexpr int kInviteAttempts = 60;
constexpr int kFolderMoveAttempts = 31;  // a counter from 30 that allows one more try
constexpr wchar_t kSessionManager[] = L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool IsFile(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

void DeleteOrMark(const std::wstring& path) {
    if (IsFolder(path)) {
        DeleteOrDeferFolder(path);  // a deferred folder is gone at the next restart all the same
    } else if (_wremove(path.c_str()) != 0) {
        MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);  // best effort
    }
}

}  // namespace

// Starts a service this program stopped: nothing more can be done when that fails, and the
// log says so for whoever looks. One still stopping is waited for first, for as many passes
// as its stop had: started while it stops, it would end up stopped.
void StartServiceAgain(CLogging& log, const std::wstring& service) {
    constexpr int kPasses = 300;
    for (int pass = 0; pass < kPasses &&
                       service_sys::GetServiceState(service) == SERVICE_STOP_PENDING;
         ++pass) {
        process_sys::SleepFor(std::chrono::milliseconds(1000));
    }
    DWORD lastError = 0;
    const Status status = service_sys::StartServiceByName(service, &lastError);
    if (Failed(status) && lastError != ERROR_SERVICE_DOES_NOT_EXIST &&
        lastError != ERROR_SERVICE_ALREADY_RUNNING) {
        log.Warning(kInstall, L"failed to start the service: " + service + L", GetLastError: " +
                                  std::to_wstring(lastError),
                    status);
    }
}

namespace {

std::wstring WithLastError(const std::wstring& text, const std::wstring& service, DWORD error) {
    return text + service + L", GetLastError: " + std::to_wstring(error);
}

class InstallStep : public Step {
public:
    explicit InstallStep(InstallRun& run) : run_(run) {}

protected:
    InstallRun& run_;
};

// A run killed before this one is put right first (setup/recovery.h); what this run then
// finds is a machine as that run found it, or as it left it when it got past its point of
// no return.
class Recover final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        return RecoverInterruptedRun(run_.settings, run_.brand, run_.log).status;
    }
};

// The data tree is made safe before anything is written there: the runtime creates its log,
// temporary and database files below it as soon as it is loaded (setup/install/data_tree.h).
// There is no log file before the runtime, so a failure here reaches the system's debug
// output and the exit code. No undo: what it removed was not the agent's, and the lists
// only take rights away that nobody but administrators should have had.
class SecureDataFolders final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override { return data_tree::SecureDataTree(run_.dataFolder, run_.log); }
};

// Before anything is loaded or deployed: the package's files are checked against the
// manifest and used only as verified copies (package_check.h). A failure here is before any
// change, so there is nothing to undo; the copies go with the installer.
class VerifyPackage final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        const std::string& handed = run_.environment.packageManifest;
        std::wstring folder;
        const Status status = package_check::StageVerified(
            run_.dataFolder + L"\\setup",
            handed.empty() ? package_check::CarriedManifest() : handed, run_.log, folder);
        run_.installer.UsePackage(folder);
        return status;
    }
};

// Runtime settings keys that did not exist before hold nothing but what this run wrote.
class NoteNewRuntimeKeys final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        const std::wstring base = RuntimeRegistryBase();
        const std::wstring company = base.empty() ? base : base.substr(0, base.size() - 1);
        for (const std::wstring& key :
             {base + L"Business Agent", base + L"SB Runtime", company}) {
            if (!key.empty() && !registry_sys::KeyExists(key)) {
                newKeys_.push_back(key);
            }
        }
        // From here on the run changes the machine; the journal's own key is one of the new.
        run_.journal.Begin(L"install");
        std::wstring noted;
        for (const std::wstring& key : newKeys_) {
            noted += (noted.empty() ? L"" : L"|") + key;
        }
        run_.journal.Note(L"new-keys", noted);
        return kStatusOk;
    }
    void Undo() override {
        for (const std::wstring& key : newKeys_) {
            const bool company = key + L"\\" == RuntimeRegistryBase();
            // The company key may have gained other products' keys meanwhile: only when empty.
            const Status status =
                registry_sys::DeleteRegistryKey(key, registry_sys::kAllAccess64, !company);
            if (Failed(status) && status != kStatusNotFound && !company) {
                run_.log.Warning(kInstall, L"failed to remove the new registry key " + key, status);
            }
        }
    }

private:
    std::vector<std::wstring> newKeys_;
};

class CheckScheduler final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        run_.Report(Stage::kStoppingServices);
        // A probe that cannot even start is logged there; the agent installs all the same.
        run_.installer.RestartTaskSchedulerServiceIfNeeded();
        return kStatusOk;
    }
};

// Stops a service and starts it again on the way out, when it was stopped here.
// The agent must stop before its files are replaced; the antivirus wrapper is stopped when it
// runs, and one that will not stop holds nothing up.
class StopService final : public InstallStep {
public:
    StopService(InstallRun& run, std::wstring service, bool agent)
        : InstallStep(run), service_(std::move(service)), agent_(agent) {}
    Status Do() override {
        // Asked to stop from here on: one that does not stop in time may stop later all the
        // same, so even a failed stop is undone.
        asked_ = true;
        run_.journal.Note(agent_ ? L"stopped-agent" : L"stopped-av", service_);
        const Status status = run_.installer.StopServiceAndWait(service_);
        return agent_ ? status : kStatusOk;
    }
    void Undo() override {
        if (!asked_) {
            return;
        }
        if (agent_) {
            run_.log.Info(kInstall, L"Starting agent service...");
        }
        StartServiceAgain(run_.log, service_);
    }

private:
    std::wstring service_;
    bool agent_;
    bool asked_ = false;
};

class LoadRuntime final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        run_.Report(Stage::kInitialising);
        const Status status = run_.installer.StartRuntime();
        return Failed(status) ? status : run_.log.SetupLogging(run_.installer.Runtime());
    }
};

class AnnounceStart final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        const Status version = file_sys::GetFileVersion(run_.version);
        if (Failed(version)) {
            run_.log.Warning(kInstall, L"Get setup.exe file version info failed", version);
        }
        run_.log.Info(kInstall, L"Installation of agent " + std::to_wstring(run_.version[0]) +
                                    L"." + std::to_wstring(run_.version[1]) + L"." +
                                    std::to_wstring(run_.version[2]) + L" was started");
        run_.installer.LogSystemInfo();
        return kStatusOk;
    }
};

// Agent files that the system still deletes at the next restart would vanish from under
// the new installation.
class CheckPendingRemoval final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        if (AgentFilesPendingRemoval()) {
            run_.log.Error(
                kInstall,
                L"Agent files were planned for removal after reboot in the previous installation",
                kStatusRestartBeforeInstall);
            return kStatusRestartBeforeInstall;
        }
        // Self-protection is asked to trust this process; it can only be logged here.
        run_.log.Info(kInstall, L"self-protection hand-over requested");
        return kStatusOk;
    }

private:
    bool AgentFilesPendingRemoval() const;
};

// The entries of the system's list of renames and deletions due at the next restart.
std::vector<wchar_t> PendingRenames() {
    DWORD size = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, L"PendingFileRenameOperations",
                     RRF_RT_REG_MULTI_SZ, nullptr, nullptr, &size) != ERROR_SUCCESS) {
        return {};  // a missing or unreadable value counts as no match
    }
    std::vector<wchar_t> entries(size / sizeof(wchar_t) + 2, L'\0');
    if (RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager, L"PendingFileRenameOperations",
                     RRF_RT_REG_MULTI_SZ, nullptr, entries.data(), &size) != ERROR_SUCCESS) {
        return {};
    }
    entries.resize(size / sizeof(wchar_t));
    return entries;
}

bool CheckPendingRemoval::AgentFilesPendingRemoval() const {
    const std::vector<wchar_t> entries = PendingRenames();
    std::wstring programFolder;
    // Without a Program Files folder only the data folder can match.
    agent_folders::ProgramFolder(run_.brand, false, programFolder);
    const std::wstring folders[] = {text_sys::ToLowerText(run_.dataFolder),
                                    text_sys::ToLowerText(programFolder)};
    // Sources and targets alternate, and the target of a deletion is empty: an empty
    // string is no end marker here, only the end of the value is.
    const wchar_t* end = entries.data() + entries.size();
    for (const wchar_t* entry = entries.data(); entry < end;) {
        const size_t length = wcsnlen(entry, static_cast<size_t>(end - entry));
        const std::wstring lowered = text_sys::ToLowerText(std::wstring(entry, length));
        entry += length + 1;
        for (const std::wstring& folder : folders) {
            if (!lowered.empty() && !folder.empty() && lowered.find(folder) != std::wstring::npos) {
                return true;
            }
        }
    }
    return false;
}

class WriteConfig final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        run_.Report(Stage::kDownloadingPolicy);
        return agent_config::WriteAgentConfig(run_.settings,
                                              agent_config::StagedConfigPath(run_.dataFolder),
                                              agent_config::InstalledConfigPath(run_.dataFolder));
    }
    // The staged copy holds the invite token: no failed or refused run leaves it behind.
    void Undo() override {
        const std::wstring staged = agent_config::StagedConfigPath(run_.dataFolder);
        if (_wremove(staged.c_str()) != 0 && errno != ENOENT) {
            run_.log.Error(kInstall, L"failed to remove the staged agent config file",
                           kStatusFileWriteFailed);
        }
    }
};

class ConfirmInvite final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override;
};

Status ConfirmInvite::Do() {
    const std::array<std::uint16_t, 4>& v = run_.version;
    CObjectSmPtr<CAuth> auth(new CAuth(run_.log, {v[0], v[1], v[2], v[3]}));
    Status status =
        auth->Init(run_.installer.Runtime(), run_.settings.token, run_.settings.serverUrl);
    if (Failed(status)) {
        return status;
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
    // The backend echoes the token; a body that is no UTF-8 still shows, with U+FFFD.
    const std::wstring wideBody = Redacted(text_sys::Utf8ToWideReplacing(body), run_.settings.token);
    if (Failed(status) && !body.empty()) {
        run_.log.Info(kInstall, L"Unexpected backend response: " + wideBody);
    } else if (!body.empty()) {
        run_.log.Info(kInstall, L"Response for auth request: " + wideBody);
    }
    return run_.log.Check(status, kInstall, L"CAuth::GetInstallInvite failed");
}

class LocateProgramFolder final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        const Status status = agent_folders::ProgramFolder(run_.brand, false, run_.programFolder);
        if (!Failed(status)) {
            run_.previousProgramFolder = ReadProgramDirectory();
        }
        return status;
    }

private:
    // The installed agent's folder, when it names an existing folder that is not empty.
    static std::wstring ReadProgramDirectory() {
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
};

class MoveAside final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        if (run_.previousProgramFolder.empty()) {
            return kStatusOk;
        }
        const std::wstring backup = run_.previousProgramFolder + RandomSuffix() + L".backup";
        run_.journal.Note(L"previous", run_.previousProgramFolder);
        run_.journal.Note(L"backup", backup);
        for (int attempt = 0; attempt < kFolderMoveAttempts; ++attempt) {
            if (_wrename(run_.previousProgramFolder.c_str(), backup.c_str()) == 0) {
                run_.backupFolder = backup;
                return kStatusOk;
            }
            process_sys::SleepFor(std::chrono::milliseconds(1000));  // after the last try too
        }
        return run_.log.Check(kStatusRenameFailed, kInstall,
                              L"Could not rename original program folder");
    }
    void Undo() override {
        if (!run_.backupFolder.empty() &&
            _wrename(run_.backupFolder.c_str(), run_.previousProgramFolder.c_str()) != 0) {
            run_.log.Error(kInstall, L"failed to restore the backup dir", kStatusRenameFailed);
        }
    }
};

class InstallNetFramework final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        if (run_.installer.IsNetFrameworkInstalled()) {
            return kStatusOk;
        }
        run_.Report(Stage::kInstallingNetFramework);
        const Status status = run_.installer.InstallMissingNetFrameworkInstaller();
        if (status == kStatusPrerequisiteNeedsRestart) {
            run_.restartNeededCount = 1;  // installed; it takes effect after the restart
            return kStatusOk;
        }
        return run_.log.Check(status, kInstall, L"InstallMissingNetFrameworkInstaller failed");
    }
};

class CopyFiles final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        run_.Report(Stage::kCopyingFiles);
        run_.journal.Note(L"program", run_.programFolder);
        run_.journal.Note(L"copy-begun", L"1");
        return run_.log.Check(
            run_.installer.CopyAllFiles(run_.installer.PackageFolder(), run_.programFolder,
                                        {L"smbpol.db", L"events.db", L"setup2.exe"}),
            kInstall, L"CopyAllFiles failed");
    }
    // Whatever stands at the program folder now is the new installation's: the old one was
    // moved aside or never existed.
    void Undo() override {
        if (IsFolder(run_.programFolder)) {
            const Status removed = DeleteOrDeferFolder(run_.programFolder);
            if (removed == kStatusRemovalAtRestart) {
                run_.log.Warning(kInstall, L"new program folder deferred to the next restart",
                                 removed);
            } else if (Failed(removed)) {
                run_.log.Error(kInstall, L"failed to remove the new program folder", removed);
            }
        }
        RemoveEmptyCompanyFolder();
    }

private:
    void RemoveEmptyCompanyFolder() {
        std::wstring company;
        if (!Failed(agent_folders::CompanyFolder(run_.brand, false, company)) &&
            IsFolder(company) && file_sys::ListFolder(company).empty() &&
            !RemoveDirectoryW(company.c_str())) {
            run_.log.Warning(kInstall, L"failed to remove the empty folder " + company +
                                           L", GetLastError: " + std::to_wstring(GetLastError()));
        }
    }
};

class MoveConfigAside final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        run_.installedConfigPath = agent_config::InstalledConfigPath(run_.dataFolder);
        run_.journal.Note(L"config", run_.installedConfigPath);
        if (!IsFile(run_.installedConfigPath)) {
            return kStatusOk;
        }
        const std::wstring backup = run_.installedConfigPath + RandomSuffix() + L".backup";
        run_.journal.Note(L"config-backup", backup);
        if (_wrename(run_.installedConfigPath.c_str(), backup.c_str()) != 0) {
            return run_.log.Check(kStatusRenameFailed, kInstall,
                                  L"Could not rename original agent config file");
        }
        run_.configBackupPath = backup;
        return kStatusOk;
    }
    void Undo() override {
        if (run_.configBackupPath.empty()) {
            return;
        }
        _wremove(run_.installedConfigPath.c_str());  // the rename below tells whether it worked
        if (_wrename(run_.configBackupPath.c_str(), run_.installedConfigPath.c_str()) != 0) {
            run_.log.Error(kInstall, L"failed to restore the agent config file",
                           kStatusRenameFailed);
        }
    }
};

class PlaceConfig final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        const std::wstring staged = agent_config::StagedConfigPath(run_.dataFolder);
        placed_ = true;  // a failed copy may leave part of a file behind
        run_.journal.Note(L"config-placed", L"1");
        // Written new beside its place and moved there: a power cut leaves none or all of it.
        std::string bytes;
        Status status = file_sys::ReadWholeFile(staged, bytes);
        if (!Failed(status)) {
            status = file_sys::WriteWholeFile(run_.installedConfigPath, bytes);
        }
        SecureZeroMemory(bytes.data(), bytes.size());  // it holds the token
        run_.log.Check(status, kInstall, L"copying agent config file failed");
        if (!Failed(status)) {
            _wremove(staged.c_str());  // the installed copy is the one that counts now
            run_.Report(Stage::kInstallingAgent);
        }
        return status;
    }
    // With no configuration before, the new one would keep the invite token on the machine.
    void Undo() override {
        if (placed_ && run_.configBackupPath.empty() &&
            _wremove(run_.installedConfigPath.c_str()) != 0 && errno != ENOENT) {
            run_.log.Error(kInstall, L"failed to remove the new agent config file",
                           kStatusFileWriteFailed);
        }
    }

private:
    bool placed_ = false;
};

class WriteRuntimeSettings final : public InstallStep {
public:
    using InstallStep::InstallStep;
    // The agent reads what it finds and falls back to its defaults for the rest, so a value
    // that cannot be written does not stop the installation.
    Status Do() override {
        run_.journal.Note(L"deploy-id", L"1");
        WriteRuntimeNumber(L"runtime://common/debug", run_.settings.debug ? 1 : 0);
        if (!run_.settings.avc.empty()) {
            WriteRuntimeText(L"runtime://common/avc", run_.settings.avc);
        }
        const std::wstring& deploymentId = run_.settings.remoteDeploymentId;
        if (deploymentId.empty()) {
            run_.log.Info(kInstall, L"Remote deployment id not provided");
            DeleteRuntimeValue(L"runtime://agent/deployId");
        } else {
            run_.log.InfoPrefixed(kInstall, L"Remote deployment id - [" + deploymentId + L"]");
            WriteRuntimeText(L"runtime://agent/deployId", deploymentId);
        }
        return kStatusOk;
    }
    // Every rollback drops the deployment id: it names a deployment that did not happen.
    void Undo() override { DeleteRuntimeValue(L"runtime://agent/deployId"); }
};

class ProtectFolders final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        protected_ = true;
        run_.log.Info(kInstall, L"self-protection asked to protect the agent's folders");
        return kStatusOk;
    }
    void Undo() override {
        if (protected_) {
            run_.log.Info(kInstall,
                          L"self-protection asked again to protect the agent's folders");
        }
    }

private:
    bool protected_ = false;
};

class RegisterService final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override;
    void Undo() override;

private:
    struct Registration {
        bool read = false;
        std::wstring imagePath;
        DWORD type = 0;
        DWORD startType = 0;
        std::wstring displayName;
        std::wstring description;
    };
    void Save();
    void NoteSaved();
    void Restore();
    void RemoveNew();

    Registration saved_;
    bool created_ = false;  // no agent service was registered before
};

Status RegisterService::Do() {
    Save();
    created_ = saved_.imagePath.empty();
    NoteSaved();
    run_.log.Info(kInstall, L"Installing agent service...");
    DWORD lastError = 0;
    const Status status = service_sys::CreateOrUpdateService(
        run_.brand.serviceName, run_.programFolder + L"\\agentsvc.exe", service_sys::kOwnProcess,
        service_sys::kAutoStart, run_.brand.serviceDisplayName, run_.brand.serviceDescription,
        &lastError);
    return run_.log.Check(
        status, kInstall,
        WithLastError(L"failed to install the service: ", run_.brand.serviceName, lastError));
}

// The service of an agent installed before gets its registration back; a service that
// did not exist before would point at a deleted folder.
void RegisterService::Undo() {
    if (!run_.backupFolder.empty()) {
        Restore();
    } else if (created_) {
        RemoveNew();
    }
}

void RegisterService::Save() {
    const std::wstring name = run_.brand.serviceName;
    saved_.imagePath = service_sys::GetImagePath(name);
    service_sys::ServiceType type{};
    service_sys::ServiceStartMode start{};
    saved_.read = !saved_.imagePath.empty() &&
                  !Failed(service_sys::GetServiceType(name, type)) &&
                  !Failed(service_sys::GetStartMode(name, start));
    saved_.type = type;
    saved_.startType = start;
    // Texts that cannot be read are registered empty again; the path and modes matter.
    service_sys::GetServiceDisplayNameW(name, saved_.displayName);
    service_sys::GetServiceDescription(name, saved_.description);
}

// What a later run needs to put the registration back when this one is killed.
void RegisterService::NoteSaved() {
    RunJournal& journal = run_.journal;
    journal.Note(L"service", run_.brand.serviceName);
    journal.Note(L"service-existed", created_ ? L"0" : saved_.read ? L"1" : L"unread");
    journal.Note(L"service-image", saved_.imagePath);
    journal.Note(L"service-type", std::to_wstring(saved_.type));
    journal.Note(L"service-start", std::to_wstring(saved_.startType));
    journal.Note(L"service-display", saved_.displayName);
    journal.Note(L"service-description", saved_.description);
}

void RegisterService::Restore() {
    const std::wstring name = run_.brand.serviceName;
    if (!saved_.read) {
        run_.log.Error(kInstall, L"the previous registration of the service " + name +
                                     L" was not read; it cannot be restored",
                       kStatusServiceFailed);
        return;
    }
    DWORD lastError = 0;
    Status status = service_sys::CreateOrUpdateService(
        name, saved_.imagePath, saved_.type, saved_.startType, saved_.displayName.c_str(),
        saved_.description.c_str(), &lastError);
    if (Failed(run_.log.Check(status, kInstall,
                              WithLastError(L"failed to restore the service: ", name,
                                            lastError)))) {
        return;
    }
    status = service_sys::SetServiceRecovery(name, &lastError);
    run_.log.Check(status, kInstall,
                   WithLastError(L"failed to restore auto restart for the service: ", name,
                                 lastError));
}

void RegisterService::RemoveNew() {
    const std::wstring name = run_.brand.serviceName;
    service_sys::StopService(name);  // the deletion below tells whether it is gone
    run_.log.Check(service_sys::DeleteServiceByName(name), kInstall,
                   L"failed to delete the new service: " + name);
}

class SetRecovery final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        DWORD lastError = 0;
        const Status status = service_sys::SetServiceRecovery(run_.brand.serviceName, &lastError);
        return run_.log.Check(status, kInstall,
                              WithLastError(L"failed to set auto restart for the service: ",
                                            run_.brand.serviceName, lastError));
    }
};

class StartAgent final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        run_.log.Info(kInstall, L"Starting agent service...");
        DWORD lastError = 0;
        const Status status = service_sys::StartServiceByName(run_.brand.serviceName, &lastError);
        if (!Failed(status)) {
            run_.journal.Note(L"past-return", L"1");  // nothing after this step can fail
        }
        return run_.log.Check(status, kInstall,
                              WithLastError(L"failed to start the service: ",
                                            run_.brand.serviceName, lastError));
    }
};

class WriteUninstallEntry final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        uninstall_entry::Write(run_.brand, run_.programFolder, run_.settings.languageId,
                               run_.version);
        uninstall_entry::RemoveFormerConsoleAutostart();
        return kStatusOk;
    }
};

class RemoveBackups final : public InstallStep {
public:
    using InstallStep::InstallStep;
    Status Do() override {
        if (!run_.backupFolder.empty() && Failed(DeleteOrDeferFolder(run_.backupFolder))) {
            run_.log.Warning(kInstall, L"previous program folder deferred to the next restart");
        }
        if (!run_.configBackupPath.empty()) {
            DeleteOrMark(run_.configBackupPath);
        }
        std::wstring older;
        if (!Failed(agent_folders::ProgramFolder(run_.brand, true, older)) && IsFolder(older)) {
            DeleteOrMark(older);  // an older 32-bit installation
        }
        return kStatusOk;
    }
};

template <typename StepType, typename... Arguments>
SequenceStep Make(const char* name, InstallRun& run, unsigned flags, Arguments&&... arguments) {
    return {name, std::make_unique<StepType>(run, std::forward<Arguments>(arguments)...), flags};
}

}  // namespace

void InstallRun::Report(Stage stage) const {
    if (progress != nullptr) {
        progress->Report(stage);
    }
}

std::vector<SequenceStep> InstallSteps(InstallRun& run) {
    std::vector<SequenceStep> steps;
    steps.push_back(Make<Recover>("recover", run, kStepPlain));
    steps.push_back(Make<SecureDataFolders>("secure-data-folders", run, kStepPlain));
    steps.push_back(Make<VerifyPackage>("verify-package", run, kStepPlain));
    steps.push_back(Make<NoteNewRuntimeKeys>("note-runtime-keys", run, kStepPlain));
    steps.push_back(Make<CheckScheduler>("check-scheduler", run, kStepPlain));
    steps.push_back(Make<StopService>("stop-agent", run, kStepQuietFailure,
                                      std::wstring(run.brand.serviceName), true));
    steps.push_back(Make<LoadRuntime>("load-runtime", run, kStepPlain));
    steps.push_back(Make<AnnounceStart>("announce", run, kStepPlain));
    steps.push_back(Make<CheckPendingRemoval>("check-pending-removal", run, kStepPlain));
    steps.push_back(Make<WriteConfig>("write-config", run, kStepPlain));
    steps.push_back(Make<ConfirmInvite>("confirm-invite", run, kStepPlain));
    steps.push_back(Make<StopService>("stop-av-wrapper", run, kStepPlain,
                                      run.environment.avWrapperService, false));
    steps.push_back(Make<LocateProgramFolder>("locate-program-folder", run, kStepPlain));
    steps.push_back(Make<MoveAside>("move-aside", run, kStepQuietFailure | kStepOpensRollback));
    steps.push_back(Make<InstallNetFramework>("net-framework", run, kStepPlain));
    steps.push_back(Make<CopyFiles>("copy-files", run, kStepUndoInEveryRollback));
    steps.push_back(Make<MoveConfigAside>("move-config-aside", run, kStepPlain));
    steps.push_back(Make<PlaceConfig>("place-config", run, kStepPlain));
    steps.push_back(Make<WriteRuntimeSettings>("runtime-settings", run, kStepUndoInEveryRollback));
    steps.push_back(Make<ProtectFolders>("protect-folders", run, kStepPlain));
    steps.push_back(Make<RegisterService>("register-service", run, kStepPlain));
    steps.push_back(Make<SetRecovery>("set-recovery", run, kStepPlain));
    steps.push_back(Make<StartAgent>("start-service", run, kStepPlain));
    steps.push_back(Make<WriteUninstallEntry>("uninstall-entry", run, kStepPlain));
    steps.push_back(Make<RemoveBackups>("remove-backups", run, kStepPlain));
    return steps;
}

std::vector<const char*> InstallUndoOrder() {
    return {"protect-folders",   "runtime-settings", "copy-files",
            "move-aside",        "place-config",     "move-config-aside",
            "register-service",  "note-runtime-keys", "write-config",
            "stop-agent",        "stop-av-wrapper"};
}

SequenceEndings InstallEndings(InstallRun& run) {
    SequenceEndings endings;
    endings.earlyFailure = [&run](Status status) {
        run.log.Error(kInstall, L"installation ended with an error", status);
    };
    endings.rollbackBegins = [&run](Status status) {
        run.log.Error(kInstall, L"error during installation, performing rollback", status);
        run.Report(Stage::kRollingBack);
    };
    endings.rollbackEnds = [&run](Status status) {
        run.log.Error(kInstall, L"installation ended with error", status);
    };
    return endings;
}
