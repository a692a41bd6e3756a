#pragma once

#include <string>

// Who may have made an object that an elevated setup relies on: the system account, the
// Administrators group, or whoever this elevated process makes owner of what it creates
// (an administrator, on machines whose policy makes the creator the owner). An ordinary
// user's account is never among them. Owners are SID strings ("S-1-5-18").
namespace owner_rule {

bool IsAdministrativeOwner(const std::wstring& owner, const std::wstring& processOwner);

}  // namespace owner_rule
