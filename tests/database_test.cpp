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

TEST(TableMapperStatements, TextsAsBuilt) {
    TableMapper mapper;
    mapper.SetColumns("policy", {"id", "name", "flag"},
                      {ColumnType::kInteger, ColumnType::kText, ColumnType::kInteger}, 0);
    EXPECT_EQ(mapper.CreateStatement({}),
              "CREATE TABLE IF NOT EXISTS policy (id INT PRIMARY KEY NOT NULL, name TEXT, "
              "flag INTEGER);");
    EXPECT_EQ(mapper.CreateStatement({"name"}),
              "CREATE TABLE IF NOT EXISTS policy (id INT PRIMARY KEY NOT NULL, flag INTEGER);");
    EXPECT_EQ(mapper.CreateStatement({"id", "name", "flag"}), "CREATE TABLE IF NOT EXISTS policy);");
    EXPECT_EQ(mapper.SelectStatement(), "SELECT ROWID, id, name, flag FROM policy");
    EXPECT_EQ(mapper.InsertStatement(), "INSERT INTO policy VALUES (?, ?, ?) RETURNING ROWID, *;");
    EXPECT_EQ(mapper.UpdateStatement(),
              "UPDATE policy SET id = ?, name = ?, flag = ? WHERE ROWID = ?;");
    EXPECT_EQ(mapper.DeleteStatement({3, 9}), "DELETE FROM policy WHERE ROWID IN (3, 9);");
    mapper.SetColumns("empty", {}, {}, -1);
    EXPECT_EQ(mapper.SelectStatement(), "SELECT ROWID, * FROM empty");
}

TEST(TableMapperDatabase, LoadsWritesAndGuards) {
    TempFolder folder;
    const std::wstring path = folder / L"agent.db";
    Execute(path.c_str(),
            "CREATE TABLE items (id INTEGER PRIMARY KEY, name TEXT, size DOUBLE);"
            "INSERT INTO items VALUES (1, 'one', 1.5);"
            "CREATE TABLE odd (label VARCHAR(10));");
    TableMapper mapper;
    ASSERT_EQ(mapper.LoadTable("items"), kStatusDatabaseNotOpen);
    ASSERT_EQ(mapper.Open(path), SQLITE_OK);
    EXPECT_EQ(Message([&] { mapper.Open(path); }), "Database already opened");

    EXPECT_EQ(mapper.LoadTable("missing"), kStatusTableMissing);
    EXPECT_TRUE(mapper.ColumnNames().empty());
    EXPECT_EQ(Message([&] { mapper.LoadTable("odd"); }), "Unknown column data type");

    ASSERT_EQ(mapper.LoadTable("items"), kStatusOk);
    EXPECT_EQ(mapper.ColumnNames(), (std::vector<std::string>{"id", "name", "size"}));
    EXPECT_EQ(mapper.PrimaryKeyColumn(), 0);
    ASSERT_EQ(mapper.Rows().size(), 1u);
    std::int64_t id = 0;
    EXPECT_EQ(mapper.GetInteger(0, 0, id), kStatusOk);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(mapper.GetInteger(1, 0, id), kStatusNoSuchCell);
    EXPECT_EQ(mapper.GetInteger(0, 1, id), kStatusNoSuchCell);

    {
        TableMapper::Transaction transaction(mapper);
        mapper.Insert({std::int64_t{2}, std::string("two"), 2.5});
    }  // not marked: rolled back
    EXPECT_EQ(mapper.Select().size(), 1u);
    {
        TableMapper::Transaction transaction(mapper);
        TableRow added = mapper.Insert({std::int64_t{3}, std::string("three"), 3.5});
        EXPECT_EQ(std::get<std::string>(added.values[1]), "three");
        added.values[1] = std::string("drei");
        mapper.Update(added);
        transaction.MarkForCommit();
    }
    std::vector<TableRow> rows = mapper.Select();
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(std::get<std::string>(rows[1].values[1]), "drei");
    mapper.Delete({rows[0].rowId, rows[1].rowId});
    EXPECT_TRUE(mapper.Select().empty());
}

TEST(PasswordPolicy, ReadsTheFlagOrFails) {
    TempFolder folder;
    bool required = false;
    EXPECT_EQ(ReadUninstallPasswordPolicy(folder / L"agent.db", required),
              kStatusDatabaseUnavailable);
    EXPECT_FALSE(test_support::FileExists(folder / L"agent.db"));

    Execute(folder / L"agent.db", "CREATE TABLE other (x INTEGER);");
    EXPECT_EQ(ReadUninstallPasswordPolicy(folder / L"agent.db", required), kStatusTableMissing);

    auto flagFrom = [&](const char* sql) {
        const std::wstring path = folder / (std::to_wstring(GetTickCount64()) + L".db");
        Execute(path, sql);
        bool flag = false;
        Status status = ReadUninstallPasswordPolicy(path, flag);
        return std::make_pair(status, flag);
    };
    const char* table = "CREATE TABLE policy (id INTEGER, uninstall_requires_password INTEGER);";
    EXPECT_EQ(flagFrom((std::string(table) + "INSERT INTO policy VALUES (1, 0);").c_str()),
              std::make_pair(kStatusOk, false));
    EXPECT_EQ(flagFrom((std::string(table) + "INSERT INTO policy VALUES (1, 1);").c_str()),
              std::make_pair(kStatusOk, true));
    EXPECT_EQ(flagFrom((std::string(table) + "INSERT INTO policy VALUES (1, 7);").c_str()),
              std::make_pair(kStatusOk, true));
    EXPECT_EQ(flagFrom(table).second, false);
    EXPECT_TRUE(Failed(flagFrom(table).first)) << "no row: no flag";
    EXPECT_EQ(flagFrom("CREATE TABLE policy (Uninstall_Requires_Password INTEGER);"
                       "INSERT INTO policy VALUES (1);")
                  .first,
              kStatusUnexpectedResponse);
}

}  // namespace
