#pragma once

#include <windows.h>

#include <string>

// The tail of this program's own command line after its name, as written: the command a
// runner starts unchanged, quoting and all.
inline std::wstring CommandTail() {
    const wchar_t* line = GetCommandLineW();
    if (*line == L'"') {
        line = wcschr(line + 1, L'"');
        line = line ? line + 1 : L"";
    } else {
        while (*line != L'\0' && *line != L' ' && *line != L'\t') {
            ++line;
        }
    }
    while (*line == L' ' || *line == L'\t') {
        ++line;
    }
    return line;
}
