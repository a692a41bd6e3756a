#include "setup/install/agent_installer.h"

#include "setup/agent_folders.h"
#include "setup/install/install_settings.h"
#include "setup/install/install_steps.h"
#include "setup/step_runner.h"
#include "setup/uninstall/deferred_deletion.h"

AgentInstaller::AgentInstaller(const SetupSettings& settings, const CAgentBranding& brand,
                               CLogging& log, InstallerEnvironment environment)
    : settings_(settings), brand_(brand), log_(log), environment_(std::move(environment)) {
    if (environment_.netInstallerUrl.empty()) {
        environment_.netInstallerUrl = kNetInstallerUrl;
    }
    if (environment_.netInstallerPublisher.empty()) {
        environment_.netInstallerPublisher = kNetInstallerPublisher;
    }
}

AgentInstaller::~AgentInstaller() {
    // The logger and the runtime live in runtime.dll, loaded from the run's package folder:
    // both go before the folder does.
    log_.DetachLogger();
    session_.runtime.Reset();
    session_.manager.Reset();
    loader_.UnloadUnused();
    if (!packageFolder_.empty()) {
        DeleteOrDeferFolder(packageFolder_);  // one still held goes at the restart
    }
}

Status AgentInstaller::StartRuntime() {
    if (packageFolder_.empty()) {
        return kStatusPackageNotVerified;  // nothing unverified is ever loaded
    }
    return ::StartRuntime(loader_, packageFolder_, settings_, host_.Get(), session_);
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
    runner.SetTrace(environment_.trace);
    const Status status = runner.Run();
    if (Failed(status)) {
        return status;
    }
    log_.Info(kInstallFunction, L"Installation completed successfully");
    return run.restartNeededCount > 0 ? kStatusRestartNeeded : kStatusOk;
}
