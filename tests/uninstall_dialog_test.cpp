#include <gtest/gtest.h>

#include <memory>

#include "setup/setup_settings.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/dialog_fixture.h"
#include "tests/support/gdiplus_environment.h"
#include "tests/support/policy_db.h"
#include "tests/support/test_support.h"
#include "ui/dialog_seams.h"
#include "ui/uninstall_dialog.h"

namespace {

using namespace agent_machine;
using namespace dialog_driver;

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

class UninstallWindow : public DialogTest<CUninstallDialog> {
protected:
    void Uninstall() { PressMainButtonAndWait(); }

    void UninstallWith(Status result) {
        GetDialogSeams().uninstall = [result](IProgressCallback* progress, const std::wstring&) {
            progress->SetStatusText(L"Removing files...");
            return result;
        };
        Open();
        Uninstall();
    }
};

// An agent installed for real, with the policy the test asks for.
class UninstallWindowOnAnAgent : public UninstallWindow {
protected:
    void SetUp() override {
        UninstallWindow::SetUp();
        const std::string port = BackendPort();
        ASSERT_FALSE(port.empty()) << "the backend does not run";
        SetNetFrameworkInstalled();
        CleanMachine();
        const std::string url = "http://127.0.0.1:" + port + "/uninstall-window/accept";
        ASSERT_EQ(test_support::RunAndWait(
                      L"\"" + PackageSetup() +
                          L"\" /i -sil 1 -tok uninstall-window-token-0123456789 -svr " +
                          std::wstring(url.begin(), url.end()),
                      300000),
                  0u);
        ASSERT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    }
    void TearDown() override {
        UninstallWindow::TearDown();
        CleanMachine();
    }

    static std::wstring FarewellCommandLine() {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        const std::string bytes =
            test_support::ReadFileBytes(std::wstring(temp) + L"farewell-commandline.txt");
        return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    }
};

TEST_F(UninstallWindowOnAnAgent, ConfirmWithoutPasswordRemovesTheAgent) {
    ASSERT_TRUE(WritePasswordPolicy(kDataFolder, false, "secret"));
    HWND window = Open();
    EXPECT_EQ(Text(window, 1056), L"Are you sure you want to uninstall Zelko Business?");
    EXPECT_FALSE(Visible(window, 1054));
    EXPECT_FALSE(Visible(window, 1083));
    EXPECT_EQ(Text(window, 1113), L"Uninstall");
    EXPECT_EQ(Text(window, 1076), L"Cancel");

    Uninstall();
    EXPECT_NE(FarewellCommandLine().find(L"--farewell --password \"\""), std::wstring::npos)
        << test_support::Narrow(FarewellCommandLine());
    EXPECT_EQ(Text(window, 1048), L"Software has been removed.");
    EXPECT_TRUE(Visible(window, 1075));
    EXPECT_EQ(Text(window, 1075), L"Finish");
    EXPECT_TRUE(SameSize(PictureSize(window, 1118), kSuccessIcon));
    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"), L"");
    EXPECT_FALSE(test_support::FileExists(kProgramFolder));
    Press(window, 1075);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

TEST_F(UninstallWindowOnAnAgent, WrongPasswordTwiceThenTheRightOne) {
    ASSERT_TRUE(WritePasswordPolicy(kDataFolder, true, "secret"));
    HWND window = Open();
    EXPECT_EQ(Text(window, 1056),
              L"Are you sure you want to uninstall Zelko Business?\n\nPlease enter your "
              L"administrative password or contact the system administrator.");
    EXPECT_TRUE(Visible(window, 1054));
    EXPECT_EQ(Text(window, 1054), L"Password:");
    EXPECT_TRUE(Visible(window, 1083));

    const int kMoved[] = {1048, 1056, 1114, 1113, 1083, 1076, 1118};
    std::vector<POINT> firstRound;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        SetDlgItemTextW(window, 1083, L"wrong");
        Uninstall();
        EXPECT_EQ(dialog_->Result(), ToStatus(0x80000017));
        EXPECT_EQ(Text(window, 1056), L"Incorrect Password.  Please Try Again.");
        for (int id : {1056, 1113, 1054, 1083, 1076, 1118})
            EXPECT_TRUE(Visible(window, id)) << id;
        for (int id : {1075, 1048, 1114})
            EXPECT_FALSE(Visible(window, id)) << id;
        EXPECT_TRUE(SameSize(PictureSize(window, 1118), kFailureIcon));
        EXPECT_EQ(service_sys::GetServiceState(L"ClientManager"),
                  static_cast<DWORD>(SERVICE_RUNNING));
        std::vector<POINT> places;
        for (int id : kMoved)
            places.push_back(Position(window, id));
        if (round == 0) {
            firstRound = places;
        } else {
            for (size_t i = 0; i < places.size(); ++i) {
                EXPECT_EQ(places[i].x, firstRound[i].x) << kMoved[i];
                EXPECT_EQ(places[i].y, firstRound[i].y) << kMoved[i];
            }
        }
    }

    SetDlgItemTextW(window, 1083, L"secret");
    Uninstall();
    EXPECT_EQ(dialog_->Result(), 0);
    EXPECT_EQ(Text(window, 1048), L"Software has been removed.");
    EXPECT_TRUE(Visible(window, 1114));
    EXPECT_FALSE(test_support::FileExists(kProgramFolder));
}

TEST_F(UninstallWindow, RemovedWithRestartAdvice) {
    UninstallWith(ToStatus(0x80000052));
    HWND window = dialog_->Window();
    EXPECT_EQ(Text(window, 1048),
              L"Software has been removed. You may need to restart your computer for the "
              L"changes to take effect.");
    // Negative, but the software is gone: the success icon.
    EXPECT_TRUE(SameSize(PictureSize(window, 1118), kSuccessIcon));
    EXPECT_TRUE(Visible(window, 1119));
    EXPECT_EQ(Text(window, 1119), L"Restart now");
    EXPECT_TRUE(Visible(window, 1120));
    EXPECT_EQ(Text(window, 1120), L"Close");
    EXPECT_FALSE(Visible(window, 1075));

    int reboots = 0;
    GetDialogSeams().requestReboot = [&] { ++reboots; };
    Press(window, 1120);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_EQ(reboots, 0);
}

TEST_F(UninstallWindow, FailedShowsTheCode) {
    UninstallWith(ToStatus(0x80000203));
    HWND window = dialog_->Window();
    EXPECT_EQ(Text(window, 1048), L"Uninstallation failed (80000203)");
    EXPECT_TRUE(SameSize(PictureSize(window, 1118), kFailureIcon));
    EXPECT_TRUE(Visible(window, 1075));
    EXPECT_EQ(Text(window, 1075), L"Close");
    EXPECT_FALSE(Visible(window, 1119));
}

TEST_F(UninstallWindow, NotPermitted) {
    GetDialogSeams().isAdministrator = [] { return false; };
    HWND window = Open();
    EXPECT_EQ(Text(window, 1056),
              L"You must have administrative privileges to install the software.");
    for (int id : {1113, 1076, 1054, 1083})
        EXPECT_FALSE(Visible(window, id)) << id;
    EXPECT_TRUE(Visible(window, 1075));
    Press(window, 1074);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

TEST_F(UninstallWindow, CancelClosesWithoutUninstalling) {
    bool ran = false;
    GetDialogSeams().uninstall = [&](IProgressCallback*, const std::wstring&) {
        ran = true;
        return 0;
    };
    HWND window = Open();
    Press(window, 1076);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_FALSE(ran);
    (void)window;
}

}  // namespace
