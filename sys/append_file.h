#pragma once

#include <string>

#include "sys/status.h"
#include "sys/unique_handle.h"

// A file an administrator names on the command line for an elevated run to write to. It is
// opened once, for appending only, as the entry itself: a link there (a user's pointer to a
// file the run could write with its rights), a second name of another file, or a relative
// path (the system folder's, where the run stands) is refused.
class AppendFile {
public:
    Status Open(const std::wstring& path);
    bool IsOpen() const { return static_cast<bool>(file_); }
    Status Append(const std::string& bytes);

private:
    UniqueFileHandle file_;
};

namespace file_sys {

// "C:\..." or "\\server\share\...": a path that does not depend on the current folder.
bool IsAbsolutePath(const std::wstring& path);

}  // namespace file_sys
