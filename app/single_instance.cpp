#include "app/single_instance.h"

#include <windows.h>

#include "sys/owner_sys.h"
#include "sys/unique_handle.h"

bool ClaimSingleInstance(const wchar_t* name) {
    // Closed only when the process exits: a second setup in this session sees it.
    static UniqueKernelHandle instance;
    HANDLE created = CreateMutexW(nullptr, FALSE, name);
    const bool existed = GetLastError() == ERROR_ALREADY_EXISTS;
    if (created == nullptr) {
        // There is no log yet; the debug output is where a squatted name shows.
        OutputDebugStringW(L"setup: the single-instance mutex cannot be opened with full "
                           L"access; it is no setup's, going on");
        return true;
    }
    UniqueKernelHandle mutex(created);
    if (!existed) {
        instance = std::move(mutex);
        return true;
    }
    if (!owner_sys::HasAdministrativeOwner(mutex.Get(), SE_KERNEL_OBJECT)) {
        OutputDebugStringW(L"setup: the single-instance mutex was made by an ordinary user; "
                           L"going on");
        return true;
    }
    return false;
}
