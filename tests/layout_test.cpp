// Every text of every screen, in every language, laid out with the window's own fonts in
// its control: a text that needs more room than its control has is cut on the screen.
#include <gtest/gtest.h>

#include <windows.h>

#include <functional>
#include <memory>
#include <regex>
#include <string>
#include <vector>

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

std::wstring WithoutMarkup(const std::wstring& text) {
    return std::regex_replace(text, std::wregex(L"<[^>]*>"), L"");
}

// Caption width in a font; the width of missing glyphs' boxes when the font has none.
int CaptionWidth(HDC dc, HFONT font, const std::wstring& caption) {
    HGDIOBJ previous = SelectObject(dc, font);
    RECT area{0, 0, 10000, 100};
    DrawTextW(dc, caption.c_str(), -1, &area, DT_CALCRECT | DT_SINGLELINE | DT_NOPREFIX);
    SelectObject(dc, previous);
    return area.right;
}

// What does not fit among the visible texts of the window, one line each.
std::vector<std::string> Overflows(HWND window) {
    std::vector<std::string> faults;
    HDC dc = GetDC(window);
    for (HWND child = GetWindow(window, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        wchar_t className[32] = {};
        GetClassNameW(child, className, 32);
        const std::wstring kind = className;
        const LONG style = GetWindowLongW(child, GWL_STYLE);
        const bool picture = kind == L"Static" && (style & SS_TYPEMASK) == SS_BITMAP;
        if (!IsWindowVisible(child) || picture || kind == L"Edit" ||
            kind == L"msctls_progress32")
            continue;
        wchar_t text[1024] = {};
        GetWindowTextW(child, text, 1024);
        std::wstring shown = kind == L"SysLink" ? WithoutMarkup(text) : text;
        if (shown.empty())
            continue;
        RECT client{};
        GetClientRect(child, &client);
        RECT needed = client;
        if (kind == L"Button") {
            needed.right = CaptionWidth(dc, ButtonCaptionFont(dc), shown) + 16;  // round ends
        } else {
            auto font = reinterpret_cast<HFONT>(SendMessageW(child, WM_GETFONT, 0, 0));
            HGDIOBJ previous = SelectObject(dc, font);
            DrawTextW(dc, shown.c_str(), -1, &needed,
                      DT_CALCRECT | DT_WORDBREAK | DT_NOPREFIX | DT_EDITCONTROL);
            SelectObject(dc, previous);
        }
        if (needed.right > client.right || needed.bottom > client.bottom) {
            faults.push_back("control " + std::to_string(GetDlgCtrlID(child)) + " needs " +
                             std::to_string(needed.right) + "x" + std::to_string(needed.bottom) +
                             ", has " + std::to_string(client.right) + "x" +
                             std::to_string(client.bottom) + ": " + test_support::Narrow(shown));
        }
    }
    ReleaseDC(window, dc);
    return faults;
}

class Layout : public ::testing::Test {
protected:
    void SetUp() override {
        ParseCommandLineText(GetSetupSettings(), L"setup.exe /i");
        GetSetupSettings().cnText = L"Deployed by the IT department";
    }
    void TearDown() override {
        dialog_.reset();
        GetDialogSeams() = {};
        SetThreadLanguage(1);
        dialog_driver::DrainMessages();
    }

    // Opens a window in a language, brings it to a screen and checks every text of it.
    template <class Dialog>
    void Check(std::uint32_t language, const std::string& screen, bool administrator,
               const std::function<void(CDialogBase&)>& reach = nullptr) {
        SCOPED_TRACE("language " + std::to_string(language) + ", " + screen);
        SetThreadLanguage(language);
        GetDialogSeams().isAdministrator = [administrator] { return administrator; };
        dialog_ = std::make_unique<Dialog>();
        ASSERT_NE(dialog_->Create(language, false), nullptr);
        if (reach)
            reach(*dialog_);
        dialog_driver::Pump(20);
        for (const std::string& fault : Overflows(dialog_->Window()))
            ADD_FAILURE() << fault;
        dialog_.reset();
    }

    // Checks the result screen of work that ends with the result.
    template <class Dialog>
    void CheckResult(std::uint32_t language, Status result) {
        GetDialogSeams().install = [result](IProgress*) { return result; };
        GetDialogSeams().uninstall = [result](IProgress*, const std::wstring&) { return result; };
        Check<Dialog>(language, "result " + std::to_string(result), true, [](CDialogBase& dialog) {
            dialog.OnCommand(dialog.Window(), IDC_MAIN_BUTTON);
            ASSERT_TRUE(dialog_driver::PumpUntil([&] { return !dialog.InProgress(); }, 10000));
        });
    }

    std::unique_ptr<CDialogBase> dialog_;
};

// Holds the work while each stage's text shows in the status line, and checks each.
void ReportEveryStage(CDialogBase& dialog) {
    HANDLE release = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    GetDialogSeams().install = [release](IProgress*) {
        WaitForSingleObject(release, 30000);
        return Status{0};
    };
    GetDialogSeams().uninstall = [release](IProgress*, const std::wstring&) {
        WaitForSingleObject(release, 30000);
        return Status{0};
    };
    dialog.OnCommand(dialog.Window(), IDC_MAIN_BUTTON);
    for (int stage = 0; stage <= static_cast<int>(Stage::kRemovingFiles); ++stage) {
        dialog.Report(static_cast<Stage>(stage));
        for (const std::string& fault : Overflows(dialog.Window()))
            ADD_FAILURE() << fault;
    }
    SetEvent(release);
    EXPECT_TRUE(dialog_driver::PumpUntil([&] { return !dialog.InProgress(); }, 10000));
    CloseHandle(release);
}

TEST_F(Layout, EveryTextOfTheInstallWindowFitsInEveryLanguage) {
    const Status results[] = {0,
                              ToStatus(0x10000005),
                              ToStatus(0x8000000B),
                              ToStatus(0x80000052),
                              ToStatus(0x80000064),
                              ToStatus(0x80000203)};
    for (std::uint32_t language : kLanguages) {
        Check<CInstallDialog>(language, "ready", true);
        Check<CInstallDialog>(language, "not permitted", false);
        Check<CInstallDialog>(language, "installing", true, ReportEveryStage);
        for (Status result : results)
            CheckResult<CInstallDialog>(language, result);
    }
}

TEST_F(Layout, EveryTextOfTheUninstallWindowFitsInEveryLanguage) {
    const Status results[] = {0, ToStatus(0x80000017), ToStatus(0x80000052),
                              ToStatus(0x80000203)};
    for (std::uint32_t language : kLanguages) {
        for (bool password : {false, true}) {
            ASSERT_TRUE(WritePasswordPolicy(kDataFolder, password, "secret"));
            Check<CUninstallDialog>(language, password ? "confirm, password" : "confirm", true);
        }
        Check<CUninstallDialog>(language, "not permitted", false);
        Check<CUninstallDialog>(language, "removing", true, ReportEveryStage);
        for (Status result : results)
            CheckResult<CUninstallDialog>(language, result);
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
