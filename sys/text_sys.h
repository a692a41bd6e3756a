#pragma once

#include <windows.h>

#include <string>

#include "sys/status.h"

// Text conversions under the user's default locale (the system's ANSI code page) and UTF-8.
namespace text_sys {

std::wstring ToLowerText(std::wstring text);
std::wstring ToUpperText(std::wstring text);
std::string ToLowerText(std::string text);

// Case-insensitive equality, comparing the lowered characters one by one.
bool EqualsIgnoringCase(const std::wstring& a, const std::wstring& b);

Status WideToNarrow(const std::wstring& wide, std::string& narrow);
Status NarrowToWide(const std::string& narrow, std::wstring& wide);
Status WideToUtf8(const std::wstring& wide, std::string& utf8);
Status Utf8ToWide(const std::string& utf8, std::wstring& wide);
// Overwrites a secret's characters where they lie; the compiler may not drop it.
template <typename Text>
void Wipe(Text& text) {
    SecureZeroMemory(text.data(), text.size() * sizeof(typename Text::value_type));
}

// For messages such as an exception's: what cannot be converted is left out.
std::wstring Widen(const char* narrow);

}  // namespace text_sys
