// A minimal Windows service for the service-control tests: it reports running, and stops
// when asked. Its name is its first argument (the service control manager passes it).
#include <windows.h>

namespace {

SERVICE_STATUS_HANDLE g_statusHandle = nullptr;
HANDLE g_stopEvent = nullptr;

void Report(DWORD state) {
    SERVICE_STATUS status{};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP : 0;
    SetServiceStatus(g_statusHandle, &status);
}

DWORD WINAPI Control(DWORD control, DWORD, void*, void*) {
    if (control == SERVICE_CONTROL_STOP) {
        Report(SERVICE_STOP_PENDING);
        SetEvent(g_stopEvent);
    }
    return NO_ERROR;
}

void WINAPI ServiceMain(DWORD argc, wchar_t** argv) {
    g_statusHandle =
        RegisterServiceCtrlHandlerExW(argc > 0 ? argv[0] : L"", Control, nullptr);
    g_stopEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    Report(SERVICE_RUNNING);
    WaitForSingleObject(g_stopEvent, INFINITE);
    Report(SERVICE_STOPPED);
}

}  // namespace

int wmain() {
    wchar_t name[] = L"";
    SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
