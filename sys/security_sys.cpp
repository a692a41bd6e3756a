#include "sys/security_sys.h"

#include <aclapi.h>
#include <sddl.h>

#include "sys/file_sys.h"

namespace security_sys {
namespace {

constexpr SECURITY_INFORMATION kOwnerAndList = OWNER_SECURITY_INFORMATION |
                                               DACL_SECURITY_INFORMATION;

// Opens the folder itself, never what a link points to. Reading its entries is data access,
// so the missing delete sharing is enforced: nobody renames or deletes the folder while the
// handle is open, and its name keeps meaning this folder.
UniqueFileHandle HoldFolder(const std::wstring& path) {
    return UniqueFileHandle(CreateFileW(path.c_str(), FILE_LIST_DIRECTORY | FILE_READ_ATTRIBUTES,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT,
                                        nullptr));
}

// A directory that is no junction, symbolic link or other reparse point.
bool IsPlainFolder(HANDLE folder) {
    FILE_ATTRIBUTE_TAG_INFO info{};
    return GetFileInformationByHandleEx(folder, FileAttributeTagInfo, &info, sizeof(info)) &&
           (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
           (info.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

// Turns on one of the caller's privileges for this process; an administrator holds
// SeTakeOwnershipPrivilege disabled.
void EnablePrivilege(const wchar_t* name) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES, &token)) {
        return;
    }
    const UniqueKernelHandle owned(token);
    TOKEN_PRIVILEGES privileges{1, {{{0, 0}, SE_PRIVILEGE_ENABLED}}};
    if (LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid)) {
        // A failure shows as the access error of the next call, which is reported.
        AdjustTokenPrivileges(owned.Get(), FALSE, &privileges, 0, nullptr, nullptr);
    }
}

// Sets the owner and the protected list. A folder someone else made may refuse
// administrators its list; they may take its ownership, and an owner may always change it.
DWORD ApplyOwnerAndList(const std::wstring& path, PSID owner, PACL list) {
    wchar_t* name = const_cast<wchar_t*>(path.c_str());
    constexpr SECURITY_INFORMATION kWhat = kOwnerAndList | PROTECTED_DACL_SECURITY_INFORMATION;
    DWORD error = SetNamedSecurityInfoW(name, SE_FILE_OBJECT, kWhat, owner, nullptr, list, nullptr);
    if (error != ERROR_ACCESS_DENIED) {
        return error;
    }
    EnablePrivilege(SE_TAKE_OWNERSHIP_NAME);
    error = SetNamedSecurityInfoW(name, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, owner,
                                  nullptr, nullptr, nullptr);
    return error == ERROR_SUCCESS
               ? SetNamedSecurityInfoW(name, SE_FILE_OBJECT, kWhat, owner, nullptr, list, nullptr)
               : error;
}

Status Fail(Status status, DWORD error, DWORD* lastError) {
    if (lastError != nullptr) {
        *lastError = error;
    }
    return status;
}

// Holds a folder for the rest of the work on it, and refuses a link or a file in its place.
Status HoldPlainFolder(const std::wstring& path, UniqueFileHandle& held, DWORD* lastError) {
    held = HoldFolder(path);
    if (!held) {
        return Fail(kStatusFolderNotSecured, GetLastError(), lastError);
    }
    if (!IsPlainFolder(held.Get())) {
        return Fail(kStatusNotFound, ERROR_SUCCESS, lastError);
    }
    return kStatusOk;
}

}  // namespace

Status DescriptorFromSddl(const wchar_t* sddl, UniqueSecurityDescriptor& descriptor) {
    return ConvertStringSecurityDescriptorToSecurityDescriptorW(sddl, SDDL_REVISION_1,
                                                                descriptor.Put(), nullptr)
               ? kStatusOk
               : kStatusConversionFailed;
}

Status SecureFolder(const std::wstring& path, const wchar_t* sddl, DWORD* lastError) {
    UniqueSecurityDescriptor descriptor;
    if (Failed(DescriptorFromSddl(sddl, descriptor))) {
        return Fail(kStatusConversionFailed, GetLastError(), lastError);
    }
    PSID owner = nullptr;
    PACL list = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    if (!GetSecurityDescriptorOwner(descriptor.Get(), &owner, &defaulted) ||
        !GetSecurityDescriptorDacl(descriptor.Get(), &present, &list, &defaulted) || !present) {
        return Fail(kStatusConversionFailed, GetLastError(), lastError);
    }

    // Whoever owns the parent can move the folder away and put a link in its place.
    const std::wstring parent = file_sys::GetParentFolder(path);
    if (Failed(file_sys::CreateFolderTree(parent))) {
        return Fail(kStatusNotFound, GetLastError(), lastError);
    }
    UniqueFileHandle heldParent;
    Status status = HoldPlainFolder(parent, heldParent, lastError);
    if (Failed(status)) {
        return status;
    }

    SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
    if (!CreateDirectoryW(path.c_str(), &attributes) && GetLastError() != ERROR_ALREADY_EXISTS) {
        return Fail(kStatusNotFound, GetLastError(), lastError);
    }
    UniqueFileHandle held;
    status = HoldPlainFolder(path, held, lastError);
    if (Failed(status)) {
        return status;
    }
    // Also for a folder made just now: someone may have made it first, with a list of their own.
    const DWORD error = ApplyOwnerAndList(path, owner, list);
    return error == ERROR_SUCCESS ? kStatusOk : Fail(kStatusFolderNotSecured, error, lastError);
}

Status CreateSecuredFolder(const std::wstring& path, const wchar_t* sddl, DWORD* lastError) {
    UniqueSecurityDescriptor descriptor;
    if (Failed(DescriptorFromSddl(sddl, descriptor))) {
        return Fail(kStatusConversionFailed, GetLastError(), lastError);
    }
    UniqueFileHandle heldParent;
    const Status status = HoldPlainFolder(file_sys::GetParentFolder(path), heldParent, lastError);
    if (Failed(status)) {
        return status;
    }
    SECURITY_ATTRIBUTES attributes{sizeof(attributes), descriptor.Get(), FALSE};
    return CreateDirectoryW(path.c_str(), &attributes)
               ? kStatusOk
               : Fail(kStatusFolderNotSecured, GetLastError(), lastError);
}

bool ApplyListThrough(HANDLE entry, const wchar_t* sddl) {
    UniqueSecurityDescriptor descriptor;
    PACL list = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    return !Failed(DescriptorFromSddl(sddl, descriptor)) &&
           GetSecurityDescriptorDacl(descriptor.Get(), &present, &list, &defaulted) && present &&
           SetSecurityInfo(entry, SE_FILE_OBJECT,
                           DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION,
                           nullptr, nullptr, list, nullptr) == ERROR_SUCCESS;
}

void EnableAdministratorPrivileges() {
    for (const wchar_t* name : {SE_BACKUP_NAME, SE_RESTORE_NAME, SE_TAKE_OWNERSHIP_NAME}) {
        EnablePrivilege(name);
    }
}

Status ReadFolderSecurity(const std::wstring& path, std::wstring& sddl) {
    UniqueSecurityDescriptor descriptor;
    if (GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, kOwnerAndList, nullptr, nullptr,
                              nullptr, nullptr, descriptor.Put()) != ERROR_SUCCESS) {
        return kStatusNotFound;
    }
    UniqueLocalMemory<wchar_t*> text;
    if (!ConvertSecurityDescriptorToStringSecurityDescriptorW(
            descriptor.Get(), SDDL_REVISION_1, kOwnerAndList, text.Put(), nullptr)) {
        return kStatusConversionFailed;
    }
    sddl = text.Get();
    return kStatusOk;
}

}  // namespace security_sys
