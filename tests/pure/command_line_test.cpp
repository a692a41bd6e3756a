#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <vector>

#include "setup/base64.h"
#include "setup/setup_settings.h"
#include "setup/uninstall/farewell_arguments.h"
#include "sys/command_line.h"

namespace {

// The parse of the words after the program name; it records what the options asked of the
// files instead of doing it.
struct Parsed final : IOptionEffects {
    explicit Parsed(std::vector<std::wstring> words, bool copy = true) : copies(copy) {
        words.insert(words.begin(), L"C:\\dl\\setup.exe");
        ok = ParseArguments(settings, words, *this);
    }
    bool CopyAntivirusInstaller(const SetupSettings& s, const std::wstring& source) override {
        effects.push_back(L"av " + std::to_wstring(s.brandId) + L" " + source);
        return copies;
    }
    void WriteCertificate(const std::wstring& body) override { effects.push_back(L"pem " + body); }

    bool copies;
    bool ok = false;
    SetupSettings settings;
    std::vector<std::wstring> effects;
};

// The words separated by blanks.
Parsed Parse(const std::wstring& line, bool copies = true) {
    std::vector<std::wstring> words;
    std::wistringstream stream(line);
    for (std::wstring word; stream >> word;) {
        words.push_back(word);
    }
    return Parsed(words, copies);
}

TEST(CommandLineMode, NeedsAModeLetterOfCIOrU) {
    for (const wchar_t* line : {L"", L"/x", L"-", L"-tok abc"}) {  // an option is no mode
        EXPECT_FALSE(Parse(line).ok) << line;
    }
    const SetupSettings install = Parse(L"Install").settings;
    EXPECT_TRUE(install.install && !install.uninstall && !install.clone);
    EXPECT_TRUE(Parse(L"/i").settings.install);
    EXPECT_TRUE(Parse(L"-Uninstall").settings.uninstall);
    EXPECT_TRUE(Parse(L"c").settings.clone);
    EXPECT_TRUE(Parse(L"/i -C").settings.clone);
}

TEST(CommandLineWalk, SilenceAndValuelessOptions) {
    EXPECT_TRUE(Parse(L"/i -silent").settings.silent);

    // "-silent" before other words is also an unknown option that swallows the next word,
    // and the word after that is skipped as a lone word.
    Parsed swallowed = Parse(L"/i -silent -tok ABC");
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

    // A word is read as the C string the system hands over.
    EXPECT_EQ(Parsed({L"/i", std::wstring(L"-tok\0x", 5), L"T"}).settings.token, L"T");
}

TEST(CommandLineOptions, TextNumbersAndFlags) {
    Parsed p = Parse(
        L"/i -tok T1 -tok T2 -lid 11 -bid 3 -svr https://b.example/api/// -rdid R -avc A "
        L"-psn proxy.example -psu user -psp secret -fav 1 -beta 0 -debug x");
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
    EXPECT_TRUE(Parsed({L"/i", L"-fav", L""}).settings.fav);

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
}

TEST(CommandLineOptions, ConfigurationValuesAreSingleLine) {
    for (const wchar_t* option : {L"tok", L"svr", L"psn", L"psu", L"psp"}) {
        const std::wstring name = std::wstring(L"-") + option;
        // Found by fuzzing: the file reads a value only up to "#" and without end blanks.
        for (const wchar_t* value : {L"a\nbaseurl=http://x", L"a\rb", L"a#b", L" a", L"a "}) {
            EXPECT_FALSE(Parsed({L"/i", name, value}).ok) << option << L" " << value;
        }
        EXPECT_TRUE(Parsed({L"/i", name, L"a b"}).ok) << option;
    }
    EXPECT_FALSE(Parsed({L"/i", L"-svr", L"https://b.example /"}).ok)
        << "found by fuzzing: a blank before the slashes ended the address";
    EXPECT_TRUE(Parsed({L"/i", L"-rdid", L"a\nb"}).ok);  // not written to the file
}

TEST(CommandLineOptions, UpdatesOffOnlyAfterDebug) {
    EXPECT_FALSE(Parse(L"/i -update 0").settings.disableUpdates);
    EXPECT_TRUE(Parse(L"/i -debug 1 -update 0").settings.disableUpdates);
    EXPECT_FALSE(Parse(L"/i -debug 1 -update 1").settings.disableUpdates);
    EXPECT_FALSE(Parse(L"/i -update 0 -debug 1").settings.disableUpdates);
}

TEST(CommandLineBase64, DecodesByGroupsAndKeepsEarlierFields) {
    EXPECT_EQ(DecodeBase64("SGVsbG8="), std::optional<std::string>("Hello"));
    EXPECT_EQ(DecodeBase64("===="), std::optional<std::string>(std::string(1, '\0')));
    // "=" and other foreign characters count as 0.
    EXPECT_EQ(DecodeBase64("S=k="), std::optional<std::string>(std::string("H\x09", 2)));
    EXPECT_FALSE(DecodeBase64(""));
    EXPECT_FALSE(DecodeBase64("SGVsbG8"));

    EXPECT_EQ(DecodeBase64Strict("SGk="), std::optional<std::string>("Hi"));
    for (const char* foreign : {"Sk!=", "S=k=", "===="}) {
        EXPECT_FALSE(DecodeBase64Strict(foreign)) << foreign;
    }

    // UTF-8 of three Cyrillic letters; bad bytes are shown.
    EXPECT_EQ(Parse(L"/i -cn 0JDQkdCS").settings.cnText, L"\x0410\x0411\x0412");
    EXPECT_EQ(Parse(L"/i -cn QYBC").settings.cnText, L"A\xFFFD" L"B");
    EXPECT_FALSE(Parsed({L"/i", L"-cn", L""}).ok);

    Parsed password = Parse(L"/u -password cGE7XCJzcw==");
    ASSERT_TRUE(password.ok);
    EXPECT_EQ(password.settings.password, L"pa;\\\"ss");
    EXPECT_EQ(Parse(L"/u -password YQBi").settings.password, L"a") << "ends at the NUL";

    Parsed bad = Parse(L"/u -tok kept -password abc -lid 3");
    EXPECT_FALSE(bad.ok);
    EXPECT_EQ(bad.settings.token, L"kept");
    EXPECT_EQ(bad.settings.languageId, 0u);
}

TEST(CommandLineEffects, FileOptionsGoThroughTheEffectsInOrder) {
    Parsed p = Parse(L"/i -publickey QUFB -bid 6 -av C:\\av.exe -publickey QkJC");
    ASSERT_TRUE(p.ok);
    EXPECT_EQ(p.effects,
              (std::vector<std::wstring>{L"pem QUFB", L"av 6 C:\\av.exe", L"pem QkJC"}));

    // A certificate of a length base64 cannot have fails the line before any write.
    Parsed odd = Parse(L"/i -publickey QUF -tok T");
    EXPECT_FALSE(odd.ok);
    EXPECT_TRUE(odd.effects.empty());
    EXPECT_FALSE(Parsed({L"/i", L"-publickey", L""}).ok);

    // A failed copy stops the walk there.
    Parsed refused = Parse(L"/i -av x.exe -tok T", false);
    EXPECT_FALSE(refused.ok);
    EXPECT_EQ(refused.settings.token, L"");
}

TEST(CommandQuoting, ProgramPathQuotedOnce) {
    using process_sys::BuildCommandLine;
    EXPECT_EQ(BuildCommandLine(L"C:\\a b\\x.exe", L"--nodaemon --clone"),
              L"\"C:\\a b\\x.exe\" --nodaemon --clone");
    EXPECT_EQ(BuildCommandLine(L"\"C:\\a b\\x.exe\"", L"-v"), L"\"C:\\a b\\x.exe\" -v");
    EXPECT_EQ(BuildCommandLine(L"C:\\x.exe"), L"\"C:\\x.exe\"");
    EXPECT_EQ(BuildCommandLine(L"C:\\x.exe", L""), L"\"C:\\x.exe\" ");
}

// The agent reads the password back as a quoted string with backslash escapes.
TEST(CommandQuoting, FarewellPasswordReadsBackWhole) {
    const std::wstring prefix = L"--nodaemon --farewell --password ";
    for (const std::wstring password :
         {L"", L"plain", L"pa\"ss\\word", L"\\", L"\"", L"\\\"", L"trailing\\", L" two  blanks ",
          L"\x0410\x00e9"}) {
        const std::wstring arguments = FarewellArguments(password);
        ASSERT_EQ(arguments.substr(0, prefix.size()), prefix);
        std::wistringstream rest(arguments.substr(prefix.size()));
        std::wstring read;
        rest >> std::quoted(read, L'"', L'\\');
        EXPECT_EQ(read, password);
        EXPECT_EQ(rest.peek(), std::char_traits<wchar_t>::eof()) << "nothing after the quote";
    }
}

}  // namespace
