/* Planted beside setup.exe under the name of a system library it uses, as anyone who can
 * write to a download folder could. Once loaded it leaves "<its own path>.loaded", so a
 * test sees which copy was taken. Besides that it offers only version.dll's three functions,
 * each failing, so that a program that took this copy by mistake fails its brand check
 * instead of stopping at a missing function. */
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    WCHAR path[MAX_PATH + 8];
    DWORD length;
    (void)reserved;
    if (reason != DLL_PROCESS_ATTACH) {
        return TRUE;
    }
    length = GetModuleFileNameW(instance, path, MAX_PATH);
    if (length > 0 && length < MAX_PATH) {
        HANDLE marker;
        lstrcatW(path, L".loaded");
        marker = CreateFileW(path, GENERIC_WRITE, 0, NULL, CREATE_ALWAYS, 0, NULL);
        if (marker != INVALID_HANDLE_VALUE) {
            CloseHandle(marker);
        }
    }
    return TRUE;
}

__declspec(dllexport) DWORD WINAPI GetFileVersionInfoSizeW(LPCWSTR file, LPDWORD handle) {
    (void)file;
    (void)handle;
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return 0;
}

__declspec(dllexport) BOOL WINAPI GetFileVersionInfoW(LPCWSTR file, DWORD handle, DWORD size,
                                                      LPVOID data) {
    (void)file;
    (void)handle;
    (void)size;
    (void)data;
    SetLastError(ERROR_RESOURCE_TYPE_NOT_FOUND);
    return FALSE;
}

__declspec(dllexport) BOOL WINAPI VerQueryValueW(LPCVOID block, LPCWSTR name, LPVOID* value,
                                                 PUINT length) {
    (void)block;
    (void)name;
    (void)value;
    (void)length;
    return FALSE;
}
