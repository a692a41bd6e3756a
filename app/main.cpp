#include <windows.h>

#include "app/entry.h"

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR commandTail, int) {
    return static_cast<int>(RunSetup(instance, commandTail));
}
