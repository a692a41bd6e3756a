#include "setup/uninstall/deferred_deletion.h"

#include <windows.h>
#include <shlwapi.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cwchar>

#include "sys/file_sys.h"

namespace {

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Removes a link itself, never what it points at.
void DeleteLink(const std::wstring& link) {
    // What stays is deferred to the restart by the caller.
    if (IsFolder(link)) {
        RemoveDirectoryW(link.c_str());
    } else {
        DeleteFileW(link.c_str());
    }
}

// Removes what can be removed, ignoring every failure. A link is removed as a link and never
// entered: it may point at anything on the machine.
void DeleteTree(const std::wstring& folder) {
    if (file_sys::IsLink(folder)) {
        DeleteLink(folder);
        return;
    }
    for (const std::wstring& entry : file_sys::ListFolder(folder)) {
        if (file_sys::IsLink(entry)) {
            DeleteLink(entry);
        } else if (IsFolder(entry)) {
            DeleteTree(entry);
        } else {
            _wremove(entry.c_str());  // what stays is deferred to the restart by the caller
        }
    }
    _wrmdir(folder.c_str());
}

void SeedThisThread() {
    std::uint64_t hash = 0xCBF29CE484222325ULL;
    const DWORD threadId = GetCurrentThreadId();
    const auto* bytes = reinterpret_cast<const unsigned char*>(&threadId);
    for (size_t i = 0; i < sizeof(threadId); ++i) {
        hash ^= bytes[i];
        hash *= 0x100000001B3ULL;
    }
    const std::uint64_t now = static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::system_clock::now().time_since_epoch())
            .count());
    std::srand(static_cast<unsigned>((hash ^ now ^ (now >> 32)) & 0xFFFFFFFFu));
}

}  // namespace

int RandomNumber() {
    thread_local std::atomic<bool> seeded{false};
    if (!seeded.exchange(true)) {
        SeedThisThread();
    }
    return std::rand();
}

std::wstring RandomSuffix() {
    std::wstring suffix = L".aaaaaa";
    for (size_t i = 1; i < suffix.size(); ++i) {
        suffix[i] = static_cast<wchar_t>(suffix[i] + RandomNumber() % 26);
    }
    return suffix;
}

Status MarkFolderForDeletionOnReboot(const std::wstring& folder) {
    // The restart removes a link as a link; its target's entries are none of ours.
    const std::vector<std::wstring> entries =
        file_sys::IsLink(folder) ? std::vector<std::wstring>{} : file_sys::ListFolder(folder);
    for (const std::wstring& entry : entries) {
        if (PathIsDirectoryW(entry.c_str()) && !file_sys::IsLink(entry)) {
            Status status = MarkFolderForDeletionOnReboot(entry);
            if (Failed(status)) {
                return status;
            }
            continue;
        }
        DWORD attributes = GetFileAttributesW(entry.c_str());
        if (attributes == INVALID_FILE_ATTRIBUTES) {
            return kStatusNotFound;
        }
        if (!MoveFileExW(entry.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)) {
            return kStatusRebootRegistrationFailed;
        }
    }
    return MoveFileExW(folder.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)
               ? kStatusOk
               : kStatusRebootRegistrationFailed;
}

Status DeleteOrDeferFolder(const std::wstring& folder) {
    DeleteTree(folder);
    if (!IsFolder(folder)) {
        return kStatusOk;
    }
    // Renaming frees the path at once for a following installation.
    const std::wstring renamed = folder + RandomSuffix() + L".delete";
    if (IsFolder(renamed)) {
        DeleteTree(renamed);
    }
    const bool moved = _wrename(folder.c_str(), renamed.c_str()) == 0;
    Status status = MarkFolderForDeletionOnReboot(moved ? renamed : folder);
    return Failed(status) ? status : kStatusRemovalAtRestart;
}
