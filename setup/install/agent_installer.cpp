#include "setup/install/agent_installer.h"

Status AgentInstaller::Install(IProgressCallback* /*progress*/) {
    return kStatusNotImplemented;  // the install sequence is not written yet
}
