#pragma once

#include <string>

#include "sys/status.h"

class IProgressCallback;

// Removes the installed agent once the agent itself accepts the password.
Status UninstallAgent(IProgressCallback* progress, const std::wstring& password);
