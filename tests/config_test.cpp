#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "setup/config/agent_config.h"
#include "tests/support/test_support.h"

namespace {

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

// The keys' content is tested in pure/config_text_test; here the staged file.
TEST_F(AgentConfig, StagedCopyHoldsTheSettings) {
    SetupSettings settings;
    settings.token = L"Token-1";
    const std::string shortest = Written(settings);
    EXPECT_EQ(shortest.find("[agent]\nbaseurl=\ntoken=Token-1\n"), 0u);

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

    SetupSettings fewer;
    fewer.token = L"Token-1";
    EXPECT_EQ(Written(fewer), shortest) << "a shorter rewrite leaves nothing of the longer";
}

TEST_F(AgentConfig, AFolderWhereTheStagedCopyGoesIsAWriteFailure) {
    std::filesystem::create_directories(Staged());
    SetupSettings settings;
    settings.token = L"Token-1";
    EXPECT_EQ(agent_config::WriteAgentConfig(settings, Staged(), Installed()),
              kStatusFileWriteFailed);
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

    std::filesystem::remove(Installed());
    std::filesystem::create_directories(Installed());  // a folder is no installed copy
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, Installed()));
}

}  // namespace
