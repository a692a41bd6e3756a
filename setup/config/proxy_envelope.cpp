#include "setup/config/proxy_envelope.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <memory>
#include <optional>
#include <vector>

#include "setup/base64.h"
#include "sys/scope_exit.h"

namespace {

constexpr size_t kIvLength = 12;
constexpr size_t kTagLength = 16;
constexpr size_t kKeyLength = 32;

std::vector<std::string> SplitFields(const std::string& text) {
    std::vector<std::string> fields(1);
    for (char c : text) {
        if (c == ':') {
            fields.emplace_back();
        } else {
            fields.back().push_back(c);
        }
    }
    return fields;
}

}  // namespace

bool DecryptProxyPassword(const std::string& envelope, const std::string& token,
                          std::string& plaintext) {
    const std::vector<std::string> fields = SplitFields(envelope);
    if (fields.size() != 4) {
        return false;
    }
    const std::optional<std::string> decoded = DecodeBase64Strict(fields[3]);
    if (!decoded || decoded->size() < kIvLength + 1 + kTagLength) {
        return false;
    }
    std::vector<unsigned char> blob(decoded->begin(), decoded->end());
    // The token is the key material itself; a shorter one would be read past its end.
    if (token.size() < kKeyLength) {
        return false;
    }
    const unsigned char* iv = blob.data();
    const unsigned char* ciphertext = blob.data() + kIvLength;
    const int ciphertextLength = static_cast<int>(blob.size() - kIvLength - kTagLength);
    unsigned char* tag = blob.data() + blob.size() - kTagLength;
    const auto* key = reinterpret_cast<const unsigned char*>(token.data());

    std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> context(EVP_CIPHER_CTX_new(),
                                                                            EVP_CIPHER_CTX_free);
    std::string output(static_cast<size_t>(ciphertextLength), '\0');
    // A refused tag still leaves decrypted bytes behind; they go either way.
    const ScopeExit wipe([&] { OPENSSL_cleanse(output.data(), output.size()); });
    auto* out = reinterpret_cast<unsigned char*>(output.data());
    int written = 0;
    int finalWritten = 0;
    if (!context ||
        EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, nullptr, nullptr) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(kIvLength),
                            nullptr) != 1 ||
        EVP_DecryptInit_ex(context.get(), nullptr, nullptr, key, iv) != 1 ||
        EVP_DecryptUpdate(context.get(), out, &written, ciphertext, ciphertextLength) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(kTagLength),
                            tag) != 1 ||
        EVP_DecryptFinal_ex(context.get(), out + written, &finalWritten) <= 0) {
        return false;
    }
    output.resize(static_cast<size_t>(written + finalWritten));
    plaintext = std::move(output);
    return true;
}
