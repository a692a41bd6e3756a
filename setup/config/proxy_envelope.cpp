#include "setup/config/proxy_envelope.h"

#include <openssl/evp.h>

#include <memory>
#include <vector>

namespace {

constexpr size_t kIvLength = 12;
constexpr size_t kTagLength = 16;
constexpr size_t kKeyLength = 32;

int SextetOf(char c) {
    if (c >= 'A' && c <= 'Z') {
        return c - 'A';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 26;
    }
    if (c >= '0' && c <= '9') {
        return c - '0' + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    return -1;
}

// Strict base64: a multiple of 4 long, only the alphabet, "=" only as the final padding.
bool DecodeStrictBase64(const std::string& text, std::vector<unsigned char>& bytes) {
    if (text.size() < 2 || text.size() % 4 != 0) {
        return false;
    }
    size_t padding = 0;
    if (text.back() == '=') {
        padding = text[text.size() - 2] == '=' ? 2 : 1;
    }
    bytes.clear();
    for (size_t i = 0; i < text.size(); i += 4) {
        unsigned group = 0;
        for (size_t j = 0; j < 4; ++j) {
            const size_t at = i + j;
            int value = at >= text.size() - padding ? 0 : SextetOf(text[at]);
            if (value < 0) {
                return false;
            }
            group = group << 6 | static_cast<unsigned>(value);
        }
        bytes.push_back(static_cast<unsigned char>(group >> 16));
        bytes.push_back(static_cast<unsigned char>(group >> 8));
        bytes.push_back(static_cast<unsigned char>(group));
    }
    bytes.resize(bytes.size() - padding);
    return true;
}

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
    std::vector<unsigned char> blob;
    if (fields.size() != 4 || !DecodeStrictBase64(fields[3], blob) ||
        blob.size() < kIvLength + 1 + kTagLength) {
        return false;
    }
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
