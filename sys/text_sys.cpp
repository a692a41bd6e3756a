#include "sys/text_sys.h"

#include <windows.h>

#include <cctype>
#include <clocale>
#include <cstdlib>
#include <cwctype>

namespace text_sys {
namespace {

void UseDefaultLocale() { std::setlocale(LC_CTYPE, ""); }

}  // namespace

std::wstring ToLowerText(std::wstring text) {
    UseDefaultLocale();
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
    return text;
}

std::wstring ToUpperText(std::wstring text) {
    UseDefaultLocale();
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(std::towupper(c));
    }
    return text;
}

std::string ToLowerText(std::string text) {
    UseDefaultLocale();
    for (char& c : text) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

bool EqualsIgnoringCase(const std::wstring& a, const std::wstring& b) {
    return a.size() == b.size() && ToLowerText(a) == ToLowerText(b);
}

Status WideToNarrow(const std::wstring& wide, std::string& narrow) {
    UseDefaultLocale();
    narrow.clear();
    size_t needed = 0;
    if (wcstombs_s(&needed, nullptr, 0, wide.c_str(), 0) != 0) {
        return kStatusConversionFailed;
    }
    std::string converted(needed, '\0');
    if (needed > 0 &&
        wcstombs_s(&needed, converted.data(), converted.size(), wide.c_str(), needed - 1) != 0) {
        return kStatusConversionFailed;
    }
    converted.resize(needed > 0 ? needed - 1 : 0);
    narrow = std::move(converted);
    return kStatusOk;
}

Status NarrowToWide(const std::string& narrow, std::wstring& wide) {
    UseDefaultLocale();
    wide.clear();
    size_t needed = 0;
    if (mbstowcs_s(&needed, nullptr, 0, narrow.c_str(), 0) != 0) {
        return kStatusConversionFailed;
    }
    std::wstring converted(needed, L'\0');
    if (needed > 0 &&
        mbstowcs_s(&needed, converted.data(), converted.size(), narrow.c_str(), needed - 1) != 0) {
        return kStatusConversionFailed;
    }
    converted.resize(needed > 0 ? needed - 1 : 0);
    wide = std::move(converted);
    return kStatusOk;
}

Status WideToUtf8(const std::wstring& wide, std::string& utf8) {
    utf8.clear();
    if (wide.empty()) {
        return kStatusOk;
    }
    int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                     nullptr, 0, nullptr, nullptr);
    if (length <= 0) {
        return kStatusConversionFailed;
    }
    utf8.resize(static_cast<size_t>(length));
    if (WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), utf8.data(),
                            length, nullptr, nullptr) != length) {
        utf8.clear();
        return kStatusConversionFailed;
    }
    return kStatusOk;
}

Status Utf8ToWide(const std::string& utf8, std::wstring& wide) {
    wide.clear();
    if (utf8.empty()) {
        return kStatusOk;
    }
    // Invalid bytes are an error, not a replacement character.
    const int size = static_cast<int>(utf8.size());
    int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, nullptr, 0);
    if (length <= 0) {
        return kStatusConversionFailed;
    }
    wide.resize(static_cast<size_t>(length));
    if (MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, wide.data(),
                            length) != length) {
        wide.clear();
        return kStatusConversionFailed;
    }
    return kStatusOk;
}

std::wstring Widen(const char* narrow) {
    std::wstring wide;
    NarrowToWide(narrow != nullptr ? narrow : "", wide);  // empty when it cannot convert
    return wide;
}

}  // namespace text_sys
