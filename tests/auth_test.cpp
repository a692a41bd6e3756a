#include <gtest/gtest.h>

#include <string>

#include "setup/auth/auth.h"
#include "setup/runtime/payload.h"
#include "setup/runtime/runtime_bridge.h"
#include "setup/runtime/runtime_settings.h"
#include "tests/support/agent_machine.h"
#include "tests/support/test_support.h"

namespace {

const std::wstring kToken = L"invite-0123456789abcdef0123456789";

// The invite exchange against the testbed backend through the testbed runtime.dll. The
// backend answers one DELETE of install_invites and echoes the token it got; every other
// answer fails. A gone invite and a server error: install_steps_test, through the loop.
TEST(InviteExchange, AcceptedOnlyWhenTheBackendReturnsTheToken) {
    const std::string port = agent_machine::BackendPort();
    ASSERT_FALSE(port.empty()) << "the backend does not run";
    const test_support::TempFolder logs;
    CLibraryLoader loader;
    CObjectSmPtr<CRuntimeSettings> host(new CRuntimeSettings());
    RuntimeSession session;
    ASSERT_EQ(StartRuntime(loader, test_support::BinFolder(), SetupSettings(), host.Get(), session),
              kStatusOk);
    CObjectSmPtr<IRuntimeManagerConfiguration> configuration;
    ASSERT_EQ(session.manager->GetConfiguration(configuration.Receive()), kStatusOk);
    configuration->SetText(L"runtime://directory/log", logs.Path().c_str());

    auto url = [&](const std::string& path) {
        const std::string text = "http://127.0.0.1:" + port + "/InviteExchange/" + path;
        return std::wstring(text.begin(), text.end());
    };
    auto claim = [&](const std::wstring& server) {
        CLogging log(kInstallerLogFile, L"Installer");
        EXPECT_EQ(log.SetupLogging(session.runtime.Get()), kStatusOk);
        CObjectSmPtr<CAuth> auth(new CAuth(log, {7, 1, 2, 345}));
        EXPECT_EQ(auth->Init(session.runtime.Get(), kToken, server), kStatusOk);
        CObjectSmPtr<IPayload> response(new CPayload());
        return auth->GetInstallInvite(response.Get());
    };
    auto logged = [&] { return test_support::ReadFileBytes(logs / L"agentinstaller.log"); };

    EXPECT_EQ(claim(url("accept")), kStatusOk);
    // The requests the backend recorded, as its JSON list.
    CObjectSmPtr<ICommunication> communication;
    ASSERT_EQ(session.runtime->GetCommunication(communication.Receive()), kStatusOk);
    CObjectSmPtr<IRequest> request;
    communication->CreateRequest(test_support::Narrow(url("requests")).c_str(), request.Receive());
    CObjectSmPtr<IPayload> response(new CPayload());
    std::uint32_t httpStatus = 0;
    ASSERT_EQ(communication->Send(request.Get(), kHttpGet, nullptr, response.Get(), &httpStatus),
              kStatusOk);
    const std::string requests(reinterpret_cast<const char*>(response->Data()), response->Size());
    EXPECT_EQ(requests.find("\"method\"", requests.find("\"method\"") + 1), std::string::npos)
        << requests;
    EXPECT_NE(requests.find("\"X-Agent-Version\": \"7.1.2.345\""), std::string::npos);
    EXPECT_NE(requests.find("\"Content-Type\": \"application/json\""), std::string::npos);
    EXPECT_NE(logged().find("CAuth::Exchange: HTTP response status code: 200 (request DELETE "),
              std::string::npos);

    EXPECT_EQ(claim(url("other")), kStatusUnexpectedResponse);
    EXPECT_TRUE(Failed(claim(url("empty")))) << "a 204 carries no token";
    EXPECT_EQ(claim(url("proxy")), kStatusHttpStatus);
    EXPECT_NE(logged().find("Passerelle indisponible, caf\xEF\xBF\xBD ***"), std::string::npos)
        << "a body in another code page is logged, the token masked";
    EXPECT_EQ(claim(url("moved")), kStatusHttpStatus);
    EXPECT_NE(logged().find("Server replied with status code 301. Request URL: " +
                            test_support::Narrow(url("moved")) + "/install_invites"),
              std::string::npos);
    const Status unreachable = claim(L"http://127.0.0.1:1");
    EXPECT_TRUE(Failed(unreachable));
    EXPECT_NE(unreachable, kStatusInviteGone);
}

}  // namespace
