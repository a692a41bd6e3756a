#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <random>

#include "setup/agent_folders.h"
#include "setup/install/package_manifest.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/security_sys.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/test_support.h"

namespace {

using security_sys::UniqueSecurityDescriptor;
using test_support::Narrow;
using test_support::ReadFileBytes;

using namespace agent_machine;

const std::wstring kToken = L"install-test-token-0123456789abcdef";
const wchar_t kNetKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";

// A registry value as text: a string as it is, a number in decimal; "<none>" when missing.
std::wstring ReadValue(const std::wstring& key, const wchar_t* name) {
    BYTE data[2048] = {};
    DWORD size = sizeof(data) - sizeof(wchar_t);
    DWORD type = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ | RRF_RT_REG_DWORD |
                         RRF_NOEXPAND, &type, data, &size) != ERROR_SUCCESS) {
        return L"<none>";
    }
    return type == REG_DWORD ? std::to_wstring(*reinterpret_cast<DWORD*>(data))
                             : std::wstring(reinterpret_cast<wchar_t*>(data));
}

// Files below the agent's data folder that hold the invite token, in UTF-8 or UTF-16, other
// than the installed configuration: the staged copy or a log line that kept it.
std::vector<std::wstring> FilesHoldingToken() {
    const std::string narrow = Narrow(kToken);
    const std::string wide(reinterpret_cast<const char*>(kToken.data()),
                           kToken.size() * sizeof(wchar_t));
    std::vector<std::wstring> found;
    std::error_code error;
    for (auto it = std::filesystem::recursive_directory_iterator(kDataFolder, error);
         it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        const std::wstring path = it->path().wstring();
        const std::string bytes = it->is_directory() ? "" : ReadFileBytes(path);
        if (path != kDataFolder + L"\\agentconfig.conf" &&
            (bytes.find(narrow) != std::string::npos || bytes.find(wide) != std::string::npos)) {
            found.push_back(path);
        }
    }
    return found;
}

bool SameSid(PSID sid, WELL_KNOWN_SID_TYPE type) {
    BYTE known[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof(known);
    return CreateWellKnownSid(type, nullptr, known, &size) && EqualSid(sid, known);
}

// Protected, owned by Administrators, SYSTEM and Administrators in full control, every entry
// reaching everything below, and Users, where they may read at all, reading and running only.
void ExpectDataFolderList(const std::wstring& sddl, bool usersRead) {
    SCOPED_TRACE(Narrow(sddl));
    UniqueSecurityDescriptor descriptor;
    ASSERT_EQ(security_sys::DescriptorFromSddl(sddl.c_str(), descriptor), kStatusOk);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    PSID owner = nullptr;
    PACL list = nullptr;
    BOOL present = FALSE, defaulted = FALSE;
    ASSERT_TRUE(GetSecurityDescriptorControl(descriptor.Get(), &control, &revision) &&
                GetSecurityDescriptorOwner(descriptor.Get(), &owner, &defaulted) &&
                GetSecurityDescriptorDacl(descriptor.Get(), &present, &list, &defaulted) &&
                owner != nullptr && list != nullptr);
    EXPECT_TRUE(control & SE_DACL_PROTECTED);
    EXPECT_TRUE(SameSid(owner, WinBuiltinAdministratorsSid));
    std::map<WELL_KNOWN_SID_TYPE, DWORD> masks;
    for (DWORD index = 0; index < list->AceCount; ++index) {
        ACE_HEADER* header = nullptr;
        ASSERT_TRUE(GetAce(list, index, reinterpret_cast<void**>(&header)));
        ASSERT_EQ(header->AceType, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_EQ(header->AceFlags & (OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE | INHERIT_ONLY_ACE),
                  OBJECT_INHERIT_ACE | CONTAINER_INHERIT_ACE);
        const auto* ace = reinterpret_cast<ACCESS_ALLOWED_ACE*>(header);
        PSID sid = const_cast<DWORD*>(&ace->SidStart);
        for (WELL_KNOWN_SID_TYPE known :
             {WinLocalSystemSid, WinBuiltinAdministratorsSid, WinBuiltinUsersSid}) {
            if (SameSid(sid, known)) {
                masks[known] = ace->Mask;
            }
        }
    }
    std::map<WELL_KNOWN_SID_TYPE, DWORD> expected = {
        {WinLocalSystemSid, FILE_ALL_ACCESS}, {WinBuiltinAdministratorsSid, FILE_ALL_ACCESS}};
    if (usersRead) {
        expected[WinBuiltinUsersSid] = FILE_GENERIC_READ | FILE_GENERIC_EXECUTE;
    }
    EXPECT_EQ(masks, expected);
    EXPECT_EQ(list->AceCount, expected.size()) << "an entry for someone else";
}

// The tree holds the token, the proxy password's envelope and the policy.
TEST(DataFolderAccess, UsersReadTheLogFolderAndNothingElse) {
    ExpectDataFolderList(agent_folders::kDataFolderAccess, false);
    ExpectDataFolderList(agent_folders::kLogFolderAccess, true);
}

// Real installations against the testbed backend, from the package or a case's own copy.
class Installation : public MachineTest {
protected:

    std::wstring Url(const std::string& path) const {
        const std::string url = "http://127.0.0.1:" + port_ + "/" + path;
        return std::wstring(url.begin(), url.end());
    }
    // The backend keeps the requests under the case's name and answers the invite as told.
    std::wstring Command(const std::wstring& setup, const std::string& answer = "accept") const {
        const std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        return setup + L" /i -sil 1 -tok " + kToken + L" -svr " + Url(name + "/" + answer);
    }
    DWORD Install(const std::wstring& more = L"", const std::wstring& package = L"",
                  const std::string& answer = "accept") {
        const std::wstring setup = package.empty() ? PackageSetup() : package + L"\\setup.exe";
        return test_support::RunAndWait(Command(L"\"" + setup + L"\"", answer) + L" " + more,
                                        300000);
    }
};

TEST_F(Installation, FirstInstallationThenUpgrade) {
    const test_support::TempFolder records;
    ASSERT_EQ(Install(L"-lid 11 -rdid rd-1 -result " + records / L"run.json"), 0u);
    const std::string lastRun = ReadFileBytes(kDataFolder + L"\\log\\lastrun.json");
    EXPECT_NE(lastRun.find("\"name\": \"copy-files\", \"doMs\": "), std::string::npos) << lastRun;
    EXPECT_EQ(RecordSummary(records / L"run.json", Narrow(kToken)), "installed 0x00000000 -");

    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"),
              L"\"" + kProgramFolder + L"\\agentsvc.exe\"");
    service_sys::ServiceType type{};
    service_sys::ServiceStartMode mode{};
    service_sys::GetServiceType(L"ClientManager", type);
    service_sys::GetStartMode(L"ClientManager", mode);
    EXPECT_EQ(type, service_sys::kOwnProcess);
    EXPECT_EQ(mode, service_sys::kAutoStart);
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));

    EXPECT_EQ(ReadValue(kUninstallKey, L"UninstallString"),
              L"\"" + kProgramFolder + L"\\setup.exe\" /u -lid \"11\"");
    EXPECT_EQ(ReadValue(kUninstallKey, L"InstallLocation"), kProgramFolder);
    EXPECT_EQ(ReadValue(kUninstallKey, L"QuietUninstallString"),
              L"\"" + kProgramFolder + L"\\setup.exe\" /u -sil 1");

    const std::string config = ReadFileBytes(kDataFolder + L"\\agentconfig.conf");
    EXPECT_NE(config.find("token=" + Narrow(kToken) + "\n"), std::string::npos);
    EXPECT_EQ(config.find("register_required"), std::string::npos);
    EXPECT_EQ(FilesHoldingToken(), std::vector<std::wstring>{});
    EXPECT_EQ(ReadValue(kAgentKey, L"DeploymentId"), L"rd-1");
    EXPECT_EQ(ReadValue(kAgentKey, L"LangCode"), L"1031");
    EXPECT_EQ(ReadValue(L"SOFTWARE\\ZELKO Software\\SB Runtime\\setup", L"EnableLogLevelDebug"),
              L"0");

    // Over the installed agent: the old folder is moved aside and removed afterwards.
    ASSERT_EQ(Install(), 0u);
    EXPECT_EQ(ReadValue(kAgentKey, L"DeploymentId"), L"<none>");
    EXPECT_EQ(ReadValue(kUninstallKey, L"UninstallString"),
              L"\"" + kProgramFolder + L"\\setup.exe\" /u");
    EXPECT_EQ(file_sys::ListFolder(kCompanyProgramFolder),
              std::vector<std::wstring>{kProgramFolder});
    for (const std::wstring& entry : file_sys::ListFolder(kDataFolder)) {
        EXPECT_EQ(entry.find(L".backup"), std::wstring::npos);
    }
}

// What stops an installation before it changes anything leaves the installed agent as it was,
// running: an invite the backend no longer knows, a missing or changed file of the package
// (checked against the manifest inside setup.exe), a file where the log folder belongs.
TEST_F(Installation, StoppedBeforeAnyChange) {
    ASSERT_EQ(Install(), 0u);
    MachineState before = TakeMachineState();
    test_support::TempFolder package;
    EXPECT_EQ(Install(L"-result " + package / L"run.json", L"", "gone"), 0x80000064u);
    EXPECT_EQ(RecordSummary(package / L"run.json"), "failed-early 0x80000064 confirm-invite");
    EXPECT_EQ(TakeMachineState(), before);
    EXPECT_EQ(FilesHoldingToken(), std::vector<std::wstring>{});

    CopyPackageWith(package.Path(), L"..\\package\\setup.exe", false);
    EXPECT_EQ(Install(L"", package.Path()), static_cast<DWORD>(kStatusPackageNotVerified));
    EXPECT_EQ(TakeMachineState(), before);
    test_support::CopyBuiltProgram(L"..\\package\\agentsvc.exe", package.Path(), L"agentsvc.exe");
    std::string runtime = ReadFileBytes(package / L"runtime.dll");
    runtime[runtime.size() / 2] ^= 1;
    ASSERT_EQ(file_sys::WriteWholeFile(package / L"runtime.dll", runtime), kStatusOk);
    EXPECT_EQ(Install(L"", package.Path()), static_cast<DWORD>(kStatusPackageNotVerified));
    EXPECT_EQ(TakeMachineState(), before);
    // "-log" holds what happened although no runtime.dll was ever loaded to write a log.
    DeleteFileW((package / L"runtime.dll").c_str());
    EXPECT_EQ(Install(L"-log " + package / L"copy.log", package.Path()),
              static_cast<DWORD>(kStatusPackageNotVerified));
    const std::string copy = ReadFileBytes(package / L"copy.log");
    EXPECT_NE(copy.find("[ERROR] "), std::string::npos) << copy;
    EXPECT_NE(copy.find("runtime.dll"), std::string::npos) << copy;
    EXPECT_EQ(copy.find(Narrow(kToken)), std::string::npos) << copy;

    // Without its log folder the runtime would log nowhere and the installation would go on.
    std::filesystem::remove_all(kDataFolder + L"\\log");
    std::ofstream(std::filesystem::path(kDataFolder + L"\\log")) << "not a folder";
    before = TakeMachineState();
    EXPECT_EQ(Install(L"-rdid rd-9"), static_cast<DWORD>(kStatusNotFound));
    EXPECT_EQ(TakeMachineState(), before);
}

// Steps no real condition makes fail here fail through the fault-injecting setup program.
// Each rollback leaves the machine as before, with or without an agent, less the deployment
// id: it names a deployment that did not happen.
TEST_F(Installation, RolledBackWhereverItFails) {
    ASSERT_EQ(Install(L"-rdid rd-7"), 0u);
    MachineState before = TakeMachineState();
    before.erase(kAgentKey + L"\\DeploymentId");
    // Open without delete sharing: the configuration cannot be moved aside.
    HANDLE held = CreateFileW((kDataFolder + L"\\agentconfig.conf").c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                              nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Install(), static_cast<DWORD>(0x8000002F));
    CloseHandle(held);
    EXPECT_EQ(TakeMachineState(), before);

    // The agent stops only at the 300th request, after the stop step gave up: the step had
    // asked it to stop, so its undo starts it again.
    {
        const MisbehavingAgentRun run(L"ignore-stop", "300");
        EXPECT_EQ(test_support::RunAndWait(Command(run.Setup()), 300000),
                  static_cast<DWORD>(kStatusServiceFailed));
        EXPECT_GE(run.Pauses(), 300);
    }
    EXPECT_EQ(TakeMachineState(), before);

    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    for (const wchar_t* step : {L"copy-files", L"place-config", L"register-service",
                                L"set-recovery", L"start-service"}) {
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", step);
        // A failure's code is the same whichever codes were asked for.
        const std::wstring codes = L"-exitcodes msi -result " + package / L"run.json";
        EXPECT_EQ(Install(codes, package.Path()), 0x8000FA17u) << Narrow(step);
        EXPECT_EQ(RecordSummary(package / L"run.json"), "rolled-back 0x8000FA17 " + Narrow(step));
        EXPECT_EQ(TakeMachineState(), before) << Narrow(step);
        EXPECT_EQ(FilesHoldingToken(), std::vector<std::wstring>{}) << Narrow(step);
    }
    // A rollback step that fails says so in the log, and the rest of the rollback runs.
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", L"set-recovery,undo-register-service");
    EXPECT_EQ(Install(L"", package.Path()), 0x8000FA17u);
    const std::string log = ReadFileBytes(kDataFolder + L"\\log\\agentinstaller.log");
    EXPECT_NE(log.find("could not undo the step register-service"), std::string::npos);
    EXPECT_NE(log.find("installation ended with error [0x8000fa17]"), std::string::npos);
    EXPECT_EQ(TakeMachineState(), before);
    // An exception half-way is rolled back like any failure.
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", L"throw-set-recovery");
    EXPECT_EQ(Install(L"", package.Path()), 0x80000044u);
    EXPECT_EQ(TakeMachineState(), before);
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);

    // Without .NET Framework 4.8 the installer is fetched from an address that does not
    // answer here, a real failure after the previous folder was moved aside.
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    EXPECT_TRUE(Failed(static_cast<Status>(Install())));
    SetNetFrameworkInstalled();
    EXPECT_EQ(TakeMachineState(), before);

    CleanMachine();
    before = TakeMachineState();
    for (const wchar_t* step : {L"place-config", L"start-service"}) {
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", step);
        EXPECT_EQ(Install(L"-rdid rd-3", package.Path()), 0x8000FA17u) << Narrow(step);
        EXPECT_EQ(TakeMachineState(), before) << Narrow(step) << " (no agent before)";
    }
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);
}

// Ended at once before each step, amid the copy and after the last step: the next
// installation ends as one never interrupted, on a machine with the agent (every point) and
// on one without (the points that leave most behind).
TEST_F(Installation, KilledAtAnyPointTheNextInstallationPutsItRight) {
    ASSERT_EQ(Install(), 0u);
    const MachineState installed = TakeMachineState();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    const char* const upgradePoints[] = {
        "recover", "secure-data-folders", "verify-package", "note-runtime-keys",
        "check-scheduler", "stop-agent", "load-runtime", "announce", "check-pending-removal",
        "write-config", "confirm-invite", "stop-av-wrapper", "locate-program-folder",
        "move-aside", "net-framework", "copy-file", "copy-files", "move-config-aside",
        "place-config", "runtime-settings", "protect-folders", "register-service",
        "set-recovery", "start-service", "uninstall-entry", "remove-backups", "end"};
    const char* const firstInstallationPoints[] = {"copy-file", "register-service",
                                                   "start-service"};
    auto killedThenInstalled = [&](const char* point) {
        SCOPED_TRACE(point);
        SetEnvironmentVariableA("HOLLIN_FAULT_STEP", (std::string("kill-") + point).c_str());
        EXPECT_EQ(Install(L"", package.Path()), 0xDEADu);
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);
        EXPECT_EQ(Install(), 0u);
        EXPECT_EQ(TakeMachineState(), installed);
    };
    for (const char* point : upgradePoints) {
        killedThenInstalled(point);
    }
    for (const char* point : firstInstallationPoints) {
        SCOPED_TRACE("first installation");
        CleanMachine();
        killedThenInstalled(point);
    }
    const std::string log = ReadFileBytes(kDataFolder + L"\\log\\agentinstaller.log");
    EXPECT_NE(log.find("an interrupted install run was found, begun "), std::string::npos);
}

// Ended from outside at seeded random moments of an upgrade that deploys a few thousand files,
// as a deployment tool ends a run at its time limit: each next installation puts it right.
TEST_F(Installation, KilledFromOutsideAmidALargeUpgrade) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    std::string manifest = test_support::ManifestOf(package.Path());
    for (int file = 0; file < 2500; ++file) {
        const std::string folder = "content\\" + std::to_string(file / 100);
        const std::string path = folder + "\\item" + std::to_string(file) + ".dat";
        const std::string bytes(64 + file % 512, static_cast<char>('a' + file % 26));
        std::filesystem::create_directories(package / std::wstring(folder.begin(), folder.end()));
        ASSERT_EQ(file_sys::WriteWholeFile(package / std::wstring(path.begin(), path.end()), bytes),
                  kStatusOk);
        manifest +=
            package_manifest::Format({{path, bytes.size(), package_manifest::Sha256Hex(bytes)}});
    }
    ASSERT_EQ(file_sys::WriteWholeFile(package / L"manifest.txt", manifest), kStatusOk);
    SetEnvironmentVariableW(L"HOLLIN_MANIFEST_FILE", (package / L"manifest.txt").c_str());
    const std::wstring command = Command(L"\"" + package / L"setup.exe" + L"\"");
    ASSERT_EQ(test_support::RunAndWait(command, 300000), 0u);
    const MachineState installed = TakeMachineState();
    std::mt19937 random(20261125);
    for (int round = 0; round < 4; ++round) {
        const DWORD delay = std::uniform_int_distribution<DWORD>(300, 12000)(random);
        SCOPED_TRACE("killed after " + std::to_string(delay) + " ms");
        process_sys::ChildProcess run(command, process_sys::ChildStreams::kInherit);
        ASSERT_TRUE(run.Started());
        if (WaitForSingleObject(run.Process(), delay) == WAIT_TIMEOUT) {
            TerminateProcess(run.Process(), 0xDEAD);
            WaitForSingleObject(run.Process(), 30000);
        }
        EXPECT_EQ(test_support::RunAndWait(command, 300000), 0u);
        EXPECT_EQ(TakeMachineState(), installed);
    }
    SetEnvironmentVariableW(L"HOLLIN_MANIFEST_FILE", nullptr);
}

TEST_F(Installation, NetFrameworkAskingForARestartCompletesTheInstallation) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    const std::wstring name = L"set-exit3010-ndp48-x86-x64-allos-enu";
    std::filesystem::create_directories(BackendFolder() + L"\\files");
    test_support::CopyBuiltProgram(L"net_installer_stub_signed.exe", BackendFolder() + L"\\files",
                                   name);
    SetEnvironmentVariableW(L"HOLLIN_NET_URL", Url("files/" + Narrow(name)).c_str());
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    EXPECT_EQ(Install(L"", package.Path()), 0u) << "a silent setup ends with 0";
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    EXPECT_EQ(Install(L"-exitcodes msi -result " + package / L"run.json", package.Path()), 3010u)
        << "success with a restart needed, as a deployment tool reads it";
    EXPECT_EQ(RecordSummary(package / L"run.json"), "installed-restart-required 0x10000005 -");
    SetEnvironmentVariableW(L"HOLLIN_NET_URL", nullptr);
    SetNetFrameworkInstalled();
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
}

// Lookalikes of the system's libraries and tools stay unused through an installation, which
// probes the scheduler and logs the system facts; a library the manifest lacks is not deployed.
TEST_F(Installation, NothingPlantedBesideSetupIsUsedOrDeployed) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"..\\package\\setup.exe");
    const test_support::PlantedLookalikes planted(package.Path());
    ASSERT_EQ(file_sys::WriteWholeFile(package / L"evil.dll", "MZ planted"), kStatusOk);
    EXPECT_EQ(Install(L"", package.Path()), 0u);
    EXPECT_EQ(planted.Used(), std::vector<std::string>{});
    EXPECT_TRUE(test_support::FileExists(kProgramFolder + L"\\setup.exe"));
    for (const auto& [path, what] : TakeMachineState()) {
        EXPECT_EQ(path.find(L"evil.dll"), std::wstring::npos) << Narrow(path);
    }
}

}  // namespace
