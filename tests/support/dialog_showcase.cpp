// Shows one screen of the install or uninstall window, as a user would reach it, and saves
// it as a 24-bit BMP. The work behind the window is replaced through the dialogs' seams.
//   dialog_showcase <install|uninstall> <screen> <language number> <picture.bmp>
// Install screens: ready, not-permitted, installing, completed, restart, failed, policy.
// Uninstall screens: confirm, confirm-password, not-permitted, removing, wrong-password,
// removed, removed-restart, failed.
#include <windows.h>

#include <cstdio>
#include <gdiplus.h>
#include <memory>
#include <string>

#include "resources/resource.h"
#include "setup/branding/branding.h"
#include "setup/setup_settings.h"
#include "sys/file_sys.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/picture.h"
#include "tests/support/policy_db.h"
#include "ui/dialog_seams.h"
#include "ui/install_dialog.h"
#include "ui/localisation.h"
#include "setup/progress.h"
#include "ui/uninstall_dialog.h"

using dialog_driver::Pump;

namespace {

HANDLE g_never = CreateEventW(nullptr, TRUE, FALSE, nullptr);

Status Blocked(IProgress* progress, Stage stage) {
    progress->Report(stage);
    WaitForSingleObject(g_never, INFINITE);
    return 0;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    if (argc != 5) {
        fwprintf(stderr, L"usage: dialog_showcase install|uninstall <screen> <language> <bmp>\n");
        return 2;
    }
    const std::wstring kind = argv[1];
    const std::wstring screen = argv[2];
    const auto language = static_cast<std::uint32_t>(_wtoi(argv[3]));
    ParseCommandLineText(GetSetupSettings(), L"setup.exe /i");
    GetSetupSettings().cnText = L"Deployed by the IT department";
    SetThreadLanguage(language);

    Gdiplus::GdiplusStartupInput input;
    ULONG_PTR token = 0;
    Gdiplus::GdiplusStartup(&token, &input, nullptr);

    DialogSeams& seams = GetDialogSeams();
    seams.isAdministrator = [screen] { return screen != L"not-permitted"; };
    Status result = 0;
    if (screen == L"restart")
        result = ToStatus(0x10000005);
    if (screen == L"failed")
        result = ToStatus(0x80000203);
    if (screen == L"policy")
        result = ToStatus(0x8000000B);
    if (screen == L"wrong-password")
        result = ToStatus(0x80000017);
    if (screen == L"removed-restart")
        result = ToStatus(0x80000052);
    const bool blocked = screen == L"installing" || screen == L"removing";
    seams.install = [=](IProgress* progress) {
        return blocked ? Blocked(progress, Stage::kCopyingFiles) : result;
    };
    seams.uninstall = [=](IProgress* progress, const std::wstring&) {
        return blocked ? Blocked(progress, Stage::kRemovingFiles) : result;
    };
    const std::wstring dataFolder =
        file_sys::GetCommonAppDataFolder() + L"\\" + GetBranding().dataSubfolder;
    WritePasswordPolicy(dataFolder, screen == L"confirm-password" || screen == L"wrong-password",
                        "");

    std::unique_ptr<CDialogBase> dialog;
    if (kind == L"install") {
        dialog = std::make_unique<CInstallDialog>();
    } else {
        dialog = std::make_unique<CUninstallDialog>();
    }
    HWND window = dialog->Create(language, screen == L"ready");
    if (window == nullptr)
        return 3;
    Pump(600);
    const bool pressed = screen != L"ready" && screen != L"not-permitted" && screen != L"confirm" &&
                         screen != L"confirm-password";
    if (pressed) {
        PostMessageW(window, WM_COMMAND, IDC_MAIN_BUTTON, 0);
        Pump(blocked ? 1500 : 1000);
    }
    if (screen == L"wrong-password") {
        // The second round shows the layout a user meets after retrying.
        PostMessageW(window, WM_COMMAND, IDC_MAIN_BUTTON, 0);
        Pump(1000);
    }
    const bool saved = Picture::OfWindow(window).Save(argv[4]);
    // A blocked worker never ends; leave without waiting for it.
    ExitProcess(saved ? 0 : 1);
}
