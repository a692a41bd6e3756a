#include <windows.h>

#include "setup/entry.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR commandTail, int) {
    return static_cast<int>(RunSetup(instance, commandTail));
}
