#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "sys/status.h"

namespace file_sys {

Status GetProgramFilesFolder(bool x86, std::wstring& path);
std::wstring GetCommonAppDataFolder();
Status GetSystemFolder(std::wstring& path);

// Creates every missing level of a folder path.
Status CreateFolderTree(const std::wstring& path);

// Full paths of the entries of a folder, without "." and ".."; empty when unreadable.
std::vector<std::wstring> ListFolder(const std::wstring& path);

// Whether the path is a reparse point: a symbolic link, a junction or a mount point.
// Copying and deleting treat one as the link it is and never go through it.
bool IsLink(const std::wstring& path);

// The path up to its last backslash; a trailing backslash is passed over.
std::wstring GetParentFolder(const std::wstring& path);

// The whole content of a file. kStatusNotFound when it cannot be opened or read through.
Status ReadWholeFile(const std::wstring& path, std::string& bytes);

// Replaces a file with a new one holding bytes, durably and in one move (file_sys.cpp).
Status WriteWholeFile(const std::wstring& path, const std::string& bytes);

// The running executable's full path, as the system gives it.
std::wstring GetExecutablePath();

// The four parts of a file's version, most significant first; the running executable's
// when no path is given.
Status GetFileVersion(std::array<std::uint16_t, 4>& version, const std::wstring& path = L"");

}  // namespace file_sys
