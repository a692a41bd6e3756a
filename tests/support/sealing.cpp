#include "tests/support/sealing.h"

#include <openssl/evp.h>

namespace test_support {

std::string Base64(const std::string& bytes) {
    std::string text(4 * ((bytes.size() + 2) / 3) + 1, '\0');
    int length = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                                 reinterpret_cast<const unsigned char*>(bytes.data()),
                                 static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return text;
}

std::string SealProxyPassword(const std::string& plaintext, const std::string& token) {
    const unsigned char iv[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_256_gcm(), nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_SET_IVLEN, 12, nullptr);
    EVP_EncryptInit_ex(context, nullptr, nullptr,
                       reinterpret_cast<const unsigned char*>(token.data()), iv);
    std::string cipher(plaintext.size() + 16, '\0');
    int written = 0;
    int finalWritten = 0;
    EVP_EncryptUpdate(context, reinterpret_cast<unsigned char*>(cipher.data()), &written,
                      reinterpret_cast<const unsigned char*>(plaintext.data()),
                      static_cast<int>(plaintext.size()));
    EVP_EncryptFinal_ex(context, reinterpret_cast<unsigned char*>(cipher.data()) + written,
                        &finalWritten);
    cipher.resize(static_cast<size_t>(written + finalWritten));
    unsigned char tag[16];
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, 16, tag);
    EVP_CIPHER_CTX_free(context);
    return Base64(std::string(reinterpret_cast<const char*>(iv), sizeof(iv)) + cipher +
                  std::string(reinterpret_cast<const char*>(tag), sizeof(tag)));
}

}  // namespace test_support
