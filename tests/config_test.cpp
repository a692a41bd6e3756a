#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "setup/config/agent_config.h"
#include "tests/support/test_support.h"

namespace {

// The keys' content is tested in pure/config_text_test; here the staged file and whether it
// asks the agent to register again; without an installed copy it never does (install_test).
TEST(AgentConfig, StagedCopyHoldsTheSettingsAndRegistersOnlyForAnotherToken) {
    const test_support::TempFolder temp;
    const std::wstring staged = temp / L"setup\\agentconfig.conf";
    const std::wstring installed = temp / L"agentconfig.conf";
    auto install = [&](const std::string& content) {
        std::ofstream(std::filesystem::path(installed), std::ios::binary) << content;
    };
    auto written = [&](const SetupSettings& settings) {
        EXPECT_EQ(agent_config::WriteAgentConfig(settings, staged, installed), kStatusOk);
        return test_support::ReadFileBytes(staged);
    };
    const SetupSettings settings{.token = L"Token-1"};
    const std::string shortest = written(settings);
    EXPECT_EQ(shortest.find("[agent]\nbaseurl=\ntoken=Token-1\n"), 0u);
    install("[agent]\ntoken=tOKEN-1\n");
    EXPECT_EQ(written(settings), shortest) << "the same token in other case";

    const SetupSettings more{.disableUpdates = true, .token = L"Token-1", .proxyMode = 2,
                             .proxyPassword = L"a:b:c:ZGF0YQ=="};
    install("[agent]\ntoken=Other-Token\n");
    const std::string text = written(more);
    EXPECT_NE(text.find("proxy_enabled=1\n"), std::string::npos);
    EXPECT_NE(text.find("proxy_password_enc=a:b:c:ZGF0YQ==\n"), std::string::npos);
    EXPECT_NE(text.find("proxy_auth_type=0\nregister_required=1\ndisable_updates=1\n"),
              std::string::npos);
    install("[agent]\ntoken=Token-1\n");
    EXPECT_EQ(written(settings), shortest) << "a shorter rewrite leaves nothing of the longer";

    // A folder is no installed copy, and where the staged copy goes it fails the write.
    std::filesystem::remove(installed);
    std::filesystem::create_directories(installed);
    EXPECT_FALSE(agent_config::IsTokenChanged(settings.token, installed));
    std::filesystem::remove(staged);
    std::filesystem::create_directories(staged);
    EXPECT_EQ(agent_config::WriteAgentConfig(settings, staged, installed), kStatusFileWriteFailed);
}

}  // namespace
