#pragma once

#include <optional>
#include <string>

// Decodes standard base64. The length must be a multiple of 4 and at least 2; "=" and
// characters outside the alphabet count as zero bits, and the result is three quarters of
// the input length less one for each "=" among the last two characters.
std::optional<std::string> DecodeBase64(const std::string& text);

// Decodes strict standard base64: a multiple of 4 long, only the alphabet, "=" only as the
// final padding of one or two characters.
std::optional<std::string> DecodeBase64Strict(const std::string& text);
