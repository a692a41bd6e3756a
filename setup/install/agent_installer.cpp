#include "setup/install/agent_installer.h"

#include "setup/agent_folders.h"
#include "setup/install/install_settings.h"
#include "setup/install/install_steps.h"
#include "setup/step_runner.h"

AgentInstaller::AgentInstaller(const SetupSettings& settings, const CAgentBranding& brand,
                               CLogging& log, InstallerEnvironment environment)
    : settings_(settings), brand_(brand), log_(log), environment_(std::move(environment)) {
    if (environment_.netInstallerUrl.empty()) {
        environment_.netInstallerUrl = kNetInstallerUrl;
    }
}

AgentInstaller::~AgentInstaller() {
    // The logger and the runtime live in runtime.dll, which the loader frees last.
    log_.DetachLogger();
    session_.runtime.Reset();
    session_.manager.Reset();
}

Status AgentInstaller::StartRuntime() {
    return ::StartRuntime(loader_, settings_, host_.Get(), session_);
}

void AgentInstaller::UseRuntime(IRuntime* runtime) {
    runtime->AddRef();
    session_.runtime = CObjectSmPtr<IRuntime>(runtime);
    log_.SetupLogging(runtime);  // a test's runtime without a logger leaves the lines unwritten
}

Status AgentInstaller::Install(IProgress* progress) {
    InstallRun run{*this, settings_, brand_, environment_, log_, progress};
    run.dataFolder = agent_folders::DataFolder(brand_);
    StepRunner runner(log_, kInstallFunction, InstallSteps(run), InstallUndoOrder(),
                      InstallEndings(run));
    runner.SetFaultHook(environment_.faultAt);
    const Status status = runner.Run();
    if (Failed(status)) {
        return status;
    }
    log_.Info(kInstallFunction, L"Installation completed successfully");
    return run.restartNeededCount > 0 ? kStatusRestartNeeded : kStatusOk;
}
