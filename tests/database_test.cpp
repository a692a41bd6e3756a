#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "db/table_mapper.h"
#include "setup/uninstall/password_policy.h"
#include "tests/support/test_support.h"

namespace {

using test_support::TempFolder;

// Runs SQL on a database file through the binding, for setting up cases.
void Execute(const std::wstring& path, const char* sql) {
    SqliteApi api;
    sqlite3* database = nullptr;
    ASSERT_EQ(api.open16(path.c_str(), &database), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(api.exec(database, sql, nullptr, nullptr, &error), SQLITE_OK) << sql;
    api.close_v2(database);
}

std::string Message(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(SqliteBinding, EveryFunctionButTheWideTextBinderIsRequired) {
    EXPECT_EQ(Message([] { SqliteApi api(L"sqlite_without_bind_text16.dll"); }), "");
    EXPECT_EQ(Message([] { SqliteApi api(L"sqlite_without_busy_timeout.dll"); }),
              "Failed to resolve some sqlite3 function from dynamic library");
    EXPECT_EQ(Message([] { SqliteApi api(L"no_such_sqlite.dll"); }),
              "Failed to resolve some sqlite3 function from dynamic library");
}

// The flag's reading is tested in pure/database_test; here the file that is not there.
TEST(PasswordPolicy, MissingFileIsNotCreated) {
    TempFolder folder;
    bool required = false;
    EXPECT_EQ(ReadUninstallPasswordPolicy(folder / L"agent.db", required),
              kStatusDatabaseUnavailable);
    EXPECT_FALSE(test_support::FileExists(folder / L"agent.db"));

    Execute(folder / L"agent.db", "CREATE TABLE policy (uninstall_requires_password INTEGER);"
                                  "INSERT INTO policy VALUES (1);");
    EXPECT_EQ(ReadUninstallPasswordPolicy(folder / L"agent.db", required), kStatusOk);
    EXPECT_TRUE(required);
}

}  // namespace
