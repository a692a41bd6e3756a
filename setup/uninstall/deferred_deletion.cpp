#include "setup/uninstall/deferred_deletion.h"

#include <windows.h>

#include <atomic>
#include <chrono>
#include <cstdlib>

#include "sys/tree_sys.h"

namespace {

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

Status DeleteOrDeferFolder(const std::wstring& folder) {
    if (tree_sys::DeleteTree(folder)) {
        return kStatusOk;
    }
    // Renaming frees the path at once for a following installation. Windows refuses it
    // while a file inside is open; the folder is then registered under its own name.
    const std::wstring renamed = folder + RandomSuffix() + L".delete";
    tree_sys::DeleteTree(renamed);  // a leftover of that name, should one exist
    const bool moved = tree_sys::RenameEntry(folder, renamed);
    const Status status = tree_sys::RegisterTreeForRestart(moved ? renamed : folder);
    return Failed(status) ? status : kStatusRemovalAtRestart;
}
