#include "setup/install/package_manifest.h"

#include <openssl/evp.h>

#include <algorithm>
#include <charconv>
#include <set>

namespace package_manifest {
namespace {

bool IsHex64(const std::string& text) {
    return text.size() == 64 && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
           });
}

// Relative, below the package folder: no drive, no root, no "." or ".." part, no empty part.
bool IsPackagePath(const std::string& path) {
    if (path.empty() || path.find_first_of(":/\0", 0, 3) != std::string::npos) {
        return false;
    }
    size_t start = 0;
    while (true) {
        const size_t end = path.find('\\', start);
        const std::string part = path.substr(start, end - start);
        if (part.empty() || part == "." || part == ".." || part.front() == ' ' ||
            part.back() == ' ' || part.back() == '.') {
            return false;
        }
        if (end == std::string::npos) {
            return true;
        }
        start = end + 1;
    }
}

bool ParseLine(const std::string& line, Entry& entry) {
    const size_t first = line.find('\t');
    const size_t second = first == std::string::npos ? first : line.find('\t', first + 1);
    if (second == std::string::npos) {
        return false;
    }
    entry.path = line.substr(0, first);
    entry.sha256 = line.substr(second + 1);
    const char* sizeBegin = line.data() + first + 1;
    const char* sizeEnd = line.data() + second;
    const auto [end, error] = std::from_chars(sizeBegin, sizeEnd, entry.size);
    return error == std::errc() && end == sizeEnd && sizeBegin != sizeEnd &&
           IsPackagePath(entry.path) && IsHex64(entry.sha256);
}

}  // namespace

bool Parse(const std::string& text, std::vector<Entry>& entries) {
    entries.clear();
    std::set<std::string> seen;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = text.find('\n', start);
        if (end == std::string::npos) {
            return false;  // every line ends with its newline: a cut manifest is no manifest
        }
        Entry entry;
        if (!ParseLine(text.substr(start, end - start), entry) || !seen.insert(entry.path).second) {
            entries.clear();
            return false;
        }
        entries.push_back(entry);
        start = end + 1;
    }
    return !entries.empty();
}

std::string Format(const std::vector<Entry>& entries) {
    std::string text;
    for (const Entry& entry : entries) {
        text += entry.path + "\t" + std::to_string(entry.size) + "\t" + entry.sha256 + "\n";
    }
    return text;
}

std::string Sha256Hex(const std::string& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        return {};
    }
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex += kDigits[digest[i] >> 4];
        hex += kDigits[digest[i] & 0xF];
    }
    return hex;
}

}  // namespace package_manifest
