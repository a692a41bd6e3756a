#pragma once

#include <cstdint>
#include <string>

// Applies the installer's language number to the calling thread's UI languages; numbers
// without an entry leave the thread as it is.
void SetThreadLanguage(std::uint32_t number);

// String id from this program's string tables, in the calling thread's UI language.
std::wstring LoadUiString(unsigned id);

// A string of the tables with its "%s" placeholders filled, at most 511 characters.
std::wstring FormatUiString(unsigned id, const wchar_t* first, const wchar_t* second = nullptr);
