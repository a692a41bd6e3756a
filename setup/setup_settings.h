#pragma once

#include <cstdint>
#include <string>

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
};

// The process-wide record, constructed with the defaults on first use.
SetupSettings& GetSetupSettings();

// Fills the record from the process command line. False means "missing parameters".
bool ParseCommandLine(SetupSettings& settings);

// The same for a given command line, program name first.
bool ParseCommandLineText(SetupSettings& settings, const wchar_t* commandLine);

// Applies one option (its name without the leading "-" or "/"). False aborts the parse.
bool ParseOption(SetupSettings& settings, const std::wstring& name, const std::wstring& value);
