#include "setup/log_copy.h"

#include <mutex>

#include "sys/append_file.h"
#include "sys/text_sys.h"
#include "sys/utc_clock.h"

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
        // A copy that cannot be written fails no run.
        copy.file.Append(utc_clock::NowText() + text);
    }
}

}  // namespace log_copy
