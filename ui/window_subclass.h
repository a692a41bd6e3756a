#pragma once

#include <windows.h>

// Puts object into the control's user data and procedure in its place; returns the
// control's previous procedure.
WNDPROC SubclassControl(HWND control, void* object, WNDPROC procedure);

// Gives the control its previous procedure back and clears its user data.
void RestoreControl(HWND control, WNDPROC previous);
