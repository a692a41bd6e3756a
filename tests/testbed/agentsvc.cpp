// The testbed's agent service executable.
//   agentsvc.exe --nodaemon --clone   ends at once with kCloneExitCode.
//   agentsvc.exe --nodaemon --farewell --password "<quoted>"
//                                     agrees to be removed (exit 0) when the "policy" table of
//                                     its agent.db asks for no password, or when the password
//                                     equals that table's "uninstall_password"; otherwise ends
//                                     with 0x80000017. The command line is recorded in
//                                     farewell-commandline.txt in the temporary folder.
//   started by the service manager    runs as the service "ClientManager": holds the agent's
//                                     mutex while it runs, records its program folder, and
//                                     stops when asked (see IgnoresThisStop).
// A file "farewell-hangs" beside it makes the farewell run never end.
#include <windows.h>

#include <shlobj.h>

#include <cstdio>
#include <iomanip>
#include <sstream>
#include <string>

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

// A file of this name beside the program: its content is a number N, and the first N - 1
// stop requests are ignored, as an agent busy with something it will not leave does.
std::wstring BesideProgram(const wchar_t* name) {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    return folder.substr(0, folder.find_last_of(L'\\') + 1) + name;
}

bool IgnoresThisStop() {
    static int requests = 0;
    FILE* file = _wfopen(BesideProgram(L"ignore-stop").c_str(), L"r");
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

// The agent's company folder name: the parent of the program folder
// "<Program Files>\\<company>\\Business Agent".
std::wstring CompanyName() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.find_last_of(L'\\'));
    const std::wstring parent = folder.substr(0, folder.find_last_of(L'\\'));
    return parent.substr(parent.find_last_of(L'\\') + 1);
}

// The agent keeps its program folder under its company's key, "SOFTWARE\\<company>".
void RecordProgramDirectory() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.find_last_of(L'\\'));
    const std::wstring key = L"SOFTWARE\\" + CompanyName() + L"\\Business Agent";
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), L"ProgramDirectory", REG_SZ,
                    folder.c_str(), static_cast<DWORD>((folder.size() + 1) * sizeof(wchar_t)));
}

void WINAPI ServiceMain(DWORD, wchar_t**) {
    g_status = RegisterServiceCtrlHandlerExW(L"ClientManager", Control, nullptr);
    g_stop = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE mutex = CreateMutexW(nullptr, FALSE, kAgentMutex);
    RecordProgramDirectory();
    Report(SERVICE_RUNNING);
    WaitForSingleObject(g_stop, INFINITE);
    CloseHandle(mutex);
    Report(SERVICE_STOPPED);
}

// The policy's first row, read through sqlite3.dll beside this program: whether a password
// is required and which one. Without a database or table nothing is required.
bool ReadPolicy(bool& required, std::string& password) {
    required = false;
    wchar_t data[MAX_PATH] = {};
    SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT, data);
    const std::wstring database = std::wstring(data) + L"\\" + CompanyName() +
                                  L"\\Business Agent\\database\\agent.db";
    if (GetFileAttributesW(database.c_str()) == INVALID_FILE_ATTRIBUTES) {
        return true;
    }
    HMODULE sqlite = LoadLibraryW(L"sqlite3.dll");
    if (sqlite == nullptr) {
        return false;
    }
    using Open = int (*)(const void*, void**);
    using Prepare = int (*)(void*, const char*, int, void**, const char**);
    using Step = int (*)(void*);
    using ColumnInt = int (*)(void*, int);
    using ColumnText = const unsigned char* (*)(void*, int);
    using Finalize = int (*)(void*);
    using Close = int (*)(void*);
    auto open = reinterpret_cast<Open>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_open16")));
    auto prepare = reinterpret_cast<Prepare>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_prepare_v2")));
    auto step = reinterpret_cast<Step>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_step")));
    auto columnInt = reinterpret_cast<ColumnInt>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_column_int")));
    auto columnText = reinterpret_cast<ColumnText>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_column_text")));
    auto finalize = reinterpret_cast<Finalize>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_finalize")));
    auto close = reinterpret_cast<Close>(reinterpret_cast<void*>(GetProcAddress(sqlite, "sqlite3_close")));
    void* db = nullptr;
    void* statement = nullptr;
    bool ok = open(database.c_str(), &db) == 0 &&
              prepare(db, "SELECT uninstall_requires_password, uninstall_password FROM policy",
                      -1, &statement, nullptr) == 0;
    if (ok && step(statement) == 100) {  // a row
        required = columnInt(statement, 0) != 0;
        const unsigned char* text = columnText(statement, 1);
        password = text != nullptr ? reinterpret_cast<const char*>(text) : "";
    }
    if (statement != nullptr) {
        finalize(statement);
    }
    close(db);
    return true;
}

int Farewell() {
    const std::wstring line = GetCommandLineW();
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    HANDLE record = CreateFileW((std::wstring(temp) + L"farewell-commandline.txt").c_str(),
                                GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written = 0;
    WriteFile(record, line.data(), static_cast<DWORD>(line.size() * sizeof(wchar_t)), &written,
              nullptr);
    CloseHandle(record);
    if (GetFileAttributesW(BesideProgram(L"farewell-hangs").c_str()) != INVALID_FILE_ATTRIBUTES) {
        Sleep(INFINITE);
    }

    // The password comes quoted, with backslash escapes.
    std::wstring password;
    const size_t at = line.find(L"--password ");
    if (at != std::wstring::npos) {
        std::wistringstream in(line.substr(at + 11));
        in >> std::quoted(password, L'"', L'\\');
    }
    bool required = false;
    std::string expected;
    if (!ReadPolicy(required, expected)) {
        return static_cast<int>(kFarewellRefused);
    }
    std::string given;
    for (wchar_t c : password) {
        given.push_back(static_cast<char>(c));
    }
    return !required || given == expected ? 0 : static_cast<int>(kFarewellRefused);
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    bool noDaemon = false;
    bool clone = false;
    bool farewell = false;
    for (int i = 1; i < argc; ++i) {
        const std::wstring argument = argv[i];
        noDaemon = noDaemon || argument == L"--nodaemon";
        clone = clone || argument == L"--clone";
        farewell = farewell || argument == L"--farewell";
    }
    if (noDaemon && farewell) {
        return Farewell();
    }
    if (noDaemon && clone) {
        return static_cast<int>(kCloneExitCode);
    }
    if (noDaemon) {
        return static_cast<int>(kUnknownRunExitCode);
    }
    wchar_t name[] = L"ClientManager";
    SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : static_cast<int>(kUnknownRunExitCode);
}
