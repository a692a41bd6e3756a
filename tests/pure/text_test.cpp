#include <gtest/gtest.h>

#include "sys/text_sys.h"

namespace {

std::string Utf8(const std::wstring& wide) {
    std::string utf8 = "stale";
    EXPECT_EQ(text_sys::WideToUtf8(wide, utf8), kStatusOk);
    return utf8;
}

// The wide text, or "!" when the bytes are refused (and the output then left empty).
std::wstring Wide(const std::string& utf8) {
    std::wstring wide = L"stale";
    if (Failed(text_sys::Utf8ToWide(utf8, wide))) {
        EXPECT_TRUE(wide.empty());
        return L"!";
    }
    return wide;
}

TEST(Utf8, EncodesEveryLengthAndAnySurrogate) {
    EXPECT_EQ(Utf8(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
    EXPECT_EQ(Utf8(L"\x7F\x80\x7FF\x800\xFFFF"),
              "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF");
    EXPECT_EQ(Utf8(L"\xD800\xDC00\xDBFF\xDFFF"), "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF");

    // A lone surrogate becomes the replacement character.
    const std::string replacement = "\xEF\xBF\xBD";
    EXPECT_EQ(Utf8(L"\xD800"), replacement);
    EXPECT_EQ(Utf8(L"\xDC00x"), replacement + "x");
    EXPECT_EQ(Utf8(L"\xD800\xD800\xDC00"), replacement + "\xF0\x90\x80\x80");
    EXPECT_EQ(Utf8(L"\xDC00\xD800"), replacement + replacement);
}

TEST(Utf8, DecodesOnlyWellFormedText) {
    EXPECT_EQ(Wide(""), L"");
    EXPECT_EQ(Wide("\xC2\x80\xE0\xA0\x80\xEF\xBF\xBF"), L"\x80\x800\xFFFF");
    EXPECT_EQ(Wide("\xF4\x8F\xBF\xBF"), L"\xDBFF\xDFFF");
    EXPECT_EQ(Wide(std::string("\0", 1)), std::wstring(1, L'\0'));

    for (const char* bad : {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
                            "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xFF",
                            "\xC2", "\xE1\x80", "\xF1\x80\x80", "a\xC2z", "\xE1\x80\xC0"}) {
        EXPECT_EQ(Wide(bad), L"!") << testing::PrintToString(std::string(bad));
    }
}

TEST(Path, OneBackslashBetweenParts) {
    EXPECT_EQ(text_sys::JoinPath(L"C:\\", L"log"), L"C:\\log");
    EXPECT_EQ(text_sys::JoinPath(L"C:\\Data", L"log"), L"C:\\Data\\log");
}

// Shown text keeps what is readable; one U+FFFD stands for each bad sequence's longest
// valid beginning or its single bad byte.
TEST(Utf8, ShownTextReplacesWhatIsNotUtf8) {
    EXPECT_EQ(text_sys::Utf8ToWideReplacing("caf\xE9 ok"), L"caf\xFFFD ok");
    EXPECT_EQ(text_sys::Utf8ToWideReplacing("a\xE2\x82"), L"a\xFFFD") << "cut mid-character";
    EXPECT_EQ(text_sys::Utf8ToWideReplacing("\xE2\x82z\xC0\x80"), L"\xFFFDz\xFFFD\xFFFD");
    EXPECT_EQ(text_sys::Utf8ToWideReplacing("\xF0\x9F\x98\x80"), L"\xD83D\xDE00");
}

TEST(Utf16, SqliteTextKeepsItsUnits) {
    EXPECT_EQ(text_sys::ToUtf16(L"a\x0416\xD83D\xDE00"), u"a\x0416\xD83D\xDE00");
    EXPECT_EQ(text_sys::FromUtf16(u"a\x0416\xD83D\xDE00"), L"a\x0416\xD83D\xDE00");
    EXPECT_EQ(text_sys::FromUtf16(nullptr), L"");
#if WCHAR_MAX > 0xFFFF
    // A whole code point in a wide character, as the host's own texts hold them.
    EXPECT_EQ(text_sys::ToUtf16(std::wstring(1, static_cast<wchar_t>(0x1F600))),
              u"\xD83D\xDE00");
    EXPECT_EQ(Utf8(std::wstring(1, static_cast<wchar_t>(0x1F600))), "\xF0\x9F\x98\x80");
    EXPECT_EQ(Utf8(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xEF\xBF\xBD");
#endif
}

}  // namespace
