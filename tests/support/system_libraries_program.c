/* A program that does nothing but load the system libraries setup.exe links to at start:
   the yardstick for setup.exe's working set, as those libraries count in it too. */
#include <windows.h>
#include <shellapi.h>
#include <shlwapi.h>

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE previous, PWSTR commandLine, int show) {
    (void)instance;
    (void)previous;
    /* Never true; the calls only make the linker import each library. */
    if (show == -1) {
        int count = 0;
        HKEY key = NULL;
        GetDesktopWindow();
        SelectObject(NULL, NULL);
        CommandLineToArgvW(commandLine, &count);
        PathIsRelativeW(commandLine);
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, commandLine, 0, KEY_READ, &key);
    }
    return 0;
}
