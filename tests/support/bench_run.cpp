// Runs the rest of its command line as a program and prints, on one line, what a benchmark
// needs of that run: "<milliseconds from start to exit> <exit code> <peak working set in
// bytes>". The working set is sampled while the program runs and read once more at its
// end, so a short peak between samples is still counted by the system's own peak figure.
#include <windows.h>
#include <psapi.h>

#include <algorithm>
#include <cstdio>
#include <string>

#include "command_tail.h"

namespace {

SIZE_T PeakWorkingSet(HANDLE process, SIZE_T peak) {
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof(counters);
    if (GetProcessMemoryInfo(process, &counters, sizeof(counters))) {
        peak = std::max(peak, std::max(counters.PeakWorkingSetSize, counters.WorkingSetSize));
    }
    return peak;
}

}  // namespace

int wmain() {
    std::wstring command = CommandTail();
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION info{};
    LARGE_INTEGER frequency{}, start{}, end{};
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&start);
    if (!CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &info)) {
        std::printf("not started (error %lu)\n", GetLastError());
        return 1;
    }
    SIZE_T peak = 0;
    while (WaitForSingleObject(info.hProcess, 5) == WAIT_TIMEOUT) {
        peak = PeakWorkingSet(info.hProcess, peak);
    }
    QueryPerformanceCounter(&end);
    peak = PeakWorkingSet(info.hProcess, peak);
    DWORD code = 0;
    GetExitCodeProcess(info.hProcess, &code);
    const double ms = 1000.0 * static_cast<double>(end.QuadPart - start.QuadPart) /
                      static_cast<double>(frequency.QuadPart);
    std::printf("%.1f 0x%08lX %llu\n", ms, code, static_cast<unsigned long long>(peak));
    return 0;
}
