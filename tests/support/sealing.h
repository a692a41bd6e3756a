#pragma once

#include <string>

namespace test_support {

std::string Base64(const std::string& bytes);
// Seals a proxy password the way the backend does: base64(iv | ciphertext | tag) with
// AES-256-GCM, keyed by the first 32 bytes of the token.
std::string SealProxyPassword(const std::string& plaintext, const std::string& token);

}  // namespace test_support
