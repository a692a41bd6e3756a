#pragma once

#include <string>

#include "sys/status.h"

// The next value of the C runtime's generator, seeded once per thread.
int RandomNumber();

// A dot and six random letters "a" to "z", for backup, ".delete" and temporary names.
std::wstring RandomSuffix();

// Deletes a folder tree through handles (sys/tree_sys.h); what cannot go now is renamed to
// "<folder>.xxxxxx.delete" and registered for deletion at the next restart (0x80000052).
// Links inside are deleted as links and never registered.
Status DeleteOrDeferFolder(const std::wstring& folder);
