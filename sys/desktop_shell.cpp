#include "sys/desktop_shell.h"

#include <windows.h>
#include <exdisp.h>
#include <shldisp.h>
#include <shlguid.h>
#include <shlobj.h>
#include <shlwapi.h>

#include "sys/scope_exit.h"
#include "sys/unique_handle.h"

namespace desktop_shell {
namespace {

// The shell's automation object behind the desktop's folder view, which runs in the
// desktop shell's process.
UniqueCom<IShellDispatch2> DesktopShellDispatch() {
    UniqueCom<IShellWindows> windows;
    if (FAILED(CoCreateInstance(CLSID_ShellWindows, nullptr, CLSCTX_LOCAL_SERVER,
                                IID_IShellWindows, reinterpret_cast<void**>(windows.Put())))) {
        return {};
    }
    VARIANT desktopFolder{};
    desktopFolder.vt = VT_I4;
    desktopFolder.lVal = CSIDL_DESKTOP;
    VARIANT none{};
    long window = 0;
    UniqueCom<IDispatch> desktop;
    UniqueCom<IShellBrowser> browser;
    UniqueCom<IShellView> view;
    UniqueCom<IDispatch> background;
    UniqueCom<IShellFolderViewDual> folderView;
    UniqueCom<IDispatch> application;
    UniqueCom<IShellDispatch2> shell;
    const bool found =
        windows.Get()->FindWindowSW(&desktopFolder, &none, SWC_DESKTOP, &window, SWFO_NEEDDISPATCH,
                              desktop.Put()) == S_OK &&
        desktop &&
        SUCCEEDED(IUnknown_QueryService(desktop.Get(), SID_STopLevelBrowser, IID_IShellBrowser,
                                        reinterpret_cast<void**>(browser.Put()))) &&
        SUCCEEDED(browser.Get()->QueryActiveShellView(view.Put())) &&
        SUCCEEDED(view.Get()->GetItemObject(SVGIO_BACKGROUND, IID_IDispatch,
                                      reinterpret_cast<void**>(background.Put()))) &&
        SUCCEEDED(background.Get()->QueryInterface(IID_IShellFolderViewDual,
                                             reinterpret_cast<void**>(folderView.Put()))) &&
        SUCCEEDED(folderView.Get()->get_Application(application.Put())) &&
        SUCCEEDED(application.Get()->QueryInterface(IID_IShellDispatch2,
                                              reinterpret_cast<void**>(shell.Put())));
    return found ? std::move(shell) : UniqueCom<IShellDispatch2>();
}

VARIANT Text(BSTR text) {
    VARIANT value{};
    value.vt = VT_BSTR;
    value.bstrVal = text;
    return value;
}

}  // namespace

Status OpenAsDesktopUser(const std::wstring& target, int showMode) {
    const HRESULT initialised = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const ScopeExit uninitialise([initialised] {
        if (SUCCEEDED(initialised)) {
            CoUninitialize();
        }
    });
    const UniqueCom<IShellDispatch2> shell = DesktopShellDispatch();
    if (!shell) {
        return kStatusNotFound;
    }
    BSTR file = SysAllocString(target.c_str());
    BSTR verb = SysAllocString(L"open");
    const ScopeExit free([file, verb] {
        SysFreeString(file);
        SysFreeString(verb);
    });
    VARIANT none{};
    VARIANT show{};
    show.vt = VT_I4;
    show.lVal = showMode;
    return file != nullptr && verb != nullptr &&
                   SUCCEEDED(shell.Get()->ShellExecute(file, none, none, Text(verb), show))
               ? kStatusOk
               : kStatusCannotStartProgram;
}

}  // namespace desktop_shell
