#include "setup/recovery.h"

#include <windows.h>

#include <cstdio>

#include "setup/agent_folders.h"
#include "setup/install/install_steps.h"
#include "setup/run_journal.h"
#include "setup/uninstall/deferred_deletion.h"
#include "setup/uninstall/uninstall.h"
#include "sys/file_sys.h"
#include "sys/registry_sys.h"
#include "sys/service_sys.h"
#include "sys/unique_handle.h"

namespace {

constexpr char kRecover[] = "RecoverInterruptedRun";

bool Exists(const std::wstring& path) {
    return !path.empty() && GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

// Each piece of an installation's rollback, in the rollback's order, for what the journal
// says the killed run did. Every piece runs; the result says whether all held.
class InstallRollback {
public:
    InstallRollback(const JournalRecord& journal, CLogging& log) : journal_(journal), log_(log) {}

    Status Run(Recovery& recovery) {
        RemoveDeploymentId();
        RemoveNewProgramFolder();
        RenameBackBackup();
        PutBackConfiguration();
        PutBackService();
        RemoveNewKeys();
        recovery.agentStarted = StartStoppedServices();
        return ok_ ? kStatusOk : kStatusRecoveryFailed;
    }

private:
    void Fail(const std::wstring& what, Status status) {
        log_.Error(kRecover, what, status);
        ok_ = false;
    }
    void RemoveDeploymentId() {
        if (journal_.Has(L"deploy-id")) {
            registry_sys::DeleteDeploymentId();  // it names a deployment that did not happen
        }
    }
    // The folder at the program folder's place is the new one only while the previous one
    // is still aside: a recovery killed after renaming it back must not take it for new.
    void RemoveNewProgramFolder() {
        const std::wstring program = journal_.Get(L"program");
        const bool previousAside =
            journal_.Get(L"previous").empty() || Exists(journal_.Get(L"backup"));
        if (!journal_.Has(L"copy-begun") || !previousAside || !Exists(program)) {
            return;
        }
        const Status removed = DeleteOrDeferFolder(program);
        if (Failed(removed) && removed != kStatusRemovalAtRestart) {
            Fail(L"the half-made program folder could not be removed: " + program, removed);
        }
    }
    void RenameBackBackup() {
        const std::wstring backup = journal_.Get(L"backup");
        const std::wstring previous = journal_.Get(L"previous");
        if (!Exists(backup) || previous.empty()) {
            return;
        }
        if (Exists(previous) || !MoveFileExW(backup.c_str(), previous.c_str(), 0)) {
            Fail(L"the previous program folder could not be renamed back from " + backup,
                 kStatusRenameFailed);
        }
    }
    void PutBackConfiguration() {
        const std::wstring config = journal_.Get(L"config");
        const std::wstring backup = journal_.Get(L"config-backup");
        RemoveHalfWritten(config);
        if (Exists(backup)) {
            _wremove(config.c_str());  // the rename tells whether it worked
            if (!MoveFileExW(backup.c_str(), config.c_str(), MOVEFILE_WRITE_THROUGH)) {
                Fail(L"the previous agent configuration could not be put back", kStatusRenameFailed);
            }
        } else if (journal_.Has(L"config-placed") && backup.empty() && Exists(config) &&
                   _wremove(config.c_str()) != 0) {
            // With no configuration before, the new one would keep the invite token.
            Fail(L"the new agent configuration could not be removed", kStatusFileWriteFailed);
        }
    }
    void PutBackService() {
        const std::wstring name = journal_.Get(L"service");
        const std::wstring existed = journal_.Get(L"service-existed");
        if (name.empty()) {
            return;
        }
        if (existed == L"0") {
            service_sys::StopService(name);  // the deletion tells whether it is gone
            const Status deleted = service_sys::DeleteServiceByName(name);
            if (Failed(deleted)) {
                Fail(L"the new service could not be deleted: " + name, deleted);
            }
            return;
        }
        if (existed != L"1") {
            log_.Error(kRecover, L"the earlier registration of the service was not read: " + name,
                       kStatusServiceFailed);
            return;
        }
        DWORD lastError = 0;
        Status status = service_sys::CreateOrUpdateService(
            name, journal_.Get(L"service-image"),
            std::wcstoul(journal_.Get(L"service-type").c_str(), nullptr, 10),
            std::wcstoul(journal_.Get(L"service-start").c_str(), nullptr, 10),
            journal_.Get(L"service-display").c_str(), journal_.Get(L"service-description").c_str(),
            &lastError);
        if (!Failed(status)) {
            status = service_sys::SetServiceRecovery(name, &lastError);
        }
        if (Failed(status)) {
            Fail(L"the service's registration could not be put back: " + name +
                     L", GetLastError: " + std::to_wstring(lastError),
                 status);
        }
    }
    // A file written new beside its place and not yet moved there when the run was killed
    // (file_sys::WriteWholeFile names it "<path>.<process id>.new").
    static void RemoveHalfWritten(const std::wstring& path) {
        if (path.empty()) {
            return;
        }
        const std::wstring folder = path.substr(0, path.find_last_of(L'\\') + 1);
        WIN32_FIND_DATAW found{};
        const UniqueFindHandle search(
            FindFirstFileW((path + L".*.new").c_str(), &found));
        for (bool more = search.Valid(); more; more = FindNextFileW(search.Get(), &found)) {
            DeleteFileW((folder + found.cFileName).c_str());
        }
    }
    // Keys that did not exist before the killed run; the company key only when empty, as it
    // may have gained other products' keys meanwhile.
    void RemoveNewKeys() {
        const std::wstring keys = journal_.Get(L"new-keys");
        for (size_t begin = 0; begin < keys.size();) {
            size_t end = keys.find(L'|', begin);
            end = end == std::wstring::npos ? keys.size() : end;
            const std::wstring key = keys.substr(begin, end - begin);
            const bool company = key.find(L'\\', key.find(L'\\') + 1) == std::wstring::npos;
            registry_sys::DeleteRegistryKey(key, registry_sys::kAllAccess64, !company);
            begin = end + 1;
        }
    }
    bool StartStoppedServices() {
        bool started = false;
        for (const wchar_t* name : {L"stopped-agent", L"stopped-av"}) {
            if (journal_.Has(name)) {
                StartServiceAgain(log_, journal_.Get(name));
                started = true;
            }
        }
        return started;
    }

    const JournalRecord& journal_;
    CLogging& log_;
    bool ok_ = true;
};

// Past its point of no return an installation only had its backups left to remove.
void RemoveInstallBackups(const JournalRecord& journal, CLogging& log) {
    const std::wstring backup = journal.Get(L"backup");
    if (Exists(backup) && Failed(DeleteOrDeferFolder(backup))) {
        log.Warning(kRecover, L"previous program folder deferred to the next restart: " + backup);
    }
    const std::wstring configBackup = journal.Get(L"config-backup");
    if (Exists(configBackup) && _wremove(configBackup.c_str()) != 0) {
        MoveFileExW(configBackup.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);  // best effort
    }
}

}  // namespace

Recovery RecoverInterruptedRun(const SetupSettings& settings, const CAgentBranding& brand,
                               CLogging& log) {
    Recovery recovery;
    const std::optional<JournalRecord> journal = ReadInterruptedJournal();
    if (!journal) {
        return recovery;
    }
    const std::wstring kind = journal->Get(L"kind");
    const bool pastReturn = journal->Has(L"past-return");
    log.Warning(kRecover, L"an interrupted " + kind + L" run was found, begun " +
                              std::to_wstring(journal->SecondsSinceStart()) +
                              L" seconds ago; " +
                              (pastReturn ? L"finishing it" : L"rolling it back"));
    if (kind == L"removal" && pastReturn) {
        const Status removed = FinishRemoval(settings, brand, log);
        recovery.removalFinished = true;
        recovery.status = Failed(removed) && removed != kStatusRemovalAtRestart
                              ? kStatusRecoveryFailed
                              : kStatusOk;
    } else if (kind == L"removal") {
        recovery.agentStarted = journal->Has(L"stopped-agent");
        if (recovery.agentStarted) {
            StartServiceAgain(log, journal->Get(L"stopped-agent"));
        }
    } else if (pastReturn) {
        RemoveInstallBackups(*journal, log);
    } else {
        recovery.status = InstallRollback(*journal, log).Run(recovery);
    }
    if (Failed(recovery.status)) {
        // Kept for the next try: what could not be put back now may be after a restart.
        return recovery;
    }
    RemoveJournal();
    log.Info(kRecover, L"the interrupted run was put right");
    return recovery;
}
