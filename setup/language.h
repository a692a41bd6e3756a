#pragma once

#include <cstdint>

#include "sys/status.h"

// The installer's language numbers (the -lid of the command line) and the Windows
// languages they stand for.
struct Language {
    std::uint32_t number;
    const wchar_t* localeName;
    std::uint16_t identifier;
};

// The entry of a number, or null for numbers without one.
const Language* FindLanguage(std::uint32_t number);
std::uint16_t LanguageIdentifier(std::uint32_t number);
const wchar_t* LocaleName(std::uint32_t number);

// Records the agent's language for the installer's language number.
Status StoreAgentLanguage(std::uint32_t number);
// The same, told whether the process runs as the system account.
Status StoreAgentLanguage(std::uint32_t number, bool runsAsSystem);
