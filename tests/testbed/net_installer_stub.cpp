// Stands in for the .NET Framework 4.8 offline installer. What it does is chosen by words
// in its own file name, so that the backend can serve one copy per behaviour:
//   "set"       writes Release = 528040 under the .NET detection key
//   "exit3010"  ends with 3010 (installed, restart needed); "exit1603" ends with 1603
// and otherwise it ends with 0. It records its arguments in net-installer-args.txt in the
// temporary folder.
#include <windows.h>

#include <string>

int wmain() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring name = path;
    name = name.substr(name.find_last_of(L'\\') + 1);

    const wchar_t* line = GetCommandLineW();
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    HANDLE record = CreateFileW((std::wstring(temp) + L"net-installer-args.txt").c_str(),
                                GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(record, line, static_cast<DWORD>(wcslen(line) * sizeof(wchar_t)), &written,
              nullptr);
    CloseHandle(record);

    if (name.find(L"set") != std::wstring::npos) {
        const DWORD release = 528040;
        RegSetKeyValueW(HKEY_LOCAL_MACHINE,
                        L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full", L"Release",
                        REG_DWORD, &release, sizeof(release));
    }
    if (name.find(L"exit3010") != std::wstring::npos) {
        return 3010;
    }
    if (name.find(L"exit1603") != std::wstring::npos) {
        return 1603;
    }
    return 0;
}
