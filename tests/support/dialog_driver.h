#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>

// Drives a dialog window as a user would and reads what it shows. Works on windows of
// this process and of other processes alike.
namespace dialog_driver {

// Dispatches this thread's messages for the given time.
void Pump(DWORD milliseconds);
// Dispatches messages until done() answers true; false after the timeout.
bool PumpUntil(const std::function<bool()>& done, DWORD timeoutMs);
// Dispatches messages until the quit message arrives; false after the timeout.
bool PumpUntilQuit(DWORD timeoutMs);
// Waits without dispatching (for windows of other processes).
bool WaitUntil(const std::function<bool()>& done, DWORD timeoutMs);

bool Visible(HWND dialog, int id);
std::wstring Text(HWND dialog, int id);
// Size of the bitmap a picture control shows; {0, 0} without one.
SIZE PictureSize(HWND dialog, int id);

// Presses a control by posting its command, as the owner-drawn buttons do.
void Press(HWND dialog, int id);

// The colour (0xRRGGBB) the window painted at a point of a control, given from the
// control's top-left corner.
std::uint32_t ControlPixel(HWND dialog, int id, POINT offset);
// The rectangle of a control in the dialog's client coordinates.
RECT ControlRect(HWND dialog, int id);

// A program started with a window of its own, as a user starts setup.exe.
class WindowedProgram {
public:
    // A suspended program runs once resumed, so that several can start at one moment.
    explicit WindowedProgram(std::wstring commandLine, bool suspended = false);
    ~WindowedProgram();
    WindowedProgram(const WindowedProgram&) = delete;
    WindowedProgram& operator=(const WindowedProgram&) = delete;

    bool Started() const { return process_.hProcess != nullptr; }
    // Its dialog window once it shows, or null after the timeout.
    HWND WaitForDialog(DWORD timeoutMs);
    // Its exit code once it ended, or 0xDEADBEEF after the timeout.
    DWORD WaitForExit(DWORD timeoutMs);
    bool StillRunning() const;
    void Resume() const { ResumeThread(process_.hThread); }
    DWORD ProcessId() const { return process_.dwProcessId; }

private:
    PROCESS_INFORMATION process_{};
};

// Throws away whatever this thread's queue still holds, a quit message included.
void DrainMessages();

}  // namespace dialog_driver
