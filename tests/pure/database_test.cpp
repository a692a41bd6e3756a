#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "db/table_mapper.h"
#include "setup/uninstall/policy_database.h"
#include "tests/pure/scratch_folder.h"
#include "tests/pure/sql_setup.h"

namespace {

using test_support::Execute;
using test_support::Message;
using test_support::ScratchFolder;

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
    ScratchFolder folder;
    const std::wstring path = folder / "agent.db";
    Execute(path,
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

// Wide text goes to SQLite as UTF-16 and comes back the same, a surrogate pair included.
TEST(TableMapperDatabase, WideTextRoundTrips) {
    ScratchFolder folder;
    const std::wstring path = folder / "wide.db";
    Execute(path, "CREATE TABLE names (label TEXT16, note TEXT);");
    TableMapper mapper;
    ASSERT_EQ(mapper.Open(path), SQLITE_OK);
    ASSERT_EQ(mapper.LoadTable("names"), kStatusOk);
    const std::wstring label = L"\x0416x\xD83D\xDE00";
    mapper.Insert({label, std::string("\xC3\xA9")});
    const std::vector<TableRow> rows = mapper.Select();
    ASSERT_EQ(rows.size(), 1u);
    EXPECT_EQ(std::get<std::wstring>(rows[0].values[0]), label);
    EXPECT_EQ(std::get<std::string>(rows[0].values[1]), "\xC3\xA9");
}

TEST(PasswordFlag, ReadsTheFlagOrFails) {
    ScratchFolder folder;
    int made = 0;
    auto flagFrom = [&](const std::string& sql) {
        const std::wstring path = folder / (std::to_string(made++) + ".db");
        Execute(path, sql.c_str());
        bool flag = false;
        Status status = ReadPasswordFlag(path, flag);
        return std::make_pair(status, flag);
    };
    EXPECT_EQ(flagFrom("CREATE TABLE other (x INTEGER);").first, kStatusTableMissing);
    const std::string table =
        "CREATE TABLE policy (id INTEGER, uninstall_requires_password INTEGER);";
    EXPECT_EQ(flagFrom(table + "INSERT INTO policy VALUES (1, 0);"),
              std::make_pair(kStatusOk, false));
    EXPECT_EQ(flagFrom(table + "INSERT INTO policy VALUES (1, 1);"),
              std::make_pair(kStatusOk, true));
    EXPECT_EQ(flagFrom(table + "INSERT INTO policy VALUES (1, 7);"),
              std::make_pair(kStatusOk, true));
    EXPECT_EQ(flagFrom(table).second, false);
    EXPECT_TRUE(Failed(flagFrom(table).first)) << "no row: no flag";
    EXPECT_EQ(flagFrom("CREATE TABLE policy (Uninstall_Requires_Password INTEGER);"
                       "INSERT INTO policy VALUES (1);")
                  .first,
              kStatusUnexpectedResponse);
    EXPECT_EQ(flagFrom("CREATE TABLE policy (flag VARCHAR);").first, kStatusDatabaseUnavailable)
        << "a table the mapper cannot map";

    const std::wstring notSqlite = folder / "text.db";
    { std::ofstream(std::filesystem::path(notSqlite)) << "no database at all, just text"; }
    bool flag = false;
    EXPECT_EQ(ReadPasswordFlag(notSqlite, flag), kStatusDatabaseUnavailable);
}

}  // namespace
