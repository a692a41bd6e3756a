#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "setup/config/certificate.h"
#include "setup/setup_settings.h"
#include "tests/support/test_support.h"

namespace {

using test_support::BinFolder;
using test_support::FileExists;
using test_support::ReadFileBytes;

struct Parsed {
    bool ok;
    SetupSettings settings;
};

Parsed Parse(const std::wstring& arguments) {
    Parsed parsed{false, {}};
    const std::wstring line = L"\"C:\\dl\\setup.exe\" " + arguments;
    parsed.ok = ParseCommandLineText(parsed.settings, line.c_str());
    return parsed;
}

// The system splits the line into words; their meaning is tested in pure/command_line_test.
TEST(CommandLineText, SplitIntoWordsBySystemRules) {
    SetupSettings settings;
    EXPECT_FALSE(ParseCommandLineText(settings, L""));
    EXPECT_FALSE(ParseCommandLineText(settings, L"\"C:\\dl\\setup.exe\""));

    Parsed quoted = Parse(L"/i -tok \"a b\" -debug \"\" -svr \"x\\\"y\"");
    ASSERT_TRUE(quoted.ok);
    EXPECT_EQ(quoted.settings.token, L"a b");
    EXPECT_TRUE(quoted.settings.debug);
    EXPECT_EQ(quoted.settings.serverUrl, L"x\"y");
}

// The publickey and av options write beside the running program, here the test program.
class CommandLineFiles : public ::testing::Test {
protected:
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(BinFolder() + L"\\resources", ignored);
        std::filesystem::remove(BinFolder() + L"\\zelko_business_antivirus_setup.exe", ignored);
        std::filesystem::remove(BinFolder() + L"\\orv_business_antivirus_setup.exe", ignored);
    }
    std::wstring CertificatePath() const { return OnPremiseCertificatePath(BinFolder()); }
};

// Which lengths are refused is command_line_test's.
TEST_F(CommandLineFiles, PublicKeyIsWrittenBesideSetup) {
    std::filesystem::create_directories(BinFolder() + L"\\resources");
    ASSERT_TRUE(Parse(L"/i -publickey " + std::wstring(132, L'Q')).ok);
    EXPECT_EQ(ReadFileBytes(CertificatePath()), CertificatePem(std::wstring(132, L'Q')));
    ASSERT_TRUE(Parse(L"/i -publickey QUFB").ok);
    EXPECT_EQ(ReadFileBytes(CertificatePath()), CertificatePem(L"QUFB"));

    // Without a resources folder the file cannot be written; the option still succeeds.
    std::filesystem::remove_all(BinFolder() + L"\\resources");
    EXPECT_TRUE(Parse(L"/i -publickey QUFB").ok);
    EXPECT_FALSE(WriteOnPremiseCertificate(BinFolder(), L"QUFB"));
}

TEST_F(CommandLineFiles, AntivirusInstallerIsCopiedUnderTheBrandsName) {
    test_support::TempFolder source;
    const std::wstring installer = source / L"av.exe";
    std::ofstream(std::filesystem::path(installer)) << "first";
    ASSERT_TRUE(Parse(L"/i -av \"" + installer + L"\"").ok);
    EXPECT_EQ(ReadFileBytes(BinFolder() + L"\\zelko_business_antivirus_setup.exe"), "first");

    std::ofstream(std::filesystem::path(installer)) << "second";
    ASSERT_TRUE(Parse(L"/i -av \"" + installer + L"\"").ok);  // replaces the earlier copy
    EXPECT_EQ(ReadFileBytes(BinFolder() + L"\\zelko_business_antivirus_setup.exe"), "second");

    ASSERT_TRUE(Parse(L"/i -bid 6 -av \"" + installer + L"\"").ok);
    EXPECT_TRUE(FileExists(BinFolder() + L"\\orv_business_antivirus_setup.exe"));

    EXPECT_FALSE(Parse(L"/i -av \"" + source / L"missing.exe" + L"\"").ok);
    EXPECT_FALSE(Parse(L"/i -av \"" + source.Path() + L"\"").ok);
    EXPECT_FALSE(Parse(L"/i -av \"\"").ok);
}

}  // namespace
