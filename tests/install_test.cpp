#include <gtest/gtest.h>

#include <json/json.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <map>
#include <sstream>

#include "sys/process_sys.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/test_support.h"

namespace {

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

std::vector<std::wstring> ValueNames(const std::wstring& key) {
    std::vector<std::wstring> names;
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS) {
        return names;
    }
    wchar_t name[256];
    for (DWORD index = 0;; ++index) {
        DWORD length = 256;
        if (RegEnumValueW(opened, index, name, &length, nullptr, nullptr, nullptr, nullptr) !=
            ERROR_SUCCESS) {
            break;
        }
        names.emplace_back(name);
    }
    RegCloseKey(opened);
    return names;
}

// What an administrator would compare before and after a failed installation.
struct MachineState {
    std::map<std::wstring, std::string> programFiles;  // name and content
    std::string config;
    std::wstring imagePath;
    std::wstring displayName;
    DWORD startType = 0;
    DWORD serviceState = 0;
    std::map<std::wstring, std::wstring> agentValues;

    bool operator==(const MachineState&) const = default;

    friend void PrintTo(const MachineState& state, std::ostream* out) {
        *out << "{files:";
        for (const auto& [name, content] : state.programFiles) {
            *out << " " << test_support::Narrow(name) << "(" << content.size() << ")";
        }
        *out << "; config " << state.config.size() << " bytes; service "
             << test_support::Narrow(state.imagePath) << " start " << state.startType
             << " state " << state.serviceState << "; values:";
        for (const auto& [name, value] : state.agentValues) {
            *out << " " << test_support::Narrow(name) << "=" << test_support::Narrow(value);
        }
        *out << "}";
    }

    static MachineState Take() {
        MachineState state;
        for (const auto& entry : std::filesystem::directory_iterator(kProgramFolder)) {
            state.programFiles[entry.path().filename().wstring()] =
                ReadFileBytes(entry.path().wstring());
        }
        state.config = ReadFileBytes(kDataFolder + L"\\agentconfig.conf");
        state.imagePath = service_sys::GetImagePath(L"ClientManager");
        service_sys::GetServiceDisplayNameW(L"ClientManager", state.displayName);
        service_sys::ServiceStartMode mode{};
        service_sys::GetStartMode(L"ClientManager", mode);
        state.startType = mode;
        WaitForAgentState(SERVICE_RUNNING);
        state.serviceState = service_sys::GetServiceState(L"ClientManager");
        for (const std::wstring& name : ValueNames(kAgentKey)) {
            state.agentValues[name] = ReadText(HKEY_LOCAL_MACHINE, kAgentKey, name.c_str());
        }
        return state;
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

    // Wine lists values by name, not in the order they were written: compare the sets.
    std::vector<std::wstring> names = ValueNames(kUninstallKey);
    std::vector<std::wstring> expected = {L"DisplayName",    L"UninstallString", L"Publisher",
                                          L"DisplayIcon",    L"DisplayVersion",  L"HelpLink",
                                          L"NoModify",       L"NoRepair",        L"VersionMajor",
                                          L"VersionMinor",   L"Version",         L"InstallLocation"};
    std::sort(names.begin(), names.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names, expected);
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kUninstallKey, L"UninstallString"),
              L"\"" + kProgramFolder + L"\\setup.exe\" /u -lid \"11\"");
    EXPECT_EQ(ReadNumber(kUninstallKey, L"NoModify"), 1u);
    EXPECT_EQ(ReadNumber(kUninstallKey, L"NoRepair"), 1u);
    EXPECT_EQ(ReadText(HKEY_LOCAL_MACHINE, kUninstallKey, L"InstallLocation"), kProgramFolder);

    const std::string config = ReadFileBytes(kDataFolder + L"\\agentconfig.conf");
    EXPECT_NE(config.find("token=" + test_support::Narrow(kToken) + "\n"), std::string::npos);
    EXPECT_EQ(config.find("register_required"), std::string::npos);
    EXPECT_FALSE(test_support::FileExists(kDataFolder + L"\\setup\\agentconfig.conf"));
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
    EXPECT_EQ(before.serviceState, static_cast<DWORD>(SERVICE_RUNNING));
}

TEST_F(Installation, AgentFilesPendingRemovalStopEverything) {
    const std::wstring entries = L"\\??\\" + kProgramFolder + L".abcdef.delete\\x.dll" +
                                 std::wstring(1, L'\0') + std::wstring(1, L'\0') +
                                 std::wstring(1, L'\0');
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(),
                              L"PendingFileRenameOperations", REG_MULTI_SZ, entries.c_str(),
                              static_cast<DWORD>(entries.size() * sizeof(wchar_t))),
              ERROR_SUCCESS);
    EXPECT_EQ(Install(L"accept"), static_cast<DWORD>(0x80000052));
    EXPECT_FALSE(test_support::FileExists(kProgramFolder));
    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"), L"");
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
    // A rolled-back installation drops the deployment id on purpose; all else is as before.
    MachineState expected = before;
    expected.agentValues.erase(L"DeploymentId");
    EXPECT_EQ(MachineState::Take(), expected);
}

// Steps that no real condition makes fail here fail through the installation's seam, in a
// package whose setup program is the fault-injecting stand-in.
TEST_F(Installation, RolledBackAfterEachFailingStep) {
    ASSERT_EQ(Install(L"accept"), 0u);
    const MachineState before = MachineState::Take();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    for (const wchar_t* step : {L"copy", L"config-copy", L"service", L"recovery", L"start"}) {
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", step);
        EXPECT_EQ(Install(L"accept", L"", package.Path()), 0x8000FA17u) << Narrow(step);
        EXPECT_EQ(MachineState::Take(), before) << Narrow(step);
    }
    SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);

    // Without .NET Framework 4.8 the installer is fetched from an address that does not
    // answer here, a real failure after the previous folder was moved aside.
    const wchar_t kNetKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    EXPECT_TRUE(Failed(static_cast<Status>(Install(L"accept"))));
    SetNetFrameworkInstalled();
    EXPECT_EQ(MachineState::Take(), before);
}

TEST_F(Installation, NetFrameworkAskingForARestartCompletesTheInstallation) {
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    const std::wstring name = L"set-exit3010-ndp48-x86-x64-allos-enu";
    std::filesystem::create_directories(BackendFolder() + L"\\files");
    test_support::CopyBuiltProgram(L"net_installer_stub.exe", BackendFolder() + L"\\files", name);
    const wchar_t kNetKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kNetKey, L"Release");
    const std::wstring url = L"http://127.0.0.1:" + std::wstring(port_.begin(), port_.end()) +
                             L"/files/" + name;
    SetEnvironmentVariableW(L"HOLLIN_NET_URL", url.c_str());
    EXPECT_EQ(Install(L"accept", L"", package.Path()), 0x10000005u);
    SetEnvironmentVariableW(L"HOLLIN_NET_URL", nullptr);
    SetNetFrameworkInstalled();
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
}

TEST_F(Installation, RolledBackWhenTheServiceCannotStart) {
    ASSERT_EQ(Install(L"accept"), 0u);
    const MachineState before = MachineState::Take();
    // A package without the agent's executable registers a service that cannot start.
    test_support::TempFolder broken;
    CopyPackageWith(broken.Path(), L"..\\package\\setup.exe", false);
    EXPECT_EQ(Install(L"accept", L"", broken.Path()), static_cast<DWORD>(0x80000052));
    EXPECT_EQ(MachineState::Take(), before);
}

}  // namespace
