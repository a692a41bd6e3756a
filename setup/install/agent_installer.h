#pragma once

#include "sys/status.h"

class IProgressCallback;

// Installs or upgrades the agent.
class AgentInstaller {
public:
    AgentInstaller() = default;
    AgentInstaller(const AgentInstaller&) = delete;
    AgentInstaller& operator=(const AgentInstaller&) = delete;

    // Runs the whole installation; progress may be null (silent run).
    Status Install(IProgressCallback* progress);
};
