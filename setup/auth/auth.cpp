#include "setup/auth/auth.h"

#include <map>

#include "setup/auth/invite_answer.h"
#include "setup/runtime/payload.h"
#include "sys/text_sys.h"

namespace {

constexpr char kFunction[] = "CAuth::Exchange";

// Only for log lines: a body in another code page or cut mid-character still shows.
std::wstring Wide(const std::string& utf8) { return text_sys::Utf8ToWideReplacing(utf8); }

std::string BodyOf(const IPayload* payload) {
    if (payload == nullptr || payload->Size() == 0) {
        return {};
    }
    return std::string(reinterpret_cast<const char*>(payload->Data()), payload->Size());
}

}  // namespace

const char* CAuth::MethodName(std::uint32_t method) {
    static const std::map<std::uint32_t, const char*> kMethods = {
        {kHttpDelete, "DELETE"}, {kHttpGet, "GET"}, {kHttpHead, "HEAD"},
        {kHttpPost, "POST"},     {kHttpPut, "PUT"}, {kHttpReset, "RESET"},
    };
    auto found = kMethods.find(method);
    return found == kMethods.end() ? "" : found->second;
}

Status CAuth::Init(IRuntime* runtime, const std::wstring& token, const std::wstring& serverUrl) {
    if (runtime == nullptr) {
        return kStatusNoRuntime;
    }
    communication_.Reset();
    Status status = runtime->GetCommunication(communication_.Receive());
    if (Failed(status)) {
        return status;
    }
    status = text_sys::WideToUtf8(token, token_);
    if (Failed(status)) {
        return status;
    }
    return text_sys::WideToUtf8(serverUrl, serverUrl_);
}

Status CAuth::Exchange(std::uint32_t method, const Headers& headers, IPayload* request,
                       IPayload* response, std::uint32_t& httpStatus) {
    httpStatus = 0;
    if (!communication_) {
        return kStatusNoRuntime;
    }
    const std::string url = serverUrl_ + "/install_invites";
    const std::wstring methodName = Wide(MethodName(method));
    const std::wstring wideUrl = Wide(url);

    CObjectSmPtr<IRequest> httpRequest;
    Status status = log_.Check(communication_->CreateRequest(url.c_str(), httpRequest.Receive()),
                               kFunction, L"Communication initialization failed");
    if (Failed(status)) {
        return status;
    }
    const std::string version = std::to_string(agentVersion_[0]) + "." +
                                std::to_string(agentVersion_[1]) + "." +
                                std::to_string(agentVersion_[2]) + "." +
                                std::to_string(agentVersion_[3]);
    // A header the request refuses shows in the backend's answer, which is checked below.
    httpRequest->SetHeader("X-Agent-Version", version.c_str());
    for (const auto& [name, value] : headers) {
        httpRequest->SetHeader(name.c_str(), value.c_str());
    }
    httpRequest->SetHeader("Content-Type", "application/json");

    status = communication_->Send(httpRequest.Get(), method, request, response, &httpStatus);
    // The backend echoes the invite token; the log shows the lines without it.
    const std::wstring body = Redacted(Wide(BodyOf(response)), Wide(token_));
    if (Failed(status)) {
        if (!body.empty()) {
            log_.Error(kFunction, L"Error response for request " + methodName + L" " + wideUrl +
                                     L": " + body);
        }
        log_.Error(kFunction, L"Request " + methodName + L" " + wideUrl + L" failed - " +
                                 CLogging::FormatStatus(status) + L" (" + std::to_wstring(status) + L")");
        return status;
    }
    log_.Info(kFunction, L"HTTP response status code: " + std::to_wstring(httpStatus) +
                            L" (request " + methodName + L" " + wideUrl + L")");
    if (!body.empty()) {
        log_.Info(kFunction,
                 L"Response for request " + methodName + L" " + wideUrl + L": " + body);
    }
    if (httpStatus < 200 || httpStatus > 299) {
        log_.Error(kFunction, L"Server replied with status code " + std::to_wstring(httpStatus) +
                                 L". Request URL: " + wideUrl);
        return kStatusHttpStatus;
    }
    return kStatusOk;
}

Status CAuth::GetInstallInvite(IPayload* response) {
    const Headers headers = {{"X-Invite-Token", token_}};
    CObjectSmPtr<IPayload> request(new CPayload());
    std::uint32_t httpStatus = 0;
    Status status = Exchange(kHttpDelete, headers, request.Get(), response, httpStatus);
    if (Failed(status)) {
        return httpStatus == 410 ? kStatusInviteGone : status;
    }

    return EvaluateInviteAnswer(BodyOf(response), token_);
}
