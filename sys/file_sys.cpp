#include "sys/file_sys.h"

#include <windows.h>
#include <shlobj.h>

#include <algorithm>
#include <vector>

#include "sys/unique_handle.h"

namespace file_sys {
namespace {

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

Status GetProgramFilesFolder(bool x86, std::wstring& path) {
    wchar_t folder[MAX_PATH] = {};
    HRESULT result = SHGetFolderPathW(nullptr, CSIDL_PROGRAM_FILES + 4 * (x86 ? 1 : 0), nullptr,
                                      SHGFP_TYPE_CURRENT, folder);
    if (FAILED(result)) {
        return static_cast<Status>(result);
    }
    path = folder;
    return kStatusOk;
}

std::wstring GetCommonAppDataFolder() {
    wchar_t folder[MAX_PATH] = {};
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_COMMON_APPDATA, nullptr, SHGFP_TYPE_CURRENT,
                                folder))) {
        return {};
    }
    return folder;
}

Status GetSystemFolder(std::wstring& path) {
    wchar_t folder[MAX_PATH + 1] = {};
    UINT length = GetSystemDirectoryW(folder, MAX_PATH + 1);
    if (length == 0 || length > MAX_PATH) {
        return kStatusNotFound;
    }
    path = folder;
    return kStatusOk;
}

Status CreateFolderTree(const std::wstring& path) {
    if (IsFolder(path)) {
        return kStatusOk;
    }
    for (size_t slash = path.find(L'\\'); ; slash = path.find(L'\\', slash + 1)) {
        const std::wstring level = path.substr(0, slash);
        // Drive roots ("C:") and the empty start of a UNC path are not created.
        if (!level.empty() && level.back() != L':' && !IsFolder(level)) {
            _wmkdir(level.c_str());
        }
        if (slash == std::wstring::npos) {
            break;
        }
    }
    return IsFolder(path) ? kStatusOk : kStatusNotFound;
}

std::vector<std::wstring> ListFolder(const std::wstring& path) {
    std::vector<std::wstring> entries;
    WIN32_FIND_DATAW found{};
    UniqueFindHandle search(FindFirstFileW((path + L"\\*").c_str(), &found));
    if (!search) {
        return entries;
    }
    do {
        const std::wstring name = found.cFileName;
        if (name != L"." && name != L"..") {
            entries.push_back(path + L"\\" + name);
        }
    } while (FindNextFileW(search.Get(), &found));
    return entries;
}

bool IsLink(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT);
}

std::wstring GetParentFolder(const std::wstring& path) {
    if (path == L"\\") {
        return path;
    }
    size_t end = path.size();
    if (end > 0 && path[end - 1] == L'\\') {
        --end;
    }
    size_t slash = end == 0 ? std::wstring::npos : path.find_last_of(L'\\', end - 1);
    if (slash == std::wstring::npos) {
        return {};
    }
    return path.substr(0, slash);
}

Status ReadWholeFile(const std::wstring& path, std::string& bytes) {
    UniqueFileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                      FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                                      nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        return kStatusNotFound;
    }
    bytes.clear();
    // Read to the end rather than to a size asked for first: the file may still be growing.
    char buffer[64 * 1024];
    DWORD read = 0;
    while (ReadFile(file.Get(), buffer, sizeof(buffer), &read, nullptr)) {
        if (read == 0) {
            return kStatusOk;
        }
        bytes.append(buffer, read);
    }
    return kStatusNotFound;
}

namespace {

Status WriteAll(HANDLE file, const std::string& bytes) {
    size_t done = 0;
    while (done < bytes.size()) {
        const DWORD wanted = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, 1u << 20));
        DWORD written = 0;
        if (!WriteFile(file, bytes.data() + done, wanted, &written, nullptr) || written == 0) {
            return kStatusFileWriteFailed;
        }
        done += written;
    }
    return FlushFileBuffers(file) ? kStatusOk : kStatusFileWriteFailed;
}

}  // namespace

// A new file beside the old one, flushed, then moved over it with write-through: a power cut
// leaves the old content or the new, never half a file, and a file someone placed there
// first, with an access list of their own, is replaced rather than written into.
Status WriteWholeFile(const std::wstring& path, const std::string& bytes) {
    const std::wstring fresh = path + L"." + std::to_wstring(GetCurrentProcessId()) + L".new";
    DeleteFileW(fresh.c_str());  // a leftover of an interrupted run; CREATE_NEW tells
    Status status = kStatusFileWriteFailed;
    {
        UniqueFileHandle file(CreateFileW(fresh.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
        if (file) {
            status = WriteAll(file.Get(), bytes);
        }
    }
    if (!Failed(status) && !MoveFileExW(fresh.c_str(), path.c_str(),
                                        MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        status = kStatusFileWriteFailed;
    }
    if (Failed(status)) {
        DeleteFileW(fresh.c_str());
    }
    return status;
}

std::wstring GetExecutablePath() {
    wchar_t path[MAX_PATH] = {};
    DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::wstring(path, length < MAX_PATH ? length : 0);
}

Status GetFileVersion(std::array<std::uint16_t, 4>& version, const std::wstring& path) {
    const std::wstring file = path.empty() ? GetExecutablePath() : path;
    DWORD handle = 0;
    DWORD size = GetFileVersionInfoSizeW(file.c_str(), &handle);
    if (size == 0) {
        return kStatusVersionUnreadable;
    }
    std::vector<BYTE> info(size, 0);
    VS_FIXEDFILEINFO* fixed = nullptr;
    UINT length = 0;
    if (!GetFileVersionInfoW(file.c_str(), 0, size, info.data()) ||
        !VerQueryValueW(info.data(), L"\\", reinterpret_cast<void**>(&fixed), &length) ||
        fixed == nullptr) {
        return kStatusVersionUnreadable;
    }
    version = {HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
               HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS)};
    return kStatusOk;
}

}  // namespace file_sys
