// Every text of every screen, in every language, laid out with the window's own fonts in
// its control: a text that needs more room than its control has is cut on the screen.
#include <gtest/gtest.h>

#include <windows.h>

#include <initializer_list>
#include <regex>
#include <string>

#include "resources/resource.h"
#include "setup/setup_settings.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/gdiplus_environment.h"
#include "tests/support/policy_db.h"
#include "tests/support/test_support.h"
#include "ui/button_control.h"
#include "ui/dialog_seams.h"
#include "ui/install_dialog.h"
#include "ui/localisation.h"
#include "ui/ui_drawing.h"
#include "ui/uninstall_dialog.h"

namespace {

const auto* const kGdiplus = ::testing::AddGlobalTestEnvironment(new GdiplusEnvironment);

const std::uint32_t kLanguages[] = {1, 3, 4, 6, 11, 12, 14, 19, 31, 32};
const wchar_t kDataFolder[] = L"C:\\ProgramData\\ZELKO Software\\Business Agent";

// Caption width in a font; the width of missing glyphs' boxes when the font has none.
int CaptionWidth(HDC dc, HFONT font, const std::wstring& caption) {
    HGDIOBJ previous = SelectObject(dc, font);
    RECT area{0, 0, 10000, 100};
    DrawTextW(dc, caption.c_str(), -1, &area, DT_CALCRECT | DT_SINGLELINE | DT_NOPREFIX);
    SelectObject(dc, previous);
    return area.right;
}

// A failure for each visible text of the window that does not fit its control.
void ExpectEveryTextFits(HWND window) {
    HDC dc = GetDC(window);
    for (HWND child = GetWindow(window, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        wchar_t className[32] = {};
        GetClassNameW(child, className, 32);
        const std::wstring kind = className;
        const LONG style = GetWindowLongW(child, GWL_STYLE);
        const bool picture = kind == L"Static" && (style & SS_TYPEMASK) == SS_BITMAP;
        if (!IsWindowVisible(child) || picture || kind == L"Edit" || kind == L"msctls_progress32")
            continue;
        wchar_t text[1024] = {};
        GetWindowTextW(child, text, 1024);
        const std::wstring shown =
            kind == L"SysLink" ? std::regex_replace(text, std::wregex(L"<[^>]*>"), L"") : text;
        if (shown.empty())
            continue;
        RECT client{};
        GetClientRect(child, &client);
        RECT needed = client;
        if (kind == L"Button") {
            needed.right = CaptionWidth(dc, ButtonCaptionFont(dc), shown) + 16;  // round ends
        } else {
            HGDIOBJ previous =
                SelectObject(dc, reinterpret_cast<HFONT>(SendMessageW(child, WM_GETFONT, 0, 0)));
            DrawTextW(dc, shown.c_str(), -1, &needed,
                      DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EDITCONTROL);
            SelectObject(dc, previous);
        }
        if (needed.right > client.right || needed.bottom > client.bottom) {
            ADD_FAILURE() << "control " << GetDlgCtrlID(child) << " needs " << needed.right << "x"
                          << needed.bottom << ", has " << client.right << "x" << client.bottom
                          << ": " << test_support::Narrow(shown);
        }
    }
    ReleaseDC(window, dc);
}

// Each stage's text in the status line of the running work.
void ReportEveryStage(CDialogBase& dialog) {
    dialog.OnCommand(dialog.Window(), IDC_MAIN_BUTTON);
    // The work's end waits in the queue until Check dispatches it.
    for (int stage = 0; stage <= static_cast<int>(Stage::kRemovingFiles); ++stage) {
        dialog.Report(static_cast<Stage>(stage));
        ExpectEveryTextFits(dialog.Window());
    }
}

// The result screen of the work.
void Finish(CDialogBase& dialog) {
    dialog.OnCommand(dialog.Window(), IDC_MAIN_BUTTON);
    ASSERT_TRUE(dialog_driver::PumpUntil([&] { return !dialog.InProgress(); }, 10000));
}

class Layout : public ::testing::Test {
protected:
    void SetUp() override {
        ParseCommandLineText(GetSetupSettings(), L"setup.exe /i");
        GetSetupSettings().cnText = L"Deployed by the IT department";
        GetDialogSeams().install = [this](IProgress*) { return result_; };
        GetDialogSeams().uninstall = [this](IProgress*, const std::wstring&) { return result_; };
    }
    void TearDown() override {
        GetDialogSeams() = {};
        SetThreadLanguage(1);
        dialog_driver::DrainMessages();
    }

    // Opens a window in a language, brings it to a screen and checks every text of it.
    template <class Dialog>
    void Check(std::uint32_t language, const std::string& screen, bool administrator = true,
               void (*reach)(CDialogBase&) = nullptr) {
        SCOPED_TRACE("language " + std::to_string(language) + ", " + screen);
        SetThreadLanguage(language);
        GetDialogSeams().isAdministrator = [administrator] { return administrator; };
        Dialog dialog;
        ASSERT_NE(dialog.Create(language, false), nullptr);
        if (reach)
            reach(dialog);
        dialog_driver::Pump(20);
        ExpectEveryTextFits(dialog.Window());
    }

    // Checks the result screen of each result.
    template <class Dialog>
    void CheckResults(std::uint32_t language, std::initializer_list<Status> results) {
        for (Status result : results) {
            result_ = result;
            Check<Dialog>(language, "result " + std::to_string(result), true, Finish);
        }
        result_ = 0;
    }

    Status result_ = 0;
};

TEST_F(Layout, EveryTextOfTheInstallWindowFitsInEveryLanguage) {
    for (std::uint32_t language : kLanguages) {
        Check<CInstallDialog>(language, "ready");
        Check<CInstallDialog>(language, "not permitted", false);
        Check<CInstallDialog>(language, "installing", true, ReportEveryStage);
        CheckResults<CInstallDialog>(
            language, {0, ToStatus(0x10000005), ToStatus(0x8000000B), ToStatus(0x80000052),
                       ToStatus(0x80000064), ToStatus(0x80000203)});
    }
}

TEST_F(Layout, EveryTextOfTheUninstallWindowFitsInEveryLanguage) {
    for (std::uint32_t language : kLanguages) {
        for (bool password : {false, true}) {
            ASSERT_TRUE(WritePasswordPolicy(kDataFolder, password, "secret"));
            Check<CUninstallDialog>(language, password ? "confirm, password" : "confirm");
        }
        Check<CUninstallDialog>(language, "not permitted", false);
        Check<CUninstallDialog>(language, "removing", true, ReportEveryStage);
        CheckResults<CUninstallDialog>(
            language, {0, ToStatus(0x80000017), ToStatus(0x80000052), ToStatus(0x80000203)});
    }
}

// Japanese is measured in real glyphs, not in the narrow boxes of missing ones: otherwise
// the checks above would pass for Japanese whatever its texts.
TEST(LayoutMeasure, JapaneseHasGlyphsInTheTextAndCaptionFonts) {
    HDC dc = GetDC(nullptr);
    HFONT font = CreateUiFont(dc, 10, FW_NORMAL);
    TEXTMETRICW metrics{};
    HGDIOBJ previous = SelectObject(dc, font);
    GetTextMetricsW(dc, &metrics);
    SelectObject(dc, previous);
    const std::wstring katakana = L"\x30A4\x30F3\x30B9\x30C8\x30FC\x30EB";  // six full-width
    EXPECT_GT(CaptionWidth(dc, font, katakana), 6 * metrics.tmHeight / 2);
    EXPECT_GT(CaptionWidth(dc, ButtonCaptionFont(dc), katakana), 6 * metrics.tmHeight / 2)
        << "the bold caption font";
    DeleteObject(font);
    ReleaseDC(nullptr, dc);
}

}  // namespace
