#include "sys/tree_sys.h"

#include <winternl.h>

#include <algorithm>
#include <vector>

#include "sys/unique_handle.h"

namespace tree_sys {
namespace {

constexpr NTSTATUS kNotADirectory = static_cast<NTSTATUS>(0xC0000103);
constexpr ACCESS_MASK kEntryAccess =
    DELETE | SYNCHRONIZE | FILE_READ_ATTRIBUTES | FILE_WRITE_ATTRIBUTES;
// Enough to judge an entry and give it a list; it never conflicts with how others share a
// file they hold open.
constexpr ACCESS_MASK kSortAccess = SYNCHRONIZE | FILE_READ_ATTRIBUTES | READ_CONTROL | WRITE_DAC;
constexpr ULONG kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr ULONG kOpenOptions =
    FILE_OPEN_REPARSE_POINT | FILE_OPEN_FOR_BACKUP_INTENT | FILE_SYNCHRONOUS_IO_NONALERT;

UniqueFileHandle OpenRelative(HANDLE parent, const std::wstring& name, ACCESS_MASK access,
                              ULONG options, NTSTATUS& status) {
    const auto bytes = static_cast<USHORT>(name.size() * sizeof(wchar_t));
    UNICODE_STRING objectName{bytes, bytes, const_cast<PWSTR>(name.c_str())};
    OBJECT_ATTRIBUTES attributes;
    InitializeObjectAttributes(&attributes, &objectName, OBJ_CASE_INSENSITIVE, parent, nullptr);
    IO_STATUS_BLOCK io{};
    HANDLE handle = nullptr;
    status = NtCreateFile(&handle, access, &attributes, &io, nullptr, 0, kShareAll, FILE_OPEN,
                          kOpenOptions | options, nullptr, 0);
    return UniqueFileHandle(NT_SUCCESS(status) ? handle : INVALID_HANDLE_VALUE);
}

// A child of the folder: as a folder that can be listed if it is one, otherwise (a file, or
// a link to a file) with only what deleting it needs, so that a file open without read
// sharing can still go.
UniqueFileHandle OpenChild(HANDLE folder, const std::wstring& name,
                           ACCESS_MASK access = kEntryAccess) {
    NTSTATUS status = 0;
    UniqueFileHandle child = OpenRelative(folder, name, access | FILE_LIST_DIRECTORY,
                                          FILE_DIRECTORY_FILE, status);
    if (!child && status == kNotADirectory) {
        child = OpenRelative(folder, name, access, FILE_NON_DIRECTORY_FILE, status);
    }
    return child;
}

UniqueFileHandle OpenTop(const std::wstring& path) {
    return UniqueFileHandle(CreateFileW(
        path.c_str(), kEntryAccess | FILE_LIST_DIRECTORY, kShareAll, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

bool KindFromHandle(HANDLE entry, EntryKind& kind) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (!GetFileInformationByHandleEx(entry, FileAttributeTagInfo, &info, sizeof(info))) {
        return false;
    }
    kind = KindOf(info.FileAttributes);
    return true;
}

struct Child {
    std::wstring name;
    DWORD attributes;  // as the listing saw them; an opened entry's own handle decides
};

// The entries of a folder, read from its handle.
std::vector<Child> Children(HANDLE folder) {
    std::vector<Child> children;
    std::vector<unsigned char> buffer(64 * 1024);
    auto kind = FileIdBothDirectoryRestartInfo;
    while (GetFileInformationByHandleEx(folder, kind, buffer.data(),
                                        static_cast<DWORD>(buffer.size()))) {
        kind = FileIdBothDirectoryInfo;
        for (size_t at = 0;;) {
            const auto* info = reinterpret_cast<const FILE_ID_BOTH_DIR_INFO*>(&buffer[at]);
            const std::wstring name(info->FileName, info->FileNameLength / sizeof(wchar_t));
            if (name != L"." && name != L"..") {
                children.push_back({name, info->FileAttributes});
            }
            if (info->NextEntryOffset == 0) {
                break;
            }
            at += info->NextEntryOffset;
        }
    }
    return children;
}

// Marks the entry for deletion when its last handle closes; read-only entries are made
// writable first, as deleting by path would need too.
bool DeleteThrough(HANDLE entry) {
    FILE_BASIC_INFO basic{};
    if (GetFileInformationByHandleEx(entry, FileBasicInfo, &basic, sizeof(basic)) &&
        (basic.FileAttributes & FILE_ATTRIBUTE_READONLY) != 0) {
        basic.FileAttributes &= ~FILE_ATTRIBUTE_READONLY;
        // A failure shows in the deletion's own answer.
        SetFileInformationByHandle(entry, FileBasicInfo, &basic, sizeof(basic));
    }
    FILE_DISPOSITION_INFO disposition{TRUE};
    return SetFileInformationByHandle(entry, FileDispositionInfo, &disposition,
                                      sizeof(disposition)) != FALSE;
}

// Deletes an open entry and, for a folder, its content first. True when it will be gone
// once the handle closes.
bool DeleteEntry(HANDLE entry) {
    EntryKind kind = EntryKind::kFile;
    if (!KindFromHandle(entry, kind)) {
        return false;
    }
    if (kind == EntryKind::kFolder) {
        bool emptied = true;
        for (const Child& listed : Children(entry)) {
            const UniqueFileHandle child = OpenChild(entry, listed.name);
            emptied = child && DeleteEntry(child.Get()) && emptied;
        }
        if (!emptied) {
            return false;
        }
    }
    return DeleteThrough(entry);
}

bool SortFolder(HANDLE folder, const std::wstring& path, const EntryTest& foreign,
                const EntryAction& adopt) {
    bool sorted = true;
    for (const Child& listed : Children(folder)) {
        const std::wstring childPath = path + L"\\" + listed.name;
        const UniqueFileHandle child = OpenChild(folder, listed.name, kSortAccess);
        EntryKind kind = EntryKind::kFile;
        if (!child || !KindFromHandle(child.Get(), kind)) {
            sorted = false;
        } else if (foreign(child.Get(), childPath)) {
            // Opened again for deleting, relative to the same folder and following no link.
            const UniqueFileHandle doomed = OpenChild(folder, listed.name);
            sorted = doomed && DeleteEntry(doomed.Get()) && sorted;
        } else {
            adopt(child.Get());
            if (kind == EntryKind::kFolder) {
                sorted = SortFolder(child.Get(), childPath, foreign, adopt) && sorted;
            }
        }
    }
    return sorted;
}

Status Register(const std::wstring& path) {
    return MoveFileExW(path.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT)
               ? kStatusOk
               : kStatusRebootRegistrationFailed;
}

// A folder's content, then the folder. An entry that cannot be opened now (a file held
// without delete sharing) is registered as the listing saw it; a link never is.
Status RegisterFolder(HANDLE folder, const std::wstring& path) {
    for (const Child& listed : Children(folder)) {
        const std::wstring childPath = path + L"\\" + listed.name;
        const UniqueFileHandle child = OpenChild(folder, listed.name);
        EntryKind kind = KindOf(listed.attributes);
        if (child && !KindFromHandle(child.Get(), kind)) {
            return kStatusNotFound;
        }
        Status status = kStatusOk;
        if (kind == EntryKind::kFolder && child) {
            status = RegisterFolder(child.Get(), childPath);
        } else if (kind != EntryKind::kLink) {
            status = Register(childPath);
        }
        if (Failed(status)) {
            return status;
        }
    }
    return Register(path);
}

}  // namespace

EntryKind KindOf(DWORD attributes) {
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) {
        return EntryKind::kLink;
    }
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? EntryKind::kFolder : EntryKind::kFile;
}

bool DeleteTree(const std::wstring& path) {
    {
        const UniqueFileHandle top = OpenTop(path);
        if (!top) {
            return GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES;
        }
        DeleteEntry(top.Get());
    }
    return GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES;
}

Status RegisterTreeForRestart(const std::wstring& path) {
    const UniqueFileHandle top = OpenTop(path);
    EntryKind kind = EntryKind::kFile;
    if (!top || !KindFromHandle(top.Get(), kind)) {
        return kStatusNotFound;
    }
    if (kind == EntryKind::kLink) {
        return kStatusOk;  // never followed at the restart either: it is left
    }
    return kind == EntryKind::kFolder ? RegisterFolder(top.Get(), path) : Register(path);
}

bool SortTree(const std::wstring& path, const EntryTest& foreign, const EntryAction& adopt) {
    const UniqueFileHandle top = OpenTop(path);
    EntryKind kind = EntryKind::kFile;
    return top && KindFromHandle(top.Get(), kind) && kind == EntryKind::kFolder &&
           SortFolder(top.Get(), path, foreign, adopt);
}

bool RenameEntry(const std::wstring& path, const std::wstring& newPath) {
    const UniqueFileHandle entry = OpenTop(path);
    if (!entry) {
        return false;
    }
    const size_t bytes = newPath.size() * sizeof(wchar_t);
    std::vector<unsigned char> buffer(sizeof(FILE_RENAME_INFO) + bytes);
    auto* rename = reinterpret_cast<FILE_RENAME_INFO*>(buffer.data());
    rename->ReplaceIfExists = FALSE;
    rename->RootDirectory = nullptr;
    rename->FileNameLength = static_cast<DWORD>(bytes);
    std::copy(newPath.begin(), newPath.end(), rename->FileName);
    return SetFileInformationByHandle(entry.Get(), FileRenameInfo, rename,
                                      static_cast<DWORD>(buffer.size())) != FALSE;
}

}  // namespace tree_sys
