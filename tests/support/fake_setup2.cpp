// Stands in for the other brands' setup program "setup2.exe": records the command-line
// tail it received and its current folder in setup2-run.txt beside itself (UTF-16, one
// per line), then ends with kSetup2ExitCode.
#include <windows.h>

#include <string>

#include "tests/support/fake_setup2.h"

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR commandTail, int) {
    wchar_t self[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    std::wstring record = self;
    record.resize(record.find_last_of(L'\\') + 1);
    record += L"setup2-run.txt";

    wchar_t current[MAX_PATH] = {};
    GetCurrentDirectoryW(MAX_PATH, current);
    const std::wstring text = std::wstring(commandTail) + L"\n" + current;

    HANDLE file = CreateFileW(record.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written = 0;
    WriteFile(file, text.data(), static_cast<DWORD>(text.size() * sizeof(wchar_t)), &written,
              nullptr);
    CloseHandle(file);
    return static_cast<int>(kSetup2ExitCode);
}
