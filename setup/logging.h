#pragma once

#include <source_location>
#include <string>
#include <utility>
#include <vector>

#include "setup/runtime/runtime_interfaces.h"

// The file in the agent's log folder that installation and removal write to.
inline constexpr wchar_t kInstallerLogFile[] = L"agentinstaller.log";

// One log of the program, handed to every operation that logs. Lines go to the runtime
// library's logger, which owns the file; until a runtime is attached they are kept for it
// (errors also go to the system's debug output), so an operation can log before the runtime
// is loaded and without one at all.
class CLogging {
public:
    using Where = std::source_location;

    CLogging(std::wstring fileName, std::wstring component)
        : fileName_(std::move(fileName)), component_(std::move(component)) {}
    CLogging(const CLogging&) = delete;
    CLogging& operator=(const CLogging&) = delete;

    // Takes a new logger from the runtime and names its file and component.
    Status SetupLogging(IRuntime* runtime);
    // Drops the logger; an owner of the runtime library does so before unloading it.
    void DetachLogger() { logger_.Reset(); }

    // function is the qualified name, such as "AgentInstaller::Install"; the source position
    // is the caller's.
    // "base(line) function" at debug level: where the sequence passes.
    void Trace(const char* function, Where where = Where::current());
    void Info(const char* function, const std::wstring& message, Status status = kStatusOk,
              Where where = Where::current());
    void Warning(const char* function, const std::wstring& message, Status status = kStatusOk,
                 Where where = Where::current());
    void Error(const char* function, const std::wstring& message, Status status = kStatusOk,
               Where where = Where::current());
    // "OK" at debug level, or "Failed: [status]" at error level.
    void Result(const char* function, Status status, Where where = Where::current());
    // The same line as Info, its prefix printed the older way, for messages formatted
    // elsewhere.
    void InfoPrefixed(const char* function, const std::wstring& message,
                      Where where = Where::current());
    void WarningPrefixed(const char* function, const std::wstring& message,
                         Where where = Where::current());

    // The one way to check a result: a failed status is logged at error level with the
    // message; the status is handed back either way, so that "return log.Check(...)" and
    // "if (Failed(status = log.Check(...)))" read as what they do.
    Status Check(Status status, const char* function, const std::wstring& message,
                 Where where = Where::current());

    // "base(line) function: message", with " [0x%08x]" for a negative status.
    static std::wstring FormatLine(const char* file, int line, const char* function,
                                   const std::wstring& message, Status status);
    static std::wstring FormatPrefix(const char* file, int line, const char* function);
    static std::wstring FormatStatus(Status status);

private:
    enum class Level { kDebug, kInfo, kWarning, kError };
    static constexpr size_t kMostPendingLines = 500;
    // Emit copies a line (setup/log_copy.h) and delivers it; kept lines are delivered later.
    void Emit(Level level, const std::wstring& line);
    void Deliver(Level level, const std::wstring& line);

    std::wstring fileName_;
    std::wstring component_;
    CObjectSmPtr<ILogger> logger_;
    std::vector<std::pair<Level, std::wstring>> pending_;
};

// The text with every occurrence of the secret shown as "***", for lines that would
// otherwise carry it; an empty secret changes nothing.
std::wstring Redacted(std::wstring text, const std::wstring& secret);

// For the catch block at a thread's boundary. The sequences log their own failures; what
// escapes one has no log left to go to, so it goes to the system's debug output, which
// support tools capture.
void ReportUnexpectedException(const char* where);
