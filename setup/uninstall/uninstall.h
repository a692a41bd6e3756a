#pragma once

#include <string>

#include "sys/status.h"

class IProgress;

constexpr Status kStatusNothingInstalled = ToStatus(0x80000031);
constexpr Status kStatusPasswordRefused = ToStatus(0x80000017);
constexpr Status kStatusFarewellFailed = ToStatus(0x80000014);

// The farewell arguments, the password quoted with backslash escapes.
std::wstring FarewellArguments(const std::wstring& password);

// Removes the installed agent once the agent itself accepts the password.
Status UninstallAgent(IProgress* progress, const std::wstring& password);
