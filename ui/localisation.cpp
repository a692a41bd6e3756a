#include "ui/localisation.h"

#include <windows.h>
#include <shlwapi.h>

#include <algorithm>
#include <vector>

#include "setup/language.h"

namespace {

constexpr size_t kStringBuffer = 260;

// The language SetThreadLanguage gave this thread; the system's own record of thread UI
// languages is not readable everywhere.
thread_local LANGID t_threadLanguage = 0;

// String id in exactly this resource language, if the table has it.
bool FindString(HMODULE module, unsigned id, LANGID language, std::wstring& text) {
    HRSRC block = FindResourceExW(module, RT_STRING, MAKEINTRESOURCEW(id / 16 + 1), language);
    HGLOBAL loaded = block != nullptr ? LoadResource(module, block) : nullptr;
    const auto* entry =
        loaded != nullptr ? static_cast<const WCHAR*>(LockResource(loaded)) : nullptr;
    if (entry == nullptr) {
        return false;
    }
    for (unsigned index = 0; index < id % 16; ++index) {
        entry += 1 + *entry;
    }
    if (*entry == 0) {
        return false;
    }
    text.assign(entry + 1, std::min<size_t>(*entry, kStringBuffer - 1));
    return true;
}

// The thread's preferred UI languages, most preferred first.
std::vector<LANGID> PreferredLanguages() {
    ULONG count = 0;
    ULONG size = 0;
    std::vector<LANGID> languages;
    if (!GetThreadPreferredUILanguages(MUI_LANGUAGE_NAME | MUI_THREAD_LANGUAGES, &count, nullptr,
                                       &size) ||
        size == 0) {
        return languages;
    }
    std::vector<wchar_t> names(size);
    if (!GetThreadPreferredUILanguages(MUI_LANGUAGE_NAME | MUI_THREAD_LANGUAGES, &count,
                                       names.data(), &size)) {
        return languages;
    }
    for (const wchar_t* name = names.data(); *name != L'\0'; name += wcslen(name) + 1) {
        LCID lcid = LocaleNameToLCID(name, 0);
        if (lcid != 0) {
            languages.push_back(LANGIDFROMLCID(lcid));
        }
    }
    return languages;
}

}  // namespace

void SetThreadLanguage(std::uint32_t number) {
    const Language* language = number >= 1 && number <= 32 ? FindLanguage(number) : nullptr;
    if (language == nullptr) {
        return;
    }
    wchar_t list[8] = {};  // one name, then the double zero of a multi-string
    wcsncpy_s(list, 7, language->localeName, _TRUNCATE);
    if (language->identifier != 0) {
        SetThreadUILanguage(language->identifier);
        t_threadLanguage = language->identifier;
    }
    ULONG count = 0;
    SetThreadPreferredUILanguages(MUI_LANGUAGE_NAME, list, &count);
}

std::wstring LoadUiString(unsigned id) {
    // The thread's chosen language first, its language-neutral table next, as the
    // resource loader itself falls back; then whatever the loader picks.
    HMODULE module = GetModuleHandleW(nullptr);
    std::wstring text;
    std::vector<LANGID> languages = PreferredLanguages();
    if (t_threadLanguage != 0) {
        languages.insert(languages.begin(), t_threadLanguage);
    }
    for (LANGID language : languages) {
        if (FindString(module, id, language, text) ||
            FindString(module, id, MAKELANGID(PRIMARYLANGID(language), SUBLANG_NEUTRAL), text)) {
            return text;
        }
    }
    wchar_t buffer[kStringBuffer] = {};
    LoadStringW(module, id, buffer, static_cast<int>(kStringBuffer));
    return buffer;
}

std::wstring FormatUiString(unsigned id, const wchar_t* first, const wchar_t* second) {
    // The tables use the Windows "%s" for wide text; wnsprintfW reads it so.
    wchar_t text[512] = {};
    wnsprintfW(text, 512, LoadUiString(id).c_str(), first, second);
    return text;
}
