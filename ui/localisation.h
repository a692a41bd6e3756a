#pragma once

#include <cstdint>
#include <string>

#include "sys/status.h"

// The installer's language numbers and the Windows languages they stand for.
std::uint16_t LanguageIdentifier(std::uint32_t number);
const wchar_t* LocaleName(std::uint32_t number);

// Applies the installer's language number to the calling thread's UI languages; numbers
// without an entry leave the thread as it is.
void SetThreadLanguage(std::uint32_t number);

// String id from this program's string tables, in the calling thread's UI language.
std::wstring LoadUiString(unsigned id);

// Records the agent's language for the installer's language number.
Status StoreAgentLanguage(std::uint32_t number);
// The same, told whether the process runs as the system account.
Status StoreAgentLanguage(std::uint32_t number, bool runsAsSystem);
