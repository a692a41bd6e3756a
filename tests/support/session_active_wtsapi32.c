/* Wine enumerates no sessions, so a process never finds its own session active. Placed
 * beside a program as wtsapi32.dll and chosen with WINEDLLOVERRIDES=wtsapi32=n,b, this
 * library reports the caller's session as the one active session. It exports only what
 * setup.exe imports from wtsapi32. */
#include <windows.h>

typedef struct {
    DWORD SessionId;
    LPWSTR pWinStationName;
    int State; /* 0: active */
} SessionInfo;

__declspec(dllexport) BOOL WINAPI WTSEnumerateSessionsW(HANDLE server, DWORD reserved,
                                                         DWORD version, SessionInfo** sessions,
                                                         DWORD* count) {
    static WCHAR name[] = L"Console";
    (void)server;
    (void)reserved;
    (void)version;
    SessionInfo* list = (SessionInfo*)HeapAlloc(GetProcessHeap(), 0, sizeof(SessionInfo));
    if (list == NULL) {
        return FALSE;
    }
    list->SessionId = 0;
    ProcessIdToSessionId(GetCurrentProcessId(), &list->SessionId);
    list->pWinStationName = name;
    list->State = 0;
    *sessions = list;
    *count = 1;
    return TRUE;
}

__declspec(dllexport) void WINAPI WTSFreeMemory(void* memory) {
    HeapFree(GetProcessHeap(), 0, memory);
}
