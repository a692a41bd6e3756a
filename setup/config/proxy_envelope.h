#pragma once

#include <string>

// Opens the proxy password envelope "f1:f2:f3:base64(iv[12] ciphertext tag[16])" with
// AES-256-GCM, keyed by the first 32 bytes of the invite token. Both inputs are UTF-8.
// On success plaintext holds exactly the password bytes.
bool DecryptProxyPassword(const std::string& envelope, const std::string& token,
                          std::string& plaintext);
