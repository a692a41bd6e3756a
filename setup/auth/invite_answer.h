#pragma once

#include <string>

#include "sys/status.h"

// The backend's answer to claiming the invite: 0 when it is a JSON object whose "token" is
// the string that was sent; kStatusJsonParseFailed when it is no JSON at all, otherwise
// kStatusUnexpectedResponse.
Status EvaluateInviteAnswer(const std::string& body, const std::string& token);
