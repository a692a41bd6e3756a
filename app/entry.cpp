#include "app/entry.h"

#include <gdiplus.h>

#include <exception>
#include <memory>

#include "app/run_result.h"
#include "app/single_instance.h"
#include "resources/resource.h"
#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/exit_codes.h"
#include "setup/install/agent_installer.h"
#include "setup/install/package_check.h"
#include "setup/language.h"
#include "setup/log_copy.h"
#include "setup/logging.h"
#include "setup/recovery.h"
#include "setup/setup_settings.h"
#include "setup/uninstall/uninstall.h"
#include "sys/process_sys.h"
#include "sys/scope_exit.h"
#include "sys/text_sys.h"
#include "sys/unique_handle.h"
#include "ui/install_dialog.h"
#include "ui/localisation.h"
#include "ui/uninstall_dialog.h"

namespace {

constexpr char kDispatch[] = "Dispatch";

// A copy that cannot be made (a relative path, a link there) leaves the run without one;
// the debug output says why, since the copy is where the run would have said it.
void StartLogCopy(const std::wstring& path) {
    if (!path.empty() && Failed(log_copy::Start(path))) {
        OutputDebugStringW(
            (L"setup: no copy of the log at " + path + L": not an absolute path to a plain file\n")
                .c_str());
    }
}

void SetCurrentDirectoryToSystemFolder() {
    wchar_t folder[MAX_PATH] = {};
    UINT length = GetSystemDirectoryW(folder, MAX_PATH);
    if (length > 0 && length < MAX_PATH) {
        SetCurrentDirectoryW(folder);  // best effort: a relative path is never used
    }
}

std::wstring PathBesideSetup(const wchar_t* fileName) {
    return agent_folders::SetupFolder() + L"\\" + fileName;
}

DWORD RunSilent(SetupSettings& settings, const InstallerEnvironment& environment,
                CLogging& runLog, RunEnd& end) {
    if (!process_sys::IsAdministratorsMember()) {
        runLog.Error(kDispatch, L"A silent run needs a member of the Administrators group",
                     kStatusNotAdministrator);
        return static_cast<DWORD>(kStatusNotAdministrator);
    }
    if (settings.install) {
        Status status;
        {
            CLogging log(kInstallerLogFile, kInstallerComponent);
            AgentInstaller installer(settings, GetBranding(), log, environment);
            status = installer.Install(nullptr);
        }
        end.status = static_cast<std::uint32_t>(status);
        if (status != kStatusOk && status != kStatusRestartNeeded) {
            return static_cast<DWORD>(status);
        }
        // A silent install reports success also when a restart is needed.
        Status stored = StoreAgentLanguage(settings.languageId);
        return static_cast<DWORD>(Failed(stored) ? stored : kStatusOk);
    }
    if (settings.uninstall) {
        const ScopeExit wipe([&] { text_sys::Wipe(settings.password); });
        CLogging log(kInstallerLogFile, kUninstallerComponent);
        // A removal killed past its point of no return is this run's removal, taken to its
        // end; an agent a killed run had stopped runs again before the check below.
        const Recovery recovery = RecoverInterruptedRun(settings, GetBranding(), log);
        if (Failed(recovery.status) || recovery.removalFinished) {
            return static_cast<DWORD>(recovery.status);
        }
        // Only whether the agent's mutex exists matters; the probe closes at once.
        if (!recovery.agentStarted &&
            !UniqueKernelHandle(OpenMutexW(SYNCHRONIZE, FALSE, kAgentMutex))) {
            log.Error(kDispatch, L"The agent does not run; a silent removal needs it running");
            return kExitAgentNotRunning;
        }
        const Status removed =
            UninstallAgent(settings, GetBranding(), log, nullptr, settings.password,
                           environment.faultAt, &run_record::ProcessTrace());
        end.status = static_cast<std::uint32_t>(removed);
        return static_cast<DWORD>(removed);
    }
    return kExitNothingToDo;
}

DWORD RunWindowed(HINSTANCE instance, const SetupSettings& settings, const wchar_t* windowClass,
                  const wchar_t* title) {
    Gdiplus::GdiplusStartupInput gdiplusInput;
    ULONG_PTR gdiplusToken = 0;
    Gdiplus::GdiplusStartup(&gdiplusToken, &gdiplusInput, nullptr);
    const ScopeExit shutdown([gdiplusToken] { Gdiplus::GdiplusShutdown(gdiplusToken); });

    HWND hidden = CreateWindowExW(0, windowClass, title, WS_OVERLAPPEDWINDOW, CW_USEDEFAULT, 0,
                                  CW_USEDEFAULT, 0, nullptr, nullptr, instance, nullptr);
    if (hidden == nullptr) {
        return kExitNoWindow;
    }

    std::unique_ptr<CDialogBase> dialog;
    if (settings.install) {
        dialog = std::make_unique<CInstallDialog>();
    } else if (settings.uninstall) {
        dialog = std::make_unique<CUninstallDialog>();
    } else {
        return kExitNoWindow;
    }
    if (dialog->Create(settings.languageId, settings.beta) == nullptr) {
        return kExitDialogRefused;
    }

    HACCEL accelerators = LoadAcceleratorsW(instance, MAKEINTRESOURCEW(IDC_SETUP));
    MSG message{};
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        if (!TranslateAcceleratorW(message.hwnd, accelerators, &message)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }
    // A close message to the hidden window ends the loop, not the work: an installation
    // left half done would leave the machine worse than either end of it.
    dialog->FinishWork();
    if (dialog->FailedUnexpectedly()) {
        return static_cast<DWORD>(kStatusUnexpectedException);
    }
    return static_cast<DWORD>(message.wParam);
}

}  // namespace

DWORD RunChildProgram(const std::wstring& programPath, const wchar_t* arguments) {
    process_sys::ChildProcess child(process_sys::BuildCommandLine(programPath, arguments),
                                     process_sys::ChildStreams::kInherit);
    if (!child.Started()) {
        return static_cast<DWORD>(kStatusCannotStartProgram);
    }
    Status waited = child.Wait(0);
    if (Failed(waited)) {
        return static_cast<DWORD>(waited);
    }
    DWORD exitCode = 0;
    if (!GetExitCodeProcess(child.Process(), &exitCode)) {
        return kExitCodeUnreadable;
    }
    return exitCode;
}

static DWORD Dispatch(HINSTANCE instance, const wchar_t* commandTail,
                      const InstallerEnvironment& environment, RunEnd& end) {
    // Keeps the run from holding the launch folder open and gives relative paths a fixed
    // meaning. Library loading does not depend on it: wWinMain restricts that already.
    SetCurrentDirectoryToSystemFolder();

    SetupSettings& settings = GetSetupSettings();
    const bool parsed = ParseCommandLine(settings);
    // Lines of the run itself; they reach the copy and, as errors, the debug output, since
    // the installer's log only exists once a sequence has loaded the runtime.
    CLogging log(kInstallerLogFile, kInstallerComponent);
    StartLogCopy(settings.logCopyPath);
    if (!parsed) {
        log.Error(kDispatch, L"Missing parameters: the command line could not be read",
                  kStatusMissingParameters);
        if (!settings.silent && settings.sessionActive) {
            MessageBoxW(nullptr, L"Missing parameters", nullptr, MB_ICONEXCLAMATION);
        }
        return static_cast<DWORD>(kStatusMissingParameters);
    }

    if (settings.brandId == 1 || settings.brandId == 2) {
        end.mode = RunMode::kHandover;
        const bool hasTail = commandTail != nullptr && *commandTail != L'\0';
        return RunChildProgram(PathBesideSetup(L"setup2.exe"), hasTail ? commandTail : nullptr);
    }
    if (settings.clone) {
        end.mode = RunMode::kClone;
        return RunChildProgram(PathBesideSetup(L"agentsvc.exe"), L"--nodaemon --clone");
    }

    end.mode = settings.install     ? RunMode::kInstall
               : settings.uninstall ? RunMode::kUninstall
                                    : RunMode::kNone;
    end.silent = settings.silent || !settings.sessionActive;
    if (!ClaimSingleInstance(kSetupInstanceMutex)) {
        log.Error(kDispatch, L"Another setup is running in this session; this one ends");
        return kExitAlreadyRunning;
    }
    // Only held, never waited for: a marker someone else made first blocks nothing.
    UniqueKernelHandle runningMarker(CreateMutexW(nullptr, FALSE, kSetupRunningMarker));

    SetThreadLanguage(settings.languageId);
    wchar_t title[100] = {};
    wchar_t windowClass[100] = {};
    LoadStringW(instance, IDS_APP_TITLE, title, 100);
    LoadStringW(instance, IDC_SETUP, windowClass, 100);

    WNDCLASSEXW windowClassInfo{};
    windowClassInfo.cbSize = sizeof(windowClassInfo);
    windowClassInfo.style = CS_HREDRAW | CS_VREDRAW;
    windowClassInfo.lpfnWndProc = ShutdownBlockWindowProc;
    windowClassInfo.hInstance = instance;
    windowClassInfo.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(IDI_SETUP));
    windowClassInfo.hIconSm = LoadIconW(instance, MAKEINTRESOURCEW(IDI_SMALL));
    windowClassInfo.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClassInfo.lpszClassName = windowClass;
    RegisterClassExW(&windowClassInfo);

    return end.silent ? RunSilent(settings, environment, log, end)
                      : RunWindowed(instance, settings, windowClass, title);
}

static DWORD DispatchGuarded(HINSTANCE instance, const wchar_t* commandTail,
                             const InstallerEnvironment& environment, RunEnd& end) {
    try {
        return Dispatch(instance, commandTail, environment, end);
    } catch (const UnknownBrandError&) {
        // A build whose version information names no brand cannot install anything.
        return static_cast<DWORD>(kStatusUnknownBrand);
    } catch (...) {
        ReportUnexpectedException("setup");
    }
    return static_cast<DWORD>(kStatusUnexpectedException);
}

DWORD RunSetup(HINSTANCE instance, const wchar_t* commandTail,
               const InstallerEnvironment& environment) {
    package_check::HoldOwnProgram();
    RunRecorder recorder;
    InstallerEnvironment traced = environment;
    traced.trace = &run_record::ProcessTrace();
    RunEnd end;
    end.exitCode = DispatchGuarded(instance, commandTail, traced, end);
    const SetupSettings& settings = GetSetupSettings();
    const DWORD exitCode = settings.conventionalExitCodes ? ConventionalExitCode(end) : end.exitCode;
    recorder.Write(end, exitCode, settings.resultPath);
    return exitCode;
}
