#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>

#include "setup/logging.h"
#include "setup/runtime/runtime_interfaces.h"

// Claims the installation invite at the backend, through the runtime's communication.
class CAuth final : public CObjectBase<IObjectBase> {
public:
    using Headers = std::map<std::string, std::string>;
    using AgentVersion = std::array<std::uint32_t, 4>;

    CAuth(CLogging& log, const AgentVersion& agentVersion)
        : log_(log), agentVersion_(agentVersion) {}

    // Takes the runtime's communication, the invite token and the backend address.
    Status Init(IRuntime* runtime, const std::wstring& token, const std::wstring& serverUrl);

    // DELETE "/install_invites": 0 when the backend hands back the token that was sent.
    Status GetInstallInvite(IPayload* response);

    // One request to the invite resource; httpStatus receives the HTTP status.
    Status Exchange(std::uint32_t method, const Headers& headers, IPayload* request,
                    IPayload* response, std::uint32_t& httpStatus);

    static const char* MethodName(std::uint32_t method);

private:
    CLogging& log_;
    AgentVersion agentVersion_;
    std::string serverUrl_;
    std::string token_;
    CObjectSmPtr<ICommunication> communication_;
};
