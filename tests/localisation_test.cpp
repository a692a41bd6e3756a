#include <gtest/gtest.h>

#include <windows.h>

#include <thread>
#include <utility>
#include <vector>

#include "setup/language.h"
#include "setup/runtime/runtime_settings.h"
#include "ui/localisation.h"

namespace {

const std::vector<unsigned> kIds = {
    200, 201, 202, 203, 204, 205, 206, 207, 208, 209, 210, 211, 212, 213, 215, 216, 217, 218,
    219, 220, 221, 222, 223, 224, 225, 227, 228, 229, 230, 344, 345, 346, 347, 348, 349, 350,
    351, 352, 353, 354};
constexpr LANGID Neutral(WORD language) { return MAKELANGID(language, SUBLANG_NEUTRAL); }
// Each language number and the table it loads.
const std::pair<std::uint32_t, LANGID> kLanguages[] = {
    {1, Neutral(LANG_ENGLISH)},   {4, Neutral(LANG_CZECH)},      {11, Neutral(LANG_GERMAN)},
    {12, Neutral(LANG_SPANISH)},  {32, Neutral(LANG_FRENCH)},    {3, Neutral(LANG_ITALIAN)},
    {19, Neutral(LANG_JAPANESE)}, {31, Neutral(LANG_NORWEGIAN)}, {6, Neutral(LANG_RUSSIAN)},
    {14, MAKELANGID(LANG_PORTUGUESE, SUBLANG_PORTUGUESE_BRAZILIAN)}};

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

// Each number loads its own table, which has every id; a number whose identifier is wrong
// would quietly load the English table.
TEST(StringTables, EachLanguageNumberLoadsItsOwnFullTable) {
    for (const auto& [number, table] : kLanguages) {
        const std::vector<std::wstring> loaded = LoadIn(number, kIds);
        for (size_t i = 0; i < kIds.size(); ++i) {
            EXPECT_FALSE(loaded[i].empty()) << "number " << number << " id " << kIds[i];
            EXPECT_EQ(loaded[i], TableString(table, kIds[i]))
                << "number " << number << " id " << kIds[i];
        }
        const std::wstring links = TableString(table, 347);
        EXPECT_NE(links.find(L"<a href=\"%s\">"), links.rfind(L"<a href=\"%s\">"))
            << "two links, number " << number;
        EXPECT_NE(TableString(table, 344).find(L"%s"), std::wstring::npos);
    }
    EXPECT_EQ(LoadIn(11, {203}), std::vector<std::wstring>{L"Schlie\x00dF" L"en"});
    // No entry: the thread keeps the user's language.
    EXPECT_EQ(LoadIn(2, {209}), std::vector<std::wstring>{L"Install"});
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
