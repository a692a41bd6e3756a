#pragma once

#include <string>

#include "sys/status.h"

#include "setup/branding/branding.h"
#include "setup/logging.h"
#include "setup/progress.h"
#include "setup/run_record.h"
#include "setup/setup_settings.h"
#include "setup/uninstall/farewell_arguments.h"

inline constexpr wchar_t kUninstallerComponent[] = L"Uninstaller";


// Removes the installed agent once the agent itself accepts the password. The log is
// attached to the runtime beside this program for the removal's lines. faultAt is for
// tests only, as the installation's (agent_installer.h); trace receives the steps' course.
Status UninstallAgent(const SetupSettings& settings, const CAgentBranding& brand, CLogging& log,
                      IProgress* progress, const std::wstring& password,
                      Status (*faultAt)(const char* step) = nullptr,
                      run_record::SequenceTrace* trace = nullptr);

// The part of a removal after the agent agreed to go, for a removal that was killed then:
// the service, the files and the keys go.
Status FinishRemoval(const SetupSettings& settings, const CAgentBranding& brand, CLogging& log);
