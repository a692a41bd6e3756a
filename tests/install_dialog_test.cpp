#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>
#include <tlhelp32.h>

#include <new>
#include <set>
#include <stdexcept>
#include <utility>
#include <vector>

#include "setup/branding/branding.h"
#include "setup/setup_settings.h"
#include "sys/desktop_shell.h"
#include "sys/file_sys.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/dialog_fixture.h"
#include "tests/support/test_support.h"
#include "tests/support/gdiplus_environment.h"
#include "ui/install_dialog.h"

namespace {

using namespace dialog_driver;
using Ids = std::set<int>;

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

// The window of an installation whose engine is replaced by the seam.
class InstallWindow : public DialogTest<CInstallDialog> {
protected:
    void SetUp() override {
        DialogTest::SetUp();
        ParseCommandLineText(GetSetupSettings(), L"setup.exe /i");
    }
    void TearDown() override {
        SetEvent(release_.Get());  // a failed test leaves no worker waiting
        DialogTest::TearDown();
    }

    void InstallWith(Status result) {
        GetDialogSeams().install = [result](IProgress* progress) {
            progress->Report(Stage::kCopyingFiles);
            return result;
        };
        Open();
        PressMainButtonAndWait();
    }

    // Presses Install on an installation that runs until release_ is set.
    HWND StartBlockedInstallation() {
        release_.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        GetDialogSeams().install = [release = release_.Get()](IProgress* progress) {
            progress->Report(Stage::kCopyingFiles);
            WaitForSingleObject(release, 30000);
            return 0;
        };
        HWND window = Open();
        Press(window, IDC_MAIN_BUTTON);
        EXPECT_TRUE(
            PumpUntil([&] { return Text(window, IDC_STATUS) == L"Copying files..."; }, 5000));
        return window;
    }

    UniqueKernelHandle release_;
};

TEST_F(InstallWindow, ReadyScreen) {
    HWND window = Open();
    EXPECT_EQ(Shown(window), (Ids{IDC_TITLE, IDC_SUBTITLE, IDC_MAIN_BUTTON, IDC_AGREEMENT_LINK}));
    EXPECT_TRUE(Visible(window, IDC_CLOSE_GLYPH));
    EXPECT_EQ(Text(window, IDC_TITLE), L"Business Agent");
    EXPECT_EQ(Text(window, IDC_MAIN_BUTTON), L"Install");
    EXPECT_EQ(Text(window, IDC_SUBTITLE),
              L"Install the Business Agent to remotely manage the device from the cloud platform.");
    // Where the link control reads no links (see below), the text still names both.
    const std::wstring links = Text(window, IDC_AGREEMENT_LINK);
    for (const wchar_t* address : {GetBranding().eulaUrl, GetBranding().privacyPolicyUrl})
        EXPECT_NE(links.find(L"<a href=\"" + std::wstring(address)), std::wstring::npos);
    EXPECT_EQ(Text(window, IDC_VERSION).rfind(L"ver. ", 0), 0u);
    EXPECT_EQ(PictureSize(window, IDC_CLOSE_GLYPH).cx, 20);
    EXPECT_TRUE(Visible(Open(true), IDC_BETA_LABEL));
}

// What the system's own controls get wrong on their own, by common_controls_repro.exe.
constexpr DWORD kLinksLostAfterFont = 1;
constexpr DWORD kBarColoursIgnored = 2;
DWORD SystemControlFaults() {
    static const DWORD faults = test_support::RunAndWait(L"\"" + test_support::BinFolder() +
                                                         L"\\common_controls_repro.exe\"");
    return faults;
}

// The agreement line carries two links, the brand's licence and privacy addresses.
TEST_F(InstallWindow, AgreementLineHasTheBrandsTwoLinks) {
    if (SystemControlFaults() & kLinksLostAfterFont) {
        GTEST_SKIP() << "this system's link control finds no links in a text set after its "
                        "font, outside the program too (common_controls_repro.exe)";
    }
    HWND window = Open();
    Pump(100);
    std::vector<std::wstring> addresses;
    LITEM item{LIF_ITEMINDEX | LIF_URL};
    for (item.iLink = 0; item.iLink < 3; ++item.iLink) {
        if (!SendDlgItemMessageW(window, IDC_AGREEMENT_LINK, LM_GETITEM, 0,
                                 reinterpret_cast<LPARAM>(&item)))
            break;
        addresses.push_back(item.szUrl);
    }
    EXPECT_EQ(addresses,
              (std::vector<std::wstring>{GetBranding().eulaUrl, GetBranding().privacyPolicyUrl}));
}

TEST_F(InstallWindow, NotAdministrator) {
    GetDialogSeams().isAdministrator = [] { return false; };
    HWND window = Open();
    // Only Close, and nothing over it: the agreement line would cover its face.
    EXPECT_EQ(Shown(window), (Ids{IDC_TITLE, IDC_SUBTITLE, IDC_STATUS, IDC_CLOSE_BUTTON}));
    EXPECT_EQ(Text(window, IDC_STATUS),
              L"You must have administrative privileges to install the software.");
    Pump(200);
    EXPECT_EQ(ControlPixel(window, IDC_CLOSE_BUTTON, 8), 0x0070F6u);
    Press(window, IDC_CLOSE_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

// Each result's line, icon and buttons. The first button closes the window, which frees its
// pictures; only Restart now asks for a reboot.
TEST_F(InstallWindow, ResultScreens) {
    const ResultButtons finish{{IDC_CLOSE_BUTTON, L"Finish"}};
    const ResultButtons failed{{IDC_CANCEL_BUTTON, L"Cancel"},
                         {IDC_OPEN_LOG_BUTTON, L"Open install log"}};
    struct Case {
        Status result;
        const wchar_t* status;
        bool success;
        ResultButtons buttons;
    };
    const Case cases[] = {
        {0, L"Installation completed", true, finish},
        {ToStatus(0x10000005),
         L"Installation completed. Restart required.",
         true,
         {{IDC_RESTART_BUTTON, L"Restart now"}, {IDC_CANCEL_BUTTON, L"Finish"}}},
        {ToStatus(0x8000000B), L"Unable to load the policy.", false, failed},
        {ToStatus(0x80000102), L"Unable to load the policy.", false, failed},
        {ToStatus(0x80000052), L"Installation failed. Restart Required", false, failed},
        {ToStatus(0x80000064),
         L"The installation was not completed as this installer is no longer valid. Please "
         L"download a new installer and try again.",
         false, failed},
        {ToStatus(0x80000203), L"Installation failed (80000203)", false, failed},
        // A positive code other than the restart keeps the success screen.
        {1, L"Installation failed (1)", true, finish},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << expected.result);
        InstallWith(expected.result);
        HWND window = dialog_->Window();
        ExpectResultScreen(window, expected.status, expected.success, expected.buttons);
        const int closer = expected.buttons.front().first;
        if (closer == IDC_RESTART_BUTTON) {
            // Finish moved beside Restart now: the pair is centred as Install was.
            const RECT install = ControlRect(window, IDC_MAIN_BUTTON);
            EXPECT_NEAR(
                ControlRect(window, closer).left + ControlRect(window, IDC_CANCEL_BUTTON).right,
                install.left + install.right, 24);
        }
        int reboots = 0;
        GetDialogSeams().requestReboot = [&] { ++reboots; };  // refused: the window still closes
        Press(window, closer);
        EXPECT_TRUE(PumpUntilQuit(5000));
        EXPECT_EQ(reboots, closer == IDC_RESTART_BUTTON ? 1 : 0);

        // The window's pictures go with it.
        std::vector<HGDIOBJ> pictures;
        for (int id : {IDC_CLOSE_GLYPH, IDC_RESULT_ICON})
            pictures.push_back(reinterpret_cast<HGDIOBJ>(
                SendDlgItemMessageW(window, id, STM_GETIMAGE, IMAGE_BITMAP, 0)));
        dialog_.reset();
        for (HGDIOBJ picture : pictures)
            EXPECT_EQ(GetObjectType(picture), 0u) << "a bitmap outlived its window";
    }
}

// What escapes the engine ends its run as a failure the window shows, not the process; what
// escapes the window's own code ends the run.
TEST_F(InstallWindow, ExceptionsEndTheRunAsAFailure) {
    GetDialogSeams().install = [](IProgress*) -> Status { throw std::runtime_error("lost"); };
    Open();
    PressMainButtonAndWait();
    EXPECT_EQ(dialog_->Result(), ToStatus(0x80000044));
    EXPECT_TRUE(dialog_->FailedUnexpectedly());

    InstallWith(ToStatus(0x10000005));
    GetDialogSeams().requestReboot = [] { throw std::bad_alloc(); };
    Press(dialog_->Window(), IDC_RESTART_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_TRUE(dialog_->FailedUnexpectedly());
}

// The bar creeps to its end, rests there one tick and starts again; nothing closes the window.
TEST_F(InstallWindow, InstallingScreen) {
    HWND window = StartBlockedInstallation();
    EXPECT_EQ(Shown(window),
              (Ids{IDC_TITLE, IDC_SUBTITLE, IDC_STATUS, IDC_PROGRESS_BAR, IDC_ANIMATION}));
    EXPECT_EQ(Text(window, IDC_SUBTITLE), L"Installation in progress");
    HWND animation = GetDlgItem(window, IDC_ANIMATION);
    KillTimer(animation, 1);  // ticks sent here instead of waited for
    for (int tick = dialog_->Progress().position; tick < 100; ++tick)
        SendMessageW(animation, WM_TIMER, 1, 0);
    for (int position : {99, 99, 0}) {
        EXPECT_EQ(SendDlgItemMessageW(window, IDC_PROGRESS_BAR, PBM_GETPOS, 0, 0), position);
        SendMessageW(animation, WM_TIMER, 1, 0);
    }

    // Close glyph, Alt+F4 and the other closing commands do nothing now.
    for (int id : {IDC_CLOSE_GLYPH, IDC_CLOSE_BUTTON, IDC_CANCEL_BUTTON, IDC_RESTART_BUTTON})
        Press(window, id);
    PostMessageW(window, WM_CLOSE, 0, 0);
    PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
    EXPECT_FALSE(PumpUntilQuit(500));
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_TRUE(dialog_->InProgress());

    SetEvent(release_.Get());
    ASSERT_TRUE(PumpUntil([&] { return !dialog_->InProgress(); }, 10000));
    Press(window, IDC_CLOSE_GLYPH);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

TEST_F(InstallWindow, ProgressBarInTheProgramsColours) {
    if (SystemControlFaults() & kBarColoursIgnored) {
        GTEST_SKIP() << "this system's progress bar ignores the colours it is given, outside "
                        "the program too (common_controls_repro.exe)";
    }
    HWND window = StartBlockedInstallation();
    HWND bar = GetDlgItem(window, IDC_PROGRESS_BAR);
    KillTimer(GetDlgItem(window, IDC_ANIMATION), 1);
    SendMessageW(bar, PBM_SETPOS, 50, 0);
    UpdateWindow(bar);
    Pump(100);
    EXPECT_EQ(ControlPixel(window, IDC_PROGRESS_BAR, 4), 0x0070F6u) << "filled part";
    EXPECT_EQ(ControlPixel(window, IDC_PROGRESS_BAR, -4), 0x050505u) << "empty part";
}

TEST_F(InstallWindow, OpenInstallLogOpensTheInstallersLog) {
    std::wstring opened;
    GetDialogSeams().shellOpen = [&](const std::wstring& target, int) { opened = target; };
    InstallWith(ToStatus(0x80000203));
    Press(dialog_->Window(), IDC_OPEN_LOG_BUTTON);
    Pump(100);
    EXPECT_EQ(opened, file_sys::GetCommonAppDataFolder() +
                          L"\\ZELKO Software\\Business Agent\\log\\agentinstaller.log");
    EXPECT_TRUE(IsWindowVisible(dialog_->Window()));
}

// The elevated setup never starts a viewer itself: the desktop's shell does, as the
// desktop's user. A command file stands in for the viewer: it leaves a marker and waits.
TEST_F(InstallWindow, AFileIsOpenedByTheDesktopsShell) {
    test_support::TempFolder folder;
    const std::wstring file = folder / L"viewer.cmd";
    const std::string marker = test_support::Narrow(folder / L"opened.txt");
    ASSERT_EQ(file_sys::WriteWholeFile(
                  file, "echo opened> \"" + marker + "\"\r\nping -n 6 127.0.0.1 >nul\r\n"),
              kStatusOk);
    ASSERT_EQ(desktop_shell::OpenAsDesktopUser(file, SW_SHOWDEFAULT), kStatusOk);
    EXPECT_TRUE(PumpUntil([&] { return test_support::FileExists(folder / L"opened.txt"); }, 10000));
    const UniqueFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{sizeof(entry)};
    DWORD parent = 0;
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more && parent == 0;
         more = Process32NextW(snapshot.Get(), &entry))
        if (_wcsicmp(entry.szExeFile, L"cmd.exe") == 0)
            parent = entry.th32ParentProcessID;
    EXPECT_NE(parent, 0u) << "no viewer runs";
    EXPECT_NE(parent, GetCurrentProcessId());
}

// setup.exe itself, windowed, installing against the testbed backend.
class WindowedSetup : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = agent_machine::BackendPort();
        ASSERT_FALSE(port_.empty()) << "the backend does not run";
        agent_machine::SetNetFrameworkInstalled();
        agent_machine::CleanMachine();
        agent_machine::CopyPackageWith(package_.Path(), L"..\\package\\setup.exe");
    }
    void TearDown() override { agent_machine::CleanMachine(); }

    // The command line of a windowed installation whose invite is answered so.
    std::wstring Command(const wchar_t* answer) const {
        return L"\"" + package_.Path() +
               L"\\setup.exe\" /i -tok windowed-test-token-0123456789abcdef -svr "
               L"http://127.0.0.1:" +
               std::wstring(port_.begin(), port_.end()) + L"/windowed/" + answer;
    }

    std::string port_;
    test_support::TempFolder package_;
    // Wine reports no active session; this library in the system folder does.
    test_support::ActiveSessionLibrary session_;
};

TEST_F(WindowedSetup, InstallsAndCloses) {
    WindowedProgram setup(Command(L"accept"));
    HWND window = setup.WaitForDialog(30000);
    ASSERT_NE(window, nullptr);
    Press(window, IDC_MAIN_BUTTON);
    ASSERT_TRUE(WaitUntil(
        [&] { return Visible(window, IDC_CLOSE_BUTTON) || Visible(window, IDC_OPEN_LOG_BUTTON); },
        240000));
    EXPECT_EQ(Text(window, IDC_STATUS), L"Installation completed");
    EXPECT_EQ(service_sys::GetServiceState(L"ClientManager"), static_cast<DWORD>(SERVICE_RUNNING));
    Press(window, IDC_CLOSE_BUTTON);
    EXPECT_EQ(setup.WaitForExit(30000), 0u);
}

// An ordinary taskkill posts a close message to every top-level window of the process,
// the hidden one included, while the worker is still sending status texts.
TEST_F(WindowedSetup, AskedToCloseWhileInstallingItFinishesTheWorkAndEnds) {
    WindowedProgram setup(Command(L"slow"));
    HWND window = setup.WaitForDialog(30000);
    ASSERT_NE(window, nullptr);
    Press(window, IDC_MAIN_BUTTON);
    ASSERT_TRUE(WaitUntil([&] { return Visible(window, IDC_STATUS); }, 30000));
    for (HWND top = nullptr; (top = FindWindowExW(nullptr, top, nullptr, nullptr)) != nullptr;) {
        DWORD owner = 0;
        GetWindowThreadProcessId(top, &owner);
        if (owner == setup.ProcessId())
            PostMessageW(top, WM_CLOSE, 0, 0);
    }
    EXPECT_EQ(setup.WaitForExit(120000), 0u);
    EXPECT_EQ(service_sys::GetServiceState(L"ClientManager"), static_cast<DWORD>(SERVICE_RUNNING));
}

}  // namespace
