#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The list of the release package's files that setup.exe carries as a resource, one line a
// file: "<relative path>\t<size>\t<SHA-256, 64 lower-case hex digits>\n", sorted by path.
// The packaging step writes it; setup.exe trusts no file of its start folder it does not
// name with that size and hash.
namespace package_manifest {

struct Entry {
    std::string path;  // relative, with backslashes, never leaving the package folder
    std::uint64_t size = 0;
    std::string sha256;

    bool operator==(const Entry&) const = default;
};

// False for anything but well-formed lines: an absolute or climbing path, a size that is no
// plain number, a hash that is no SHA-256, a path named twice, or no entry at all.
bool Parse(const std::string& text, std::vector<Entry>& entries);

std::string Format(const std::vector<Entry>& entries);

// Lower-case hex of the bytes' SHA-256.
std::string Sha256Hex(const std::string& bytes);

}  // namespace package_manifest
