// The command line's words into the run settings. Nothing here touches a file or the
// system: the two options with effects on files go through IOptionEffects.
#include <cstdlib>
#include <cwctype>
#include <optional>

#include "setup/base64.h"
#include "setup/setup_settings.h"
#include "sys/scope_exit.h"
#include "sys/text_sys.h"

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

bool FitsConfigurationLine(const std::wstring& value) {
    return value.find_first_of(L"\r\n#") == std::wstring::npos &&
           (value.empty() || (value.front() != L' ' && value.back() != L' '));
}

bool IsWord(const wchar_t* argument, const wchar_t* word) {
    return text_sys::CompareIgnoringCase(argument, word) == 0;
}

bool ParseModeArgument(SetupSettings& settings, const wchar_t* argument) {
    if (*argument == L'-' || *argument == L'/') {
        ++argument;
    }
    switch (std::towlower(static_cast<std::wint_t>(*argument))) {
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

bool ParseOption(SetupSettings& settings, const std::wstring& name, const std::wstring& value,
                 IOptionEffects& effects) {
    auto is = [&name](const wchar_t* option) { return IsWord(name.c_str(), option); };

    // These values become lines of agentconfig.conf: a line break would add keys of its
    // own, and the file gives a value back only up to a "#" and without blanks at its ends.
    for (const wchar_t* option : {L"tok", L"svr", L"psn", L"psu", L"psp"}) {
        if (is(option) && !FitsConfigurationLine(value)) {
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
        // What the slashes left must fit the file as well.
        if (!FitsConfigurationLine(settings.serverUrl)) {
            return false;
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
        return effects.CopyAntivirusInstaller(settings, value);
    } else if (is(L"rdid")) {
        settings.remoteDeploymentId = value;
    } else if (is(L"cn")) {
        // Only shown in the window, so bad bytes show as U+FFFD rather than end the run.
        std::optional<std::string> bytes = DecodeOptionValue(value);
        if (bytes) {
            settings.cnText = text_sys::Utf8ToWideReplacing(AsCString(*bytes));
        }
        return bytes.has_value();
    } else if (is(L"publickey")) {
        if (value.empty() || value.size() % 4 != 0) {
            return false;
        }
        effects.WriteCertificate(value);
    } else if (is(L"result")) {
        settings.resultPath = value;
    } else if (is(L"log")) {
        settings.logCopyPath = value;
    } else if (is(L"exitcodes")) {
        settings.conventionalExitCodes = IsWord(value.c_str(), L"msi");
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

bool ParseArguments(SetupSettings& settings, const std::vector<std::wstring>& arguments,
                    IOptionEffects& effects) {
    const size_t count = arguments.size();
    if (count < 2 || !ParseModeArgument(settings, arguments[1].c_str())) {
        return false;
    }

    size_t index = 2;
    while (index < count) {
        // Read as the C string the system hands over: it ends at a NUL.
        const wchar_t* argument = arguments[index].c_str();
        // Checked before the option step on purpose: "-silent" that is not last is also
        // taken as an unknown option that swallows the next argument.
        if (IsWord(argument, L"-silent") || IsWord(argument, L"/silent")) {
            settings.silent = true;
        }
        if (IsWord(argument, L"-c") || IsWord(argument, L"/c")) {
            settings.clone = true;
            index += 1;
        } else if ((argument[0] == L'-' || argument[0] == L'/') && index + 1 < count) {
            if (!ParseOption(settings, argument + 1, arguments[index + 1].c_str(), effects)) {
                return false;
            }
            index += 2;
        } else {
            index += 1;
        }
    }
    return true;
}
