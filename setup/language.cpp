#include "setup/language.h"

#include <windows.h>

#include "setup/runtime/runtime_settings.h"
#include "sys/process_sys.h"

namespace {

// The gaps in the numbering are the installer's own and are kept.
constexpr Language kLanguages[] = {
    {1, L"en-US", 0x0409},  {3, L"it-IT", 0x0410},  {4, L"cs-CZ", 0x0405},  {6, L"ru-RU", 0x0419},
    {11, L"de-DE", 0x0407}, {12, L"es-MX", 0x080A}, {14, L"pt-BR", 0x0416}, {19, L"ja-JP", 0x0411},
    {31, L"nb-NO", 0x0414}, {32, L"fr-FR", 0x040C},
};

constexpr wchar_t kLanguageKey[] = L"runtime://agent/LangCode";

}  // namespace

const Language* FindLanguage(std::uint32_t number) {
    for (const Language& language : kLanguages) {
        if (language.number == number) {
            return &language;
        }
    }
    return nullptr;
}

std::uint16_t LanguageIdentifier(std::uint32_t number) {
    const Language* language = FindLanguage(number);
    return language != nullptr ? language->identifier : 0;
}

const wchar_t* LocaleName(std::uint32_t number) {
    const Language* language = FindLanguage(number);
    return language != nullptr ? language->localeName : nullptr;
}

Status StoreAgentLanguage(std::uint32_t number) {
    return StoreAgentLanguage(number, process_sys::IsRunningAsLocalSystem());
}

Status StoreAgentLanguage(std::uint32_t number, bool runsAsSystem) {
    std::uint32_t identifier = 0;
    if (number != 0) {
        identifier = LanguageIdentifier(number);
    } else if (runsAsSystem) {
        // A silent run without a language never overwrites the agent's language.
        std::uint32_t existing = 0;
        Status read = ReadRuntimeNumber(kLanguageKey, existing);
        if (!Failed(read)) {
            return kStatusOk;
        }
        if (read == kStatusNotFound) {
            identifier = GetSystemDefaultLCID();
        }
    } else {
        identifier = GetUserDefaultUILanguage();
    }
    if (identifier == 0) {
        return kStatusOk;
    }
    return WriteRuntimeNumber(kLanguageKey, identifier);
}
