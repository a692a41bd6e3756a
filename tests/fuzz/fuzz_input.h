#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Helpers for the fuzz targets: how a target reads its bytes.
namespace fuzz_input {

// The bytes as little-endian UTF-16 code units, as Windows hands wide text over, cut at
// every NUL; an odd last byte is dropped.
inline std::vector<std::wstring> Words(const std::uint8_t* data, std::size_t size) {
    std::vector<std::wstring> words(1);
    for (std::size_t i = 0; i + 1 < size; i += 2) {
        const auto unit = static_cast<wchar_t>(data[i] | data[i + 1] << 8);
        if (unit == L'\0') {
            words.emplace_back();
        } else {
            words.back().push_back(unit);
        }
    }
    return words;
}

// A failed property: the fuzzer reports it like any other crash and keeps the input.
#define FUZZ_CHECK(condition)                                                              \
    do {                                                                                   \
        if (!(condition)) {                                                                \
            std::fprintf(stderr, "property failed: %s (%s:%d)\n", #condition, __FILE__,    \
                         __LINE__);                                                        \
            std::abort();                                                                  \
        }                                                                                  \
    } while (false)

}  // namespace fuzz_input
