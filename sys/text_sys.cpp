#include "sys/text_sys.h"

#include <cctype>
#include <clocale>
#include <cstdint>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <type_traits>

namespace text_sys {
namespace {

void UseDefaultLocale() { std::setlocale(LC_CTYPE, ""); }

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char32_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void AppendUtf8(char32_t point, std::string& utf8) {
    if (point < 0x80) {
        utf8.push_back(static_cast<char>(point));
    } else if (point < 0x800) {
        utf8.push_back(static_cast<char>(0xC0 | point >> 6));
        utf8.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else if (point < 0x10000) {
        utf8.push_back(static_cast<char>(0xE0 | point >> 12));
        utf8.push_back(static_cast<char>(0x80 | (point >> 6 & 0x3F)));
        utf8.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    } else {
        utf8.push_back(static_cast<char>(0xF0 | point >> 18));
        utf8.push_back(static_cast<char>(0x80 | (point >> 12 & 0x3F)));
        utf8.push_back(static_cast<char>(0x80 | (point >> 6 & 0x3F)));
        utf8.push_back(static_cast<char>(0x80 | (point & 0x3F)));
    }
}

// Where a sequence led by lead may have its second byte; the tighter bounds exclude
// overlong forms, surrogates and code points above U+10FFFF.
struct Lead {
    int length;
    unsigned char secondLow;
    unsigned char secondHigh;
};

Lead LeadOf(unsigned char byte) {
    if (byte < 0x80) {
        return {1, 0, 0};
    }
    if (byte >= 0xC2 && byte <= 0xDF) {
        return {2, 0x80, 0xBF};
    }
    if (byte == 0xE0) {
        return {3, 0xA0, 0xBF};
    }
    if (byte == 0xED) {
        return {3, 0x80, 0x9F};
    }
    if (byte >= 0xE1 && byte <= 0xEF) {
        return {3, 0x80, 0xBF};
    }
    if (byte == 0xF0) {
        return {4, 0x90, 0xBF};
    }
    if (byte >= 0xF1 && byte <= 0xF3) {
        return {4, 0x80, 0xBF};
    }
    if (byte == 0xF4) {
        return {4, 0x80, 0x8F};
    }
    return {0, 0, 0};
}

}  // namespace

std::wstring ToLowerText(std::wstring text) {
    UseDefaultLocale();
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    }
    return text;
}

std::wstring ToUpperText(std::wstring text) {
    UseDefaultLocale();
    for (wchar_t& c : text) {
        c = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
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

int CompareIgnoringCase(const wchar_t* a, const wchar_t* b) {
#ifdef _WIN32
    return _wcsicmp(a, b);
#else
    return wcscasecmp(a, b);
#endif
}

Status WideToNarrow(const std::wstring& wide, std::string& narrow) {
    UseDefaultLocale();
    narrow.clear();
#ifdef _WIN32
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
#else
    const size_t needed = std::wcstombs(nullptr, wide.c_str(), 0);
    if (needed == static_cast<size_t>(-1)) {
        return kStatusConversionFailed;
    }
    std::string converted(needed, '\0');
    if (std::wcstombs(converted.data(), wide.c_str(), needed) != needed) {
        return kStatusConversionFailed;
    }
#endif
    narrow = std::move(converted);
    return kStatusOk;
}

Status NarrowToWide(const std::string& narrow, std::wstring& wide) {
    UseDefaultLocale();
    wide.clear();
#ifdef _WIN32
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
#else
    const size_t needed = std::mbstowcs(nullptr, narrow.c_str(), 0);
    if (needed == static_cast<size_t>(-1)) {
        return kStatusConversionFailed;
    }
    std::wstring converted(needed, L'\0');
    if (std::mbstowcs(converted.data(), narrow.c_str(), needed) != needed) {
        return kStatusConversionFailed;
    }
#endif
    wide = std::move(converted);
    return kStatusOk;
}

Status WideToUtf8(const std::wstring& wide, std::string& utf8) {
    utf8.clear();
    utf8.reserve(wide.size());
    for (size_t i = 0; i < wide.size(); ++i) {
        // Through the unsigned type: a wide character may be signed.
        const char32_t unit = static_cast<std::make_unsigned_t<wchar_t>>(wide[i]);
        if (IsHighSurrogate(unit) && i + 1 < wide.size()) {
            const char32_t next = static_cast<std::make_unsigned_t<wchar_t>>(wide[i + 1]);
            if (IsLowSurrogate(next)) {
                AppendUtf8(0x10000 + ((unit - 0xD800) << 10) + (next - 0xDC00), utf8);
                ++i;
                continue;
            }
        }
        const bool valid = !IsHighSurrogate(unit) && !IsLowSurrogate(unit) && unit <= 0x10FFFF;
        AppendUtf8(valid ? unit : kReplacement, utf8);
    }
    return kStatusOk;
}

namespace {

// Reads the sequence at utf8[i]: its code point and length, or, for an invalid one, the
// length of its longest valid beginning (at least 1), which one U+FFFD replaces.
struct Sequence {
    char32_t point;
    size_t length;
    bool valid;
};

Sequence ReadSequence(const std::string& utf8, size_t i) {
    const auto byte = static_cast<unsigned char>(utf8[i]);
    const Lead lead = LeadOf(byte);
    if (lead.length == 0) {
        return {kReplacement, 1, false};
    }
    char32_t point = lead.length == 1 ? byte : byte & (0x7F >> lead.length);
    for (int k = 1; k < lead.length; ++k) {
        const size_t at = i + static_cast<size_t>(k);
        const unsigned char low = k == 1 ? lead.secondLow : 0x80;
        const unsigned char high = k == 1 ? lead.secondHigh : 0xBF;
        if (at >= utf8.size() || static_cast<unsigned char>(utf8[at]) < low ||
            static_cast<unsigned char>(utf8[at]) > high) {
            return {kReplacement, static_cast<size_t>(k), false};
        }
        point = point << 6 | (static_cast<unsigned char>(utf8[at]) & 0x3F);
    }
    return {point, static_cast<size_t>(lead.length), true};
}

void AppendUtf16(char32_t point, std::wstring& wide) {
    if (point >= 0x10000) {
        wide.push_back(static_cast<wchar_t>(0xD800 + ((point - 0x10000) >> 10)));
        wide.push_back(static_cast<wchar_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
    } else {
        wide.push_back(static_cast<wchar_t>(point));
    }
}

}  // namespace

Status Utf8ToWide(const std::string& utf8, std::wstring& wide) {
    wide.clear();
    std::wstring converted;
    converted.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        const Sequence sequence = ReadSequence(utf8, i);
        if (!sequence.valid) {
            return kStatusConversionFailed;
        }
        AppendUtf16(sequence.point, converted);
        i += sequence.length;
    }
    wide = std::move(converted);
    return kStatusOk;
}

std::wstring Utf8ToWideReplacing(const std::string& utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    for (size_t i = 0; i < utf8.size();) {
        const Sequence sequence = ReadSequence(utf8, i);
        AppendUtf16(sequence.point, wide);
        i += sequence.length;
    }
    return wide;
}

std::u16string ToUtf16(const std::wstring& wide) {
    std::u16string utf16;
    utf16.reserve(wide.size());
    for (wchar_t c : wide) {
        const char32_t unit = static_cast<std::make_unsigned_t<wchar_t>>(c);
        if (unit > 0xFFFF && unit <= 0x10FFFF) {
            utf16.push_back(static_cast<char16_t>(0xD800 + ((unit - 0x10000) >> 10)));
            utf16.push_back(static_cast<char16_t>(0xDC00 + ((unit - 0x10000) & 0x3FF)));
        } else {
            utf16.push_back(unit > 0xFFFF ? char16_t{0xFFFD} : static_cast<char16_t>(unit));
        }
    }
    return utf16;
}

std::wstring FromUtf16(const char16_t* utf16) {
    std::wstring wide;
    for (const char16_t* unit = utf16; unit != nullptr && *unit != u'\0'; ++unit) {
        wide.push_back(static_cast<wchar_t>(*unit));
    }
    return wide;
}

std::wstring JoinPath(std::wstring base, const std::wstring& part) {
    if (base.empty() || base.back() != L'\\') {
        base += L'\\';
    }
    return base + part;
}

std::wstring Widen(const char* narrow) {
    std::wstring wide;
    NarrowToWide(narrow != nullptr ? narrow : "", wide);  // empty when it cannot convert
    return wide;
}

}  // namespace text_sys
