/* A windowed program that imports only kernel32 and user32 and calls one function of
 * user32. A version.dll planted beside it tells whether the system's own user32 loads that
 * library by bare name, for any such program, before the program's first line runs. */
#include <windows.h>

int WINAPI WinMain(HINSTANCE instance, HINSTANCE previous, LPSTR commandLine, int show) {
    (void)instance;
    (void)previous;
    (void)commandLine;
    (void)show;
    return GetSystemMetrics(SM_CXSCREEN) < 0;
}
