#include "sys/append_file.h"

#include <windows.h>

namespace file_sys {

bool IsAbsolutePath(const std::wstring& path) {
    const bool drive = path.size() >= 3 && path[1] == L':' && path[2] == L'\\';
    return drive || path.rfind(L"\\\\", 0) == 0;
}

}  // namespace file_sys

Status AppendFile::Open(const std::wstring& path) {
    if (!file_sys::IsAbsolutePath(path)) {
        return kStatusNotFound;
    }
    // FILE_FLAG_OPEN_REPARSE_POINT opens a link as itself, so the check below sees it
    // rather than what it points at.
    UniqueFileHandle file(CreateFileW(path.c_str(), FILE_APPEND_DATA | FILE_READ_ATTRIBUTES,
                                      FILE_SHARE_READ, nullptr, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_OPEN_REPARSE_POINT,
                                      nullptr));
    BY_HANDLE_FILE_INFORMATION info{};
    if (!file || !GetFileInformationByHandle(file.Get(), &info)) {
        return kStatusFileWriteFailed;
    }
    const DWORD notAFile = FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_DIRECTORY;
    if ((info.dwFileAttributes & notAFile) != 0 || info.nNumberOfLinks > 1) {
        return kStatusFileWriteFailed;
    }
    file_ = std::move(file);
    return kStatusOk;
}

Status AppendFile::Append(const std::string& bytes) {
    DWORD written = 0;
    const bool whole = file_ && WriteFile(file_.Get(), bytes.data(),
                                          static_cast<DWORD>(bytes.size()), &written, nullptr) &&
                       written == bytes.size();
    return whole ? kStatusOk : kStatusFileWriteFailed;
}
