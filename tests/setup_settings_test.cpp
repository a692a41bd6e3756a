#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "setup/base64.h"
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

TEST(CommandLineMode, NeedsAModeLetterOfCIOrU) {
    SetupSettings settings;
    EXPECT_FALSE(ParseCommandLineText(settings, L""));
    EXPECT_FALSE(ParseCommandLineText(settings, L"\"C:\\dl\\setup.exe\""));
    EXPECT_FALSE(Parse(L"/x").ok);
    EXPECT_FALSE(Parse(L"-").ok);
    EXPECT_FALSE(Parse(L"-tok abc").ok);  // an option is no mode

    Parsed install = Parse(L"Install");
    EXPECT_TRUE(install.ok);
    EXPECT_TRUE(install.settings.install);
    EXPECT_FALSE(install.settings.uninstall);

    EXPECT_TRUE(Parse(L"/i").settings.install);
    EXPECT_TRUE(Parse(L"-Uninstall").settings.uninstall);
    EXPECT_TRUE(Parse(L"c").settings.clone);
    EXPECT_TRUE(Parse(L"/i -C").settings.clone);
}

TEST(CommandLineWalk, SilenceAndValuelessOptions) {
    Parsed last = Parse(L"/i -silent");
    EXPECT_TRUE(last.ok);
    EXPECT_TRUE(last.settings.silent);

    // "-silent" before other words is also an unknown option that swallows the next word,
    // and the word after that is skipped as a lone word.
    Parsed swallowed = Parse(L"/i -silent -tok ABC");
    EXPECT_TRUE(swallowed.ok);
    EXPECT_TRUE(swallowed.settings.silent);
    EXPECT_EQ(swallowed.settings.token, L"");

    Parsed dangling = Parse(L"/i -tok");
    EXPECT_TRUE(dangling.ok);
    EXPECT_EQ(dangling.settings.token, L"");

    EXPECT_TRUE(Parse(L"/i /SILENT").settings.silent);
    EXPECT_TRUE(Parse(L"/i -sil yes").settings.silent);
    EXPECT_FALSE(Parse(L"/i -sil 0").settings.silent);

    Parsed unknown = Parse(L"/i -foo bar stray -TOK abc");
    EXPECT_TRUE(unknown.ok);
    EXPECT_EQ(unknown.settings.token, L"abc");
}

TEST(CommandLineOptions, TextNumbersAndFlags) {
    Parsed p = Parse(
        L"/i -tok T1 -tok T2 -lid 11 -bid 3 -svr https://b.example/api/// -rdid R -avc A "
        L"-psn proxy.example -psu user -psp secret -fav 1 -beta 0 -debug \"\"");
    ASSERT_TRUE(p.ok);
    EXPECT_EQ(p.settings.token, L"T2");  // the last one wins
    EXPECT_EQ(p.settings.languageId, 11u);
    EXPECT_EQ(p.settings.brandId, 3u);
    EXPECT_EQ(p.settings.serverUrl, L"https://b.example/api");
    EXPECT_EQ(p.settings.remoteDeploymentId, L"R");
    EXPECT_EQ(p.settings.avc, L"A");
    EXPECT_EQ(p.settings.proxyServer, L"proxy.example");
    EXPECT_EQ(p.settings.proxyLogin, L"user");
    EXPECT_EQ(p.settings.proxyPassword, L"secret");
    EXPECT_TRUE(p.settings.fav);
    EXPECT_FALSE(p.settings.beta);
    EXPECT_TRUE(p.settings.debug);  // a flag is on unless its value starts with 0

    EXPECT_EQ(Parse(L"/i -svr ///").settings.serverUrl, L"");
    EXPECT_EQ(Parse(L"/i -lid abc").settings.languageId, 0u);
    EXPECT_EQ(Parse(L"/i -lid 32x").settings.languageId, 32u);

    Parsed proxy = Parse(L"/i -ppt 70000 -pmi 65535 -psrt 2 -pai -3 -psa yes");
    EXPECT_EQ(proxy.settings.proxyPort, 4464u);
    EXPECT_EQ(proxy.settings.proxyMode, -1);
    EXPECT_EQ(proxy.settings.proxyType, 2);
    EXPECT_EQ(proxy.settings.proxyAuthType, -3);
    EXPECT_FALSE(proxy.settings.proxyAuthEnabled);
    EXPECT_TRUE(Parse(L"/i -psa 1").settings.proxyAuthEnabled);
    EXPECT_EQ(Parse(L"/i").settings.proxyPort, 0xFFFFFFFFu);
}

TEST(CommandLineOptions, ConfigurationValuesAreSingleLine) {
    for (const wchar_t* option : {L"tok", L"svr", L"psn", L"psu", L"psp"}) {
        const std::wstring name = option;
        EXPECT_FALSE(Parse(L"/i -" + name + L" \"a\nbaseurl=http://x\"").ok) << option;
        EXPECT_FALSE(Parse(L"/i -" + name + L" \"a\rb\"").ok) << option;
        EXPECT_TRUE(Parse(L"/i -" + name + L" \"a b\"").ok) << option;
    }
    EXPECT_TRUE(Parse(L"/i -rdid \"a\nb\"").ok);  // not written to the file
}

TEST(CommandLineOptions, UpdatesOffOnlyAfterDebug) {
    EXPECT_FALSE(Parse(L"/i -update 0").settings.disableUpdates);
    EXPECT_TRUE(Parse(L"/i -debug 1 -update 0").settings.disableUpdates);
    EXPECT_FALSE(Parse(L"/i -debug 1 -update 1").settings.disableUpdates);
    EXPECT_FALSE(Parse(L"/i -update 0 -debug 1").settings.disableUpdates);
}

TEST(CommandLineBase64, DecodesByGroupsAndKeepsEarlierFields) {
    EXPECT_EQ(DecodeBase64("SGVsbG8="), std::optional<std::string>("Hello"));
    EXPECT_EQ(DecodeBase64("SGk="), std::optional<std::string>("Hi"));
    EXPECT_EQ(DecodeBase64("===="), std::optional<std::string>(std::string(1, '\0')));
    EXPECT_EQ(DecodeBase64("S=k="), std::optional<std::string>(std::string("H\x09", 2)));
    EXPECT_EQ(DecodeBase64("S!k="), DecodeBase64("SAk="));  // foreign characters count as 0
    EXPECT_FALSE(DecodeBase64(""));
    EXPECT_FALSE(DecodeBase64("AB"));
    EXPECT_FALSE(DecodeBase64("SGVsbG8"));

    Parsed cn = Parse(L"/i -cn 0JDQkdCS");  // UTF-8 of three Cyrillic letters
    ASSERT_TRUE(cn.ok);
    EXPECT_EQ(cn.settings.cnText, L"\x0410\x0411\x0412");

    Parsed password = Parse(L"/u -password cGE7XCJzcw==");
    ASSERT_TRUE(password.ok);
    EXPECT_EQ(password.settings.password, L"pa;\\\"ss");

    Parsed bad = Parse(L"/u -tok kept -password abc -lid 3");
    EXPECT_FALSE(bad.ok);
    EXPECT_EQ(bad.settings.token, L"kept");
    EXPECT_EQ(bad.settings.languageId, 0u);
    EXPECT_FALSE(Parse(L"/i -cn \"\"").ok);
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

TEST_F(CommandLineFiles, PublicKeyIsWrappedAtSixtyFourCharacters) {
    std::filesystem::create_directories(BinFolder() + L"\\resources");
    ASSERT_TRUE(Parse(L"/i -publickey " + std::wstring(132, L'Q')).ok);
    EXPECT_EQ(ReadFileBytes(CertificatePath()),
              "-----BEGIN CERTIFICATE-----\n" + std::string(64, 'Q') + "\n" +
                  std::string(64, 'Q') + "\nQQQQ\n-----END CERTIFICATE-----");

    // The writer wraps any length it is given.
    const std::string begin = "-----BEGIN CERTIFICATE-----\n";
    const std::string end = "\n-----END CERTIFICATE-----";
    ASSERT_TRUE(WriteOnPremiseCertificate(BinFolder(), std::wstring(130, L'R')));
    EXPECT_EQ(ReadFileBytes(CertificatePath()),
              begin + std::string(64, 'R') + "\n" + std::string(64, 'R') + "\nRR" + end);
    ASSERT_TRUE(WriteOnPremiseCertificate(BinFolder() + L"\\", std::wstring(64, L'A')));
    EXPECT_EQ(ReadFileBytes(CertificatePath()), begin + std::string(64, 'A') + end);
    ASSERT_TRUE(WriteOnPremiseCertificate(BinFolder(), std::wstring(65, L'B')));
    EXPECT_EQ(ReadFileBytes(CertificatePath()), begin + std::string(64, 'B') + "\nB" + end);
    ASSERT_TRUE(WriteOnPremiseCertificate(BinFolder(), L""));
    EXPECT_EQ(ReadFileBytes(CertificatePath()), begin + end);
}

TEST_F(CommandLineFiles, PublicKeyOfBadLengthFailsAndWritesNothing) {
    std::filesystem::create_directories(BinFolder() + L"\\resources");
    EXPECT_FALSE(Parse(L"/i -publickey " + std::wstring(130, L'Q')).ok);
    EXPECT_FALSE(FileExists(CertificatePath()));

    // Without a resources folder the file cannot be written; the option still succeeds.
    std::filesystem::remove_all(BinFolder() + L"\\resources");
    EXPECT_TRUE(Parse(L"/i -publickey QUFB").ok);
    EXPECT_FALSE(WriteOnPremiseCertificate(BinFolder(), L"QUFB"));
}

TEST_F(CommandLineFiles, AntivirusInstallerIsCopiedUnderTheBrandsName) {
    test_support::TempFolder source;
    const std::wstring installer = source / L"av.exe";
    {
        std::ofstream(std::filesystem::path(installer)) << "first";
    }
    ASSERT_TRUE(Parse(L"/i -av \"" + installer + L"\"").ok);
    EXPECT_EQ(ReadFileBytes(BinFolder() + L"\\zelko_business_antivirus_setup.exe"), "first");

    {
        std::ofstream(std::filesystem::path(installer)) << "second";
    }
    ASSERT_TRUE(Parse(L"/i -av \"" + installer + L"\"").ok);  // replaces the earlier copy
    EXPECT_EQ(ReadFileBytes(BinFolder() + L"\\zelko_business_antivirus_setup.exe"), "second");

    ASSERT_TRUE(Parse(L"/i -bid 6 -av \"" + installer + L"\"").ok);
    EXPECT_TRUE(FileExists(BinFolder() + L"\\orv_business_antivirus_setup.exe"));

    EXPECT_FALSE(Parse(L"/i -av \"" + source / L"missing.exe" + L"\"").ok);
    EXPECT_FALSE(Parse(L"/i -av \"" + source.Path() + L"\"").ok);
    EXPECT_FALSE(Parse(L"/i -av \"\"").ok);
}

}  // namespace
