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
    // GCM takes a 12-byte nonce by default and writes as many bytes as it reads; its final
    // step writes none.
    const unsigned char iv[12] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    std::string cipher(plaintext.size(), '\0');
    unsigned char tag[16];
    int written = 0;
    EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex(context, EVP_aes_256_gcm(), nullptr,
                       reinterpret_cast<const unsigned char*>(token.data()), iv);
    EVP_EncryptUpdate(context, reinterpret_cast<unsigned char*>(cipher.data()), &written,
                      reinterpret_cast<const unsigned char*>(plaintext.data()),
                      static_cast<int>(plaintext.size()));
    EVP_EncryptFinal_ex(context, tag, &written);
    EVP_CIPHER_CTX_ctrl(context, EVP_CTRL_GCM_GET_TAG, 16, tag);
    EVP_CIPHER_CTX_free(context);
    return Base64(std::string(reinterpret_cast<const char*>(iv), sizeof(iv)) + cipher +
                  std::string(reinterpret_cast<const char*>(tag), sizeof(tag)));
}

}  // namespace test_support
