#include <gtest/gtest.h>

#include <cctype>

#include "setup/auth/invite_answer.h"
#include "setup/config/agent_config.h"
#include "setup/config/certificate.h"
#include "setup/config/proxy_envelope.h"
#include "setup/install/download_trust.h"
#include "setup/install/package_manifest.h"
#include "sys/ini_sys.h"
#include "tests/support/sealing.h"

namespace {

const std::string kToken = "0123456789abcdefghijklmnopqrstuvWXYZ";  // 36 characters

using test_support::Base64;

std::string Seal(const std::string& plaintext, const std::string& token = kToken) {
    return test_support::SealProxyPassword(plaintext, token);
}

bool Open(const std::string& envelope, const std::string& token, std::string& plaintext) {
    return DecryptProxyPassword(envelope, token, plaintext);
}

TEST(ProxyEnvelope, OpensWithTheTokenAndChecksTheTag) {
    std::string plaintext;
    ASSERT_TRUE(Open("v1:k:n:" + Seal("pr0xy p\xC3\xA1ss"), kToken, plaintext));
    EXPECT_EQ(plaintext, "pr0xy p\xC3\xA1ss");

    // Fields 1 to 3 are not looked at; only the first 32 token bytes are the key.
    ASSERT_TRUE(Open(":::" + Seal("x"), kToken.substr(0, 32) + "other", plaintext));
    EXPECT_EQ(plaintext, "x");  // 29 bytes: the smallest blob

    std::string otherToken = kToken;
    otherToken[5] = 'X';
    EXPECT_FALSE(Open("a:b:c:" + Seal("secret"), otherToken, plaintext));
    EXPECT_FALSE(Open("a:b:c:" + Seal("secret"), kToken.substr(0, 31), plaintext));

    std::string tampered = Seal("secret");
    tampered[17] = tampered[17] == 'A' ? 'B' : 'A';  // inside the ciphertext
    EXPECT_FALSE(Open("a:b:c:" + tampered, kToken, plaintext));
}

TEST(ProxyEnvelope, RejectsMalformedEnvelopes) {
    std::string plaintext = "untouched";
    const std::string sealed = Seal("secret");
    EXPECT_FALSE(Open("a:b:" + sealed, kToken, plaintext));
    EXPECT_FALSE(Open("a:b:c:d:" + sealed, kToken, plaintext));
    EXPECT_FALSE(Open("a:b:c:" + sealed.substr(1), kToken, plaintext));
    EXPECT_FALSE(Open("a:b:c:" + Base64(std::string(28, 'z')), kToken, plaintext));
    std::string foreign = sealed;
    foreign[3] = '*';
    EXPECT_FALSE(Open("a:b:c:" + foreign, kToken, plaintext));
    EXPECT_EQ(plaintext, "untouched");
}

TEST(IniDocument, WritesAndReadsItsFormat) {
    ini_sys::IniDocument document;
    document.SetText("agent", "baseurl", L"https://b.example");
    document.SetInteger("agent", "port", -1);
    document.SetBoolean("other", "on", true);
    document.SetText("agent", "baseurl", L"https://c.example");  // replaced in place
    EXPECT_EQ(document.Serialize(),
              "[agent]\nbaseurl=https://c.example\nport=-1\n\n[other]\non=1\n\n");

    ini_sys::IniDocument read;
    read.Parse("# comment\r\n [agent] \r\n  key  =  value # note\r\nQPXSig=abc\n"
               "hash=#only\nnoequals\n[next]\nkey=2\nkey=3\n");
    EXPECT_EQ(read.GetText("agent", "key"), "value");
    EXPECT_EQ(read.GetText("agent", "hash"), "");
    EXPECT_EQ(read.GetText("agent", "QPXSig"), "");
    EXPECT_EQ(read.GetText("next", "key"), "3");
    EXPECT_EQ(read.GetText("missing", "key"), "");

    // Found by fuzzing: a carriage return before a comment stayed in the value, and the
    // value written back lost it at the line's end.
    ini_sys::IniDocument carriage;
    carriage.Parse("[agent]\ntoken=valu[agent]e \r #note\r\r\n");
    EXPECT_EQ(carriage.GetText("agent", "token"), "valu[agent]e");
    EXPECT_EQ(carriage.Serialize(), "[agent]\ntoken=valu[agent]e\n\n");

    // Found by fuzzing: "[k=5]# note" was the key "[k" and came back as the header "[k=5]",
    // moving the keys after it into another section.
    ini_sys::IniDocument header;
    header.Parse("[agent]\n[k=5]# note\n[half\ntoken=T\n");
    EXPECT_EQ(header.Serialize(), "[agent]\ntoken=T\n\n");

    ini_sys::IniDocument wide;
    wide.SetText("s", "name", L"\x0416\xD83D\xDE00");  // the pair is one code point
    EXPECT_EQ(wide.GetText("s", "name"), "\xD0\x96\xF0\x9F\x98\x80");
}

TEST(AgentConfigDocument, EveryKeyFromTheSettings) {
    SetupSettings settings;
    settings.serverUrl = L"https://backend.example";
    settings.token = L"Token-1";
    settings.brandId = 3;
    ini_sys::IniDocument document;
    ASSERT_EQ(agent_config::BuildAgentConfig(settings, document), kStatusOk);
    EXPECT_EQ(document.Serialize(),
              "[agent]\nbaseurl=https://backend.example\ntoken=Token-1\nbid=3\n"
              "proxy_enabled=0\nproxy_server=\nproxy_port=-1\nproxy_auth_enabled=0\n"
              "proxy_login=\nproxy_password_enc=\nproxy_type=0\nproxy_auth_type=0\n\n");
}

TEST(AgentConfigDocument, AnotherTokenOrHashWithoutRegardToCase) {
    auto holdsOther = [](const std::string& installed, const std::wstring& token) {
        ini_sys::IniDocument document;
        document.Parse(installed);
        return agent_config::HoldsOtherToken(document, token);
    };
    EXPECT_FALSE(holdsOther("[agent]\ntoken=iNVITE-tOKEN\n", L"Invite-Token"));
    EXPECT_TRUE(holdsOther("[agent]\ntoken=Other-Token\n", L"Invite-Token"));

    const std::string hash = agent_config::Sha256Hex("Invite-Token");
    ASSERT_EQ(hash.size(), 64u);
    std::string upper = hash;
    for (char& c : upper) {
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    EXPECT_FALSE(holdsOther("[agent]\ntoken_hash=" + hash + "\n", L"Invite-Token"));
    EXPECT_FALSE(holdsOther("[agent]\ntoken_hash=" + upper + "\n", L"Invite-Token"));
    EXPECT_TRUE(holdsOther("[agent]\ntoken_hash=" + hash + "\n", L"Invite-Token2"));
    // The token is looked at before the hash.
    EXPECT_TRUE(holdsOther("[agent]\ntoken=x\ntoken_hash=" + hash + "\n", L"Invite-Token"));
    EXPECT_TRUE(holdsOther("[agent]\nbaseurl=https://b.example\n", L"Invite-Token"));
    EXPECT_TRUE(holdsOther("", L""));

    EXPECT_EQ(agent_config::Sha256Hex("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(CertificatePem, WrappedAtSixtyFourCharacters) {
    const std::string begin = "-----BEGIN CERTIFICATE-----\n";
    const std::string end = "\n-----END CERTIFICATE-----";
    EXPECT_EQ(CertificatePem(std::wstring(130, L'R')),
              begin + std::string(64, 'R') + "\n" + std::string(64, 'R') + "\nRR" + end);
    EXPECT_EQ(CertificatePem(std::wstring(64, L'A')), begin + std::string(64, 'A') + end);
    EXPECT_EQ(CertificatePem(std::wstring(65, L'B')), begin + std::string(64, 'B') + "\nB" + end);
    EXPECT_EQ(CertificatePem(L""), begin + end);
    EXPECT_EQ(CertificatePem(L"\x0141"), begin + "A" + end) << "one byte per character";
}

TEST(InviteAnswer, TheTokenThatWasSentInAnObject) {
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-1", "state": "claimed"})", "T-1"), kStatusOk);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-2"})", "T-1"), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": 1})", "1"), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"(["T-1"])", "T-1"), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"({})", ""), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-1")", "T-1"), kStatusJsonParseFailed);
    EXPECT_EQ(EvaluateInviteAnswer("", "T-1"), kStatusJsonParseFailed);
    // Found by fuzzing: the reader threw on deep nesting, and the exception ended the run.
    EXPECT_EQ(EvaluateInviteAnswer(std::string(5000, '['), "T-1"), kStatusJsonParseFailed);
    const auto nested = [](int levels) {
        return R"({"token": "T-1", "x": )" + std::string(levels, '[') + std::string(levels, ']') +
               "}";
    };
    EXPECT_EQ(EvaluateInviteAnswer(nested(20), "T-1"), kStatusOk);
    EXPECT_EQ(EvaluateInviteAnswer(nested(100), "T-1"), kStatusJsonParseFailed);
    // Numbers beside the token are read, not stumbled over; one beyond a double is refused.
    EXPECT_EQ(EvaluateInviteAnswer(
                  R"({"quota": 2.5e3, "ratio": -0.125, "id": 12345678901234567890123, "token": "T-1"})",
                  "T-1"),
              kStatusOk);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-1", "big": 1e999})", "T-1"),
              kStatusJsonParseFailed);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-1", "n": 1e})", "T-1"), kStatusJsonParseFailed);
    // Compared as bytes, an embedded NUL included.
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T\u0000x"})", std::string("T\0x", 3)),
              kStatusOk);
}

// The manifest decides what setup.exe trusts: nothing loose passes.
TEST(PackageManifest, OnlyWellFormedLinesOfPackagePaths) {
    const std::string hash(64, 'a');
    std::vector<package_manifest::Entry> entries;
    ASSERT_TRUE(package_manifest::Parse("a.dll\t5\t" + hash + "\nsub\\b.exe\t0\t" + hash + "\n",
                                        entries));
    EXPECT_EQ(package_manifest::Format(entries), "a.dll\t5\t" + hash + "\nsub\\b.exe\t0\t" + hash + "\n");
    for (const std::string& bad :
         {std::string(), "a.dll\t5\t" + hash, "..\\a.dll\t5\t" + hash + "\n", "C:a.dll\t5\t" + hash + "\n",
          "\\a.dll\t5\t" + hash + "\n", "a.dll\t-5\t" + hash + "\n", "a.dll\t5\t" + hash + "A\n",
          "a.dll\t\t" + hash + "\n", "a.dll\t5\t" + hash + "\na.dll\t5\t" + hash + "\n"}) {
        EXPECT_FALSE(package_manifest::Parse(bad, entries)) << bad;
        EXPECT_TRUE(entries.empty());
    }
    // A valid signature of another publisher, or the expected one under a root that no
    // store trusts (which Wine cannot show: it verifies such a chain), never runs.
    EXPECT_TRUE(IsTrustedDownload(0, L"Expected", L"Expected"));
    EXPECT_FALSE(IsTrustedDownload(0, L"Another", L"Expected"));
    EXPECT_FALSE(IsTrustedDownload(static_cast<long>(0x800B0109), L"Expected", L"Expected"));
    EXPECT_FALSE(IsTrustedDownload(0, L"", L""));
    EXPECT_EQ(package_manifest::Sha256Hex("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
