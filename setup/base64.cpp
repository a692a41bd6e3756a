#include "setup/base64.h"

namespace {

// The value of a base64 character, or -1 outside the alphabet.
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

// "=" and anything else outside the alphabet: tolerated, no bits.
unsigned LenientSextetOf(char c) {
    int value = SextetOf(c);
    return value < 0 ? 0u : static_cast<unsigned>(value);
}

}  // namespace

std::optional<std::string> DecodeBase64(const std::string& text) {
    const size_t length = text.size();
    if (length < 2 || length % 4 != 0) {
        return std::nullopt;
    }
    size_t decodedLength = length / 4 * 3;
    if (text[length - 1] == '=') {
        --decodedLength;
    }
    if (text[length - 2] == '=') {
        --decodedLength;
    }

    std::string bytes;
    bytes.reserve(length / 4 * 3);
    for (size_t i = 0; i < length; i += 4) {
        unsigned group = LenientSextetOf(text[i]) << 18 | LenientSextetOf(text[i + 1]) << 12 |
                         LenientSextetOf(text[i + 2]) << 6 | LenientSextetOf(text[i + 3]);
        bytes.push_back(static_cast<char>(group >> 16 & 0xFF));
        bytes.push_back(static_cast<char>(group >> 8 & 0xFF));
        bytes.push_back(static_cast<char>(group & 0xFF));
    }
    bytes.resize(decodedLength);
    return bytes;
}

std::optional<std::string> DecodeBase64Strict(const std::string& text) {
    if (text.size() < 2 || text.size() % 4 != 0) {
        return std::nullopt;
    }
    size_t padding = 0;
    if (text.back() == '=') {
        padding = text[text.size() - 2] == '=' ? 2 : 1;
    }
    for (size_t i = 0; i < text.size() - padding; ++i) {
        if (SextetOf(text[i]) < 0) {
            return std::nullopt;
        }
    }
    return DecodeBase64(text);
}
