#pragma once

#include <windows.h>

#include <map>
#include <string>

#include "sys/unique_handle.h"

// A cache of loaded libraries keyed by lower-case file name (".dll" appended when missing).
class ILibraryLoader {
public:
    virtual ~ILibraryLoader() = default;
    // Frees every cached library whose "GetLockCount" export answers 0; the others stay
    // loaded, also when the loader goes.
    virtual void UnloadUnused() = 0;
    // Loads a library by name or path; a relative one is taken from the folder of the
    // running executable. Null on failure.
    virtual HMODULE Load(const std::wstring& nameOrPath) = 0;
    virtual HMODULE GetLoaded(const std::wstring& nameOrPath) const = 0;
};

class CLibraryLoader final : public ILibraryLoader {
public:
    CLibraryLoader() = default;
    CLibraryLoader(const CLibraryLoader&) = delete;
    CLibraryLoader& operator=(const CLibraryLoader&) = delete;
    // Frees every library but one whose "GetLockCount" reports live objects.
    ~CLibraryLoader() override;

    void UnloadUnused() override;
    HMODULE Load(const std::wstring& nameOrPath) override;
    HMODULE GetLoaded(const std::wstring& nameOrPath) const override;

    // The cache key of a name or path.
    static std::wstring CacheKey(const std::wstring& nameOrPath);

private:
    std::map<std::wstring, UniqueModule> libraries_;
};
