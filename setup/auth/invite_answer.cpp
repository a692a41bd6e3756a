#include "setup/auth/invite_answer.h"

#include <json/json.h>

#include <memory>

Status EvaluateInviteAnswer(const std::string& body, const std::string& token) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    if (!reader->parse(body.data(), body.data() + body.size(), &root, &errors)) {
        return kStatusJsonParseFailed;
    }
    if (root.isObject() && root.isMember("token") && root["token"].isString() &&
        root["token"].asString() == token) {
        return kStatusOk;
    }
    return kStatusUnexpectedResponse;
}
