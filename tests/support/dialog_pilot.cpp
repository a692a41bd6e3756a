// Runs a windowed setup.exe to its end as a user would: waits for its window, presses the
// main button, waits for the result screen, saves a picture of it, presses the button that
// closes it and reports what the window said and the exit code.
//   dialog_pilot <picture.bmp> <setup.exe> [arguments...]
#include <windows.h>

#include <cstdio>
#include <string>

#include "resources/resource.h"
#include "tests/support/dialog_driver.h"
#include "tests/support/picture.h"

using namespace dialog_driver;

int wmain(int argc, wchar_t** argv) {
    if (argc < 3) {
        fwprintf(stderr, L"usage: dialog_pilot <picture.bmp> <setup.exe> [arguments...]\n");
        return 2;
    }
    std::wstring command = L"\"" + std::wstring(argv[2]) + L"\"";
    for (int i = 3; i < argc; ++i)
        command += std::wstring(L" ") + argv[i];
    WindowedProgram setup(command);
    if (!setup.Started()) {
        wprintf(L"cannot start setup.exe: error %lu\n", GetLastError());
        return 1;
    }
    HWND window = setup.WaitForDialog(180000);
    if (window == nullptr) {
        const DWORD exitCode = setup.StillRunning() ? STILL_ACTIVE : setup.WaitForExit(0);
        wprintf(L"no window appeared (setup.exe %ls 0x%08lx)\n",
                exitCode == STILL_ACTIVE ? L"still running" : L"ended with", exitCode);
        return 1;
    }
    wprintf(L"window: \"%ls\" - pressing \"%ls\"\n", Text(window, IDC_SUBTITLE).c_str(),
            Text(window, IDC_MAIN_BUTTON).c_str());
    fflush(stdout);
    Press(window, IDC_MAIN_BUTTON);
    const bool ended = WaitUntil(
        [&] {
            return Visible(window, IDC_CLOSE_BUTTON) || Visible(window, IDC_OPEN_LOG_BUTTON) ||
                   Visible(window, IDC_RESTART_BUTTON) ||
                   (Visible(window, IDC_MAIN_BUTTON) && Visible(window, IDC_PASSWORD_ENTRY));
        },
        600000);
    Sleep(700);  // let the result screen finish painting
    wprintf(L"result: \"%ls\"\n",
            Text(window, Visible(window, IDC_STATUS) ? IDC_STATUS : IDC_SUBTITLE).c_str());
    Picture::OfWindow(window).Save(argv[1]);
    // Finish or Close, whichever the screen offers; otherwise the close glyph.
    const int closer = Visible(window, IDC_CLOSE_BUTTON)    ? IDC_CLOSE_BUTTON
                       : Visible(window, IDC_CANCEL_BUTTON) ? IDC_CANCEL_BUTTON
                                                            : IDC_CLOSE_GLYPH;
    wprintf(L"pressing \"%ls\"\n", Text(window, closer).c_str());
    Press(window, closer);
    const DWORD exitCode = setup.WaitForExit(60000);
    wprintf(L"setup.exe exit code 0x%08lx\n", exitCode);
    return ended ? 0 : 1;
}
