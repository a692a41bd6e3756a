#include "setup/uninstall/password_policy.h"

#include <exception>

#include "db/table_mapper.h"
#include "setup/agent_folders.h"
#include "setup/branding/branding.h"
#include "sys/file_sys.h"

Status ReadUninstallPasswordPolicy(bool& requiresPassword) {
    const std::wstring path = agent_folders::DataFolder(GetBranding()) + L"\\database\\agent.db";
    return ReadUninstallPasswordPolicy(path, requiresPassword);
}

namespace {

Status ReadPolicy(const std::wstring& databasePath, bool& requiresPassword) {
    TableMapper mapper;
    // An absent file is no database: opening must not create one.
    if (GetFileAttributesW(databasePath.c_str()) == INVALID_FILE_ATTRIBUTES ||
        mapper.Open(databasePath) != SQLITE_OK) {
        return kStatusDatabaseUnavailable;
    }
    mapper.SetBusyTimeout(30000);
    Status status = mapper.LoadTable("policy");
    if (Failed(status)) {
        return status;
    }
    const std::vector<std::string>& columns = mapper.ColumnNames();
    size_t column = 0;
    while (column < columns.size() && columns[column] != "uninstall_requires_password") {
        ++column;
    }
    if (column == columns.size()) {
        return kStatusUnexpectedResponse;
    }
    std::int64_t value = 0;
    status = mapper.GetInteger(0, column, value);
    if (Failed(status)) {
        return status;
    }
    requiresPassword = value != 0;
    return kStatusOk;
}

}  // namespace

Status ReadUninstallPasswordPolicy(const std::wstring& databasePath, bool& requiresPassword) {
    // A missing SQLite library or a table it cannot map means no policy could be read.
    try {
        return ReadPolicy(databasePath, requiresPassword);
    } catch (const std::exception&) {
        return kStatusDatabaseUnavailable;
    }
}
