#pragma once

#include <string>
#include <vector>

// Who may have made an object that an elevated setup relies on: the system account, the
// Administrators group, or this elevated process's own account and default owner (an
// administrator, or SYSTEM under a deployment tool). An ordinary user's account is never
// among them. Owners are SID strings ("S-1-5-18").
namespace owner_rule {

bool IsAdministrativeOwner(const std::wstring& owner, const std::vector<std::wstring>& own);

}  // namespace owner_rule
