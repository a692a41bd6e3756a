// Runs a windowed setup.exe to its end as a user would: waits for its window, presses the
// main button, waits for the result screen, saves a picture of it, presses the button that
// closes it and reports what the window said and the exit code.
//   dialog_pilot <picture.bmp> <setup.exe> [arguments...]
#include <windows.h>

#include <cstdio>
#include <string>

#include "tests/support/dialog_driver.h"

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
    wprintf(L"window: \"%ls\" - pressing \"%ls\"\n", Text(window, 1056).c_str(),
            Text(window, 1113).c_str());
    fflush(stdout);
    Press(window, 1113);
    const bool ended = WaitUntil(
        [&] {
            return Visible(window, 1075) || Visible(window, 1077) || Visible(window, 1119) ||
                   (Visible(window, 1113) && Visible(window, 1083));
        },
        600000);
    Sleep(700);  // let the result screen finish painting
    wprintf(L"result: \"%ls\"\n", Text(window, Visible(window, 1048) ? 1048 : 1056).c_str());
    SaveWindowPicture(window, argv[1]);
    // Finish or Close, whichever the screen offers; otherwise the close glyph.
    const int closer = Visible(window, 1075) ? 1075 : Visible(window, 1076) ? 1076 : 1074;
    wprintf(L"pressing \"%ls\"\n", Text(window, closer).c_str());
    Press(window, closer);
    const DWORD exitCode = setup.WaitForExit(60000);
    wprintf(L"setup.exe exit code 0x%08lx\n", exitCode);
    return ended ? 0 : 1;
}
