#include "sys/owner_rule.h"

#include <algorithm>

namespace owner_rule {

bool IsAdministrativeOwner(const std::wstring& owner, const std::vector<std::wstring>& own) {
    constexpr wchar_t kSystem[] = L"S-1-5-18";
    constexpr wchar_t kAdministrators[] = L"S-1-5-32-544";
    return !owner.empty() && (owner == kSystem || owner == kAdministrators ||
                              std::find(own.begin(), own.end(), owner) != own.end());
}

}  // namespace owner_rule
