#pragma once

#include <functional>
#include <string>

#include "sys/status.h"

class IProgress;

// Stand-ins that tests put in place of the dialogs' work and of their checks against the
// machine. The program never sets them; empty members mean the real behaviour.
struct DialogSeams {
    std::function<Status(IProgress*)> install;
    std::function<Status(IProgress*, const std::wstring& password)> uninstall;
    std::function<bool()> isAdministrator;
    std::function<void()> requestReboot;
    std::function<void(const std::wstring& target, int showMode)> shellOpen;
};

DialogSeams& GetDialogSeams();
