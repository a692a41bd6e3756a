#pragma once

#include <string>

// The farewell arguments, the password quoted with backslash escapes: the agent reads it
// back as a quoted string in which a backslash takes the next character as it is.
std::wstring FarewellArguments(const std::wstring& password);
