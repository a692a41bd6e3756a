#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <set>
#include <string>

// Drives a dialog window as a user would and reads what it shows, in this process or another.
namespace dialog_driver {

// Dispatch this thread's messages for a time, until done() answers true, or until the quit
// message arrives; false after the timeout.
void Pump(DWORD milliseconds);
bool PumpUntil(const std::function<bool()>& done, DWORD timeoutMs);
bool PumpUntilQuit(DWORD timeoutMs);
// Waits without dispatching (for windows of other processes).
bool WaitUntil(const std::function<bool()>& done, DWORD timeoutMs);
// Throws away whatever this thread's queue still holds, a quit message included.
void DrainMessages();

bool Visible(HWND dialog, int id);
// The controls a screen shows, leaving out what every screen shows: the version line, the
// footer and the close glyph.
std::set<int> Shown(HWND dialog);
std::wstring Text(HWND dialog, int id);
// Size of the bitmap a picture control shows; {0, 0} without one.
SIZE PictureSize(HWND dialog, int id);
// The rectangle of a control in the dialog's client coordinates.
RECT ControlRect(HWND dialog, int id);
// The colour (0xRRGGBB) the window painted halfway down a control, x pixels from its left
// edge, or from its right edge when x is negative.
std::uint32_t ControlPixel(HWND dialog, int id, int x);
// Presses a control by posting its command, as the owner-drawn buttons do.
void Press(HWND dialog, int id);

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

}  // namespace dialog_driver
