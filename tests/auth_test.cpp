#include <gtest/gtest.h>

#include <json/json.h>

#include <memory>
#include <string>

#include "setup/auth/auth.h"
#include "setup/runtime/payload.h"
#include "setup/runtime/runtime_bridge.h"
#include "setup/runtime/runtime_settings.h"
#include "tests/support/agent_machine.h"
#include "tests/support/test_support.h"

namespace {

const std::wstring kToken = L"invite-0123456789abcdef0123456789";

// The invite exchange against the testbed backend through the testbed runtime.dll.
class InviteExchange : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = agent_machine::BackendPort();
        ASSERT_FALSE(port_.empty()) << "the backend does not run";
        ASSERT_EQ(StartRuntime(loader_, test_support::BinFolder(), SetupSettings(), host_.Get(), session_), kStatusOk);
        CObjectSmPtr<IRuntimeManagerConfiguration> configuration;
        ASSERT_EQ(session_.manager->GetConfiguration(configuration.Receive()), kStatusOk);
        configuration->SetText(L"runtime://directory/log", logs_.Path().c_str());
    }

    std::wstring Base(const std::string& answer) const {
        const std::string url = "http://127.0.0.1:" + port_ + "/" + Case() + "/" + answer;
        return std::wstring(url.begin(), url.end());
    }
    static std::string Case() {
        return ::testing::UnitTest::GetInstance()->current_test_info()->name();
    }

    Status Claim(const std::string& answer, std::string* body = nullptr) {
        CLogging log(L"agentinstaller.log", L"Installer");
        EXPECT_EQ(log.SetupLogging(session_.runtime.Get()), kStatusOk);
        CObjectSmPtr<CAuth> auth(new CAuth(log, {7, 1, 2, 345}));
        EXPECT_EQ(auth->Init(session_.runtime.Get(), kToken, Base(answer)), kStatusOk);
        CObjectSmPtr<IPayload> response(new CPayload());
        Status status = auth->GetInstallInvite(response.Get());
        if (body != nullptr) {
            body->assign(reinterpret_cast<const char*>(response->Data()), response->Size());
        }
        return status;
    }

    // The requests the backend recorded for this case.
    Json::Value Recorded() {
        CObjectSmPtr<ICommunication> communication;
        EXPECT_EQ(session_.runtime->GetCommunication(communication.Receive()), kStatusOk);
        const std::string url = "http://127.0.0.1:" + port_ + "/" + Case() + "/requests";
        CObjectSmPtr<IRequest> request;
        communication->CreateRequest(url.c_str(), request.Receive());
        CObjectSmPtr<IPayload> response(new CPayload());
        std::uint32_t httpStatus = 0;
        EXPECT_EQ(communication->Send(request.Get(), kHttpGet, nullptr, response.Get(),
                                      &httpStatus),
                  kStatusOk);
        const char* text = reinterpret_cast<const char*>(response->Data());
        Json::Value requests;
        std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        EXPECT_TRUE(reader->parse(text, text + response->Size(), &requests, nullptr));
        return requests;
    }

    std::string Log() const {
        return test_support::ReadFileBytes(logs_ / L"agentinstaller.log");
    }

    std::string port_;
    test_support::TempFolder logs_;
    CLibraryLoader loader_;
    CObjectSmPtr<CRuntimeSettings> host_{new CRuntimeSettings()};
    RuntimeSession session_;
};

TEST_F(InviteExchange, AcceptedWhenTheBackendReturnsTheToken) {
    std::string body;
    EXPECT_EQ(Claim("accept", &body), kStatusOk);
    EXPECT_NE(body.find("\"token\""), std::string::npos);

    const Json::Value requests = Recorded();
    ASSERT_EQ(requests.size(), 1u);
    const Json::Value& request = requests[0];
    EXPECT_EQ(request["method"].asString(), "DELETE");
    EXPECT_EQ(request["path"].asString(), "/" + Case() + "/accept/install_invites");
    EXPECT_EQ(request["headers"]["X-Invite-Token"].asString(), test_support::Narrow(kToken));
    EXPECT_EQ(request["headers"]["X-Agent-Version"].asString(), "7.1.2.345");
    EXPECT_EQ(request["headers"]["Content-Type"].asString(), "application/json");

    EXPECT_NE(Log().find("[INFO] [Installer] auth.cpp("), std::string::npos);
    EXPECT_NE(Log().find("CAuth::Exchange: HTTP response status code: 200 (request DELETE "),
              std::string::npos);
}

TEST_F(InviteExchange, EveryOtherAnswerFails) {
    EXPECT_EQ(Claim("gone"), kStatusInviteGone);  // whatever its body says
    EXPECT_EQ(Claim("other"), kStatusUnexpectedResponse);
    Status empty = Claim("empty");
    EXPECT_TRUE(Failed(empty)) << "a 204 carries no token";
    EXPECT_EQ(Claim("error"), kStatusHttpStatus);
    EXPECT_EQ(Claim("proxy"), kStatusHttpStatus);
    EXPECT_NE(Log().find("Passerelle indisponible, caf\xEF\xBF\xBD ***"), std::string::npos)
        << "a body in another code page is logged, the token masked";

    EXPECT_EQ(Claim("moved"), kStatusHttpStatus);
    EXPECT_NE(Log().find("Server replied with status code 301. Request URL: " +
                         test_support::Narrow(Base("moved")) + "/install_invites"),
              std::string::npos);
}

TEST_F(InviteExchange, UnreachableBackendPassesTheFailureOn) {
    CLogging log(L"agentinstaller.log", L"Installer");
    CObjectSmPtr<CAuth> auth(new CAuth(log, {1, 0, 0, 0}));
    ASSERT_EQ(auth->Init(session_.runtime.Get(), kToken, L"http://127.0.0.1:1"), kStatusOk);
    CObjectSmPtr<IPayload> response(new CPayload());
    Status status = auth->GetInstallInvite(response.Get());
    EXPECT_TRUE(Failed(status));
    EXPECT_NE(status, kStatusInviteGone);
}

}  // namespace
