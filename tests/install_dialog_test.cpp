#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <atomic>
#include <memory>

#include "setup/setup_settings.h"
#include "sys/file_sys.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/dialog_fixture.h"
#include "tests/support/test_support.h"
#include "tests/support/gdiplus_environment.h"
#include "ui/dialog_seams.h"
#include "ui/install_dialog.h"
#include "ui/localisation.h"

namespace {

using namespace dialog_driver;

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

// The window of an installation whose engine is replaced by the seam.
class InstallWindow : public DialogTest<CInstallDialog> {
protected:
    void SetUp() override {
        DialogTest::SetUp();
        ParseCommandLineText(GetSetupSettings(), L"setup.exe /i");
    }

    // Presses Install and waits for the completion notice.
    void InstallWith(Status result) {
        GetDialogSeams().install = [result](IProgressCallback* progress) {
            progress->SetStatusText(L"Copying files...");
            return result;
        };
        Open();
        PressMainButtonAndWait();
    }

    // An installation that runs until release is set.
    static void BlockInstallationUntil(HANDLE release) {
        GetDialogSeams().install = [release](IProgressCallback* progress) {
            progress->SetStatusText(L"Copying files...");
            WaitForSingleObject(release, 30000);
            return 0;
        };
    }
};

TEST_F(InstallWindow, ReadyScreen) {
    HWND window = Open();
    EXPECT_EQ(Text(window, 1114), L"Business Agent");
    EXPECT_EQ(Text(window, 1113), L"Install");
    EXPECT_TRUE(Visible(window, 1113));
    EXPECT_TRUE(Visible(window, 1117));
    EXPECT_TRUE(Visible(window, 1074));
    EXPECT_FALSE(Visible(window, 1035));
    EXPECT_FALSE(Visible(window, 1048));
    EXPECT_FALSE(Visible(window, 2001));
    EXPECT_EQ(Text(window, 1056), LoadUiString(346));
    const std::wstring links = Text(window, 1117);
    EXPECT_NE(links.find(L"<a href=\"https://"), std::wstring::npos) << test_support::Narrow(links);
    EXPECT_EQ(Text(window, 1115).rfind(L"ver. ", 0), 0u);
    EXPECT_EQ(PictureSize(window, 1074).cx, 20);
}

TEST_F(InstallWindow, NotAdministrator) {
    GetDialogSeams().isAdministrator = [] { return false; };
    HWND window = Open();
    EXPECT_FALSE(Visible(window, 1113));
    EXPECT_TRUE(Visible(window, 1048));
    EXPECT_TRUE(Visible(window, 1075));
    EXPECT_EQ(Text(window, 1048),
              L"You must have administrative privileges to install the software.");
    Press(window, 1075);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

TEST_F(InstallWindow, ResultScreens) {
    struct Case {
        Status result;
        const wchar_t* status;
        bool success;
    };
    const Case cases[] = {
        {0, L"Installation completed", true},
        {ToStatus(0x8000000B), L"Unable to load the policy.", false},
        {ToStatus(0x80000102), L"Unable to load the policy.", false},
        {ToStatus(0x80000052), L"Installation failed. Restart Required", false},
        {ToStatus(0x80000064),
         L"The installation was not completed as this installer is no longer valid. Please "
         L"download a new installer and try again.",
         false},
        {ToStatus(0x80000203), L"Installation failed (80000203)", false},
        // A positive code other than the restart keeps the success screen.
        {1, L"Installation failed (1)", true},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << expected.result);
        InstallWith(expected.result);
        HWND window = dialog_->Window();
        EXPECT_EQ(Text(window, 1048), expected.status);
        EXPECT_TRUE(Visible(window, 1048));
        EXPECT_TRUE(Visible(window, 1118));
        EXPECT_FALSE(Visible(window, 1056));
        EXPECT_FALSE(Visible(window, 1035));
        EXPECT_FALSE(Visible(window, 1113));
        EXPECT_FALSE(Visible(window, 1119));
        EXPECT_TRUE(
            SameSize(PictureSize(window, 1118), expected.success ? kSuccessIcon : kFailureIcon));
        EXPECT_EQ(Visible(window, 1075), expected.success);
        EXPECT_EQ(Visible(window, 1077), !expected.success);
        EXPECT_EQ(Visible(window, 1076), !expected.success);
        if (expected.success) {
            EXPECT_EQ(Text(window, 1075), L"Finish");
        } else {
            EXPECT_EQ(Text(window, 1077), L"Open install log");
            EXPECT_EQ(Text(window, 1076), L"Cancel");
        }
    }
}

TEST_F(InstallWindow, RestartRequiredScreen) {
    InstallWith(ToStatus(0x10000005));
    HWND window = dialog_->Window();
    EXPECT_EQ(Text(window, 1048), L"Installation completed. Restart required.");
    EXPECT_TRUE(SameSize(PictureSize(window, 1118), kSuccessIcon));
    EXPECT_FALSE(Visible(window, 1075));
    EXPECT_TRUE(Visible(window, 1076));
    EXPECT_EQ(Text(window, 1076), L"Finish");
    EXPECT_TRUE(Visible(window, 1119));
    EXPECT_EQ(Text(window, 1119), L"Restart now");
    // Finish moved left, beside Restart now.
    HWND probe = CreateDialogParamW(
        GetModuleHandleW(nullptr), MAKEINTRESOURCEW(110), nullptr,
        [](HWND, UINT, WPARAM, LPARAM) -> INT_PTR { return 0; }, 0);
    EXPECT_EQ(Position(window, 1076).x, Position(probe, 1076).x - 45);
    DestroyWindow(probe);

    // A refused reboot still closes the window.
    int reboots = 0;
    GetDialogSeams().requestReboot = [&] { ++reboots; };
    Press(window, 1119);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_EQ(reboots, 1);
}

TEST_F(InstallWindow, ClosingIsRefusedWhileInstalling) {
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    BlockInstallationUntil(release);
    HWND window = Open();
    Press(window, 1113);
    ASSERT_TRUE(PumpUntil([&] { return Text(window, 1048) == L"Copying files..."; }, 5000));
    EXPECT_TRUE(Visible(window, 1035));
    EXPECT_EQ(Text(window, 1056), L"Installation in progress");

    // Close glyph, Alt+F4 and the other closing commands do nothing now.
    for (int id : {1074, 1075, 1076, 1119})
        Press(window, id);
    PostMessageW(window, WM_CLOSE, 0, 0);
    PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
    EXPECT_FALSE(PumpUntilQuit(500));
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_TRUE(dialog_->InProgress());

    SetEvent(release);
    ASSERT_TRUE(PumpUntil([&] { return !dialog_->InProgress(); }, 10000));
    Press(window, 1074);
    EXPECT_TRUE(PumpUntilQuit(5000));
    CloseHandle(release);
}

TEST_F(InstallWindow, ProgressBarWrapsAround) {
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    BlockInstallationUntil(release);
    HWND window = Open();
    Press(window, 1113);
    ASSERT_TRUE(PumpUntil([&] { return dialog_->InProgress(); }, 5000));
    HWND animation = GetDlgItem(window, 1080);
    HWND bar = GetDlgItem(window, 1035);
    // Ticks counted here instead of waited for.
    KillTimer(animation, 1);
    const int start = dialog_->Progress().position;
    for (int tick = start; tick < 100; ++tick)
        SendMessageW(animation, WM_TIMER, 1, 0);
    EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 99);
    EXPECT_EQ(dialog_->Progress().position, 100);
    SendMessageW(animation, WM_TIMER, 1, 0);
    EXPECT_EQ(dialog_->Progress().position, 0);
    EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 99);
    SendMessageW(animation, WM_TIMER, 1, 0);
    EXPECT_EQ(SendMessageW(bar, PBM_GETPOS, 0, 0), 0);
    SetEvent(release);
    ASSERT_TRUE(PumpUntil([&] { return !dialog_->InProgress(); }, 10000));
    EXPECT_FALSE(Visible(window, 1035));
    CloseHandle(release);
}

TEST_F(InstallWindow, OpenInstallLogOpensTheInstallersLog) {
    std::wstring opened;
    GetDialogSeams().shellOpen = [&](const std::wstring& target, int) { opened = target; };
    InstallWith(ToStatus(0x80000203));
    Press(dialog_->Window(), 1077);
    Pump(100);
    EXPECT_EQ(opened, file_sys::GetCommonAppDataFolder() +
                          L"\\ZELKO Software\\Business Agent\\log\\agentinstaller.log");
    EXPECT_TRUE(IsWindowVisible(dialog_->Window()));
}

TEST_F(InstallWindow, BetaBadge) {
    HWND window = Open(true);
    EXPECT_TRUE(Visible(window, 2001));
}

// setup.exe itself, windowed, installing against the testbed backend.
TEST(WindowedSetup, InstallsAndCloses) {
    using namespace agent_machine;
    const std::string port = BackendPort();
    ASSERT_FALSE(port.empty()) << "the backend does not run";
    SetNetFrameworkInstalled();
    CleanMachine();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"..\\package\\setup.exe");
    // Wine reports no active session; this library beside setup.exe does.
    test_support::CopyBuiltProgram(L"session_active\\wtsapi32.dll", package.Path(),
                                   L"wtsapi32.dll");
    const wchar_t kOverrides[] = L"Software\\Wine\\AppDefaults\\setup.exe\\DllOverrides";
    ASSERT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kOverrides, L"wtsapi32", REG_SZ, L"native,builtin",
                              sizeof(L"native,builtin")),
              ERROR_SUCCESS);

    const std::wstring url =
        L"http://127.0.0.1:" + std::wstring(port.begin(), port.end()) + L"/windowed/accept";
    const std::wstring command =
        L"\"" + package.Path() +
        L"\\setup.exe\" /i -tok windowed-test-token-0123456789abcdef -svr " + url;
    WindowedProgram setup(command);
    HWND window = setup.WaitForDialog(30000);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(Text(window, 1113), L"Install");

    // A second windowed setup in this session ends at once.
    EXPECT_EQ(test_support::RunAndWait(command, 30000), 1u);

    Press(window, 1113);
    ASSERT_TRUE(WaitUntil([&] { return Visible(window, 1075) || Visible(window, 1077); }, 240000));
    EXPECT_EQ(Text(window, 1048), L"Installation completed");
    EXPECT_EQ(Text(window, 1075), L"Finish");
    EXPECT_EQ(service_sys::GetServiceState(L"ClientManager"), static_cast<DWORD>(SERVICE_RUNNING));
    Press(window, 1075);
    EXPECT_EQ(setup.WaitForExit(30000), 0u);
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\setup.exe");
    CleanMachine();
}

}  // namespace
