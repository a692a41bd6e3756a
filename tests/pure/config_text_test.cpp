#include <gtest/gtest.h>

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

TEST(ProxyEnvelope, OpensOnlyWellFormedWithTheToken) {
    // The smallest blob, 29 bytes. Fields 1 to 3 are not looked at; only the first 32 token
    // bytes are the key.
    const std::string sealed = test_support::SealProxyPassword("x", kToken);
    std::string plaintext;
    ASSERT_TRUE(DecryptProxyPassword(":::" + sealed, kToken.substr(0, 32) + "z", plaintext));
    EXPECT_EQ(plaintext, "x");

    plaintext = "untouched";
    std::string otherToken = kToken;
    otherToken[5] = 'X';
    EXPECT_FALSE(DecryptProxyPassword("a:b:c:" + sealed, otherToken, plaintext));
    EXPECT_FALSE(DecryptProxyPassword("a:b:c:" + sealed, kToken.substr(0, 31), plaintext));
    std::string tampered = sealed;
    tampered[16] = tampered[16] == 'A' ? 'B' : 'A';  // the ciphertext's byte
    std::string foreign = sealed;
    foreign[0] = '*';  // read as 0 like the 'A' it replaces, unless read strictly
    for (const std::string& envelope :
         {"a:b:c:" + tampered, "a:b:c:" + foreign, "a:b:" + sealed, "a:b:c:" + sealed + ":d",
          "a:b:c:" + sealed.substr(1), "a:b:c:" + test_support::SealProxyPassword("", kToken)}) {
        EXPECT_FALSE(DecryptProxyPassword(envelope, kToken, plaintext)) << envelope;
    }
    EXPECT_EQ(plaintext, "untouched");
}

TEST(IniDocument, WritesAndReadsItsFormat) {
    ini_sys::IniDocument document;
    document.SetText("agent", "baseurl", L"https://b.example");
    document.SetInteger("agent", "port", -1);
    document.SetBoolean("other", "on", true);
    document.SetText("agent", "baseurl", L"\x0416\xD83D\xDE00");  // replaced in place
    EXPECT_EQ(document.Serialize(),
              "[agent]\nbaseurl=\xD0\x96\xF0\x9F\x98\x80\nport=-1\n\n[other]\non=1\n\n");

    ini_sys::IniDocument read;
    read.Parse("# comment\r\n [agent] \r\n  key  =  value # note\r\nQPXSig=abc\n"
               "hash=#only\nnoequals\n[next]\nkey=2\nkey=3\n");
    EXPECT_EQ(read.GetText("agent", "key"), "value");
    EXPECT_EQ(read.GetText("agent", "hash"), "");
    EXPECT_EQ(read.GetText("agent", "QPXSig"), "");
    EXPECT_EQ(read.GetText("next", "key"), "3");

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
        document.Parse("[agent]\n" + installed);
        return agent_config::HoldsOtherToken(document, token);
    };
    EXPECT_FALSE(holdsOther("token=iNVITE-tOKEN", L"Invite-Token"));
    EXPECT_TRUE(holdsOther("token=Other-Token", L"Invite-Token"));
    EXPECT_TRUE(holdsOther("", L"")) << "neither token nor hash";

    // SHA-256 of "abc", as the agent writes it and in capitals.
    const std::string hash = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    const std::string upper = "BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD";
    EXPECT_FALSE(holdsOther("token_hash=" + hash, L"abc"));
    EXPECT_FALSE(holdsOther("token_hash=" + upper, L"abc"));
    EXPECT_TRUE(holdsOther("token_hash=" + hash, L"abd"));
    EXPECT_TRUE(holdsOther("token=x\ntoken_hash=" + hash, L"abc")) << "the token comes first";
}

TEST(CertificatePem, WrappedAtSixtyFourCharacters) {
    const std::string begin = "-----BEGIN CERTIFICATE-----\n";
    const std::string end = "\n-----END CERTIFICATE-----";
    EXPECT_EQ(CertificatePem(std::wstring(130, L'R')),
              begin + std::string(64, 'R') + "\n" + std::string(64, 'R') + "\nRR" + end);
    EXPECT_EQ(CertificatePem(std::wstring(64, L'A')), begin + std::string(64, 'A') + end);
    EXPECT_EQ(CertificatePem(L"\x0141"), begin + "A" + end) << "one byte per character";
}

TEST(InviteAnswer, TheTokenThatWasSentInAnObject) {
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-1", "state": "claimed"})", "T-1"), kStatusOk);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-2"})", "T-1"), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": 1})", "1"), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"(["T-1"])", "T-1"), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"({})", ""), kStatusUnexpectedResponse);
    EXPECT_EQ(EvaluateInviteAnswer(R"({"token": "T-1")", "T-1"), kStatusJsonParseFailed);
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
