#include "tests/support/dialog_driver.h"

#include "resources/resource.h"

namespace dialog_driver {

void Pump(DWORD milliseconds) {
    PumpUntil([] { return false; }, milliseconds);
}

bool PumpUntil(const std::function<bool()>& done, DWORD timeoutMs) {
    const ULONGLONG end = GetTickCount64() + timeoutMs;
    MSG message{};
    while (true) {
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                // Put back, for PumpUntilQuit or the test's own loop.
                PostQuitMessage(static_cast<int>(message.wParam));
                return done();
            }
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        if (done())
            return true;
        if (GetTickCount64() >= end)
            return false;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 10, QS_ALLINPUT);
    }
}

bool PumpUntilQuit(DWORD timeoutMs) {
    MSG quit{};
    return PumpUntil([&] { return PeekMessageW(&quit, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE) != 0; },
                     timeoutMs);
}

bool WaitUntil(const std::function<bool()>& done, DWORD timeoutMs) {
    const ULONGLONG end = GetTickCount64() + timeoutMs;
    while (!done()) {
        if (GetTickCount64() >= end)
            return false;
        Sleep(50);
    }
    return true;
}

void DrainMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
}

bool Visible(HWND dialog, int id) {
    HWND control = GetDlgItem(dialog, id);
    return control != nullptr && IsWindowVisible(control);
}

std::set<int> Shown(HWND dialog) {
    std::set<int> ids;
    for (HWND child = GetWindow(dialog, GW_CHILD); child != nullptr;
         child = GetWindow(child, GW_HWNDNEXT)) {
        // A picture control without its picture shows nothing.
        const bool blank = (GetWindowLongW(child, GWL_STYLE) & SS_TYPEMASK) == SS_BITMAP &&
                           SendMessageW(child, STM_GETIMAGE, IMAGE_BITMAP, 0) == 0;
        if (IsWindowVisible(child) && !blank)
            ids.insert(GetDlgCtrlID(child));
    }
    for (int frame : {IDC_VERSION, IDC_FOOTER, IDC_CLOSE_GLYPH})
        ids.erase(frame);
    return ids;
}

std::wstring Text(HWND dialog, int id) {
    wchar_t text[1024] = {};
    GetDlgItemTextW(dialog, id, text, 1024);
    return text;
}

SIZE PictureSize(HWND dialog, int id) {
    auto bitmap =
        reinterpret_cast<HBITMAP>(SendDlgItemMessageW(dialog, id, STM_GETIMAGE, IMAGE_BITMAP, 0));
    BITMAP info{};
    if (bitmap == nullptr || GetObjectW(bitmap, sizeof(info), &info) == 0)
        return {0, 0};
    return {info.bmWidth, info.bmHeight};
}

RECT ControlRect(HWND dialog, int id) {
    RECT area{};
    GetWindowRect(GetDlgItem(dialog, id), &area);
    MapWindowPoints(nullptr, dialog, reinterpret_cast<POINT*>(&area), 2);
    return area;
}

std::uint32_t ControlPixel(HWND dialog, int id, int x) {
    const RECT area = ControlRect(dialog, id);
    HDC dc = GetDC(dialog);
    const COLORREF color =
        GetPixel(dc, x < 0 ? area.right + x : area.left + x, (area.top + area.bottom) / 2);
    ReleaseDC(dialog, dc);
    return (GetRValue(color) << 16) | (GetGValue(color) << 8) | GetBValue(color);
}

void Press(HWND dialog, int id) {
    PostMessageW(dialog, WM_COMMAND, static_cast<WPARAM>(id), 0);
}

WindowedProgram::WindowedProgram(std::wstring commandLine, bool suspended) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE,
                        suspended ? CREATE_SUSPENDED : 0, nullptr, nullptr, &startup, &process_)) {
        process_ = {};
    }
}

WindowedProgram::~WindowedProgram() {
    if (process_.hProcess == nullptr)
        return;
    if (StillRunning())
        TerminateProcess(process_.hProcess, 0xDEADBEEF);
    CloseHandle(process_.hThread);
    CloseHandle(process_.hProcess);
}

HWND WindowedProgram::WaitForDialog(DWORD timeoutMs) {
    // The first visible dialog window of the process.
    auto find = [this] {
        for (HWND window = FindWindowExW(nullptr, nullptr, L"#32770", nullptr); window != nullptr;
             window = FindWindowExW(nullptr, window, L"#32770", nullptr)) {
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            if (owner == process_.dwProcessId && IsWindowVisible(window))
                return window;
        }
        return HWND{};
    };
    HWND window = nullptr;
    if (Started())
        WaitUntil([&] { return (window = find()) != nullptr; }, timeoutMs);
    return window;
}

DWORD WindowedProgram::WaitForExit(DWORD timeoutMs) {
    DWORD exitCode = 0xDEADBEEF;
    if (Started() && WaitForSingleObject(process_.hProcess, timeoutMs) == WAIT_OBJECT_0)
        GetExitCodeProcess(process_.hProcess, &exitCode);
    return exitCode;
}

bool WindowedProgram::StillRunning() const {
    return Started() && WaitForSingleObject(process_.hProcess, 0) == WAIT_TIMEOUT;
}

}  // namespace dialog_driver
