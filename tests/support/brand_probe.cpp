// Reports the brand detected from its own version information: the exit code is the brand
// number; with "get" it asks for the profile and prints its service display name, or the
// exception's text with exit code 100.
#include <cstdio>
#include <stdexcept>
#include <string>

#include "setup/branding/branding.h"

int wmain(int argc, wchar_t** argv) {
    if (argc > 1 && std::wstring(argv[1]) == L"get") {
        try {
            std::printf("%ls", GetBranding().serviceDisplayName);
            return static_cast<int>(GetBranding().id);
        } catch (const std::runtime_error& error) {
            std::printf("%s", error.what());
            return 100;
        }
    }
    return static_cast<int>(DetectBrand());
}
