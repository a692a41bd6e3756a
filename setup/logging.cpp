#include "setup/logging.h"

#include <windows.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <exception>
#include <vector>

#include "setup/log_copy.h"
#include "sys/text_sys.h"

namespace {

// The source's base name; compile-time paths may use either separator.
const char* BaseName(const char* path) {
    const char* base = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '\\' || *p == '/') {
            base = p + 1;
        }
    }
    return base;
}

std::wstring Widen(const char* text) { return std::wstring(text, text + std::strlen(text)); }

std::wstring Line(const std::source_location& where, const char* function,
                  const std::wstring& message, Status status) {
    return CLogging::FormatLine(where.file_name(), static_cast<int>(where.line()), function,
                                message, status);
}

}  // namespace

Status CLogging::SetupLogging(IRuntime* runtime) {
    if (runtime == nullptr) {
        return kStatusNoRuntime;
    }
    logger_.Reset();
    CObjectSmPtr<ILogger> logger;
    Status status = runtime->CreateLogger(logger.Receive());
    if (!Failed(status)) {
        status = logger->SetLogFileName(fileName_.c_str());
    }
    if (!Failed(status)) {
        status = logger->SetComponentName(component_.c_str());
    }
    if (!Failed(status)) {
        logger_ = logger;
        std::vector<std::pair<Level, std::wstring>> pending;
        pending.swap(pending_);
        for (const auto& [level, line] : pending) {
            Deliver(level, line);
        }
    }
    return status;
}

std::wstring CLogging::FormatStatus(Status status) {
    wchar_t text[16];
    std::swprintf(text, 16, L"0x%08x", static_cast<unsigned>(status));
    return text;
}

std::wstring CLogging::FormatPrefix(const char* file, int line, const char* function) {
    std::vector<wchar_t> buffer(512);
    const wchar_t* pattern = L"%hs(%d) %hs: ";
    const int needed = _scwprintf(pattern, BaseName(file), line, function);
    if (needed >= static_cast<int>(buffer.size())) {
        buffer.resize(static_cast<size_t>(needed) + 1);
    }
    _snwprintf(buffer.data(), buffer.size(), pattern, BaseName(file), line, function);
    buffer.back() = L'\0';
    return buffer.data();
}

std::wstring CLogging::FormatLine(const char* file, int line, const char* function,
                                  const std::wstring& message, Status status) {
    std::wstring text = Widen(BaseName(file)) + L"(" + std::to_wstring(line) + L") " +
                        Widen(function) + L": " + message;
    if (Failed(status)) {
        text += L" [" + FormatStatus(status) + L"]";
    }
    return text;
}

void CLogging::Emit(Level level, const std::wstring& line) {
    static constexpr const wchar_t* kWords[] = {L"DEBUG", L"INFO", L"WARNING", L"ERROR"};
    log_copy::Write(kWords[static_cast<int>(level)], line);
    Deliver(level, line);
}

void CLogging::Deliver(Level level, const std::wstring& line) {
    if (logger_) {
        switch (level) {
            case Level::kDebug: logger_->Debug(line.c_str()); break;
            case Level::kInfo: logger_->Info(line.c_str()); break;
            case Level::kWarning: logger_->Warning(line.c_str()); break;
            case Level::kError: logger_->Error(line.c_str()); break;
        }
        return;
    }
    // Before the runtime's logger there is no log file: the lines wait for it, so that what a
    // run did first (a recovery, a folder moved aside) is in the log, and errors also go to
    // the debug output, which support tools capture, in case no logger ever comes.
    if (pending_.size() < kMostPendingLines) {
        pending_.emplace_back(level, line);
    }
    if (level == Level::kError) {
        OutputDebugStringW((L"setup: " + line + L"\n").c_str());
    }
}

void CLogging::Trace(const char* function, Where where) {
    Emit(Level::kDebug, Widen(BaseName(where.file_name())) + L"(" +
                            std::to_wstring(where.line()) + L") " + Widen(function));
}

void CLogging::Info(const char* function, const std::wstring& message, Status status,
                    Where where) {
    Emit(Level::kInfo, Line(where, function, message, status));
}

void CLogging::Warning(const char* function, const std::wstring& message, Status status,
                       Where where) {
    Emit(Level::kWarning, Line(where, function, message, status));
}

void CLogging::Error(const char* function, const std::wstring& message, Status status,
                     Where where) {
    Emit(Level::kError, Line(where, function, message, status));
}

void CLogging::Result(const char* function, Status status, Where where) {
    if (Failed(status)) {
        Emit(Level::kError,
             Line(where, function, L"Failed: [" + FormatStatus(status) + L"]", kStatusOk));
    } else {
        Emit(Level::kDebug, Line(where, function, L"OK", kStatusOk));
    }
}

void CLogging::InfoPrefixed(const char* function, const std::wstring& message, Where where) {
    Emit(Level::kInfo,
         FormatPrefix(where.file_name(), static_cast<int>(where.line()), function) + message);
}

void CLogging::WarningPrefixed(const char* function, const std::wstring& message, Where where) {
    Emit(Level::kWarning,
         FormatPrefix(where.file_name(), static_cast<int>(where.line()), function) + message);
}

Status CLogging::Check(Status status, const char* function, const std::wstring& message,
                       Where where) {
    if (Failed(status)) {
        Error(function, message, status, where);
    }
    return status;
}

std::wstring Redacted(std::wstring text, const std::wstring& secret) {
    if (secret.empty()) {
        return text;
    }
    for (size_t at = text.find(secret); at != std::wstring::npos;
         at = text.find(secret, at + 3)) {
        text.replace(at, secret.size(), L"***");
    }
    return text;
}

void ReportUnexpectedException(const char* where) {
    std::wstring what = L"not a standard exception";
    try {
        throw;
    } catch (const std::exception& error) {
        what = text_sys::Widen(error.what());
    } catch (...) {
    }
    const std::wstring line =
        L"setup: unexpected exception in " + text_sys::Widen(where) + L": " + what + L"\n";
    OutputDebugStringW(line.c_str());
}
