#pragma once

#include <windows.h>
#include <aclapi.h>

#include <string>

#include "sys/status.h"

// Owners of objects and of this process's creations, as SID strings.
namespace owner_sys {

// The owner of an object open through handle (kernel object or file).
Status ObjectOwner(HANDLE object, SE_OBJECT_TYPE type, std::wstring& owner);
// The owner this process gives what it creates; empty when it cannot be read.
std::wstring ProcessDefaultOwner();
// Whether an administrator or the system made the object (owner_rule.h); also when its
// owner cannot be read.
bool HasAdministrativeOwner(HANDLE object, SE_OBJECT_TYPE type);

}  // namespace owner_sys
