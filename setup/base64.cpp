#include "setup/base64.h"

namespace {

unsigned SextetOf(char c) {
    if (c >= 'A' && c <= 'Z') {
        return static_cast<unsigned>(c - 'A');
    }
    if (c >= 'a' && c <= 'z') {
        return static_cast<unsigned>(c - 'a') + 26;
    }
    if (c >= '0' && c <= '9') {
        return static_cast<unsigned>(c - '0') + 52;
    }
    if (c == '+') {
        return 62;
    }
    if (c == '/') {
        return 63;
    }
    return 0;  // "=" and anything else: tolerated, no bits
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
        unsigned group = SextetOf(text[i]) << 18 | SextetOf(text[i + 1]) << 12 |
                         SextetOf(text[i + 2]) << 6 | SextetOf(text[i + 3]);
        bytes.push_back(static_cast<char>(group >> 16 & 0xFF));
        bytes.push_back(static_cast<char>(group >> 8 & 0xFF));
        bytes.push_back(static_cast<char>(group & 0xFF));
    }
    bytes.resize(decodedLength);
    return bytes;
}
