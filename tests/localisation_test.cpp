#include <gtest/gtest.h>

#include <windows.h>

#include <iterator>
#include <thread>
#include <utility>
#include <vector>

#include "setup/language.h"
#include "setup/runtime/runtime_settings.h"
#include "ui/localisation.h"

namespace {

const unsigned kIds[] = {200, 201, 202, 203, 204, 205, 206, 207, 208, 209, 210, 211, 212, 213,
                         215, 216, 217, 218, 219, 220, 221, 222, 223, 224, 225, 227, 228, 229,
                         230, 344, 345, 346, 347, 348, 349, 350, 351, 352, 353, 354};
const LANGID kTables[] = {
    MAKELANGID(LANG_ENGLISH, SUBLANG_NEUTRAL),   MAKELANGID(LANG_CZECH, SUBLANG_NEUTRAL),
    MAKELANGID(LANG_GERMAN, SUBLANG_NEUTRAL),    MAKELANGID(LANG_SPANISH, SUBLANG_NEUTRAL),
    MAKELANGID(LANG_FRENCH, SUBLANG_NEUTRAL),    MAKELANGID(LANG_ITALIAN, SUBLANG_NEUTRAL),
    MAKELANGID(LANG_JAPANESE, SUBLANG_NEUTRAL),  MAKELANGID(LANG_NORWEGIAN, SUBLANG_NEUTRAL),
    MAKELANGID(LANG_RUSSIAN, SUBLANG_NEUTRAL),
    MAKELANGID(LANG_PORTUGUESE, SUBLANG_PORTUGUESE_BRAZILIAN)};

// String id of exactly one table of this program, or empty.
std::wstring TableString(LANGID language, unsigned id) {
    HMODULE module = GetModuleHandleW(nullptr);
    HRSRC block = FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(id / 16 + 1), language);
    if (block == nullptr) {
        return {};
    }
    const auto* entry = static_cast<const WCHAR*>(LockResource(LoadResource(module, block)));
    for (unsigned index = 0; index < id % 16; ++index) {
        entry += 1 + *entry;
    }
    return std::wstring(entry + 1, *entry);
}

// Loads on a fresh thread, as each worker applies its language itself.
std::vector<std::wstring> LoadIn(std::uint32_t number, const std::vector<unsigned>& ids) {
    std::vector<std::wstring> texts;
    std::thread worker([&] {
        SetThreadLanguage(number);
        for (unsigned id : ids) {
            texts.push_back(LoadUiString(id));
        }
    });
    worker.join();
    return texts;
}

TEST(StringTables, EveryLanguageCarriesEveryId) {
    for (LANGID language : kTables) {
        for (unsigned id : kIds) {
            EXPECT_FALSE(TableString(language, id).empty())
                << "language 0x" << std::hex << language << std::dec << " id " << id;
        }
        const std::wstring links = TableString(language, 347);
        EXPECT_NE(links.find(L"<a href=\"%s\">"), links.rfind(L"<a href=\"%s\">"))
            << "two links in language 0x" << std::hex << language;
        EXPECT_NE(TableString(language, 344).find(L"%s"), std::wstring::npos);
    }
    const LANGID english = kTables[0];
    EXPECT_EQ(TableString(english, 223), L"Incorrect Password.  Please Try Again.");
    EXPECT_EQ(TableString(english, 225), L"Rolling back changes\x2026");
    EXPECT_EQ(TableString(english, 103), L"setup");
    EXPECT_EQ(TableString(english, 109), L"SETUP");
    EXPECT_TRUE(TableString(english, 214).empty());
}

// A number whose identifier is wrong would quietly load the English table.
TEST(StringTables, EachLanguageNumberLoadsItsOwnTable) {
    const std::pair<std::uint32_t, LANGID> kNumbers[] = {
        {1, kTables[0]}, {4, kTables[1]}, {11, kTables[2]}, {12, kTables[3]}, {32, kTables[4]},
        {3, kTables[5]}, {19, kTables[6]}, {31, kTables[7]}, {6, kTables[8]}, {14, kTables[9]}};
    const std::vector<unsigned> ids(std::begin(kIds), std::end(kIds));
    for (const auto& [number, table] : kNumbers) {
        const std::vector<std::wstring> loaded = LoadIn(number, ids);
        for (size_t i = 0; i < ids.size(); ++i) {
            EXPECT_EQ(loaded[i], TableString(table, ids[i])) << "number " << number << " id " << ids[i];
        }
    }
    EXPECT_EQ(LoadIn(11, {203}), std::vector<std::wstring>{L"Schlie\x00dF" L"en"});
    // No entry: the thread keeps the user's language.
    EXPECT_EQ(LoadIn(2, {209}), std::vector<std::wstring>{L"Install"});
}

TEST(LanguageTable, NumbersAndIdentifiers) {
    EXPECT_EQ(LanguageIdentifier(12), 0x080A);
    EXPECT_EQ(LanguageIdentifier(31), 0x0414);
    EXPECT_EQ(LanguageIdentifier(2), 0);
    EXPECT_EQ(LanguageIdentifier(0), 0);
    EXPECT_STREQ(LocaleName(14), L"pt-BR");
    EXPECT_EQ(LocaleName(33), nullptr);
}

class AgentLanguage : public ::testing::Test {
protected:
    void SetUp() override { Clear(); }
    void TearDown() override { Clear(); }
    void Clear() {
        auto where = LocateRuntimeSetting(L"runtime://agent/LangCode");
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, where->registryKey.c_str(), L"LangCode");
    }
    std::uint32_t Stored() {
        std::uint32_t value = 0;
        return Failed(ReadRuntimeNumber(L"runtime://agent/LangCode", value)) ? 0 : value;
    }
};

TEST_F(AgentLanguage, RecordedFromTheRunOrTheSystem) {
    EXPECT_EQ(StoreAgentLanguage(11, false), kStatusOk);
    EXPECT_EQ(Stored(), 0x0407u);
    EXPECT_EQ(StoreAgentLanguage(2, true), kStatusOk);  // no entry: nothing to record
    EXPECT_EQ(Stored(), 0x0407u);

    // A language-less run as the system account keeps what the agent has.
    EXPECT_EQ(StoreAgentLanguage(0, true), kStatusOk);
    EXPECT_EQ(Stored(), 0x0407u);
    Clear();
    EXPECT_EQ(StoreAgentLanguage(0, true), kStatusOk);
    EXPECT_EQ(Stored(), static_cast<std::uint32_t>(GetSystemDefaultLCID()));

    EXPECT_EQ(StoreAgentLanguage(12, false), kStatusOk);
    EXPECT_EQ(StoreAgentLanguage(0, false), kStatusOk);  // a user's run: the user's language
    EXPECT_EQ(Stored(), static_cast<std::uint32_t>(GetUserDefaultUILanguage()));
}

}  // namespace
