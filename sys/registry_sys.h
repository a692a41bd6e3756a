#pragma once

#include <windows.h>

#include <string>

#include "sys/status.h"

namespace registry_sys {

// Rights and registry view asked for when a key is opened.
enum RegistryAccess : unsigned {
    kAllAccess = 0,
    kAllAccess32 = 1,
    kAllAccess64 = 2,
    kSetValue = 3,
    kSetValue32 = 4,
    kSetValue64 = 5,
    kQueryValue = 6,
    kQueryValue32 = 7,
    kQueryValue64 = 8,
    kWrite = 9,
    kWrite32 = 10,
    kWrite64 = 11,
};

// Registry roots by index.
enum RegistryRoot : unsigned {
    kClassesRoot = 0,
    kCurrentConfig = 1,
    kCurrentUser = 2,
    kLocalMachine = 3,
    kUsers = 4,
};

REGSAM AccessMask(unsigned mode);
HKEY RootKey(unsigned root);

// Deletes a key under HKEY_LOCAL_MACHINE; a key that is already gone counts as deleted.
Status DeleteRegistryKey(const std::wstring& keyPath, unsigned access, bool recursive);

// Whether a key exists under HKEY_LOCAL_MACHINE (64-bit view).
bool KeyExists(const std::wstring& keyPath);

// Deletes one value; a missing value is a failure (0x80000011).
Status DeleteRegistryValue(unsigned root, const std::wstring& keyPath,
                           const std::wstring& valueName);

// The runtime's registry base, ending in a backslash, or empty while it is not registered.
std::wstring GetRuntimeRegistryBase();
std::wstring GetRuntimeRegistryKey();
std::wstring GetAgentRegistryBaseKey();

Status DeleteDeploymentId();

}  // namespace registry_sys
