// Runs the rest of its command line as a program, waits for it and prints its whole
// 32-bit exit code (Wine hands only the low 8 bits on to Linux). Ends with 0 when the
// program ran, 1 when it could not be started.
#include <windows.h>

#include <cstdio>
#include <string>

#include "command_tail.h"

int wmain() {
    std::wstring command = CommandTail();

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &info)) {
        std::printf("not started (error %lu)\n", GetLastError());
        return 1;
    }
    WaitForSingleObject(info.hProcess, INFINITE);
    DWORD code = 0;
    GetExitCodeProcess(info.hProcess, &code);
    std::printf("0x%08lX\n", code);
    std::fflush(stdout);
    return 0;
}
