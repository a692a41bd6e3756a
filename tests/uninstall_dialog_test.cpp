#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <set>
#include <utility>
#include <vector>

#include "sys/scope_exit.h"
#include "tests/support/agent_machine.h"
#include "tests/support/picture.h"
#include "tests/support/dialog_fixture.h"
#include "tests/support/gdiplus_environment.h"
#include "tests/support/policy_db.h"
#include "tests/support/test_support.h"
#include "ui/button_control.h"
#include "ui/localisation.h"
#include "ui/uninstall_dialog.h"

namespace {

using namespace agent_machine;
using namespace dialog_driver;
using Ids = std::set<int>;

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

using UninstallWindow = DialogTest<CUninstallDialog>;

// On an agent installed for real, with a password policy.
TEST_F(UninstallWindow, OnAnAgentWrongPasswordTwiceThenTheRightOne) {
    const std::string port = BackendPort();
    ASSERT_FALSE(port.empty()) << "the backend does not run";
    SetNetFrameworkInstalled();
    CleanMachine();
    const ScopeExit cleaned([this] {
        dialog_.reset();
        CleanMachine();
    });
    const std::string url = "http://127.0.0.1:" + port + "/uninstall-window/accept";
    const std::wstring install = L"\"" + PackageSetup() +
                                 L"\" /i -sil 1 -tok uninstall-window-token-0123456789 -svr " +
                                 std::wstring(url.begin(), url.end());
    ASSERT_EQ(test_support::RunAndWait(install, 300000), 0u);
    ASSERT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    ASSERT_TRUE(WritePasswordPolicy(kDataFolder, true, "secret"));
    HWND window = Open();
    EXPECT_EQ(Text(window, IDC_SUBTITLE),
              L"Are you sure you want to uninstall Zelko Business?\n\nPlease enter your "
              L"administrative password or contact the system administrator.");
    EXPECT_EQ(Shown(window), (Ids{IDC_TITLE, IDC_SUBTITLE, IDC_PASSWORD_CAPTION, IDC_PASSWORD_ENTRY,
                                  IDC_MAIN_BUTTON, IDC_CANCEL_BUTTON}));
    EXPECT_EQ(Text(window, IDC_PASSWORD_CAPTION), L"Password:");

    const int kMoved[] = {IDC_STATUS,         IDC_SUBTITLE,      IDC_TITLE,      IDC_MAIN_BUTTON,
                          IDC_PASSWORD_ENTRY, IDC_CANCEL_BUTTON, IDC_RESULT_ICON};
    std::vector<LONG> firstRound;
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        SetDlgItemTextW(window, IDC_PASSWORD_ENTRY, L"wrong");
        PressMainButtonAndWait();
        EXPECT_EQ(dialog_->Result(), ToStatus(0x80000017));
        EXPECT_EQ(Text(window, IDC_SUBTITLE), L"Incorrect Password.  Please Try Again.");
        EXPECT_EQ(Shown(window), (Ids{IDC_SUBTITLE, IDC_MAIN_BUTTON, IDC_PASSWORD_CAPTION,
                                      IDC_PASSWORD_ENTRY, IDC_CANCEL_BUTTON, IDC_RESULT_ICON}));
        EXPECT_TRUE(SameSize(PictureSize(window, IDC_RESULT_ICON), kFailureIcon));
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
    EXPECT_EQ(Shown(window), (Ids{IDC_TITLE, IDC_STATUS, IDC_RESULT_ICON, IDC_CLOSE_BUTTON}));
    EXPECT_FALSE(test_support::FileExists(kProgramFolder));
}

// Each result's line, icon and buttons. The first button closes the window without a reboot.
TEST_F(UninstallWindow, ResultScreens) {
    const ResultButtons close{{IDC_CLOSE_BUTTON, L"Close"}};
    struct Case {
        Status result;
        const wchar_t* status;
        bool success;
        ResultButtons buttons;
    };
    const Case cases[] = {
        {0, L"Software has been removed.", true, {{IDC_CLOSE_BUTTON, L"Finish"}}},
        // Negative, but the software is gone: the success icon.
        {ToStatus(0x80000052),
         L"Software has been removed. You may need to restart your computer for the changes to "
         L"take effect.",
         true,
         {{IDC_RESTART_LATER_BUTTON, L"Close"}, {IDC_RESTART_BUTTON, L"Restart now"}}},
        {ToStatus(0x80000203), L"Uninstallation failed (80000203)", false, close},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(::testing::Message() << std::hex << expected.result);
        GetDialogSeams().uninstall = [result = expected.result](IProgress* progress,
                                                                const std::wstring& password) {
            EXPECT_EQ(password, L"") << "none was asked for";
            progress->Report(Stage::kRemovingFiles);
            return result;
        };
        Open();
        PressMainButtonAndWait();
        HWND window = dialog_->Window();
        ExpectResultScreen(window, expected.status, expected.success, expected.buttons);
        int reboots = 0;
        GetDialogSeams().requestReboot = [&] { ++reboots; };
        Press(window, expected.buttons.front().first);
        EXPECT_TRUE(PumpUntilQuit(5000));
        EXPECT_EQ(reboots, 0);
    }
}

TEST_F(UninstallWindow, NotPermitted) {
    GetDialogSeams().isAdministrator = [] { return false; };
    HWND window = Open();
    EXPECT_EQ(Text(window, IDC_SUBTITLE),
              L"You must have administrative privileges to install the software.");
    EXPECT_EQ(Shown(window), (Ids{IDC_TITLE, IDC_SUBTITLE, IDC_CLOSE_BUTTON}));
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
    const auto same = [](wchar_t memory, wchar_t needle) { return (memory ^ 0x5A) == needle; };
    int copies = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (auto* address = static_cast<const BYTE*>(nullptr);
         VirtualQuery(address, &region, sizeof(region)) == sizeof(region);
         address = static_cast<const BYTE*>(region.BaseAddress) + region.RegionSize) {
        if (region.State != MEM_COMMIT || region.Type != MEM_PRIVATE ||
            (region.Protect & (PAGE_READWRITE | PAGE_EXECUTE_READWRITE)) == 0 ||
            (region.Protect & PAGE_GUARD) != 0)
            continue;
        const auto* at = static_cast<const wchar_t*>(region.BaseAddress);
        const auto* end = at + region.RegionSize / sizeof(wchar_t);
        for (; (at = std::search(at, end, scrambled.begin(), scrambled.end(), same)) != end; ++at)
            ++copies;
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
    for (const wchar_t* scrambled :
         {L"\x0b\x3c\x6d\x29", L"\x0b\x3c\x6d\x29\x31\x6b\x3f\x33\x68\x2e\x1b\x6e\x22"}) {
        std::wstring typed;
        for (const wchar_t* c = scrambled; *c != 0; ++c)
            typed += static_cast<wchar_t>(*c ^ 0x5A);
        std::wstring seen;
        GetDialogSeams().uninstall = [&](IProgress*, const std::wstring& password) {
            for (wchar_t c : password)
                seen += static_cast<wchar_t>(c ^ 0x5A);
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

TEST_F(UninstallWindow, ConfirmWithoutPasswordAndCancel) {
    bool ran = false;
    GetDialogSeams().uninstall = [&](IProgress*, const std::wstring&) {
        ran = true;
        return 0;
    };
    HWND window = Open();
    EXPECT_EQ(Shown(window), (Ids{IDC_TITLE, IDC_SUBTITLE, IDC_MAIN_BUTTON, IDC_CANCEL_BUTTON}));
    EXPECT_EQ(Text(window, IDC_SUBTITLE), L"Are you sure you want to uninstall Zelko Business?");
    EXPECT_EQ(Text(window, IDC_MAIN_BUTTON), L"Uninstall");
    EXPECT_EQ(Text(window, IDC_CANCEL_BUTTON), L"Cancel");
    Press(window, IDC_CANCEL_BUTTON);
    EXPECT_TRUE(PumpUntilQuit(5000));
    EXPECT_FALSE(ran) << "Cancel closes without uninstalling";
}

// Cancel is a secondary, outlined button and Uninstall a primary one, in every brand, as
// dialog_showcase of the brand paints the confirmation.
TEST_F(UninstallWindow, ButtonsAreDrawnByTheirRoleInEveryBrand) {
    HWND layout = Open();
    for (const auto& [name, brand] :
         {std::pair{L"zelko", kBrandZelko}, std::pair{L"orv", kBrandOrv},
          std::pair{L"tessan", kBrandTessan}}) {
        SCOPED_TRACE(test_support::Narrow(name));
        test_support::TempFolder folder;
        EXPECT_EQ(test_support::RunAndWait(
                      L"\"" + test_support::BinFolder() + L"\\dialog_showcase_" + name +
                      L".exe\" uninstall confirm 1 \"" + folder / L"screen.bmp" + L"\""),
                  0u);
        const Picture confirm = Picture::Load(folder / L"screen.bmp");
        const std::pair<int, std::uint32_t> faces[] = {
            {IDC_MAIN_BUTTON, CButtonControl(nullptr, brand).FillColor(CButtonControl::kNormal)},
            {IDC_CANCEL_BUTTON,
             CButtonControlSecondary(nullptr, brand).FillColor(CButtonControl::kNormal)}};
        for (const auto& [id, fill] : faces) {
            // Inside the button, left of its caption.
            const RECT area = ControlRect(layout, id);
            EXPECT_EQ(confirm.Pixel(area.left + 8, (area.top + area.bottom) / 2), fill & 0xFFFFFF)
                << id;
        }
    }
}

}  // namespace
