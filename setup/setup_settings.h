#pragma once

#include <cstdint>
#include <string>
#include <vector>

// The run settings, filled once from the command line and read-only afterwards.
struct SetupSettings {
    bool install = false;
    bool uninstall = false;
    bool silent = false;
    bool debug = false;
    bool clone = false;
    std::wstring password;
    std::wstring avc;
    bool disableUpdates = false;
    bool sessionActive = true;
    std::wstring token;
    std::wstring serverUrl;
    std::uint32_t languageId = 0;
    std::uint32_t brandId = 0;
    std::wstring remoteDeploymentId;
    std::wstring cnText;
    bool fav = false;
    bool beta = false;
    std::int32_t proxyMode = 0;
    std::wstring proxyServer;
    std::uint32_t proxyPort = 0xFFFFFFFF;  // not given
    bool proxyAuthEnabled = false;
    std::wstring proxyLogin;
    std::wstring proxyPassword;
    std::int32_t proxyType = 0;
    std::int32_t proxyAuthType = 0;
    bool conventionalExitCodes = false;  // -exitcodes msi (setup/exit_codes.h)
    std::wstring resultPath;             // -result: where the run's record goes
    std::wstring logCopyPath;            // -log: where a copy of the log's lines goes
};

// The process-wide record, constructed with the defaults on first use.
SetupSettings& GetSetupSettings();

// Fills the record from the process command line. False means "missing parameters".
bool ParseCommandLine(SetupSettings& settings);

// The same for a given command line, program name first.
bool ParseCommandLineText(SetupSettings& settings, const wchar_t* commandLine);

// What two options do beyond filling the settings: files beside the setup program. The
// parsing itself touches no file; ParseCommandLineText hands in the effects that do.
class IOptionEffects {
public:
    virtual ~IOptionEffects() = default;
    // -av: copies a security-product installer beside setup under the brand's name (the
    // brand id given so far). False fails the command line.
    virtual bool CopyAntivirusInstaller(const SetupSettings& settings,
                                        const std::wstring& source) = 0;
    // -publickey: writes the on-premise certificate. Its failure is not the command line's.
    virtual void WriteCertificate(const std::wstring& body) = 0;
};

// The same for the command line's arguments, program name first.
bool ParseArguments(SetupSettings& settings, const std::vector<std::wstring>& arguments,
                    IOptionEffects& effects);

// Applies one option (its name without the leading "-" or "/"). False aborts the parse.
bool ParseOption(SetupSettings& settings, const std::wstring& name, const std::wstring& value,
                 IOptionEffects& effects);
