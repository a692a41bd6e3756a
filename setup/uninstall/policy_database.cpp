#include "setup/uninstall/policy_database.h"

#include <exception>
#include <memory>

#include "db/table_mapper.h"

namespace {

Status ReadFlag(const std::wstring& databasePath, bool& requiresPassword,
                const std::wstring& sqliteLibrary) {
    const std::unique_ptr<TableMapper> owned = sqliteLibrary.empty()
                                                   ? std::make_unique<TableMapper>()
                                                   : std::make_unique<TableMapper>(sqliteLibrary);
    TableMapper& mapper = *owned;
    if (mapper.Open(databasePath) != SQLITE_OK) {
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

Status ReadPasswordFlag(const std::wstring& databasePath, bool& requiresPassword,
                        const std::wstring& sqliteLibrary) {
    // A missing SQLite library or a table it cannot map means no policy could be read.
    try {
        return ReadFlag(databasePath, requiresPassword, sqliteLibrary);
    } catch (const std::exception&) {
        return kStatusDatabaseUnavailable;
    }
}
