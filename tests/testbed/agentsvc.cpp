// The testbed's agent service executable.
//   agentsvc.exe --nodaemon --clone   ends at once with kCloneExitCode.
//   started by the service manager    runs as the service "ClientManager": holds the agent's
//                                     mutex while it runs, records its program folder, and
//                                     stops when asked.
#include <windows.h>

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

DWORD WINAPI Control(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP) {
        Report(SERVICE_STOP_PENDING);
        SetEvent(g_stop);
    }
    return NO_ERROR;
}

// The agent keeps its program folder under its company's key; the program folder is
// "<Program Files>\<company>\Business Agent", and the company key is "SOFTWARE\<company>".
void RecordProgramDirectory() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    std::wstring folder = path;
    folder.resize(folder.find_last_of(L'\\'));
    const std::wstring parent = folder.substr(0, folder.find_last_of(L'\\'));
    const std::wstring company = parent.substr(parent.find_last_of(L'\\') + 1);
    const std::wstring key = L"SOFTWARE\\" + company + L"\\Business Agent";
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

}  // namespace

int wmain(int argc, wchar_t** argv) {
    bool noDaemon = false;
    bool clone = false;
    for (int i = 1; i < argc; ++i) {
        const std::wstring argument = argv[i];
        noDaemon = noDaemon || argument == L"--nodaemon";
        clone = clone || argument == L"--clone";
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
