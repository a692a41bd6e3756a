#include "sys/library_loader.h"

#include <shlwapi.h>

#include <utility>

#include "sys/process_sys.h"
#include "sys/text_sys.h"

namespace {

// A library that can tell whether its objects are still in use exports "GetLockCount";
// -1 for one that cannot tell.
int LockCount(HMODULE library) {
    using GetLockCountFn = int (*)();
    auto lockCount = reinterpret_cast<GetLockCountFn>(
        reinterpret_cast<void*>(GetProcAddress(library, "GetLockCount")));
    return lockCount != nullptr ? lockCount() : -1;
}

}  // namespace

// A library whose objects still live stays loaded: freeing it would leave them pointing
// into unmapped code. The system unloads it with the process. Every other one is freed.
CLibraryLoader::~CLibraryLoader() {
    for (auto& entry : libraries_) {
        if (LockCount(entry.second.Get()) > 0) {
            entry.second.Release();
        }
    }
}

std::wstring CLibraryLoader::CacheKey(const std::wstring& nameOrPath) {
    std::wstring name = text_sys::ToLowerText(nameOrPath.substr(nameOrPath.find_last_of(L"\\/") + 1));
    if (name.size() < 4 || name.compare(name.size() - 4, 4, L".dll") != 0) {
        name += L".dll";
    }
    return name;
}

HMODULE CLibraryLoader::GetLoaded(const std::wstring& nameOrPath) const {
    auto found = libraries_.find(CacheKey(nameOrPath));
    return found == libraries_.end() ? nullptr : found->second.Get();
}

HMODULE CLibraryLoader::Load(const std::wstring& nameOrPath) {
    const std::wstring key = CacheKey(nameOrPath);
    if (HMODULE loaded = GetLoaded(key)) {
        return loaded;
    }
    std::wstring path = nameOrPath;
    if (path.find(L'\\') == std::wstring::npos && path.find(L'/') == std::wstring::npos) {
        path = key;  // a bare name: with ".dll"
    }
    if (PathIsRelativeW(path.c_str())) {
        path = process_sys::FolderOf(process_sys::GetModulePath()) + L"\\" + path;
    }
    // By full path; what the library imports comes from its own folder or the system
    // folder, never from the current folder or PATH.
    UniqueModule module(LoadLibraryExW(
        path.c_str(), nullptr, LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_SYSTEM32));
    if (!module) {
        return nullptr;
    }
    return libraries_.emplace(key, std::move(module)).first->second.Get();
}

void CLibraryLoader::UnloadUnused() {
    for (auto entry = libraries_.begin(); entry != libraries_.end();) {
        if (LockCount(entry->second.Get()) == 0) {
            entry = libraries_.erase(entry);  // frees the library
        } else {
            ++entry;
        }
    }
}
