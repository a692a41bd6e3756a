#include "setup/runtime/runtime_bridge.h"

#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "setup/config/proxy_envelope.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/scope_exit.h"
#include "sys/text_sys.h"

Status LoadRuntimeManager(ILibraryLoader& loader, const std::wstring& folder,
                          CObjectSmPtr<IRuntimeManager>& manager) {
    const std::wstring path = folder + L"\\runtime.dll";
    HMODULE module = loader.Load(path);
    if (module == nullptr) {
        return kStatusNoRuntime;
    }
    auto getInstance = reinterpret_cast<GetRuntimeManagerInstanceFn>(
        reinterpret_cast<void*>(GetProcAddress(module, "getRuntimeManagerInstance")));
    if (getInstance == nullptr) {
        return kStatusNoRuntime;
    }
    manager = CObjectSmPtr<IRuntimeManager>(getInstance());
    return manager ? kStatusOk : kStatusNoRuntime;
}

Status ApplyDirectoryDefaults(IRuntimeManagerConfiguration& configuration) {
    const std::wstring dataFolder = agent_folders::DataFolder(GetBranding());
    const std::pair<const wchar_t*, const wchar_t*> defaults[] = {
        {L"runtime://directory/database", L"database"},
        {L"runtime://directory/dump", L"dump"},
        {L"runtime://directory/temp", L"temp"},
    };
    for (const auto& [key, folder] : defaults) {
        Status status = configuration.SetText(key, (dataFolder + L"\\" + folder).c_str());
        if (Failed(status)) {
            return status;
        }
    }
    return kStatusOk;
}

namespace {

// Opens the password envelope with the invite token. Every copy of the plain password is
// wiped on every way out.
Status ApplyProxyPassword(ICommunicationConfiguration& configuration,
                          const SetupSettings& settings) {
    std::string envelope;
    std::string token;
    std::string plaintext;
    std::wstring password;
    const ScopeExit wipe([&] {
        text_sys::Wipe(token);
        text_sys::Wipe(plaintext);
        text_sys::Wipe(password);
    });
    // An envelope that does not open leaves the proxy without a password.
    if (Failed(text_sys::WideToUtf8(settings.proxyPassword, envelope)) ||
        Failed(text_sys::WideToUtf8(settings.token, token)) ||
        !DecryptProxyPassword(envelope, token, plaintext)) {
        return kStatusOk;
    }
    if (Failed(text_sys::Utf8ToWide(plaintext, password))) {
        return kStatusConversionFailed;
    }
    return configuration.SetProxyPassword(password.c_str());
}

}  // namespace

Status ApplyProxySettings(ICommunicationConfiguration& configuration,
                          const SetupSettings& settings) {
    // Modes 0 and 1 both mean a direct connection.
    if (settings.proxyMode == 0 || settings.proxyMode == 1) {
        return configuration.EnableProxy(false);
    }
    Status status = configuration.EnableProxy(true);
    if (!Failed(status)) {
        status = configuration.SetProxyAutoDetect(settings.proxyMode == 3);
    }
    if (!Failed(status) && !settings.proxyServer.empty()) {
        status = configuration.SetProxyServer(settings.proxyServer.c_str());
    }
    // proxyPort is unsigned; "not given" (-1) reads as the largest value and is never passed.
    const std::int32_t port = static_cast<std::int32_t>(settings.proxyPort);
    if (!Failed(status) && port > 0) {
        status = configuration.SetProxyPort(port);
    }
    if (!Failed(status)) {
        status = configuration.SetProxyAuthentication(settings.proxyAuthEnabled);
    }
    if (!Failed(status) && !settings.proxyLogin.empty()) {
        status = configuration.SetProxyLogin(settings.proxyLogin.c_str());
    }
    if (!Failed(status) && !settings.proxyPassword.empty() && !settings.token.empty()) {
        status = ApplyProxyPassword(configuration, settings);
    }
    if (!Failed(status)) {
        status = configuration.SetProxyType(settings.proxyType);
    }
    if (!Failed(status)) {
        // The console's numbering of schemes differs from the runtime's on purpose.
        switch (settings.proxyAuthType) {
            case 1:
                status = configuration.SetAuthenticationScheme(kSchemeNegotiate);
                break;
            case 2:
                status = configuration.SetAuthenticationScheme(kSchemeBasic);
                break;
            case 3:
                status = configuration.SetAuthenticationScheme(kSchemeDigest);
                break;
            default:
                break;
        }
    }
    return status;
}

Status StartRuntime(ILibraryLoader& loader, const std::wstring& folder,
                    const SetupSettings& settings, IRuntimeHost* host, RuntimeSession& session) {
    Status status = LoadRuntimeManager(loader, folder, session.manager);
    if (Failed(status)) {
        return status;
    }
    CObjectSmPtr<IRuntimeManagerConfiguration> configuration;
    status = session.manager->GetConfiguration(configuration.Receive());
    if (Failed(status)) {
        return status;
    }
    status = ApplyDirectoryDefaults(*configuration.Get());
    if (Failed(status)) {
        return status;
    }
    CObjectSmPtr<ICommunicationConfiguration> communication;
    status = configuration->GetCommunicationConfiguration(communication.Receive());
    if (Failed(status)) {
        return status;
    }
    status = ApplyProxySettings(*communication.Get(), settings);
    if (Failed(status)) {
        return status;
    }
    return session.manager->CreateRuntime(host, session.runtime.Receive());
}
