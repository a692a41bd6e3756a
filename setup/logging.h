#pragma once

#include <string>

#include "setup/runtime/runtime_interfaces.h"

// Base of every class that logs. Lines go to the runtime library's logger, which owns the
// file; until logging is set up every call does nothing.
class CLogging {
public:
    CLogging() = default;
    CLogging(const CLogging&) = delete;
    CLogging& operator=(const CLogging&) = delete;
    virtual ~CLogging();
    virtual std::wstring LogFileName() const = 0;
    virtual std::wstring ComponentName() const = 0;

    // Takes a new logger from the runtime and names its file and component.
    Status SetupLogging(IRuntime* runtime);

    // function is the qualified name, such as "AgentInstaller::Install".
    // "base(line) function" at debug level: where the sequence passes.
    void Trace(const char* file, int line, const char* function);
    void Info(const char* file, int line, const char* function, const std::wstring& message,
              Status status = kStatusOk);
    void Warning(const char* file, int line, const char* function, const std::wstring& message,
                 Status status = kStatusOk);
    void Error(const char* file, int line, const char* function, const std::wstring& message,
               Status status = kStatusOk);
    // "OK" at debug level, or "Failed: [status]" at error level.
    void Result(const char* file, int line, const char* function, Status status);
    // The same line as Info, its prefix printed the older way, for messages formatted
    // elsewhere.
    void InfoPrefixed(const char* file, int line, const char* function,
                      const std::wstring& message);
    void WarningPrefixed(const char* file, int line, const char* function,
                         const std::wstring& message);

    // "base(line) function: message", with " [0x%08x]" for a negative status.
    static std::wstring FormatLine(const char* file, int line, const char* function,
                                   const std::wstring& message, Status status);
    static std::wstring FormatPrefix(const char* file, int line, const char* function);
    static std::wstring FormatStatus(Status status);

protected:
    ILogger* Logger() const { return logger_.Get(); }
    // Lets an owner of the runtime library drop the logger before it unloads the library.
    void DetachLogger() { logger_.Reset(); }

private:
    CObjectSmPtr<ILogger> logger_;
};

// For the catch block at a thread's boundary. The sequences log their own failures; what
// escapes one has no log left to go to, so it goes to the system's debug output, which
// support tools capture.
void ReportUnexpectedException(const char* where);

#define LOG_TRACE(function) Trace(__FILE__, __LINE__, function)
#define LOG_INFO(function, ...) Info(__FILE__, __LINE__, function, __VA_ARGS__)
#define LOG_WARNING(function, ...) Warning(__FILE__, __LINE__, function, __VA_ARGS__)
#define LOG_ERROR(function, ...) Error(__FILE__, __LINE__, function, __VA_ARGS__)
#define LOG_RESULT(function, status) Result(__FILE__, __LINE__, function, status)
#define LOG_INFO_PREFIXED(function, message) InfoPrefixed(__FILE__, __LINE__, function, message)
#define LOG_WARNING_PREFIXED(function, message) \
    WarningPrefixed(__FILE__, __LINE__, function, message)
