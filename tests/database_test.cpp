#include <gtest/gtest.h>

#include "db/table_mapper.h"
#include "setup/uninstall/password_policy.h"
#include "tests/pure/sql_setup.h"
#include "tests/support/test_support.h"

namespace {

using test_support::Message;
using test_support::TempFolder;

TEST(SqliteBinding, EveryFunctionButTheWideTextBinderIsRequired) {
    EXPECT_EQ(Message([] { SqliteApi api(L"sqlite_without_bind_text16.dll"); }), "");
    EXPECT_EQ(GetModuleHandleW(L"sqlite_without_bind_text16.dll"), nullptr)
        << "freed with its binding";
    EXPECT_EQ(Message([] { SqliteApi api(L"sqlite_without_busy_timeout.dll"); }),
              "Failed to resolve some sqlite3 function from dynamic library");
    EXPECT_EQ(Message([] { SqliteApi api(L"no_such_sqlite.dll"); }),
              "Failed to resolve some sqlite3 function from dynamic library");
}

// The flag's reading is tested in pure/database_test and uninstall_dialog_test; here no file.
TEST(PasswordPolicy, MissingFileIsNotCreated) {
    TempFolder folder;
    bool required = false;
    EXPECT_EQ(ReadUninstallPasswordPolicy(folder / L"agent.db", required),
              kStatusDatabaseUnavailable);
    EXPECT_FALSE(test_support::FileExists(folder / L"agent.db"));
}

}  // namespace
