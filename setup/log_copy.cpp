#include "setup/log_copy.h"

#include <windows.h>

#include <cstdio>
#include <mutex>

#include "sys/append_file.h"
#include "sys/text_sys.h"

namespace log_copy {
namespace {

struct Copy {
    std::mutex lock;  // the dialogs' worker and the main thread both log
    AppendFile file;
};

Copy& TheCopy() {
    static Copy copy;
    return copy;
}

std::string UtcStamp() {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    char text[32];
    std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", now.wYear,
                  now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    return text;
}

}  // namespace

Status Start(const std::wstring& path) {
    Copy& copy = TheCopy();
    std::lock_guard<std::mutex> hold(copy.lock);
    return copy.file.Open(path);
}

void Write(const wchar_t* level, const std::wstring& line) {
    Copy& copy = TheCopy();
    std::lock_guard<std::mutex> hold(copy.lock);
    if (!copy.file.IsOpen()) {
        return;
    }
    std::string text;
    if (!Failed(text_sys::WideToUtf8(std::wstring(L" [") + level + L"] " + line + L"\r\n", text))) {
        copy.file.Append(UtcStamp() + text);  // a copy that cannot be written fails no run
    }
}

}  // namespace log_copy
