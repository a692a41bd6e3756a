// setup.exe's own entry with one step of a silent installation made to fail: the step is
// named by the environment variable HOLLIN_FAULT_STEP ("copy-files", "place-config",
// "set-recovery", "undo-register-service", ...; several separated by commas); "throw-"
// before a name makes it throw instead, "kill-" ends the process at once, as a deployment
// tool's time limit or a power cut would (with "kill-copy-file", at the second file copied).
// HOLLIN_NET_URL replaces the .NET installer's address (signed by sign_stub.sh's publisher);
// HOLLIN_MANIFEST_FILE names a package manifest to use in place of the one it carries;
// HOLLIN_PAUSES_FILE makes every pause of a polling loop 10 ms and receives their count at
// the end. It ends with setup.exe's exit code. Used from a package folder of its own, in
// place of setup.exe.
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
    char wanted[64] = {};
    GetEnvironmentVariableA("HOLLIN_FAULT_STEP", wanted, sizeof(wanted));
    const std::string steps = std::string(",") + wanted + ",";
    if (steps.find(",throw-" + std::string(step) + ",") != std::string::npos) {
        throw std::runtime_error("injected");
    }
    static int copies = 0;
    if (steps.find(",kill-" + std::string(step) + ",") != std::string::npos &&
        (std::string(step) != "copy-file" || ++copies == 2)) {
        TerminateProcess(GetCurrentProcess(), kKilledExitCode);
    }
    return steps.find("," + std::string(step) + ",") != std::string::npos ? kInjectedFault
                                                                          : kStatusOk;
}

}  // namespace

int wmain() {
    InstallerEnvironment environment;
    environment.faultAt = FailNamedStep;
    wchar_t netUrl[1024] = {};
    if (GetEnvironmentVariableW(L"HOLLIN_NET_URL", netUrl, 1024) > 0) {
        environment.netInstallerUrl = netUrl;
        environment.netInstallerPublisher = L"Hollin Test Publisher";  // sign_stub.sh's
    }
    wchar_t manifestFile[MAX_PATH] = {};
    if (GetEnvironmentVariableW(L"HOLLIN_MANIFEST_FILE", manifestFile, MAX_PATH) > 0) {
        file_sys::ReadWholeFile(manifestFile, environment.packageManifest);
    }
    wchar_t pausesFile[MAX_PATH] = {};
    std::atomic<int> pauses{0};
    if (GetEnvironmentVariableW(L"HOLLIN_PAUSES_FILE", pausesFile, MAX_PATH) > 0) {
        process_sys::SetSleepHook([&pauses](std::chrono::milliseconds) {
            ++pauses;
            Sleep(10);
        });
    }
    SetDefaultDllDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);  // as setup.exe does first
    const DWORD exitCode = RunSetup(GetModuleHandleW(nullptr), CommandTail().c_str(), environment);
    if (*pausesFile != L'\0') {
        const std::string count = std::to_string(pauses.load());
        file_sys::WriteWholeFile(pausesFile, count);
    }
    return static_cast<int>(exitCode);
}
