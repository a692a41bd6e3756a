#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <vector>

#include "resources/resource.h"
#include "setup/setup_settings.h"
#include "sys/scope_exit.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/picture.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/dialog_fixture.h"
#include "tests/support/gdiplus_environment.h"
#include "tests/support/policy_db.h"
#include "tests/support/test_support.h"
#include "ui/button_control.h"
#include "ui/dialog_seams.h"
#include "ui/localisation.h"
#include "ui/uninstall_dialog.h"

namespace {

using namespace agent_machine;
using namespace dialog_driver;

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

class UninstallWindow : public DialogTest<CUninstallDialog> {
protected:
    void UninstallWith(Status result) {
        GetDialogSeams().uninstall = [result](IProgress* progress, const std::wstring&) {
            progress->Report(Stage::kRemovingFiles);
            return result;
        };
        Open();
        PressMainButtonAndWait();
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
    EXPECT_EQ(Text(window, IDC_SUBTITLE), L"Are you sure you want to uninstall Zelko Business?");
    EXPECT_FALSE(Visible(window, IDC_PASSWORD_CAPTION));
    EXPECT_FALSE(Visible(window, IDC_PASSWORD_ENTRY));
    EXPECT_EQ(Text(window, IDC_MAIN_BUTTON), L"Uninstall");
    EXPECT_EQ(Text(window, IDC_CANCEL_BUTTON), L"Cancel");

    PressMainButtonAndWait();
    EXPECT_NE(FarewellCommandLine().find(L"--farewell --password \"\""), std::wstring::npos)
        << test_support::Narrow(FarewellCommandLine());
    EXPECT_EQ(Text(window, IDC_STATUS), L"Software has been removed.");
    EXPECT_TRUE(Visible(window, IDC_CLOSE_BUTTON));
    EXPECT_EQ(Text(window, IDC_CLOSE_BUTTON), L"Finish");
    EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON), kSuccessIcon));
    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"), L"");
    EXPECT_FALSE(test_support::FileExists(kProgramFolder));
    Press(window, IDC_CLOSE_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

TEST_F(UninstallWindowOnAnAgent, WrongPasswordTwiceThenTheRightOne) {
    ASSERT_TRUE(WritePasswordPolicy(kDataFolder, true, "secret"));
    HWND window = Open();
    EXPECT_EQ(Text(window, IDC_SUBTITLE),
              L"Are you sure you want to uninstall Zelko Business?\n\nPlease enter your "
              L"administrative password or contact the system administrator.");
    EXPECT_TRUE(Visible(window, IDC_PASSWORD_CAPTION));
    EXPECT_EQ(Text(window, IDC_PASSWORD_CAPTION), L"Password:");
    EXPECT_TRUE(Visible(window, IDC_PASSWORD_ENTRY));

    const int kMoved[] = {IDC_STATUS,         IDC_SUBTITLE,      IDC_TITLE,      IDC_MAIN_BUTTON,
                          IDC_PASSWORD_ENTRY, IDC_CANCEL_BUTTON, IDC_RESULT_ICON};
    std::vector<LONG> firstRound;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        SetDlgItemTextW(window, IDC_PASSWORD_ENTRY, L"wrong");
        PressMainButtonAndWait();
        EXPECT_EQ(dialog_->Result(), ToStatus(0x80000017));
        EXPECT_EQ(Text(window, IDC_SUBTITLE), L"Incorrect Password.  Please Try Again.");
        for (int id : {IDC_SUBTITLE, IDC_MAIN_BUTTON, IDC_PASSWORD_CAPTION, IDC_PASSWORD_ENTRY,
                       IDC_CANCEL_BUTTON, IDC_RESULT_ICON})
            EXPECT_TRUE(Visible(window, id)) << id;
        for (int id : {IDC_CLOSE_BUTTON, IDC_STATUS, IDC_TITLE})
            EXPECT_FALSE(Visible(window, id)) << id;
        EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON), kFailureIcon));
        EXPECT_EQ(service_sys::GetServiceState(L"ClientManager"),
                  static_cast<DWORD>(SERVICE_RUNNING));
        std::vector<LONG> places;
        for (int id : kMoved) {
            places.push_back(ControlRect(window, id).left);
            places.push_back(ControlRect(window, id).top);
        }
        if (round == 0)
            firstRound = places;
        EXPECT_EQ(places, firstRound) << "controls moved again on the retry";
    }

    SetDlgItemTextW(window, IDC_PASSWORD_ENTRY, L"secret");
    PressMainButtonAndWait();
    EXPECT_EQ(dialog_->Result(), 0);
    EXPECT_EQ(Text(window, IDC_STATUS), L"Software has been removed.");
    EXPECT_TRUE(Visible(window, IDC_TITLE));
    EXPECT_FALSE(test_support::FileExists(kProgramFolder));
}

TEST_F(UninstallWindow, RemovedWithRestartAdvice) {
    UninstallWith(ToStatus(0x80000052));
    HWND window = dialog_->Window();
    EXPECT_EQ(Text(window, IDC_STATUS),
              L"Software has been removed. You may need to restart your computer for the "
              L"changes to take effect.");
    // Negative, but the software is gone: the success icon.
    EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON), kSuccessIcon));
    EXPECT_TRUE(Visible(window, IDC_RESTART_BUTTON));
    EXPECT_EQ(Text(window, IDC_RESTART_BUTTON), L"Restart now");
    EXPECT_TRUE(Visible(window, IDC_RESTART_LATER_BUTTON));
    EXPECT_EQ(Text(window, IDC_RESTART_LATER_BUTTON), L"Close");
    EXPECT_FALSE(Visible(window, IDC_CLOSE_BUTTON));

    int reboots = 0;
    GetDialogSeams().requestReboot = [&] { ++reboots; };
    Press(window, IDC_RESTART_LATER_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_EQ(reboots, 0);
}

TEST_F(UninstallWindow, FailedShowsTheCode) {
    UninstallWith(ToStatus(0x80000203));
    HWND window = dialog_->Window();
    EXPECT_EQ(Text(window, IDC_STATUS), L"Uninstallation failed (80000203)");
    EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON), kFailureIcon));
    EXPECT_TRUE(Visible(window, IDC_CLOSE_BUTTON));
    EXPECT_EQ(Text(window, IDC_CLOSE_BUTTON), L"Close");
    EXPECT_FALSE(Visible(window, IDC_RESTART_BUTTON));
}

TEST_F(UninstallWindow, NotPermitted) {
    GetDialogSeams().isAdministrator = [] { return false; };
    HWND window = Open();
    EXPECT_EQ(Text(window, IDC_SUBTITLE),
              L"You must have administrative privileges to install the software.");
    for (int id : {IDC_MAIN_BUTTON, IDC_CANCEL_BUTTON, IDC_PASSWORD_CAPTION, IDC_PASSWORD_ENTRY})
        EXPECT_FALSE(Visible(window, id)) << id;
    EXPECT_TRUE(Visible(window, IDC_CLOSE_BUTTON));
    Press(window, IDC_CLOSE_GLYPH);
    EXPECT_TRUE(PumpUntilQuit(5000));
}

// A wrong password when none was asked at first still shows the caption in the window's
// language.
TEST_F(UninstallWindow, PasswordCaptionIsInTheWindowsLanguage) {
    constexpr std::uint32_t kGerman = 11;
    SetThreadLanguage(kGerman);
    const std::wstring germanCancel = LoadUiString(202);
    std::wstring workerCancel;  // the engine's texts are loaded on the worker thread
    GetDialogSeams().uninstall = [&workerCancel](IProgress*, const std::wstring&) {
        workerCancel = LoadUiString(202);
        return ToStatus(0x80000017);
    };
    HWND window = Open(false, kGerman);
    PressMainButtonAndWait();
    SetThreadLanguage(1);
    EXPECT_TRUE(Visible(window, IDC_PASSWORD_CAPTION));
    EXPECT_EQ(Text(window, IDC_PASSWORD_CAPTION), L"Kennwort:");
    EXPECT_EQ(workerCancel, germanCancel) << "the worker speaks the window's language";
    EXPECT_NE(germanCancel, L"Cancel");
}

// Places in this process's writable memory that hold the text. The needle is kept
// scrambled, so that the search does not find itself.
int CopiesInMemory(const std::wstring& scrambled) {
    constexpr wchar_t kKey = 0x5A;
    int copies = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (auto* address = static_cast<const BYTE*>(nullptr);
         VirtualQuery(address, &region, sizeof(region)) == sizeof(region);
         address = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize) {
        const bool readable = region.State == MEM_COMMIT && region.Type == MEM_PRIVATE &&
                              (region.Protect & (PAGE_READWRITE | PAGE_EXECUTE_READWRITE)) != 0 &&
                              (region.Protect & PAGE_GUARD) == 0;
        if (!readable)
            continue;
        const auto* begin = static_cast<const wchar_t*>(region.BaseAddress);
        const size_t count = region.RegionSize / sizeof(wchar_t);
        for (size_t i = 0; i + scrambled.size() <= count; ++i) {
            size_t matched = 0;
            while (matched < scrambled.size() &&
                   (begin[i + matched] ^ kKey) == scrambled[matched])
                ++matched;
            copies += matched == scrambled.size();
        }
    }
    return copies;
}

// Short and long: a short text lives inside the string object, a long one on the heap.
TEST_F(UninstallWindow, NoCopyOfThePasswordOutlivesTheAttempt) {
    ASSERT_TRUE(WritePasswordPolicy(kDataFolder, true, "secret"));
    // The policy is read with the installed agent's own SQLite library.
    std::filesystem::create_directories(kProgramFolder);
    test_support::CopyBuiltProgram(L"sqlite3.dll", kProgramFolder);
    const ScopeExit uninstalled([] { CleanMachine(); });
    for (const wchar_t* scrambled : {L"\x0b\x3c\x6d\x29", L"\x0b\x3c\x6d\x29\x31\x6b\x3f\x33\x68\x2e\x1b\x6e\x22"}) {
        std::wstring typed;
        for (const wchar_t* c = scrambled; *c != 0; ++c)
            typed += static_cast<wchar_t>(*c ^ 0x5A);
        std::wstring seen;
        GetDialogSeams().uninstall = [&](IProgress*, const std::wstring& password) {
            seen.assign(password.size(), L'?');
            for (size_t i = 0; i < password.size(); ++i)
                seen[i] = static_cast<wchar_t>(password[i] ^ 0x5A);
            return ToStatus(0x80000017);
        };
        HWND window = Open();
        SetDlgItemTextW(window, IDC_PASSWORD_ENTRY, typed.c_str());
        SecureZeroMemory(typed.data(), typed.size() * sizeof(wchar_t));
        PressMainButtonAndWait();
        EXPECT_EQ(seen, scrambled) << "the worker got another password";
        // A moved string clears only its first character: look for the rest.
        EXPECT_EQ(CopiesInMemory(std::wstring(scrambled).substr(1)), 0);
        dialog_.reset();
    }
}

TEST_F(UninstallWindow, CancelClosesWithoutUninstalling) {
    bool ran = false;
    GetDialogSeams().uninstall = [&](IProgress*, const std::wstring&) {
        ran = true;
        return 0;
    };
    Press(Open(), IDC_CANCEL_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_FALSE(ran);
}

// A screen as dialog_showcase of a brand paints it.
Picture BrandPicture(const wchar_t* brand, const wchar_t* kind, const wchar_t* screen) {
    test_support::TempFolder folder;
    const std::wstring path = folder / L"screen.bmp";
    EXPECT_EQ(test_support::RunAndWait(L"\"" + test_support::BinFolder() + L"\\dialog_showcase_" +
                                           brand + L".exe\" " + kind + L" " + screen + L" 1 \"" +
                                           path + L"\"",
                                       60000),
              0u);
    return Picture::Load(path);
}

// The colour inside a button, left of its caption, as a picture shows it.
std::uint32_t ButtonFace(const Picture& picture, HWND layout, int id) {
    const RECT area = ControlRect(layout, id);
    return picture.Pixel(area.left + 8, (area.top + area.bottom) / 2);
}

// Cancel is a secondary, outlined button and Uninstall a primary one, in every brand.
TEST_F(UninstallWindow, ButtonsAreDrawnByTheirRoleInEveryBrand) {
    const std::pair<const wchar_t*, BrandId> brands[] = {
        {L"zelko", kBrandZelko}, {L"orv", kBrandOrv}, {L"tessan", kBrandTessan}};
    HWND layout = Open();
    for (const auto& [name, brand] : brands) {
        SCOPED_TRACE(test_support::Narrow(name));
        const Picture confirm = BrandPicture(name, L"uninstall", L"confirm");
        const CButtonControl primary(nullptr, brand);
        const CButtonControlSecondary secondary(nullptr, brand);
        EXPECT_EQ(ButtonFace(confirm, layout, IDC_MAIN_BUTTON),
                  primary.FillColor(CButtonControl::kNormal) & 0xFFFFFF);
        EXPECT_EQ(ButtonFace(confirm, layout, IDC_CANCEL_BUTTON),
                  secondary.FillColor(CButtonControl::kNormal) & 0xFFFFFF);
    }
}

}  // namespace
