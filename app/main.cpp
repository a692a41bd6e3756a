#include <windows.h>

#include "app/entry.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR commandTail, int) {
    // Before anything can load a library: from here on a library named without a path
    // comes from the system folder only, never from the folder setup.exe was started in.
    // The system libraries that are not KnownDLLs are delay-loaded for this (see
    // cmake/DelayImports.cmake); ours are loaded by full path.
    // The result is not checked: it fails only for flags Windows 10 does not know.
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    return static_cast<int>(RunSetup(instance, commandTail));
}
