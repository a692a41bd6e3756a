#pragma once

#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/setup_settings.h"
#include "sys/status.h"

// A run killed at any moment (a deployment tool's time limit, a power cut) leaves its journal
// (setup/run_journal.h). The next installation or removal first finishes that run's business
// as the dead run would have: before its point of no return it is rolled back (the old
// program folder, configuration and service registration put back, the services started
// again), after it the clean-up is done (an installation's backups removed, a removal taken
// to its end). Then the journal goes and the run does its own work.
struct Recovery {
    Status status = kStatusOk;     // kStatusRecoveryFailed when something could not be put back
    bool removalFinished = false;  // the agent is gone: a removal was taken to its end
    bool agentStarted = false;     // the agent's service was started again
};

Recovery RecoverInterruptedRun(const SetupSettings& settings, const CAgentBranding& brand,
                               CLogging& log);
