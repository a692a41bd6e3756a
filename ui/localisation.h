#pragma once

#include <cstdint>

#include "sys/status.h"

// Applies the installer's language number to the calling thread's UI language.
void SetThreadLanguage(std::uint32_t languageId);

// Records the agent's language for the installer's language number.
Status StoreAgentLanguage(std::uint32_t languageId);
