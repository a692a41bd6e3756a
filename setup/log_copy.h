#pragma once

#include <string>

#include "sys/status.h"

// "-log PATH": a copy of every line the program logs, appended to a file the administrator
// names, from the run's first line on. Unlike the installer's log, which the runtime library
// writes, it also holds what happens before runtime.dll is loaded, when it cannot be loaded,
// and after a removal deleted the agent's log folder. The lines are the log's own, secrets
// already masked. One copy per process, shared by every log and thread.
namespace log_copy {

// Opens the file (sys/append_file.h refuses a link there); until then lines are not copied.
Status Start(const std::wstring& path);

// "2026-11-25T10:00:00.000Z [INFO] " and the line; nothing when no copy was started.
void Write(const wchar_t* level, const std::wstring& line);

}  // namespace log_copy
