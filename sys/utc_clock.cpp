#include "sys/utc_clock.h"

#include <windows.h>

#include <cstdio>

namespace utc_clock {

std::string NowText() {
    SYSTEMTIME now{};
    GetSystemTime(&now);
    char text[32];
    std::snprintf(text, sizeof(text), "%04u-%02u-%02uT%02u:%02u:%02u.%03uZ", now.wYear,
                  now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
    return text;
}

}  // namespace utc_clock
