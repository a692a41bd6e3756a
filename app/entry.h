#pragma once

#include <windows.h>

#include <string>

#include "setup/install/agent_installer.h"
#include "sys/status.h"

// Exit codes of the process besides the statuses of the sequences.
constexpr DWORD kExitAlreadyRunning = 1;
constexpr DWORD kExitNoWindow = 2;
constexpr DWORD kExitDialogRefused = 3;
constexpr DWORD kExitNothingToDo = 4;
constexpr DWORD kExitAgentNotRunning = 5;
constexpr DWORD kExitCodeUnreadable = 0xFFFFFFFF;

// The mutexes through which setup runs and the agent see each other.
inline constexpr wchar_t kSetupInstanceMutex[] = L"_HollinSetup_164";
inline constexpr wchar_t kSetupRunningMarker[] = L"Global\\_HOLLIN_SETUP_RUNNING_";
inline constexpr wchar_t kAgentMutex[] = L"{6D2A81C4-3E59-4B07-A1F6-92C0D84E7B3A}";

// Runs one setup process: parses the command line and dispatches to the run it asks for.
// commandTail is the command line after the program name, handed on unchanged. The
// environment of a silent installation is the product's own except in tests.
DWORD RunSetup(HINSTANCE instance, const wchar_t* commandTail,
               const InstallerEnvironment& environment = {});

// Starts programPath with the arguments, waits without limit and gives its exit code.
DWORD RunChildProgram(const std::wstring& programPath, const wchar_t* arguments);
