// Shows one screen of the install or uninstall window, as a user would reach it, and saves
// it as a 24-bit BMP. The work behind the window is replaced through the dialogs' seams.
//   dialog_showcase <install|uninstall> <screen> <language number> <picture.bmp>
// Screens: install ready|not-permitted|installing|completed|restart|failed|policy; uninstall
// confirm|confirm-password|not-permitted|removing|wrong-password|removed|removed-restart|failed.
#include <windows.h>

#include <cstdio>
#include <gdiplus.h>
#include <map>
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
    // What the work behind the window ends with; 0 for any other screen.
    const std::map<std::wstring, std::uint32_t> results = {
        {L"restart", 0x10000005},        {L"failed", 0x80000203},
        {L"policy", 0x8000000B},         {L"wrong-password", 0x80000017},
        {L"removed-restart", 0x80000052}};
    const Status result = ToStatus(results.contains(screen) ? results.at(screen) : 0);
    const bool blocked = screen == L"installing" || screen == L"removing";
    const Stage stage = kind == L"install" ? Stage::kCopyingFiles : Stage::kRemovingFiles;
    const auto work = [=](IProgress* progress) {
        if (blocked) {
            progress->Report(stage);
            Sleep(INFINITE);
        }
        return result;
    };
    seams.install = work;
    seams.uninstall = [=](IProgress* progress, const std::wstring&) { return work(progress); };
    WritePasswordPolicy(file_sys::GetCommonAppDataFolder() + L"\\" + GetBranding().dataSubfolder,
                        screen == L"confirm-password" || screen == L"wrong-password", "");

    const std::unique_ptr<CDialogBase> dialog(kind == L"install"
                                                  ? static_cast<CDialogBase*>(new CInstallDialog())
                                                  : new CUninstallDialog());
    HWND window = dialog->Create(language, screen == L"ready");
    if (window == nullptr)
        return 3;
    Pump(600);
    // The wrong password is given twice: the layout a user meets after retrying.
    const bool pressed = screen != L"ready" && screen != L"not-permitted" && screen != L"confirm" &&
                         screen != L"confirm-password";
    for (int press = 0; press < (screen == L"wrong-password" ? 2 : pressed ? 1 : 0); ++press) {
        PostMessageW(window, WM_COMMAND, IDC_MAIN_BUTTON, 0);
        Pump(blocked ? 1500 : 1000);
    }
    const bool saved = Picture::OfWindow(window).Save(argv[4]);
    // A blocked worker never ends; leave without waiting for it.
    ExitProcess(saved ? 0 : 1);
}
