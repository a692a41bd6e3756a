#pragma once

#include <string>

#include "sys/status.h"

// Opening a file or an address for the person at the desktop. An elevated program that
// opened it itself would give the viewer or browser its administrator's token, and with it
// every program started from the viewer's Open dialog. So the verb goes to the shell that
// already runs on the desktop, as the desktop's own user.
namespace desktop_shell {

// kStatusNotFound when no desktop shell takes the verb (session 0, no shell running):
// nothing is opened then.
Status OpenAsDesktopUser(const std::wstring& target, int showMode);

}  // namespace desktop_shell
