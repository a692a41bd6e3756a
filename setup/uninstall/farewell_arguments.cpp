#include "setup/uninstall/farewell_arguments.h"

#include <iterator>

std::wstring FarewellArguments(const std::wstring& password) {
    static constexpr wchar_t kPrefix[] = L"--nodaemon --farewell --password ";
    // Built in place, reserved once: no stream buffer or reallocation keeps a stray copy.
    std::wstring arguments;
    arguments.reserve(std::size(kPrefix) + 2 * password.size() + 2);
    arguments = kPrefix;
    arguments += L'"';
    for (wchar_t c : password) {
        if (c == L'"' || c == L'\\') {
            arguments += L'\\';
        }
        arguments += c;
    }
    arguments += L'"';
    return arguments;
}
