#pragma once

#include <string>

namespace process_sys {

// The quoted program path, then a blank and the arguments when there are any. A path that
// already begins with a quote is taken as quoted.
std::wstring BuildCommandLine(const std::wstring& programPath, const wchar_t* arguments = nullptr);

}  // namespace process_sys
