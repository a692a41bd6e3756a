#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "setup/config/agent_config.h"
#include "setup/config/proxy_envelope.h"
#include "sys/ini_sys.h"
#include "tests/support/test_support.h"

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
}

class AgentConfig : public ::testing::Test {
protected:
    std::wstring Staged() const { return temp_ / L"setup\\agentconfig.conf"; }
    std::wstring Installed() const { return temp_ / L"agentconfig.conf"; }
    void Install(const std::string& content) const {
        std::ofstream(std::filesystem::path(Installed()), std::ios::binary) << content;
    }
    std::string Written(const SetupSettings& settings) const {
        EXPECT_EQ(agent_config::WriteAgentConfig(settings, Staged(), Installed()), kStatusOk);
        return test_support::ReadFileBytes(Staged());
    }
    test_support::TempFolder temp_;
};

TEST_F(AgentConfig, FirstInstallationWritesEveryKey) {
    SetupSettings settings;
    settings.serverUrl = L"https://backend.example";
    settings.token = L"Token-1";
    settings.brandId = 3;
    EXPECT_EQ(Written(settings),
              "[agent]\nbaseurl=https://backend.example\ntoken=Token-1\nbid=3\n"
              "proxy_enabled=0\nproxy_server=\nproxy_port=-1\nproxy_auth_enabled=0\n"
              "proxy_login=\nproxy_password_enc=\nproxy_type=0\nproxy_auth_type=0\n\n");

    settings.proxyMode = 2;
    settings.proxyPort = 8080;
    settings.proxyPassword = L"a:b:c:ZGF0YQ==";
    settings.debug = true;
    settings.disableUpdates = true;
    const std::string text = Written(settings);
    EXPECT_NE(text.find("proxy_enabled=1\n"), std::string::npos);
    EXPECT_NE(text.find("proxy_port=8080\n"), std::string::npos);
    EXPECT_NE(text.find("proxy_password_enc=a:b:c:ZGF0YQ==\n"), std::string::npos);
    EXPECT_NE(text.find("proxy_auth_type=0\ndisable_updates=1\n"), std::string::npos);
}

TEST_F(AgentConfig, RegistrationIsRequiredOnlyForAnotherToken) {
    SetupSettings settings;
    settings.token = L"Invite-Token";
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, Installed()));

    Install("[agent]\ntoken=iNVITE-tOKEN\n");
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, Installed()));
    EXPECT_EQ(Written(settings).find("register_required"), std::string::npos);

    Install("[agent]\ntoken=Other-Token\n");
    EXPECT_NE(Written(settings).find("proxy_auth_type=0\nregister_required=1\n"),
              std::string::npos);

    const std::string hash = agent_config::Sha256Hex("Invite-Token");
    ASSERT_EQ(hash.size(), 64u);
    std::string upper = hash;
    for (char& c : upper) {
        c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    }
    Install("[agent]\ntoken_hash=" + hash + "\n");
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, Installed()));
    Install("[agent]\ntoken_hash=" + upper + "\n");
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, Installed()));
    Install("[agent]\ntoken_hash=" + agent_config::Sha256Hex("Invite-Token2") + "\n");
    EXPECT_TRUE(agent_config::IsTokenChanged(settings.token, Installed()));

    Install("[agent]\nbaseurl=https://b.example\n");
    EXPECT_TRUE(agent_config::IsTokenChanged(settings.token, Installed()));

    std::filesystem::remove(Installed());
    std::filesystem::create_directories(Installed());  // a folder is no installed copy
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, Installed()));
}

TEST(AgentConfigHash, KnownDigest) {
    EXPECT_EQ(agent_config::Sha256Hex("abc"),
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
