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

void SetText(const std::wstring& path, const wchar_t* name, const std::wstring& value) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, path.c_str(), name, REG_SZ, value.c_str(),
                              static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t))),
              ERROR_SUCCESS);
}

TEST(Registry, DeletingKeysAndValues) {
    const std::wstring tree = std::wstring(kTestKey) + L"\\a\\b";
    EXPECT_EQ(DeleteRegistryKey(tree, kAllAccess, false), kStatusOk);  // missing: done
    EXPECT_EQ(DeleteRegistryKey(tree, kAllAccess, true), kStatusOk);

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
    EXPECT_EQ(GetAgentRegistryBaseKey(), L"");

    const std::wstring base = std::wstring(kTestKey) + L"\\Runtime\\";
    SetText(kRuntimeClassKey, L"SB Runtime", base);
    EXPECT_EQ(GetRuntimeRegistryKey(), base + L"SB Runtime");
    EXPECT_EQ(GetAgentRegistryBaseKey(), base + L"Business Agent");

    DeleteRegistryKey(kRuntimeClassKey, kAllAccess, true);
    EXPECT_EQ(GetAgentRegistryBaseKey(), base + L"Business Agent");
    DeleteRegistryKey(kTestKey, kAllAccess, true);
}

// The program and data folders show in every installation test; the others here.
TEST(Files, KnownFoldersAndPaths) {
    std::wstring programFilesX86;
    ASSERT_EQ(file_sys::GetProgramFilesFolder(true, programFilesX86), kStatusOk);
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(programFilesX86, L"C:\\Program Files (x86)"));
    std::wstring system;
    ASSERT_EQ(file_sys::GetSystemFolder(system), kStatusOk);
    EXPECT_TRUE(text_sys::EqualsIgnoringCase(system, L"C:\\WINDOWS\\System32"));
    EXPECT_FALSE(text_sys::EqualsIgnoringCase(system, system + L"2"));

    EXPECT_EQ(file_sys::GetParentFolder(L"C:\\a\\b"), L"C:\\a");
    EXPECT_EQ(file_sys::GetParentFolder(L"C:\\a\\b\\"), L"C:\\a");
    EXPECT_EQ(file_sys::GetParentFolder(L"name"), L"");
    EXPECT_EQ(file_sys::GetParentFolder(L"\\"), L"\\");

    std::array<std::uint16_t, 4> version{};
    ASSERT_EQ(file_sys::GetFileVersion(version, test_support::BinFolder() + L"\\brand_probe_1.exe"),
              kStatusOk);
    EXPECT_EQ(version, (std::array<std::uint16_t, 4>{4, 3, 2, 1}));
    EXPECT_EQ(file_sys::GetFileVersion(version, L"C:\\no\\such.exe"), kStatusVersionUnreadable);
}

// A folder is only made or secured as itself: a file, or a link, at its place or its
// parent's is refused with nothing done through it. Copying a tree (install_steps_test)
// makes and lists folders that can be.
TEST(Files, FoldersAreOnlyMadeAndSecuredAsThemselves) {
    constexpr wchar_t kList[] = L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)";
    test_support::TempFolder temp;
    DWORD lastError = 99;
    EXPECT_EQ(security_sys::SecureFolder(temp / L"made\\below", kList, &lastError), kStatusOk);
    EXPECT_TRUE(std::filesystem::is_directory(temp / L"made\\below"));
    EXPECT_EQ(security_sys::SecureFolder(temp / L"made\\below", kList), kStatusOk);
    EXPECT_EQ(security_sys::SecureFolder(temp / L"made", L"not a list"), kStatusConversionFailed);

    std::ofstream(std::filesystem::path(temp / L"file")) << "x";
    EXPECT_NE(file_sys::CreateFolderTree(temp / L"file\\below"), kStatusOk);
    EXPECT_TRUE(file_sys::ListFolder(temp / L"missing").empty());
    EXPECT_EQ(security_sys::SecureFolder(temp / L"file", kList, &lastError), kStatusNotFound);
    EXPECT_EQ(lastError, 0u);
    EXPECT_EQ(security_sys::SecureFolder(temp / L"file\\below", kList), kStatusNotFound);

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

// The UTF-8 conversions are our own so that the host build runs them; the system's are the
// reference, byte for byte and in what they refuse.
TEST(Text, Utf8AsTheSystemConverts) {
    int differences = 0;
    auto same = [&](bool agreed, const auto& text) {
        if (!agreed && ++differences < 10) {
            ADD_FAILURE() << testing::PrintToString(text);
        }
    };
    auto compareBytes = [&](std::initializer_list<int> bytes) {
        std::string utf8;
        for (int byte : bytes) {
            utf8 += static_cast<char>(byte);
        }
        const int size = static_cast<int>(utf8.size());
        std::wstring expected(utf8.size(), L'\0');
        expected.resize(std::max(0, MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(),
                                                        size, expected.data(), size)));
        std::wstring wide;
        const bool ours = !Failed(text_sys::Utf8ToWide(utf8, wide));
        same(ours != expected.empty() && (!ours || wide == expected), utf8);
    };
    for (int a = 0; a < 256; ++a) {
        for (int b = 0; b < 256; ++b) {
            compareBytes({a, b});
        }
    }
    const int edges[] = {0x00, 0x41, 0x7F, 0x80, 0x8F, 0x90, 0x9F, 0xA0, 0xBF, 0xC0, 0xFF};
    for (int lead = 0xE0; lead <= 0xFF; ++lead) {
        for (int second : edges) {
            for (int third : edges) {
                compareBytes({lead, second, third});
                for (int fourth : edges) {
                    compareBytes({lead, second, third, fourth});
                }
            }
        }
    }

    auto compareUnits = [&](const std::wstring& wide) {
        const int size = static_cast<int>(wide.size());
        std::string expected(wide.size() * 3, '\0');
        expected.resize(static_cast<size_t>(WideCharToMultiByte(
            CP_UTF8, 0, wide.data(), size, expected.data(), size * 3, nullptr, nullptr)));
        std::string utf8;
        same(!Failed(text_sys::WideToUtf8(wide, utf8)) && utf8 == expected, wide);
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
