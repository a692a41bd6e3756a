// Runs the rest of its command line as a program, waits for it and prints its whole
// 32-bit exit code (Wine hands only the low 8 bits on to Linux). Ends with 0 when the
// program ran, 1 when it could not be started.
#include <windows.h>

#include <cstdio>
#include <string>

int wmain() {
    // The tail of our own command line, after the program name.
    const wchar_t* line = GetCommandLineW();
    if (*line == L'"') {
        line = wcschr(line + 1, L'"');
        line = line ? line + 1 : L"";
    } else {
        while (*line != L'\0' && *line != L' ' && *line != L'\t') {
            ++line;
        }
    }
    while (*line == L' ' || *line == L'\t') {
        ++line;
    }
    std::wstring command = line;

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
