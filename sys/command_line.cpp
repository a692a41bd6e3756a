#include "sys/command_line.h"

namespace process_sys {

std::wstring BuildCommandLine(const std::wstring& programPath, const wchar_t* arguments) {
    std::wstring line;
    if (!programPath.empty() && programPath.front() == L'"') {
        line = programPath;
    } else {
        line = L"\"" + programPath + L"\"";
    }
    if (arguments != nullptr) {
        line += L' ';
        line += arguments;
    }
    return line;
}

}  // namespace process_sys
