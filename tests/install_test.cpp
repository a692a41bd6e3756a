#include <gtest/gtest.h>

#include <aclapi.h>
#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <map>
#include <sstream>

#include "setup/agent_folders.h"
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

std::wstring ReadText(HKEY root, const std::wstring& key, const wchar_t* name) {
    wchar_t value[1024] = {};
    DWORD size = sizeof(value) - sizeof(wchar_t);
    if (RegGetValueW(root, key.c_str(), name, RRF_RT_REG_SZ | RRF_NOEXPAND, nullptr, value,
                     &size) != ERROR_SUCCESS) {
        return L"<none>";
    }
    return value;
}

DWORD ReadNumber(const std::wstring& key, const wchar_t* name) {
    DWORD value = 0xFFFFFFFF;
    DWORD size = sizeof(value);
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_DWORD, nullptr, &value, &size);
    return value;
}

// Every file below root by relative path with its content, and with foldersToo every
// folder. The runtime's log folder is left out: it grows with every run and explains the
// failure.
void ReadTree(const std::wstring& root, bool foldersToo,
              std::map<std::wstring, std::string>& tree) {
    std::error_code error;
    for (auto it = std::filesystem::recursive_directory_iterator(root, error);
         it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        const std::wstring path = it->path().wstring();
        const std::wstring name = it->path().filename().wstring();
        if (it->is_directory() && name == L"log") {
            it.disable_recursion_pending();
            continue;
        }
        if (!it->is_directory()) {
            tree[path.substr(root.size())] = ReadFileBytes(path);
        } else if (foldersToo) {
            tree[path.substr(root.size())] = "<folder>";
        }
    }
}

// Every key below root and its values, as "key\name" = type and data.
void ReadKeyTree(const std::wstring& root, std::map<std::wstring, std::wstring>& values) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, root.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return;
    }
    values[root] = L"<key>";
    wchar_t name[256];
    BYTE data[4096];
    for (DWORD index = 0;; ++index) {
        DWORD length = 256;
        DWORD size = sizeof(data);
        DWORD type = 0;
        if (RegEnumValueW(key, index, name, &length, nullptr, &type, data, &size) !=
            ERROR_SUCCESS) {
            break;
        }
        values[root + L"\\" + name] = std::to_wstring(type) + L":" +
                                      std::wstring(reinterpret_cast<wchar_t*>(data), size / 2);
    }
    std::vector<std::wstring> subkeys;
    for (DWORD index = 0;; ++index) {
        DWORD length = 256;
        if (RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        subkeys.emplace_back(name);
    }
    RegCloseKey(key);
    for (const std::wstring& subkey : subkeys) {
        ReadKeyTree(root + L"\\" + subkey, values);
    }
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
        if (it->is_directory() || path == kDataFolder + L"\\agentconfig.conf") {
            continue;
        }
        const std::string bytes = ReadFileBytes(path);
        if (bytes.find(narrow) != std::string::npos || bytes.find(wide) != std::string::npos) {
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

// The data folders' list as an administrator would judge it: protected, owned by
// Administrators, SYSTEM and Administrators in full control, every entry reaching subfolders
// and files, and Users, where they may read at all, reading and running and nothing more.
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
    constexpr DWORD kReadAndRun = FILE_GENERIC_READ | FILE_GENERIC_EXECUTE;
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
        expected[WinBuiltinUsersSid] = kReadAndRun;
    }
    EXPECT_EQ(masks, expected);
    EXPECT_EQ(list->AceCount, expected.size()) << "an entry for someone else";
}

// Whether this system keeps the list given to a folder, rather than answering one made up
// from something else.
bool KeepsFolderLists() {
    test_support::TempFolder temp;
    const std::wstring folder = temp / L"probe";
    if (Failed(security_sys::SecureFolder(folder, L"O:BAD:P(A;OICI;FA;;;SY)(A;;0x1;;;BU)"))) {
        return false;
    }
    std::wstring sddl;
    security_sys::ReadFolderSecurity(folder, sddl);
    return sddl.find(L"D:P") != std::wstring::npos && sddl.find(L";BU)") != std::wstring::npos;
}

// The tree holds the token, the proxy password's envelope and the policy: users read the
// log folder only.
TEST(DataFolderAccess, UsersReadTheLogFolderAndNothingElse) {
    ExpectDataFolderList(agent_folders::kDataFolderAccess, false);
    ExpectDataFolderList(agent_folders::kLogFolderAccess, true);
}

// What the installation touches, as an administrator would compare it before and after a
// failed installation.
struct MachineState {
    std::map<std::wstring, std::string> programFiles;  // the company folder, with leftovers
    std::map<std::wstring, std::string> dataFiles;
    std::map<std::wstring, std::wstring> registry;  // uninstall entry and runtime settings
    std::wstring pendingRenames;
    std::wstring imagePath;
    std::wstring displayName;
    std::wstring description;
    DWORD serviceType = 0;
    DWORD startType = 0;
    DWORD serviceState = 0;

    bool operator==(const MachineState&) const = default;

    friend void PrintTo(const MachineState& state, std::ostream* out) {
        *out << "{program files:";
        for (const auto& [name, content] : state.programFiles) {
            *out << " " << Narrow(name) << "(" << content.size() << ")";
        }
        *out << "; data files:";
        for (const auto& [name, content] : state.dataFiles) {
            *out << " " << Narrow(name) << "(" << content.size() << ")";
        }
        *out << "; registry:";
        for (const auto& [name, value] : state.registry) {
            *out << " " << Narrow(name) << "=" << Narrow(value);
        }
        *out << "; pending: " << Narrow(state.pendingRenames) << "; service "
             << Narrow(state.imagePath) << " type " << state.serviceType << " start "
             << state.startType << " state " << state.serviceState << "}";
    }

    static MachineState Take() {
        MachineState state;
        ReadTree(kCompanyProgramFolder, true, state.programFiles);
        ReadTree(L"C:\\ProgramData\\ZELKO Software", false, state.dataFiles);
        ReadKeyTree(kUninstallKey, state.registry);
        ReadKeyTree(L"SOFTWARE\\ZELKO Software", state.registry);
        std::vector<wchar_t> pending(65536);
        DWORD size = static_cast<DWORD>(pending.size() * sizeof(wchar_t));
        if (RegGetValueW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(),
                         L"PendingFileRenameOperations", RRF_RT_REG_MULTI_SZ, nullptr,
                         pending.data(), &size) == ERROR_SUCCESS) {
            state.pendingRenames.assign(pending.data(), size / sizeof(wchar_t));
        }
        state.imagePath = service_sys::GetImagePath(L"ClientManager");
        service_sys::GetServiceDisplayNameW(L"ClientManager", state.displayName);
        service_sys::GetServiceDescription(L"ClientManager", state.description);
        service_sys::ServiceType type{};
        service_sys::GetServiceType(L"ClientManager", type);
        state.serviceType = type;
        service_sys::ServiceStartMode mode{};
        service_sys::GetStartMode(L"ClientManager", mode);
        state.startType = mode;
        if (!state.imagePath.empty()) {
            WaitForAgentState(SERVICE_RUNNING);
        }
        state.serviceState = service_sys::GetServiceState(L"ClientManager");
        return state;
    }

    // A rolled-back installation drops the deployment id on purpose.
    MachineState WithoutDeploymentId() const {
        MachineState copy = *this;
        copy.registry.erase(kAgentKey + L"\\DeploymentId");
        return copy;
    }
};

// Real installations with setup.exe from the package folder, against the testbed backend.
class Installation : public ::testing::Test {
protected:
    static void SetUpTestSuite() { SetNetFrameworkInstalled(); }

    void SetUp() override {
        port_ = BackendPort();
        ASSERT_FALSE(port_.empty()) << "the backend does not run";
        CleanMachine();
    }
    void TearDown() override { CleanMachine(); }

    std::wstring Backend(const std::string& answer) const {
        const std::string url = "http://127.0.0.1:" + port_ + "/" + Case() + "/" + answer;
        return std::wstring(url.begin(), url.end());
    }
    static std::string Case() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    DWORD Install(const std::wstring& answer, const std::wstring& more = L"",
                  const std::wstring& package = L"") {
        const std::wstring setup = package.empty() ? PackageSetup() : package + L"\\setup.exe";
        return test_support::RunAndWait(L"\"" + setup + L"\" /i -sil 1 -tok " + kToken +
                                            L" -svr " + Backend(std::string(answer.begin(), answer.end())) +
                                            L" " + more,
                                        300000);
    }

    std::string port_;
};

TEST_F(Installation, FirstInstallationThenUpgrade) {
    ASSERT_EQ(Install(L"accept", L"-lid 11 -rdid rd-1"), 0u);

    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"),
              L"\"" + kProgramFolder + L"\\agentsvc.exe\"");
    service_sys::ServiceType type{};
    service_sys::ServiceStartMode mode{};
    service_sys::GetServiceType(L"ClientManager", type);
    service_sys::GetStartMode(L"ClientManager", mode);
    EXPECT_EQ(type, service_sys::kOwnProcess);
    EXPECT_EQ(mode, service_sys::kAutoStart);
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));

    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kUninstallKey, L"UninstallString"),
              L"\"" + kProgramFolder + L"\\setup.exe\" /u -lid \"11\"");
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kUninstallKey, L"InstallLocation"), kProgramFolder);

    const std::string config = ReadFileBytes(kDataFolder + L"\\agentconfig.conf");
    EXPECT_NE(config.find("token=" + test_support::Narrow(kToken) + "\n"), std::string::npos);
    EXPECT_EQ(config.find("register_required"), std::string::npos);
    EXPECT_EQ(FilesHoldingToken(), std::vector<std::wstring>{});
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kAgentKey, L"DeploymentId"), L"rd-1");
    EXPECT_EQ(ReadNumber(kAgentKey, L"LangCode"), 0x0407u);
    EXPECT_EQ(ReadNumber(L"SOFTWARE\\ZELKO Software\\SB Runtime\\setup", L"EnableLogLevelDebug"),
              0u);

    // Over the installed agent: the old folder is moved aside and removed afterwards.
    ASSERT_EQ(Install(L"accept"), 0u);
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kAgentKey, L"DeploymentId"), L"<none>");
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kUninstallKey, L"UninstallString"),
              L"\"" + kProgramFolder + L"\\setup.exe\" /u");
    for (const auto& entry :
         std::filesystem::directory_iterator(L"C:\\Program Files\\ZELKO Software")) {
        EXPECT_EQ(entry.path().filename().wstring(), L"Business Agent");
    }
    for (const auto& entry : std::filesystem::directory_iterator(kDataFolder)) {
        EXPECT_EQ(entry.path().wstring().find(L".backup"), std::wstring::npos);
    }
}

TEST_F(Installation, InvalidInviteChangesNothing) {
    ASSERT_EQ(Install(L"accept"), 0u);
    const MachineState before = MachineState::Take();
    EXPECT_EQ(Install(L"gone"), static_cast<DWORD>(0x80000064));
    EXPECT_EQ(MachineState::Take(), before);
    EXPECT_EQ(FilesHoldingToken(), std::vector<std::wstring>{});
    EXPECT_EQ(before.serviceState, static_cast<DWORD>(SERVICE_RUNNING));
}

TEST_F(Installation, RolledBackWhenTheConfigurationCannotBeMoved) {
    ASSERT_EQ(Install(L"accept", L"-rdid rd-7"), 0u);
    const MachineState before = MachineState::Take();
    // Open without delete sharing: the file cannot be renamed.
    HANDLE held = CreateFileW((kDataFolder + L"\\agentconfig.conf").c_str(), GENERIC_READ,
                              FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                              nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    EXPECT_EQ(Install(L"accept"), static_cast<DWORD>(0x8000002F));
    CloseHandle(held);
    EXPECT_EQ(MachineState::Take(), before.WithoutDeploymentId());
}

// Steps that no real condition makes fail here fail through the installation's seam, in a
// package whose setup program is the fault-injecting stand-in.
TEST_F(Installation, RolledBackAfterEachFailingStep) {
    ASSERT_EQ(Install(L"accept"), 0u);
    const MachineState before = MachineState::Take();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    for (const wchar_t* step : {L"copy-files", L"place-config", L"register-service",
                                L"set-recovery", L"start-service"}) {
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", step);
        EXPECT_EQ(Install(L"accept", L"", package.Path()), 0x8000FA17u) << Narrow(step);
        EXPECT_EQ(MachineState::Take(), before) << Narrow(step);
        EXPECT_EQ(FilesHoldingToken(), std::vector<std::wstring>{}) << Narrow(step);
    }
    // A rollback step that fails says so in the log, and the rest of the rollback runs.
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", L"set-recovery,undo-register-service");
    EXPECT_EQ(Install(L"accept", L"", package.Path()), 0x8000FA17u);
    const std::string log = ReadFileBytes(kDataFolder + L"\\log\\agentinstaller.log");
    EXPECT_NE(log.find("could not undo the step register-service"), std::string::npos);
    EXPECT_NE(log.find("installation ended with error [0x8000fa17]"), std::string::npos);
    EXPECT_EQ(MachineState::Take(), before);
    // An exception half-way is rolled back like any failure.
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", L"throw-set-recovery");
    EXPECT_EQ(Install(L"accept", L"", package.Path()), 0x80000044u);
    EXPECT_EQ(MachineState::Take(), before);
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);

    // Without .NET Framework 4.8 the installer is fetched from an address that does not
    // answer here, a real failure after the previous folder was moved aside.
    const wchar_t kNetKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    EXPECT_TRUE(Failed(static_cast<Status>(Install(L"accept"))));
    SetNetFrameworkInstalled();
    EXPECT_EQ(MachineState::Take(), before);
}

TEST_F(Installation, RolledBackOnAMachineWithoutAgent) {
    const MachineState before = MachineState::Take();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    for (const wchar_t* step : {L"place-config", L"start-service"}) {
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", step);
        EXPECT_EQ(Install(L"accept", L"-rdid rd-3", package.Path()), 0x8000FA17u) << Narrow(step);
        EXPECT_EQ(MachineState::Take(), before) << Narrow(step);
    }
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);
}

// The agent stops only at the 300th request, after the stop step gave up: the step had
// asked it to stop, so its undo starts it again.
TEST_F(Installation, AStopThatComesTooLateIsUndone) {
    ASSERT_EQ(Install(L"accept"), 0u);
    const MachineState before = MachineState::Take();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    const std::wstring marker = kProgramFolder + L"\\ignore-stop";
    ASSERT_EQ(file_sys::WriteWholeFile(marker, "300"), kStatusOk);
    const std::wstring pauses = package / L"pauses.txt";
    SetEnvironmentVariableW(L"HOLLIN_PAUSES_FILE", pauses.c_str());
    EXPECT_EQ(Install(L"accept", L"", package.Path()), static_cast<DWORD>(kStatusServiceFailed));
    SetEnvironmentVariableW(L"HOLLIN_PAUSES_FILE", nullptr);
    DeleteFileW(marker.c_str());
    EXPECT_GE(std::atoi(ReadFileBytes(pauses).c_str()), 300);
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    EXPECT_EQ(MachineState::Take(), before);
}

TEST_F(Installation, NetFrameworkAskingForARestartCompletesTheInstallation) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    const std::wstring name = L"set-exit3010-ndp48-x86-x64-allos-enu";
    std::filesystem::create_directories(BackendFolder() + L"\\files");
    test_support::CopyBuiltProgram(L"net_installer_stub_signed.exe", BackendFolder() + L"\\files",
                                   name);
    const wchar_t kNetKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    const std::wstring url = L"http://127.0.0.1:" + std::wstring(port_.begin(), port_.end()) +
                             L"/files/" + name;
    SetEnvironmentVariableW(L"HOLLIN_NET_URL", url.c_str());
    EXPECT_EQ(Install(L"accept", L"", package.Path()), 0u) << "a silent setup ends with 0";
    SetEnvironmentVariableW(L"HOLLIN_NET_URL", nullptr);
    SetNetFrameworkInstalled();
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
}

// Libraries and tools named like the system's, planted beside setup.exe, stay unused
// through a whole installation, which probes the scheduler and logs the system facts.
TEST_F(Installation, LookalikesBesideSetupAreNotUsed) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"..\\package\\setup.exe");
    const test_support::PlantedLookalikes planted(package.Path());
    EXPECT_EQ(Install(L"accept", L"", package.Path()), 0u);
    EXPECT_EQ(planted.Used(), std::vector<std::string>{});
}

// setup.exe checks the package against the manifest it carries before anything changes:
// a changed library, a missing executable.
TEST_F(Installation, AChangedOrMissingFileOfThePackageChangesNothing) {
    ASSERT_EQ(Install(L"accept"), 0u);
    const MachineState before = MachineState::Take();
    test_support::TempFolder changed;
    CopyPackageWith(changed.Path(), L"..\\package\\setup.exe");
    std::string runtime = ReadFileBytes(changed / L"runtime.dll");
    runtime[runtime.size() / 2] ^= 1;
    ASSERT_EQ(file_sys::WriteWholeFile(changed / L"runtime.dll", runtime), kStatusOk);
    EXPECT_EQ(Install(L"accept", L"", changed.Path()), static_cast<DWORD>(kStatusPackageNotVerified));
    EXPECT_EQ(MachineState::Take(), before);

    test_support::TempFolder missing;
    CopyPackageWith(missing.Path(), L"..\\package\\setup.exe", false);
    EXPECT_EQ(Install(L"accept", L"", missing.Path()), static_cast<DWORD>(kStatusPackageNotVerified));
    EXPECT_EQ(MachineState::Take(), before);
}

// A library planted beside setup.exe in a download folder never reaches the agent.
TEST_F(Installation, AFileBesideSetupThatIsNoPartOfThePackageIsNotDeployed) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"..\\package\\setup.exe");
    ASSERT_EQ(file_sys::WriteWholeFile(package / L"evil.dll", "MZ planted"), kStatusOk);
    ASSERT_EQ(Install(L"accept", L"", package.Path()), 0u);
    std::error_code error;
    for (const std::wstring& root : {kCompanyProgramFolder, kDataFolder}) {
        for (auto it = std::filesystem::recursive_directory_iterator(root, error);
             it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
            EXPECT_NE(it->path().filename().wstring(), L"evil.dll") << Narrow(it->path().wstring());
        }
    }
    EXPECT_TRUE(test_support::FileExists(kProgramFolder + L"\\setup.exe"));
}

// A folder someone made before, open to everyone, and one that is missing: both end with the
// installation's own list, and files already inside lose what the old list passed down.
TEST_F(Installation, DataFoldersGetTheirOwnListWhoeverMadeThem) {
    std::filesystem::create_directories(kDataFolder + L"\\log");
    std::ofstream(std::filesystem::path(kDataFolder + L"\\log\\planted.txt")) << "x";
    UniqueSecurityDescriptor open;
    ASSERT_EQ(security_sys::DescriptorFromSddl(L"D:P(A;OICI;FA;;;WD)", open), kStatusOk);
    PACL everyone = nullptr;
    BOOL present = FALSE, defaulted = FALSE;
    ASSERT_TRUE(GetSecurityDescriptorDacl(open.Get(), &present, &everyone, &defaulted));
    for (const wchar_t* folder : {L"", L"\\log"}) {
        ASSERT_EQ(SetNamedSecurityInfoW(const_cast<wchar_t*>((kDataFolder + folder).c_str()),
                                        SE_FILE_OBJECT,
                                        DACL_SECURITY_INFORMATION |
                                            PROTECTED_DACL_SECURITY_INFORMATION,
                                        nullptr, nullptr, everyone, nullptr),
                  static_cast<DWORD>(ERROR_SUCCESS));
    }

    ASSERT_EQ(Install(L"accept"), 0u);
    EXPECT_TRUE(test_support::FileExists(kDataFolder + L"\\agentconfig.conf"));
    if (!KeepsFolderLists()) {
        GTEST_SKIP() << "this system keeps no access list on a folder: it answers one made up "
                        "from the file's mode bits, whatever was set";
    }
    for (const auto& folder : agent_folders::DataFolderTree(kDataFolder)) {
        std::wstring sddl;
        ASSERT_EQ(security_sys::ReadFolderSecurity(folder.path, sddl), kStatusOk);
        ExpectDataFolderList(sddl, folder.access == agent_folders::kLogFolderAccess);
    }
    std::wstring planted;
    ASSERT_EQ(security_sys::ReadFolderSecurity(kDataFolder + L"\\log\\planted.txt", planted),
              kStatusOk);
    EXPECT_EQ(planted.find(L";WD)"), std::wstring::npos) << Narrow(planted);
}

// A file stands where the log folder belongs. Without a log folder the runtime would log
// nowhere and the installation would go on; it stops before it changes anything instead,
// with the agent still running, and with the status of a folder that is not what it should be.
TEST_F(Installation, NoFolderWhereALogFolderBelongsStopsItBeforeAnyChange) {
    ASSERT_EQ(Install(L"accept"), 0u);
    std::filesystem::remove_all(kDataFolder + L"\\log");
    std::ofstream(std::filesystem::path(kDataFolder + L"\\log")) << "not a folder";
    const MachineState before = MachineState::Take();
    EXPECT_EQ(Install(L"accept", L"-rdid rd-9"), static_cast<DWORD>(kStatusNotFound));
    EXPECT_EQ(MachineState::Take(), before);
    EXPECT_EQ(before.serviceState, static_cast<DWORD>(SERVICE_RUNNING));
}

}  // namespace
