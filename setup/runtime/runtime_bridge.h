#pragma once

#include "sys/library_loader.h"
#include "setup/runtime/runtime_interfaces.h"
#include "setup/setup_settings.h"

// Proxy authentication schemes as the runtime takes them.
constexpr std::uint32_t kSchemeBasic = 1;
constexpr std::uint32_t kSchemeDigest = 4;
constexpr std::uint32_t kSchemeNegotiate = 8;

// The runtime library's manager and the runtime made from it.
struct RuntimeSession {
    CObjectSmPtr<IRuntimeManager> manager;
    CObjectSmPtr<IRuntime> runtime;
};

// Loads "runtime.dll" beside the running executable and asks it for its manager.
Status LoadRuntimeManager(ILibraryLoader& loader, const std::wstring& folder,
                          CObjectSmPtr<IRuntimeManager>& manager);

// The agent's data folders that the runtime uses before the agent has run once.
Status ApplyDirectoryDefaults(IRuntimeManagerConfiguration& configuration);

// Hands the proxy settings of the run to the runtime's communication.
Status ApplyProxySettings(ICommunicationConfiguration& configuration,
                          const SetupSettings& settings);

// Loads the runtime, gives it the directory defaults and the proxy settings, and creates
// the runtime bound to host.
Status StartRuntime(ILibraryLoader& loader, const std::wstring& folder,
                    const SetupSettings& settings, IRuntimeHost* host,
                    RuntimeSession& session);
