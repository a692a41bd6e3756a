// setup.exe's own entry, used in its place in a package folder, with the faults the
// installation tests ask for: HOLLIN_FAULT_STEP names steps to fail ("undo-NAME" a step's
// undo; commas between), "throw-NAME" one to throw in, "kill-NAME" one to end the process at,
// as a time limit or a power cut would ("kill-copy-file": at the second file copied);
// HOLLIN_NET_URL replaces the .NET installer's address, HOLLIN_MANIFEST_FILE the package
// manifest; HOLLIN_PAUSES_FILE makes each polling pause 10 ms and receives their count.
#include <windows.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "app/entry.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "tests/support/command_tail.h"

namespace {

constexpr Status kInjectedFault = ToStatus(0x8000FA17);
constexpr UINT kKilledExitCode = 0xDEAD;

Status FailNamedStep(const char* step) {
    const char* wanted = std::getenv("HOLLIN_FAULT_STEP");
    const std::string steps = std::string(",") + (wanted != nullptr ? wanted : "") + ",";
    const auto named = [&](const std::string& prefix) {
        return steps.find("," + prefix + step + ",") != std::string::npos;
    };
    if (named("throw-")) {
        throw std::runtime_error("injected");
    }
    static int copies = 0;
    if (named("kill-") && (std::string(step) != "copy-file" || ++copies == 2)) {
        TerminateProcess(GetCurrentProcess(), kKilledExitCode);
    }
    return named("") ? kInjectedFault : kStatusOk;
}

}  // namespace

int wmain() {
    InstallerEnvironment environment;
    environment.faultAt = FailNamedStep;
    if (const wchar_t* url = _wgetenv(L"HOLLIN_NET_URL")) {
        environment.netInstallerUrl = url;
        environment.netInstallerPublisher = L"Hollin Test Publisher";  // sign_stub.sh's
    }
    if (const wchar_t* manifest = _wgetenv(L"HOLLIN_MANIFEST_FILE")) {
        file_sys::ReadWholeFile(manifest, environment.packageManifest);
    }
    const wchar_t* pausesVariable = _wgetenv(L"HOLLIN_PAUSES_FILE");
    const std::wstring pausesFile = pausesVariable != nullptr ? pausesVariable : L"";
    std::atomic<int> pauses{0};
    if (!pausesFile.empty()) {
        process_sys::SetSleepHook([&pauses](std::chrono::milliseconds) {
            ++pauses;
            Sleep(10);
        });
    }
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);  // as setup.exe does first
    const DWORD exitCode = RunSetup(GetModuleHandleW(nullptr), CommandTail().c_str(), environment);
    if (!pausesFile.empty()) {
        file_sys::WriteWholeFile(pausesFile, std::to_string(pauses.load()));
    }
    return static_cast<int>(exitCode);
}
