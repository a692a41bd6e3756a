#include "ui/window_subclass.h"

WNDPROC SubclassControl(HWND control, void* object, WNDPROC procedure) {
    SetWindowLongPtrW(control, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(object));
    return reinterpret_cast<WNDPROC>(
        SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(procedure)));
}

void RestoreControl(HWND control, WNDPROC previous) {
    if (previous == nullptr || !IsWindow(control))
        return;
    SetWindowLongPtrW(control, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(previous));
    SetWindowLongPtrW(control, GWLP_USERDATA, 0);
}
