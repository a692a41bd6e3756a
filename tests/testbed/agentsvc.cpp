// The testbed's agent service executable; what each run does is in tests/testbed/README.md.
#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>

#include "db/sqlite_api.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "tests/testbed/agentsvc.h"

namespace {

constexpr wchar_t kAgentMutex[] = L"{6D2A81C4-3E59-4B07-A1F6-92C0D84E7B3A}";

SERVICE_STATUS_HANDLE g_status = nullptr;
HANDLE g_stop = nullptr;

void Report(DWORD state) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
    SetServiceStatus(g_status, &status);
}

std::wstring ProgramFolder() {
    return process_sys::FolderOf(process_sys::GetModulePath());
}

bool BesideProgram(const wchar_t* name) {
    return GetFileAttributesW((ProgramFolder() + L"\\" + name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

// "ignore-stop" holds a number N: the first N - 1 stop requests are ignored, as an agent
// busy with something it will not leave does.
bool IgnoresThisStop() {
    static int requests = 0;
    FILE* file = _wfopen((ProgramFolder() + L"\\ignore-stop").c_str(), L"r");
    int obeyed = 0;
    if (file != nullptr) {
        obeyed = fscanf(file, "%d", &obeyed) == 1 ? obeyed : 0;
        fclose(file);
    }
    return ++requests < obeyed;
}

DWORD WINAPI Control(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP && !IgnoresThisStop()) {
        Report(SERVICE_STOP_PENDING);
        SetEvent(g_stop);
    }
    return NO_ERROR;
}

// The brands' registry keys and data folders follow their company folder, the parent of
// "<Program Files>\<company>\Business Agent".
std::wstring CompanyName() {
    const std::wstring parent = process_sys::FolderOf(ProgramFolder());
    return parent.substr(parent.find_last_of(L'\\') + 1);
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
    g_status = RegisterServiceCtrlHandlerExW(L"ClientManager", Control, nullptr);
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, kAgentMutex);
    const std::wstring folder = ProgramFolder();
    const std::wstring key = L"SOFTWARE\\" + CompanyName() + L"\\Business Agent";
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ProgramDirectory", REG_SZ, folder.c_str(),
                    static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
    Report(SERVICE_RUNNING);
    WaitForSingleObject(g_stop, INFINITE);
    CloseHandle(mutex);
    Report(SERVICE_STOPPED);
}

// Whether the policy's first row lets the password go; without a database or table nothing
// is required.
bool PolicyAccepts(const std::wstring& password) {
    const std::wstring database = file_sys::GetCommonAppDataFolder() + L"\\" + CompanyName() +
                                  L"\\Business Agent\\database\\agent.db";
    if (GetFileAttributesW(database.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return true;
    }
    try {
        SqliteApi api;
        sqlite3* db = nullptr;
        sqlite3_stmt* statement = nullptr;
        bool accepts = true;
        if (api.open16(database.c_str(), &db) == SQLITE_OK &&
            api.prepare_v2(db, "SELECT uninstall_requires_password, uninstall_password FROM policy",
                           -1, &statement, nullptr) == SQLITE_OK &&
            api.step(statement) == SQLITE_ROW && api.column_int(statement, 0) != 0) {
            const auto* expected = static_cast<const wchar_t*>(api.column_text16(statement, 1));
            accepts = password == (expected != nullptr ? expected : L"");
        }
        api.finalize(statement);
        api.close_v2(db);
        return accepts;
    } catch (const std::runtime_error&) {
        return false;  // no usable sqlite3.dll beside it
    }
}

int Farewell() {
    const std::wstring line = GetCommandLineW();
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    file_sys::WriteWholeFile(
        std::wstring(temp) + L"farewell-commandline.txt",
        std::string(reinterpret_cast<const char*>(line.data()), line.size() * sizeof(wchar_t)));
    if (BesideProgram(L"farewell-hangs")) {
        Sleep(INFINITE);
    }
    // The password comes quoted, with backslash escapes.
    std::wstring password;
    const size_t at = line.find(L"--password ");
    if (at != std::wstring::npos) {
        std::wistringstream in(line.substr(at + 11));
        in >> std::quoted(password, L'"', L'\\');
    }
    return PolicyAccepts(password) ? 0 : static_cast<int>(kFarewellRefused);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    auto given = [&](const std::wstring& flag) {
        return std::find(argv + 1, argv + argc, flag) != argv + argc;
    };
    if (given(L"--nodaemon")) {
        if (given(L"--farewell")) {
            return Farewell();
        }
        return static_cast<int>(given(L"--clone") ? kCloneExitCode : kUnknownRunExitCode);
    }
    wchar_t name[] = L"ClientManager";
    SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : static_cast<int>(kUnknownRunExitCode);
}
