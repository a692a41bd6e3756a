// Stands in for the .NET Framework 4.8 offline installer. Words in its own file name choose
// what it does (tests/testbed/README.md), so that the backend can serve one copy per
// behaviour.
#include <windows.h>

#include <string>

int wmain() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring name = path;
    name = name.substr(name.find_last_of(L'\\') + 1);
    const auto named = [&name](const wchar_t* word) {
        return name.find(word) != std::wstring::npos;
    };

    const wchar_t* line = GetCommandLineW();
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    HANDLE record = CreateFileW((std::wstring(temp) + L"net-installer-args.txt").c_str(),
                                GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(record, line, static_cast<DWORD>(wcslen(line) * sizeof(wchar_t)), &written,
              nullptr);
    CloseHandle(record);

    if (named(L"set")) {
        const DWORD release = 528040;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE,
                        L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full", L"Release",
                        REG_DWORD, &release, sizeof(release));
    }
    return named(L"exit3010") ? 3010 : named(L"exit1603") ? 1603 : 0;
}
