#pragma once

#include <windows.h>

#include <functional>
#include <string>

#include "sys/status.h"

// Folder trees taken apart through handles. Each entry is opened once, relative to its
// parent's handle and without following a link; what it is comes from that handle, and it
// is deleted or renamed through it. No path is resolved twice, so nobody can swap a
// junction in between and have an administrator delete what it points at.
namespace tree_sys {

enum class EntryKind { kFile, kFolder, kLink };

// A reparse point of any kind (junction, symbolic link, mount point) is a link: deleted as
// itself, never entered, never registered for the restart.
EntryKind KindOf(DWORD attributes);

// Deletes the entry at path, a folder with everything below it. What cannot go now stays.
// True when nothing of it is left.
bool DeleteTree(const std::wstring& path);

// Registers what is left of the tree at path for deletion at the next restart, each
// folder's content before the folder.
Status RegisterTreeForRestart(const std::wstring& path);

// Walks what lies below the folder at path, never into a link. An entry that foreign()
// judges not ours is deleted with everything below it; every other one is handed to adopt()
// and, a folder, walked. False when an entry could not be opened, read or deleted.
using EntryTest = std::function<bool(HANDLE entry, const std::wstring& path)>;
using EntryAction = std::function<void(HANDLE entry)>;
bool SortTree(const std::wstring& path, const EntryTest& foreign, const EntryAction& adopt);

// Renames the entry at path to newPath (a full path in the same volume) through its handle.
bool RenameEntry(const std::wstring& path, const std::wstring& newPath);

}  // namespace tree_sys
