#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "sys/file_sys.h"
#include "sys/registry_sys.h"
#include "sys/security_sys.h"
#include "sys/text_sys.h"
#include "tests/support/test_support.h"

namespace {

using namespace registry_sys;

constexpr wchar_t kTestKey[] = L"SOFTWARE\\HollinSetupTest";
constexpr wchar_t kRuntimeClassKey[] =
    L"SOFTWARE\\Classes\\CLSID\\{5E2B8C41-7A3D-4F96-B0E2-1C7D9A34F85B}";

void CreateKey(const std::wstring& path) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                              nullptr, &key, nullptr),
              ERROR_SUCCESS);
    RegCloseKey(key);
}

bool KeyExists(const std::wstring& path) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return false;
    }
    RegCloseKey(key);
    return true;
}

void SetText(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, REG_SZ, value.c_str(),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

TEST(Registry, DeletingKeysAndValues) {
    const std::wstring tree = std::wstring(kTestKey) + L"\\a\\b";
    EXPECT_EQ(DeleteRegistryKey(tree, kAllAccess, false), kStatusOk);  // missing: done
    EXPECT_EQ(DeleteRegistryKey(tree, kAllAccess, true), kStatusOk);

    CreateKey(tree);
    SetText(tree, L"v", L"1");
    EXPECT_EQ(DeleteRegistryValue(kLocalMachine, tree, L"v"), kStatusOk);
    EXPECT_EQ(DeleteRegistryValue(kLocalMachine, tree, L"v"), kStatusRegistryFailed);
    EXPECT_EQ(DeleteRegistryValue(kLocalMachine, tree + L"\\none", L"v"), kStatusRegistryFailed);
    EXPECT_EQ(DeleteRegistryValue(99, tree, L"v"), kStatusRegistryFailed);

    EXPECT_EQ(DeleteRegistryKey(kTestKey, kAllAccess64, false), kStatusRegistryFailed)
        << "a key with subkeys is only deleted recursively";
    EXPECT_TRUE(KeyExists(tree));
    EXPECT_EQ(DeleteRegistryKey(kTestKey, kAllAccess64, true), kStatusOk);
    EXPECT_FALSE(KeyExists(kTestKey));
}

// The runtime's keys are found through the value "SB Runtime" of its class key; they stay
// empty while it is missing and are kept once found.
TEST(Registry, RuntimeKeysFollowTheRegisteredBase) {
    DeleteRegistryKey(kRuntimeClassKey, kAllAccess, true);
    EXPECT_EQ(GetRuntimeRegistryBase(), L"");
    EXPECT_EQ(GetRuntimeRegistryKey(), L"");
    EXPECT_EQ(GetAgentRegistryBaseKey(), L"");

    const std::wstring base = std::wstring(kTestKey) + L"\\Runtime\\";
    SetText(kRuntimeClassKey, L"SB Runtime", base);
    EXPECT_EQ(GetRuntimeRegistryKey(), base + L"SB Runtime");
    EXPECT_EQ(GetAgentRegistryBaseKey(), base + L"Business Agent");

    CreateKey(base + L"Business Agent");
    EXPECT_EQ(DeleteDeploymentId(), kStatusRegistryFailed);
    SetText(base + L"Business Agent", L"DeploymentId", L"42");
    EXPECT_EQ(DeleteDeploymentId(), kStatusOk);

    DeleteRegistryKey(kRuntimeClassKey, kAllAccess, true);
    EXPECT_EQ(GetRuntimeRegistryKey(), base + L"SB Runtime");
    DeleteRegistryKey(kTestKey, kAllAccess, true);
}

TEST(Files, KnownFoldersAndPaths) {
    std::wstring programFiles;
    std::wstring programFilesX86;
    ASSERT_EQ(file_sys::GetProgramFilesFolder(false, programFiles), kStatusOk);
    ASSERT_EQ(file_sys::GetProgramFilesFolder(true, programFilesX86), kStatusOk);
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(programFiles, L"C:\\Program Files"));
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(programFilesX86, L"C:\\Program Files (x86)"));
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(file_sys::GetCommonAppDataFolder(),
                                             L"C:\\ProgramData"));
    std::wstring system;
    ASSERT_EQ(file_sys::GetSystemFolder(system), kStatusOk);
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(system, L"C:\\windows\\system32"));

    EXPECT_EQ(file_sys::GetParentFolder(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(file_sys::GetParentFolder(L"C:\\a\\b\\"), L"C:\\a");
    EXPECT_EQ(file_sys::GetParentFolder(L"name"), L"");
    EXPECT_EQ(file_sys::GetParentFolder(L"\\"), L"\\");
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(file_sys::GetExecutablePath(),
                                             test_support::BinFolder() +
                                                 L"\\registry_file_tests.exe"));

    std::array<std::uint16_t, 4> version{};
    ASSERT_EQ(file_sys::GetFileVersion(version, test_support::BinFolder() + L"\\brand_probe_1.exe"),
              kStatusOk);
    EXPECT_EQ(version, (std::array<std::uint16_t, 4>{4, 3, 2, 1}));
    EXPECT_EQ(file_sys::GetFileVersion(version, L"C:\\no\\such.exe"), kStatusVersionUnreadable);
}

TEST(Files, CreateAndListFolders) {
    test_support::TempFolder temp;
    const std::wstring deep = temp / L"one\\two\\three";
    EXPECT_EQ(file_sys::CreateFolderTree(deep), kStatusOk);
    EXPECT_EQ(file_sys::CreateFolderTree(deep), kStatusOk);
    EXPECT_TRUE(std::filesystem::is_directory(deep));
    std::ofstream(std::filesystem::path(temp / L"one\\file.txt")) << "x";

    std::vector<std::wstring> entries = file_sys::ListFolder(temp / L"one");
    std::sort(entries.begin(), entries.end());
    EXPECT_EQ(entries, (std::vector<std::wstring>{temp / L"one\\file.txt", temp / L"one\\two"}));
    EXPECT_TRUE(file_sys::ListFolder(temp / L"missing").empty());

    // A file where a folder level should be cannot become a folder.
    EXPECT_NE(file_sys::CreateFolderTree(temp / L"one\\file.txt\\below"), kStatusOk);
}

// A folder is only secured as itself: a file, or a link, at its place or its parent's is
// refused with nothing done through it.
TEST(Files, SecureFolderRefusesWhatIsNoPlainFolder) {
    constexpr wchar_t kList[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    test_support::TempFolder temp;
    DWORD lastError = 99;
    EXPECT_EQ(security_sys::SecureFolder(temp / L"made\\below", kList, &lastError), kStatusOk);
    EXPECT_TRUE(std::filesystem::is_directory(temp / L"made\\below"));
    EXPECT_EQ(security_sys::SecureFolder(temp / L"made\\below", kList), kStatusOk);

    std::ofstream(std::filesystem::path(temp / L"file")) << "x";
    EXPECT_EQ(security_sys::SecureFolder(temp / L"file", kList, &lastError), kStatusNotFound);
    EXPECT_EQ(lastError, 0u);
    EXPECT_EQ(security_sys::SecureFolder(temp / L"file\\below", kList), kStatusNotFound);
    EXPECT_EQ(security_sys::SecureFolder(temp / L"made", L"not a list"), kStatusConversionFailed);

    std::filesystem::create_directories(temp / L"target");
    CreateSymbolicLinkW((temp / L"link").c_str(), (temp / L"target").c_str(),
                        SYMBOLIC_LINK_FLAG_DIRECTORY);  // the attributes tell whether it worked
    const DWORD attributes = GetFileAttributesW((temp / L"link").c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
        GTEST_SKIP() << "this system makes no link to a folder (its CreateSymbolicLinkW may "
                        "report success and make nothing)";
    }
    EXPECT_EQ(security_sys::SecureFolder(temp / L"link", kList, &lastError), kStatusNotFound);
    EXPECT_EQ(lastError, 0u);
    EXPECT_EQ(security_sys::SecureFolder(temp / L"link\\below", kList), kStatusNotFound);
    EXPECT_FALSE(std::filesystem::exists(temp / L"target\\below"));
}

TEST(Text, CaseAndLocale) {
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(L"ClientManager", L"CLIENTMANAGER"));
    EXPECT_FALSE(text_sys::EqualsIgnoringCase(L"agent", L"agents"));
    std::string narrow;
    ASSERT_EQ(text_sys::WideToNarrow(L"plain", narrow), kStatusOk);
    EXPECT_EQ(narrow, "plain");
}

// The UTF-8 conversions are our own code so that the host build runs them; the system's
// are the reference they must match, byte for byte and in what they refuse.
std::string SystemUtf8(const std::wstring& wide) {
    const int size = static_cast<int>(wide.size());
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, nullptr, 0, nullptr,
                                           nullptr);
    std::string utf8(static_cast<size_t>(std::max(length, 0)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), size, utf8.data(), length, nullptr, nullptr);
    return utf8;
}

std::wstring SystemWide(const std::string& utf8, bool& refused) {
    const int size = static_cast<int>(utf8.size());
    const int length =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, nullptr, 0);
    refused = length <= 0 && size > 0;
    std::wstring wide(static_cast<size_t>(std::max(length, 0)), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), size, wide.data(), length);
    return wide;
}

TEST(Text, Utf8AsTheSystemConverts) {
    int differences = 0;
    auto compareBytes = [&](const std::string& utf8) {
        bool refused = false;
        const std::wstring expected = SystemWide(utf8, refused);
        std::wstring wide;
        const bool ours = !Failed(text_sys::Utf8ToWide(utf8, wide));
        if (ours == refused || (ours && wide != expected)) {
            if (++differences < 10) {
                ADD_FAILURE() << "bytes " << testing::PrintToString(utf8);
            }
        }
    };
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            compareBytes({static_cast<char>(a), static_cast<char>(b)});
        }
    }
    const int edges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF};
    for (int lead = 0xE0; lead <= 0xFF; ++lead) {
        for (int second : edges) {
            for (int third : edges) {
                compareBytes({static_cast<char>(lead), static_cast<char>(second),
                              static_cast<char>(third)});
                for (int fourth : edges) {
                    compareBytes({static_cast<char>(lead), static_cast<char>(second),
                                  static_cast<char>(third), static_cast<char>(fourth)});
                }
            }
        }
    }

    auto compareUnits = [&](const std::wstring& wide) {
        std::string utf8;
        if (Failed(text_sys::WideToUtf8(wide, utf8)) || utf8 != SystemUtf8(wide)) {
            if (++differences < 10) {
                ADD_FAILURE() << "units " << testing::PrintToString(wide);
            }
        }
    };
    for (int unit = 0; unit <= 0xFFFF; ++unit) {
        compareUnits(std::wstring(1, static_cast<wchar_t>(unit)) + L"x");
    }
    const wchar_t units[] = {0xD7FF, 0xD800, 0xDBFF, 0xDC00, 0xDFFF, 0xE000, L'a'};
    for (wchar_t first : units) {
        for (wchar_t second : units) {
            for (wchar_t third : units) {
                compareUnits({first, second, third});
            }
        }
    }
    EXPECT_EQ(differences, 0);
}

}  // namespace
