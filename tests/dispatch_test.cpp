#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "app/entry.h"
#include "sys/owner_rule.h"
#include "sys/security_sys.h"
#include "tests/support/fake_setup2.h"
#include "tests/support/agent_machine.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/test_support.h"
#include "tests/testbed/agentsvc.h"

namespace {

using test_support::CopyBuiltProgram;
using test_support::Narrow;
using test_support::RunAndWait;

// Each case runs a fresh copy of the shipped setup.exe in a folder of its own.
class Dispatch : public ::testing::Test {
protected:
    void SetUp() override {
        CopyBuiltProgram(L"..\\package\\setup.exe", folder_.Path(), L"setup.exe");
    }

    DWORD RunSetupExe(const std::wstring& arguments) {
        return RunAndWait(L"\"" + SetupPath() + L"\" " + arguments);
    }
    std::wstring SetupPath() const { return folder_ / L"setup.exe"; }

    // What the stand-in setup2.exe recorded: its command-line tail and current folder.
    std::wstring Setup2Record() const {
        std::string bytes = test_support::ReadFileBytes(folder_ / L"setup2-run.txt");
        return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()),
                            bytes.size() / sizeof(wchar_t));
    }

    test_support::TempFolder folder_;
};

TEST_F(Dispatch, UnparsableCommandLinesEndWithMissingParameters) {
    const DWORD missing = static_cast<DWORD>(kStatusMissingParameters);
    EXPECT_EQ(RunAndWait(L"\"" + SetupPath() + L"\""), missing);
    EXPECT_EQ(RunSetupExe(L"/x"), missing);
    EXPECT_EQ(RunSetupExe(L"/u -sil 1 -password abc"), missing);
    // A line break in a value that goes into agentconfig.conf would write keys of its own.
    EXPECT_EQ(RunSetupExe(L"/i -result " + folder_ / L"r.json" +
                          L" -sil 1 -tok \"t\nregister_required=1\""),
              missing);
    EXPECT_EQ(agent_machine::RecordSummary(folder_ / L"r.json"), "bad-command-line 0x00000000 -");
    EXPECT_EQ(RunSetupExe(L"/i -sil 1 -tok t -svr \"http://b\r\nproxy_enabled=1\""), missing);
}

TEST_F(Dispatch, BrandIdsOneAndTwoHandOverToSetup2) {
    EXPECT_EQ(RunSetupExe(L"/u -bid 2"), static_cast<DWORD>(kStatusCannotStartProgram));

    CopyBuiltProgram(L"fake_setup2.exe", folder_.Path(), L"setup2.exe");
    const std::wstring tail = L"/u -bid 2  -tok \"a b\" -x";
    EXPECT_EQ(RunSetupExe(tail), kSetup2ExitCode);
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    EXPECT_EQ(Setup2Record(), tail + L"\n" + system);

    // The hand-over comes before the clone run and before the instance check.
    HANDLE instance = CreateMutexW(nullptr, FALSE, kSetupInstanceMutex);
    EXPECT_EQ(RunSetupExe(L"c -bid 1"), kSetup2ExitCode);
    EXPECT_EQ(Setup2Record().substr(0, 8), L"c -bid 1");
    CloseHandle(instance);
}

TEST_F(Dispatch, CloneRunStartsTheAgentBesideSetup) {
    EXPECT_EQ(RunSetupExe(L"c"), static_cast<DWORD>(kStatusCannotStartProgram));
    CopyBuiltProgram(L"agentsvc.exe", folder_.Path());
    EXPECT_EQ(RunSetupExe(L"c"), kCloneExitCode);
    EXPECT_EQ(RunSetupExe(L"/i -c -sil 1"), kCloneExitCode);
}

TEST_F(Dispatch, BuildWithoutBrandRefusesToInstall) {
    CopyBuiltProgram(L"setup_unbranded.exe", folder_.Path(), L"setup.exe");
    EXPECT_EQ(RunSetupExe(L"/i -sil 1"), static_cast<DWORD>(kStatusUnknownBrand));
}

TEST_F(Dispatch, OneSetupPerSession) {
    HANDLE instance = CreateMutexW(nullptr, FALSE, kSetupInstanceMutex);
    ASSERT_NE(instance, nullptr);
    EXPECT_EQ(RunSetupExe(L"/i -sil 1"), kExitAlreadyRunning);
    EXPECT_EQ(RunSetupExe(L"/u"), kExitAlreadyRunning);
    EXPECT_EQ(RunSetupExe(L"/i -sil 1 -tok secret-7 -exitcodes msi -result " + folder_ / L"r.json" +
                          L" -log " + folder_ / L"copy.log"),
              1618u)
        << "retry, as a deployment tool reads it";
    EXPECT_EQ(agent_machine::RecordSummary(folder_ / L"r.json", "secret-7"), "busy 0x00000000 -");
    const std::string copy = test_support::ReadFileBytes(folder_ / L"copy.log");
    EXPECT_NE(copy.find("Another setup is running"), std::string::npos) << copy;
    EXPECT_EQ(copy.find("secret-7"), std::string::npos);
    CloseHandle(instance);

    // A silent uninstall needs the running agent's mutex.
    EXPECT_EQ(RunSetupExe(L"/u -sil 1"), kExitAgentNotRunning);
    EXPECT_EQ(RunSetupExe(L"/u -sil 1 -exitcodes MSI -result " + folder_ / L"r.json"),
              kExitAgentNotRunning);
    EXPECT_EQ(agent_machine::RecordSummary(folder_ / L"r.json"), "nothing-to-do 0x00000000 -");

    // A mutex of the name that grants nobody access was made to block setups, not by one.
    security_sys::UniqueSecurityDescriptor locked;
    ASSERT_EQ(security_sys::DescriptorFromSddl(L"D:P", locked), kStatusOk);
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), locked.Get(), FALSE};
    const UniqueKernelHandle squatted(CreateMutexW(&attributes, FALSE, kSetupInstanceMutex));
    ASSERT_TRUE(squatted);
    EXPECT_EQ(RunSetupExe(L"/u -sil 1"), kExitAgentNotRunning);
}

TEST(OwnerRule, OnlyAdministratorsAndThisSetupsOwnAccountsMadeIt) {
    const std::vector<std::wstring> own = {L"S-1-5-21-1-2-3-1001", L"S-1-5-32-544"};
    for (const wchar_t* owner : {L"S-1-5-18", L"S-1-5-32-544", L"S-1-5-21-1-2-3-1001"}) {
        EXPECT_TRUE(owner_rule::IsAdministrativeOwner(owner, own)) << Narrow(owner);
    }
    for (const wchar_t* owner : {L"S-1-5-21-1-2-3-1002", L"S-1-5-32-545", L""}) {
        EXPECT_FALSE(owner_rule::IsAdministrativeOwner(owner, own)) << Narrow(owner);
    }
}

// The system reports this session active: a run without "sil" takes the windowed branch.
class WindowedDispatch : public Dispatch {
protected:
    test_support::ActiveSessionLibrary session_;
};

// The window needs every library setup.exe delay-loads; planted copies beside it stay unused,
// the session enumeration too: the window opens because the system folder's reports it active.
TEST_F(WindowedDispatch, ActiveSessionRunsWindowedWithoutLibrariesBesideSetup) {
    test_support::PlantedLookalikes planted(folder_.Path());
    dialog_driver::WindowedProgram setup(L"\"" + SetupPath() + L"\" /i");
    HWND window = setup.WaitForDialog(30000);
    ASSERT_NE(window, nullptr);
    PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(setup.WaitForExit(30000), 0u);
    EXPECT_EQ(planted.Used(), std::vector<std::string>{});
    EXPECT_EQ(RunSetupExe(L"/u -silent"), kExitAgentNotRunning);
}

// Setups started at one moment race for the instance mutex: exactly one may win.
TEST_F(WindowedDispatch, OfSeveralStartedAtOnceExactlyOneRuns) {
    std::vector<std::unique_ptr<dialog_driver::WindowedProgram>> setups;
    for (int i = 0; i < 6; ++i) {
        setups.push_back(
            std::make_unique<dialog_driver::WindowedProgram>(L"\"" + SetupPath() + L"\" /i", true));
        ASSERT_TRUE(setups.back()->Started());
    }
    for (const auto& setup : setups) {
        setup->Resume();
    }
    const auto running = [](const auto& setup) { return setup->StillRunning(); };
    dialog_driver::WaitUntil(
        [&] { return std::count_if(setups.begin(), setups.end(), running) <= 1; }, 30000);
    ASSERT_EQ(std::count_if(setups.begin(), setups.end(), running), 1);
    for (const auto& setup : setups) {
        if (!setup->StillRunning()) {
            EXPECT_EQ(setup->WaitForExit(0), kExitAlreadyRunning);
        }
    }
    const auto& winner = *std::find_if(setups.begin(), setups.end(), running);
    HWND window = winner->WaitForDialog(30000);
    ASSERT_NE(window, nullptr);
    PostMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_EQ(winner->WaitForExit(30000), 0u);
}

}  // namespace
