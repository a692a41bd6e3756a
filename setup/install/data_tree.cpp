#include "setup/install/data_tree.h"

#include "setup/agent_folders.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/owner_sys.h"
#include "sys/security_sys.h"
#include "sys/tree_sys.h"
#include "sys/unique_handle.h"

namespace data_tree {
namespace {

constexpr char kFunction[] = "AgentInstaller::SecureDataFolders";
// The company folder keeps what ProgramData passes down; it only must be ours.
constexpr wchar_t kCompanyFolderAccess[] = L"O:BA";

enum class Found { kNothing, kOurs, kForeign, kNoFolder };

// What stands at path, looked at through one handle that follows no link.
Found Look(const std::wstring& path, const OwnerTest& ours) {
    const UniqueFileHandle entry(CreateFileW(
        path.c_str(), READ_CONTROL | FILE_READ_ATTRIBUTES,
        FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!entry) {
        const DWORD error = GetLastError();
        return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND ? Found::kNothing
                                                                               : Found::kNoFolder;
    }
    FILE_ATTRIBUTE_TAG_INFO info{};
    if (!GetFileInformationByHandleEx(entry.Get(), FileAttributeTagInfo, &info, sizeof(info)) ||
        tree_sys::KindOf(info.FileAttributes) != tree_sys::EntryKind::kFolder) {
        return Found::kNoFolder;
    }
    return ours(entry.Get(), path) ? Found::kOurs : Found::kForeign;
}

Status Create(const std::wstring& path, const wchar_t* access, CLogging& log) {
    DWORD lastError = 0;
    const Status status = security_sys::CreateSecuredFolder(path, access, &lastError);
    return log.Check(status, kFunction,
                     L"failed to create the agent's folder " + path + L" with its access list, "
                     L"GetLastError: " + std::to_wstring(lastError));
}

// A folder someone else made goes, with everything in it, and ours takes its place.
Status Replace(const std::wstring& path, const wchar_t* access, CLogging& log) {
    const std::wstring aside = path + RandomSuffix() + L".delete";
    if (!tree_sys::RenameEntry(path, aside)) {
        return log.Check(kStatusFolderNotSecured, kFunction,
                         L"a folder not made by an administrator cannot be moved aside: " + path +
                             L", GetLastError: " + std::to_wstring(GetLastError()));
    }
    log.Warning(kFunction, L"a folder not made by an administrator was moved aside: " + path);
    const Status removed = DeleteOrDeferFolder(aside);
    if (Failed(removed)) {
        log.Warning(kFunction, L"it goes at the next restart: " + aside, removed);
    }
    return Create(path, access, log);
}

// Entries not made by us go; the others get the folder's list.
Status Adopt(const std::wstring& path, const wchar_t* access, bool empty, const OwnerTest& ours,
             CLogging& log) {
    const auto foreign = [&](HANDLE entry, const std::wstring& entryPath) {
        const bool remove = empty || !ours(entry, entryPath);
        if (remove && !empty) {
            log.Warning(kFunction, L"removing what an administrator did not make: " + entryPath);
        }
        return remove;
    };
    const auto adopt = [access](HANDLE entry) {
        security_sys::ApplyListThrough(entry, access);  // a failure shows when it is used
    };
    if (!tree_sys::SortTree(path, foreign, adopt)) {
        return log.Check(kStatusFolderNotSecured, kFunction,
                         L"could not remove what does not belong in " + path);
    }
    DWORD lastError = 0;
    return log.Check(security_sys::SecureFolder(path, access, &lastError), kFunction,
                     L"failed to give the agent's folder its access list: " + path +
                         L", GetLastError: " + std::to_wstring(lastError));
}

Status SecureOne(const agent_folders::DataTreeFolder& folder, const OwnerTest& ours,
                 CLogging& log) {
    switch (Look(folder.path, ours)) {
        case Found::kNothing:
            return Create(folder.path, folder.access, log);
        case Found::kForeign:
            return Replace(folder.path, folder.access, log);
        case Found::kOurs:
            return Adopt(folder.path, folder.access, folder.emptied, ours, log);
        case Found::kNoFolder:
            break;
    }
    return log.Check(kStatusNotFound, kFunction,
                     L"refusing to secure " + folder.path + L": it is a link or no folder");
}

// The company folder may hold other products of the company; only one that holds nothing
// but the agent's folder is ours to replace.
Status SecureCompanyFolder(const std::wstring& company, const std::wstring& dataFolder,
                           const OwnerTest& ours, CLogging& log) {
    const Found found = Look(company, ours);
    if (found == Found::kNothing) {
        const Status made = file_sys::CreateFolderTree(file_sys::GetParentFolder(company));
        return Failed(made) ? log.Check(made, kFunction, L"no common application data folder")
                            : Create(company, kCompanyFolderAccess, log);
    }
    if (found != Found::kForeign) {
        return found == Found::kOurs ? kStatusOk
                                     : log.Check(kStatusNotFound, kFunction,
                                                 L"refusing to use " + company +
                                                     L": it is a link or no folder");
    }
    for (const std::wstring& entry : file_sys::ListFolder(company)) {
        if (entry != dataFolder) {
            return log.Check(kStatusFolderNotSecured, kFunction,
                             L"a folder not made by an administrator holds the agent's "
                             L"folder and more: " + company);
        }
    }
    return Replace(company, kCompanyFolderAccess, log);
}

}  // namespace

bool MadeByAdministrators(HANDLE entry, const std::wstring&) {
    return owner_sys::HasAdministrativeOwner(entry, SE_FILE_OBJECT);
}

Status SecureDataTree(const std::wstring& dataFolder, CLogging& log, const OwnerTest& ours) {
    security_sys::EnableAdministratorPrivileges();
    Status status = SecureCompanyFolder(file_sys::GetParentFolder(dataFolder), dataFolder,
                                        ours, log);
    for (const agent_folders::DataTreeFolder& folder : agent_folders::DataFolderTree(dataFolder)) {
        if (Failed(status)) {
            break;
        }
        status = SecureOne(folder, ours, log);
    }
    return status;
}

}  // namespace data_tree
