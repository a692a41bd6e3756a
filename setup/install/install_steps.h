#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/progress.h"
#include "setup/run_journal.h"
#include "setup/setup_settings.h"
#include "setup/step_runner.h"

class AgentInstaller;
struct InstallerEnvironment;

inline constexpr char kInstallFunction[] = "AgentInstaller::Install";

// What the steps of one installation share: the run's settings, and the paths that later
// steps and the rollback need. What only one step needs to undo stays in that step.
struct InstallRun {
    AgentInstaller& installer;
    const SetupSettings& settings;
    const CAgentBranding& brand;
    const InstallerEnvironment& environment;
    CLogging& log;
    IProgress* progress = nullptr;

    std::array<std::uint16_t, 4> version{};  // of the running setup program
    std::wstring dataFolder;
    std::wstring programFolder;
    std::wstring previousProgramFolder;  // of the installed agent; may be empty
    std::wstring backupFolder;           // empty until the previous folder was moved aside
    std::wstring installedConfigPath;
    std::wstring configBackupPath;  // empty until the installed configuration was moved aside
    std::uint32_t restartNeededCount = 0;
    RunJournal journal;  // what a later run needs when this one is killed

    void Report(Stage stage) const;
};

// The installation's steps, in the order they are done.
std::vector<SequenceStep> InstallSteps(InstallRun& run);

// The steps whose Undo a failed installation runs, in the order it runs them.
std::vector<const char*> InstallUndoOrder();

// The lines of the installation's ways out.
SequenceEndings InstallEndings(InstallRun& run);

// Starts a service this program stopped; a failure is logged, nothing more.
void StartServiceAgain(CLogging& log, const std::wstring& service);
