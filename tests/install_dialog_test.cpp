#include <gtest/gtest.h>

#include <windows.h>
#include <commctrl.h>

#include <new>
#include <stdexcept>
#include <vector>

#include "resources/resource.h"
#include "setup/branding/branding.h"
#include "setup/setup_settings.h"
#include <tlhelp32.h>

#include "sys/desktop_shell.h"
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
        GetDialogSeams().install = [result](IProgress* progress) {
            progress->Report(Stage::kCopyingFiles);
            return result;
        };
        Open();
        PressMainButtonAndWait();
    }

    void TearDown() override {
        SetEvent(release_.Get());  // a failed test leaves no worker waiting
        DialogTest::TearDown();
    }

    // Presses Install on an installation that runs until Release.
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

    void Release() {
        SetEvent(release_.Get());
        ASSERT_TRUE(PumpUntil([&] { return !dialog_->InProgress(); }, 10000));
    }

    UniqueKernelHandle release_;
};

TEST_F(InstallWindow, ReadyScreen) {
    HWND window = Open();
    EXPECT_EQ(Text(window, IDC_TITLE), L"Business Agent");
    EXPECT_EQ(Text(window, IDC_MAIN_BUTTON), L"Install");
    EXPECT_TRUE(Visible(window, IDC_MAIN_BUTTON));
    EXPECT_TRUE(Visible(window, IDC_AGREEMENT_LINK));
    EXPECT_TRUE(Visible(window, IDC_CLOSE_GLYPH));
    EXPECT_FALSE(Visible(window, IDC_PROGRESS_BAR));
    EXPECT_FALSE(Visible(window, IDC_STATUS));
    EXPECT_FALSE(Visible(window, IDC_BETA_LABEL));
    EXPECT_EQ(Text(window, IDC_SUBTITLE), LoadUiString(346));
    const std::wstring links = Text(window, IDC_AGREEMENT_LINK);
    EXPECT_NE(links.find(L"<a href=\"https://"), std::wstring::npos) << test_support::Narrow(links);
    EXPECT_EQ(Text(window, IDC_VERSION).rfind(L"ver. ", 0), 0u);
    EXPECT_EQ(PictureSize(window, IDC_CLOSE_GLYPH).cx, 20);
    EXPECT_TRUE(Visible(Open(true), IDC_BETA_LABEL));
}

// What the system's own controls get wrong on their own, by common_controls_repro.exe.
constexpr DWORD kLinksLostAfterFont = 1;
constexpr DWORD kBarColoursIgnored = 2;
DWORD SystemControlFaults() {
    static const DWORD faults = test_support::RunAndWait(
        L"\"" + test_support::BinFolder() + L"\\common_controls_repro.exe\"");
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
    for (int index = 0; index < 3; ++index) {
        LITEM item{};
        item.mask = LIF_ITEMINDEX | LIF_URL;
        item.iLink = index;
        if (!SendDlgItemMessageW(window, IDC_AGREEMENT_LINK, LM_GETITEM, 0,
                                 reinterpret_cast<LPARAM>(&item)))
            break;
        addresses.push_back(item.szUrl);
    }
    const CAgentBranding& brand = GetBranding();
    EXPECT_EQ(addresses, (std::vector<std::wstring>{brand.eulaUrl,
                                                    brand.privacyPolicyUrl}));
}

TEST_F(InstallWindow, NotAdministrator) {
    GetDialogSeams().isAdministrator = [] { return false; };
    HWND window = Open();
    EXPECT_FALSE(Visible(window, IDC_MAIN_BUTTON));
    EXPECT_TRUE(Visible(window, IDC_STATUS));
    EXPECT_TRUE(Visible(window, IDC_CLOSE_BUTTON));
    EXPECT_EQ(Text(window, IDC_STATUS),
              L"You must have administrative privileges to install the software.");
    // The Close button shows its face: nothing lies over it.
    EXPECT_FALSE(Visible(window, IDC_AGREEMENT_LINK));
    Pump(200);
    const RECT close = ControlRect(window, IDC_CLOSE_BUTTON);
    EXPECT_EQ(ControlPixel(window, IDC_CLOSE_BUTTON, {8, (close.bottom - close.top) / 2}),
              0x0070F6u);
    Press(window, IDC_CLOSE_BUTTON);
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
        EXPECT_EQ(Text(window, IDC_STATUS), expected.status);
        EXPECT_TRUE(Visible(window, IDC_STATUS));
        EXPECT_TRUE(Visible(window, IDC_RESULT_ICON));
        EXPECT_FALSE(Visible(window, IDC_SUBTITLE));
        EXPECT_FALSE(Visible(window, IDC_PROGRESS_BAR));
        EXPECT_FALSE(Visible(window, IDC_MAIN_BUTTON));
        EXPECT_FALSE(Visible(window, IDC_RESTART_BUTTON));
        EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON),
                             expected.success ? kSuccessIcon : kFailureIcon));
        EXPECT_EQ(Visible(window, IDC_CLOSE_BUTTON), expected.success);
        EXPECT_EQ(Visible(window, IDC_OPEN_LOG_BUTTON), !expected.success);
        EXPECT_EQ(Visible(window, IDC_CANCEL_BUTTON), !expected.success);
        if (expected.success) {
            EXPECT_EQ(Text(window, IDC_CLOSE_BUTTON), L"Finish");
        } else {
            EXPECT_EQ(Text(window, IDC_OPEN_LOG_BUTTON), L"Open install log");
            EXPECT_EQ(Text(window, IDC_CANCEL_BUTTON), L"Cancel");
        }
    }
}

// What escapes the engine ends its run as a failure the window shows, not the process.
TEST_F(InstallWindow, AnExceptionInTheWorkerBecomesAFailure) {
    GetDialogSeams().install = [](IProgress*) -> Status {
        throw std::runtime_error("lost");
    };
    Open();
    PressMainButtonAndWait();
    EXPECT_EQ(dialog_->Result(), ToStatus(0x80000044));
    EXPECT_TRUE(dialog_->FailedUnexpectedly());
}

TEST_F(InstallWindow, AnExceptionOnTheWindowsThreadEndsTheRun) {
    InstallWith(ToStatus(0x10000005));
    GetDialogSeams().requestReboot = [] { throw std::bad_alloc(); };
    Press(dialog_->Window(), IDC_RESTART_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_TRUE(dialog_->FailedUnexpectedly());
}

TEST_F(InstallWindow, FreesItsPicturesWithTheWindow) {
    InstallWith(0);
    HWND window = dialog_->Window();
    std::vector<HGDIOBJ> pictures;
    for (int id : {IDC_CLOSE_GLYPH, IDC_RESULT_ICON})
        pictures.push_back(reinterpret_cast<HGDIOBJ>(
            SendDlgItemMessageW(window, id, STM_GETIMAGE, IMAGE_BITMAP, 0)));
    dialog_.reset();
    for (HGDIOBJ picture : pictures) {
        EXPECT_NE(picture, nullptr);
        EXPECT_EQ(GetObjectType(picture), 0u) << "a bitmap outlived its window";
    }
}

TEST_F(InstallWindow, RestartRequiredScreen) {
    InstallWith(ToStatus(0x10000005));
    HWND window = dialog_->Window();
    EXPECT_EQ(Text(window, IDC_STATUS), L"Installation completed. Restart required.");
    EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON), kSuccessIcon));
    EXPECT_FALSE(Visible(window, IDC_CLOSE_BUTTON));
    EXPECT_TRUE(Visible(window, IDC_CANCEL_BUTTON));
    EXPECT_EQ(Text(window, IDC_CANCEL_BUTTON), L"Finish");
    EXPECT_TRUE(Visible(window, IDC_RESTART_BUTTON));
    EXPECT_EQ(Text(window, IDC_RESTART_BUTTON), L"Restart now");
    // Finish moved beside Restart now: the pair is centred as the single Install button was.
    const RECT install = ControlRect(window, IDC_MAIN_BUTTON);
    EXPECT_NEAR(
        ControlRect(window, IDC_RESTART_BUTTON).left + ControlRect(window, IDC_CANCEL_BUTTON).right,
        install.left + install.right, 24);

    // A refused reboot still closes the window.
    int reboots = 0;
    GetDialogSeams().requestReboot = [&] { ++reboots; };
    Press(window, IDC_RESTART_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_EQ(reboots, 1);
}

TEST_F(InstallWindow, ClosingIsRefusedWhileInstalling) {
    HWND window = StartBlockedInstallation();
    EXPECT_TRUE(Visible(window, IDC_PROGRESS_BAR));
    EXPECT_EQ(Text(window, IDC_SUBTITLE), L"Installation in progress");

    // Close glyph, Alt+F4 and the other closing commands do nothing now.
    for (int id : {IDC_CLOSE_GLYPH, IDC_CLOSE_BUTTON, IDC_CANCEL_BUTTON, IDC_RESTART_BUTTON})
        Press(window, id);
    PostMessageW(window, WM_CLOSE, 0, 0);
    PostMessageW(window, WM_SYSCOMMAND, SC_CLOSE, 0);
    EXPECT_FALSE(PumpUntilQuit(500));
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_TRUE(dialog_->InProgress());

    Release();
    Press(window, IDC_CLOSE_GLYPH);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

TEST_F(InstallWindow, ProgressBarWrapsAround) {
    HWND window = StartBlockedInstallation();
    HWND animation = GetDlgItem(window, IDC_ANIMATION);
    HWND bar = GetDlgItem(window, IDC_PROGRESS_BAR);
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
    const RECT area = ControlRect(window, IDC_PROGRESS_BAR);
    const int middle = (area.bottom - area.top) / 2;
    EXPECT_EQ(ControlPixel(window, IDC_PROGRESS_BAR, {4, middle}), 0x0070F6u) << "filled part";
    EXPECT_EQ(ControlPixel(window, IDC_PROGRESS_BAR, {area.right - area.left - 4, middle}),
              0x050505u)
        << "empty part";
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

// The viewer the desktop's shell started for a file, and the process that started it.
struct Viewer {
    DWORD id = 0;
    DWORD parent = 0;
};
Viewer FindViewer(const wchar_t* name) {
    const UniqueFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
         more = Process32NextW(snapshot.Get(), &entry)) {
        if (_wcsicmp(entry.szExeFile, name) == 0) {
            return {entry.th32ProcessID, entry.th32ParentProcessID};
        }
    }
    return {};
}

// The elevated setup never starts a viewer itself: the desktop's shell does, as the
// desktop's user. A command file stands in for the viewer: it leaves a marker and waits.
TEST_F(InstallWindow, AFileIsOpenedByTheDesktopsShell) {
    test_support::TempFolder folder;
    const std::wstring file = folder / L"viewer.cmd";
    const std::string marker = test_support::Narrow(folder / L"opened.txt");
    ASSERT_EQ(file_sys::WriteWholeFile(file, "echo opened> \"" + marker +
                                                 "\"\r\nping -n 6 127.0.0.1 >nul\r\n"),
              kStatusOk);
    ASSERT_EQ(desktop_shell::OpenAsDesktopUser(file, SW_SHOWDEFAULT), kStatusOk);
    EXPECT_TRUE(PumpUntil([&] { return test_support::FileExists(folder / L"opened.txt"); }, 10000));
    const Viewer viewer = FindViewer(L"cmd.exe");
    EXPECT_NE(viewer.id, 0u);
    EXPECT_NE(viewer.parent, GetCurrentProcessId());
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

BOOL CALLBACK PostCloseIfOwnedBy(HWND window, LPARAM processId) {
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == static_cast<DWORD>(processId))
        PostMessageW(window, WM_CLOSE, 0, 0);
    return TRUE;
}

TEST_F(WindowedSetup, InstallsAndCloses) {
    const std::wstring command = Command(L"accept");
    WindowedProgram setup(command);
    HWND window = setup.WaitForDialog(30000);
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(Text(window, IDC_MAIN_BUTTON), L"Install");

    // A second windowed setup in this session ends at once.
    EXPECT_EQ(test_support::RunAndWait(command, 30000), 1u);

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
    EnumWindows(PostCloseIfOwnedBy, static_cast<LPARAM>(setup.ProcessId()));
    EXPECT_EQ(setup.WaitForExit(120000), 0u);
    EXPECT_EQ(service_sys::GetServiceState(L"ClientManager"), static_cast<DWORD>(SERVICE_RUNNING));
}

}  // namespace
