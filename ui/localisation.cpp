#include "ui/localisation.h"

void SetThreadLanguage(std::uint32_t /*languageId*/) {
    // the language table is not written yet: the thread keeps its language
}

Status StoreAgentLanguage(std::uint32_t /*languageId*/) {
    return kStatusNotImplemented;  // the runtime settings are not written yet
}
