#include "tests/support/dialog_driver.h"

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
    // PumpUntil puts the quit message back; take it here.
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

bool Visible(HWND dialog, int id) {
    HWND control = GetDlgItem(dialog, id);
    return control != nullptr && IsWindowVisible(control);
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

std::uint32_t ControlPixel(HWND dialog, int id, POINT offset) {
    const RECT area = ControlRect(dialog, id);
    HDC dc = GetDC(dialog);
    const COLORREF color = GetPixel(dc, area.left + offset.x, area.top + offset.y);
    ReleaseDC(dialog, dc);
    return (GetRValue(color) << 16) | (GetGValue(color) << 8) | GetBValue(color);
}

void Press(HWND dialog, int id) {
    PostMessageW(dialog, WM_COMMAND, static_cast<WPARAM>(id), 0);
}

namespace {

struct Search {
    DWORD processId;
    HWND found;
};

BOOL CALLBACK CheckWindow(HWND window, LPARAM data) {
    auto* search = reinterpret_cast<Search*>(data);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    wchar_t className[32] = {};
    GetClassNameW(window, className, 32);
    if (owner == search->processId && IsWindowVisible(window) &&
        wcscmp(className, L"#32770") == 0) {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}

// The visible dialog window of a process, or null.
HWND FindProcessDialog(DWORD processId) {
    Search search{processId, nullptr};
    EnumWindows(CheckWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

}  // namespace

WindowedProgram::WindowedProgram(std::wstring commandLine, bool suspended) {
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE,
                        suspended ? CREATE_SUSPENDED : 0, nullptr, nullptr, &startup,
                        &process_)) {
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
    HWND window = nullptr;
    if (Started()) {
        WaitUntil([&] { return (window = FindProcessDialog(process_.dwProcessId)) != nullptr; },
                  timeoutMs);
    }
    return window;
}

DWORD WindowedProgram::WaitForExit(DWORD timeoutMs) {
    DWORD exitCode = 0xDEADBEEF;
    if (Started() && WaitForSingleObject(process_.hProcess, timeoutMs) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process_.hProcess, &exitCode);
    }
    return exitCode;
}

bool WindowedProgram::StillRunning() const {
    return Started() && WaitForSingleObject(process_.hProcess, 0) == WAIT_TIMEOUT;
}

void DrainMessages() {
    MSG message{};
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    }
}

}  // namespace dialog_driver
