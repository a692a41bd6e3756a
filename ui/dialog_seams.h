#pragma once

#include <functional>
#include <string>

#include "sys/status.h"

class IProgressCallback;

// Stand-ins that tests put in place of the dialogs' work and of their checks against the
// machine. The program never sets them; empty members mean the real behaviour.
struct DialogSeams {
    std::function<Status(IProgressCallback*)> install;
    std::function<Status(IProgressCallback*, const std::wstring& password)> uninstall;
    std::function<bool()> isAdministrator;
    std::function<void()> requestReboot;
    std::function<void(const std::wstring& target, int showMode)> shellOpen;
};

DialogSeams& GetDialogSeams();
