#include "setup/auth/invite_answer.h"

#include <json/json.h>

#include <memory>

Status EvaluateInviteAnswer(const std::string& body, const std::string& token) {
    Json::CharReaderBuilder builder;
    // The answer is a flat object; deeper nesting than this is no answer, and the reader
    // should not build a thousand levels of it before saying so.
    builder["stackLimit"] = 64;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value root;
    std::string errors;
    // The reader throws where it gives up rather than fails, as on nesting too deep for it.
    try {
        if (!reader->parse(body.data(), body.data() + body.size(), &root, &errors)) {
            return kStatusJsonParseFailed;
        }
    } catch (const Json::Exception&) {
        return kStatusJsonParseFailed;
    }
    if (root.isObject() && root.isMember("token") && root["token"].isString() &&
        root["token"].asString() == token) {
        return kStatusOk;
    }
    return kStatusUnexpectedResponse;
}
