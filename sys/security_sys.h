#pragma once

#include <windows.h>

#include <string>

#include "sys/status.h"
#include "sys/unique_handle.h"

// Access lists of folders.
namespace security_sys {

using UniqueSecurityDescriptor = UniqueLocalMemory<PSECURITY_DESCRIPTOR>;

// The descriptor an SDDL text describes.
Status DescriptorFromSddl(const wchar_t* sddl, UniqueSecurityDescriptor& descriptor);

// Gives a folder the owner and the access list of sddl, the list protected from what the
// parent would pass down. A missing folder is created with them (its parent as the parent's
// parent passes down); an existing one gets them whoever made it, and its contents inherit
// the new entries. The folder and its parent are held open meanwhile, so that neither can
// be swapped for a link, and neither may be one: kStatusNotFound when one of them is a link
// or no folder (lastError 0), or cannot be created; kStatusFolderNotSecured when one of them
// cannot be opened or the list cannot be applied. lastError receives the system's error.
Status SecureFolder(const std::wstring& path, const wchar_t* sddl, DWORD* lastError = nullptr);

// Creates a folder with the owner and list of sddl given at its creation, never secured
// afterwards: a folder made first by someone else is not taken over. kStatusFolderNotSecured
// when it exists (lastError ERROR_ALREADY_EXISTS) or cannot be made; its parent is held and
// must be a plain folder.
Status CreateSecuredFolder(const std::wstring& path, const wchar_t* sddl,
                           DWORD* lastError = nullptr);

// Gives an entry open with WRITE_DAC the protected list of sddl through its handle.
bool ApplyListThrough(HANDLE entry, const wchar_t* sddl);

// Lets this process open and change entries whatever their lists say, as an administrator
// may: backup, restore and ownership privileges on.
void EnableAdministratorPrivileges();

// A folder's owner and access list as SDDL.
Status ReadFolderSecurity(const std::wstring& path, std::wstring& sddl);

}  // namespace security_sys
