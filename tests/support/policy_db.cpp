#include "tests/support/policy_db.h"

#include <filesystem>

#include "db/sqlite_api.h"

bool WritePasswordPolicy(const std::wstring& dataFolder, bool requirePassword,
                         const std::string& password) {
    std::error_code ignored;
    std::filesystem::create_directories(dataFolder + L"\\database", ignored);
    SqliteApi api;
    sqlite3* database = nullptr;
    if (api.open16((dataFolder + L"\\database\\agent.db").c_str(), &database) != SQLITE_OK) {
        return false;
    }
    const std::string sql =
        "DROP TABLE IF EXISTS policy;"
        "CREATE TABLE policy (uninstall_requires_password INTEGER, uninstall_password TEXT);"
        "INSERT INTO policy VALUES (" +
        std::string(requirePassword ? "1" : "0") + ", '" + password + "');";
    const bool written = api.exec(database, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    api.close_v2(database);
    return written;
}
