#include "setup/setup_settings.h"

#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <optional>

#include "setup/agent_folders.h"
#include "setup/base64.h"
#include "setup/config/certificate.h"
#include "sys/process_sys.h"
#include "sys/scope_exit.h"
#include "sys/text_sys.h"
#include "sys/unique_handle.h"

namespace {

bool IsFlagOn(const std::wstring& value) { return value.empty() || value[0] != L'0'; }

std::uint32_t ToUnsigned(const std::wstring& value) {
    return static_cast<std::uint32_t>(std::wcstoul(value.c_str(), nullptr, 10));
}

// Proxy numbers keep only their low 16 bits.
std::int32_t ToSigned16(const std::wstring& value) {
    return static_cast<std::int16_t>(std::wcstol(value.c_str(), nullptr, 10));
}

std::optional<std::string> DecodeOptionValue(const std::wstring& value) {
    std::string narrow;
    if (Failed(text_sys::WideToNarrow(value, narrow))) {
        return std::nullopt;
    }
    return DecodeBase64(narrow);
}

// The decoded bytes end at their first NUL, like the C string they are read as.
std::string AsCString(const std::string& bytes) { return std::string(bytes.c_str()); }

// Copies a security-product installer next to the setup program.
bool CopyAntivirusInstaller(const SetupSettings& settings, const std::wstring& source) {
    DWORD attributes = source.empty() ? INVALID_FILE_ATTRIBUTES
                                      : GetFileAttributesW(source.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
        return false;
    }
    const bool secondBrand = settings.brandId == 5 || settings.brandId == 6;
    const std::wstring target =
        agent_folders::SetupFolder() + L"\\" +
        (secondBrand ? L"orv_business_antivirus_setup.exe" : L"zelko_business_antivirus_setup.exe");

    DWORD existing = GetFileAttributesW(target.c_str());
    if (existing != INVALID_FILE_ATTRIBUTES && (existing & FILE_ATTRIBUTE_DIRECTORY) == 0 &&
        _wremove(target.c_str()) != 0) {
        return false;
    }
    return CopyFileW(source.c_str(), target.c_str(), FALSE) != FALSE;
}

bool ParseModeArgument(SetupSettings& settings, const wchar_t* argument) {
    if (*argument == L'-' || *argument == L'/') {
        ++argument;
    }
    switch (std::towlower(*argument)) {
        case L'c':
            settings.clone = true;
            return true;
        case L'i':
            settings.install = true;
            return true;
        case L'u':
            settings.uninstall = true;
            return true;
        default:
            return false;
    }
}

}  // namespace

SetupSettings& GetSetupSettings() {
    static SetupSettings settings;
    return settings;
}

bool ParseOption(SetupSettings& settings, const std::wstring& name, const std::wstring& value) {
    auto is = [&name](const wchar_t* option) { return _wcsicmp(name.c_str(), option) == 0; };

    // These values become lines of agentconfig.conf: a line break would add keys of its own.
    for (const wchar_t* option : {L"tok", L"svr", L"psn", L"psu", L"psp"}) {
        if (is(option) && value.find_first_of(L"\r\n") != std::wstring::npos) {
            return false;
        }
    }

    if (is(L"tok")) {
        settings.token = value;
    } else if (is(L"lid")) {
        settings.languageId = ToUnsigned(value);
    } else if (is(L"bid")) {
        settings.brandId = ToUnsigned(value);
    } else if (is(L"svr")) {
        settings.serverUrl = value;
        while (!settings.serverUrl.empty() && settings.serverUrl.back() == L'/') {
            settings.serverUrl.pop_back();
        }
    } else if (is(L"fav")) {
        settings.fav = IsFlagOn(value);
    } else if (is(L"beta")) {
        settings.beta = IsFlagOn(value);
    } else if (is(L"debug")) {
        settings.debug = IsFlagOn(value);
    } else if (is(L"update")) {
        // Updates can only be switched off from a debug command line.
        settings.disableUpdates = settings.debug && !value.empty() && value[0] == L'0';
    } else if (is(L"avc")) {
        settings.avc = value;
    } else if (is(L"av")) {
        return CopyAntivirusInstaller(settings, value);
    } else if (is(L"rdid")) {
        settings.remoteDeploymentId = value;
    } else if (is(L"cn")) {
        std::optional<std::string> bytes = DecodeOptionValue(value);
        return bytes && !Failed(text_sys::Utf8ToWide(AsCString(*bytes), settings.cnText));
    } else if (is(L"publickey")) {
        if (value.empty() || value.size() % 4 != 0) {
            return false;
        }
        // A missing "resources" folder is not the command line's fault; the install
        // sequence finds the certificate absent.
        WriteOnPremiseCertificate(agent_folders::SetupFolder(), value);
    } else if (is(L"sil")) {
        settings.silent = IsFlagOn(value);
    } else if (is(L"password")) {
        std::optional<std::string> bytes = DecodeOptionValue(value);
        if (!bytes) {
            return false;
        }
        std::string text = AsCString(*bytes);
        text_sys::Wipe(*bytes);
        const ScopeExit wipeText([&] { text_sys::Wipe(text); });
        return !Failed(text_sys::NarrowToWide(text, settings.password));
    } else if (is(L"pmi")) {
        settings.proxyMode = ToSigned16(value);
    } else if (is(L"psrt")) {
        settings.proxyType = ToSigned16(value);
    } else if (is(L"psa")) {
        settings.proxyAuthEnabled = !value.empty() && value[0] == L'1';
    } else if (is(L"pai")) {
        settings.proxyAuthType = ToSigned16(value);
    } else if (is(L"psn")) {
        settings.proxyServer = value;
    } else if (is(L"psu")) {
        settings.proxyLogin = value;
    } else if (is(L"psp")) {
        settings.proxyPassword = value;
    } else if (is(L"ppt")) {
        settings.proxyPort = static_cast<std::uint16_t>(std::wcstoul(value.c_str(), nullptr, 10));
    }
    return true;
}

bool ParseCommandLineText(SetupSettings& settings, const wchar_t* commandLine) {
    DWORD sessionId = 0;
    if (ProcessIdToSessionId(GetCurrentProcessId(), &sessionId)) {
        settings.sessionActive = process_sys::IsSessionActive(sessionId);
    }

    if (commandLine == nullptr || *commandLine == L'\0') {
        return false;
    }
    int count = 0;
    const UniqueLocalMemory<LPWSTR*> argumentList(CommandLineToArgvW(commandLine, &count));
    if (!argumentList) {
        return false;
    }
    LPWSTR* const arguments = argumentList.Get();

    if (count < 2 || !ParseModeArgument(settings, arguments[1])) {
        return false;
    }

    int index = 2;
    while (index < count) {
        const wchar_t* argument = arguments[index];
        // Checked before the option step on purpose: "-silent" that is not last is also
        // taken as an unknown option that swallows the next argument.
        if (_wcsicmp(argument, L"-silent") == 0 || _wcsicmp(argument, L"/silent") == 0) {
            settings.silent = true;
        }
        if (_wcsicmp(argument, L"-c") == 0 || _wcsicmp(argument, L"/c") == 0) {
            settings.clone = true;
            index += 1;
        } else if ((argument[0] == L'-' || argument[0] == L'/') && index + 1 < count) {
            if (!ParseOption(settings, argument + 1, arguments[index + 1])) {
                return false;
            }
            index += 2;
        } else {
            index += 1;
        }
    }
    return true;
}

bool ParseCommandLine(SetupSettings& settings) {
    return ParseCommandLineText(settings, GetCommandLineW());
}
