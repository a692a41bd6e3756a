#pragma once

#include <windows.h>
#include <aclapi.h>

#include <string>
#include <vector>

#include "sys/status.h"

// Owners of objects and of this process's creations, as SID strings.
namespace owner_sys {

// The owner of an object open through handle (kernel object or file).
Status ObjectOwner(HANDLE object, SE_OBJECT_TYPE type, std::wstring& owner);
// This process's account and the owner it gives what it creates, as far as readable.
std::vector<std::wstring> ProcessOwners();
// Whether an administrator or the system made the object (owner_rule.h); also when its
// owner cannot be read.
bool HasAdministrativeOwner(HANDLE object, SE_OBJECT_TYPE type);

}  // namespace owner_sys
