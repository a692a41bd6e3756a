#pragma once

#include <cstddef>
#include <string>

#include "sys/status.h"

// Text conversions under the user's default locale (the system's ANSI code page) and UTF-8.
// Nothing here calls the system: the host build runs it under sanitizers and the fuzzers.
//
// Wide text holds UTF-16 code units on every platform, as it does on Windows. Where
// wchar_t is wider (the host build), a unit above 0xFFFF is taken as a whole code point.
namespace text_sys {

std::wstring ToLowerText(std::wstring text);
std::wstring ToUpperText(std::wstring text);
std::string ToLowerText(std::string text);

// Case-insensitive equality, comparing the lowered characters one by one.
bool EqualsIgnoringCase(const std::wstring& a, const std::wstring& b);
// The C runtime's case-insensitive comparison (_wcsicmp on Windows), 0 when equal.
int CompareIgnoringCase(const wchar_t* a, const wchar_t* b);

Status WideToNarrow(const std::wstring& wide, std::string& narrow);
Status NarrowToWide(const std::string& narrow, std::wstring& wide);
// As Windows converts: a lone surrogate becomes U+FFFD.
Status WideToUtf8(const std::wstring& wide, std::string& utf8);
// Any invalid sequence (overlong, surrogate, above U+10FFFF, cut short) fails the whole text.
Status Utf8ToWide(const std::string& utf8, std::wstring& wide);
// As Windows converts without its strictness flag: each invalid sequence (its longest valid
// beginning, or one byte) becomes U+FFFD. For text that is only shown, never stored.
std::wstring Utf8ToWideReplacing(const std::string& utf8);

// SQLite's wide functions take UTF-16, which wchar_t is on Windows only.
std::u16string ToUtf16(const std::wstring& wide);
// Up to the first NUL.
std::wstring FromUtf16(const char16_t* utf16);

// Overwrites a secret's characters where they lie; the compiler may not drop it.
template <typename Text>
void Wipe(Text& text) {
    volatile unsigned char* bytes = reinterpret_cast<volatile unsigned char*>(text.data());
    for (std::size_t i = 0; i < text.size() * sizeof(typename Text::value_type); ++i) {
        bytes[i] = 0;
    }
}

// base and part with one backslash between them; none is added after a base ending in one.
std::wstring JoinPath(std::wstring base, const std::wstring& part);

// For messages such as an exception's: what cannot be converted is left out.
std::wstring Widen(const char* narrow);

}  // namespace text_sys
