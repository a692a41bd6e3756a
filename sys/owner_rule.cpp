#include "sys/owner_rule.h"

namespace owner_rule {

bool IsAdministrativeOwner(const std::wstring& owner, const std::wstring& processOwner) {
    constexpr wchar_t kSystem[] = L"S-1-5-18";
    constexpr wchar_t kAdministrators[] = L"S-1-5-32-544";
    return owner == kSystem || owner == kAdministrators ||
           (!processOwner.empty() && owner == processOwner);
}

}  // namespace owner_rule
