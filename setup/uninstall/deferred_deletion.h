#pragma once

#include <string>

#include "sys/status.h"


// The next value of the C runtime's generator, seeded once per thread.
int RandomNumber();

// A dot and six random letters "a" to "z", for backup, ".delete" and temporary names.
std::wstring RandomSuffix();

// Deletes a folder tree; what cannot go now is renamed to "<folder>.xxxxxx.delete" and
// registered for deletion at the next restart (0x80000052).
Status DeleteOrDeferFolder(const std::wstring& folder);

// Registers a folder tree for deletion at the next restart, content before folder.
Status MarkFolderForDeletionOnReboot(const std::wstring& folder);
