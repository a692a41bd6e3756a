#pragma once

#include <windows.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "sys/command_line.h"
#include "sys/status.h"
#include "sys/unique_handle.h"

namespace process_sys {

// Which standard streams of a child are connected to this process.
enum class ChildStreams {
    kInherit,  // none: the child gets this process's own
    kInput,    // a pipe to its input; its output and errors go to the null device
    kOutput,   // pipes to its input and output; its errors go to the null device
};

// One started program, optionally with its standard streams connected to pipes.
class ChildProcess {
public:
    ChildProcess(const std::wstring& commandLine, ChildStreams streams);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    bool Started() const { return process_.Valid(); }
    HANDLE Process() const { return process_.Get(); }
    DWORD ProcessId() const { return processId_; }

    // Also waits for the first running process of this executable name; its exit code is
    // stored through exitCode when the wait succeeds.
    void SetSecondProcess(const wchar_t* name, std::uint32_t* exitCode) {
        secondProcessName_ = name;
        secondExitCode_ = exitCode;
    }

    // What the child writes to its output until it closes it or limitMs have passed, with
    // one trailing CR LF removed. A child that never ends cannot hold the caller longer.
    std::wstring ReadOutput(DWORD limitMs = INFINITE);

    // 0, or kStatusWaitFailed when the wait timed out or failed. A timeout of 0 waits
    // without limit for the child. The child is never terminated.
    Status Wait(DWORD timeoutMs);

private:
    UniqueKernelHandle process_;
    UniqueKernelHandle thread_;
    DWORD processId_ = 0;
    const wchar_t* secondProcessName_ = nullptr;
    std::uint32_t* secondExitCode_ = nullptr;
    UniqueFileHandle stdinRead_, stdinWrite_;
    UniqueFileHandle stdoutRead_, stdoutWrite_;
    UniqueFileHandle childError_;
};

BOOL CreateProcessWithHandleList(wchar_t* commandLine, BOOL inheritHandles, void* environment,
                                 STARTUPINFOW* startupInfo, PROCESS_INFORMATION* processInfo,
                                 DWORD handleCount, HANDLE* handles);

// The current environment block with the running program's folder added to PATH.
std::vector<wchar_t> GetModifiedPath();

std::set<DWORD> GetPidsByName(const std::wstring& executableName);

bool EnableShutdownPrivilege(bool& wasEnabled);
bool IsSessionActive(DWORD sessionId);
bool IsRunningAsLocalSystem();
bool IsAdministratorsMember();

// The canonical full path of the running executable, or empty.
std::wstring GetModulePath();
// The folder of a path, without the final backslash ("\" stays "\").
std::wstring FolderOf(const std::wstring& path);

// The one place that waits between polling passes.
void SleepFor(std::chrono::milliseconds duration);

// Lets tests count and skip the pauses of polling loops; an empty hook restores sleeping.
using SleepHook = std::function<void(std::chrono::milliseconds)>;
void SetSleepHook(SleepHook hook);

}  // namespace process_sys
