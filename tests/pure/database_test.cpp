#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "db/table_mapper.h"
#include "setup/uninstall/policy_database.h"
#include "tests/pure/sql_setup.h"

namespace {

using test_support::Execute;
using test_support::Message;
using test_support::ScratchFolder;

// Only the creation is checked as text: the other statements run against a database below.
TEST(TableMapperStatements, CreateDeclaresAnIntegerKeyInt) {
    TableMapper mapper;
    mapper.SetColumns("policy", {"id", "name", "flag"},
                      {ColumnType::kInteger, ColumnType::kText, ColumnType::kInteger}, 0);
    EXPECT_EQ(mapper.CreateStatement({}),
              "CREATE TABLE IF NOT EXISTS policy (id INT PRIMARY KEY NOT NULL, name TEXT, "
              "flag INTEGER);");
    EXPECT_EQ(mapper.CreateStatement({"name"}),
              "CREATE TABLE IF NOT EXISTS policy (id INT PRIMARY KEY NOT NULL, flag INTEGER);");
}

TEST(TableMapperDatabase, LoadsWritesAndGuards) {
    ScratchFolder folder;
    const std::wstring path = folder / "agent.db";
    Execute(path,
            "CREATE TABLE items (id INTEGER PRIMARY KEY, name TEXT, size DOUBLE, label TEXT16);"
            "INSERT INTO items VALUES (1, 'one', 1.5, NULL);"
            "CREATE TABLE odd (label VARCHAR(10));");
    TableMapper mapper;
    ASSERT_EQ(mapper.LoadTable("items"), kStatusDatabaseNotOpen);
    ASSERT_EQ(mapper.Open(path), SQLITE_OK);
    EXPECT_EQ(Message([&] { mapper.Open(path); }), "Database already opened");

    EXPECT_EQ(mapper.LoadTable("missing"), kStatusTableMissing);
    EXPECT_TRUE(mapper.ColumnNames().empty());
    EXPECT_EQ(Message([&] { mapper.LoadTable("odd"); }), "Unknown column data type");

    ASSERT_EQ(mapper.LoadTable("items"), kStatusOk);
    EXPECT_EQ(mapper.ColumnNames(), (std::vector<std::string>{"id", "name", "size", "label"}));
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
    // Wide text goes to SQLite as UTF-16 and comes back the same, a surrogate pair included.
    const std::wstring label = L"\x0416x\xD83D\xDE00";
    {
        TableMapper::Transaction transaction(mapper);
        TableRow added = mapper.Insert({std::int64_t{3}, std::string("three"), 3.5, label});
        EXPECT_EQ(std::get<std::string>(added.values[1]), "three");
        added.values[1] = std::string("drei");
        mapper.Update(added);
        mapper.Insert({std::int64_t{4}, std::string("four"), 4.5});
        transaction.MarkForCommit();
    }
    std::vector<TableRow> rows = mapper.Select();
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(std::get<std::string>(rows[1].values[1]), "drei");
    EXPECT_EQ(std::get<std::wstring>(rows[1].values[3]), label);
    mapper.Delete({rows[0].rowId, rows[1].rowId});
    EXPECT_EQ(mapper.Select().size(), 1u);
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
    EXPECT_EQ(flagFrom(table + "INSERT INTO policy VALUES (1, 7);"),
              std::make_pair(kStatusOk, true));
    EXPECT_TRUE(Failed(flagFrom(table).first)) << "no row: no flag";
    EXPECT_EQ(flagFrom("CREATE TABLE policy (Uninstall_Requires_Password INTEGER);").first,
              kStatusUnexpectedResponse);
    EXPECT_EQ(flagFrom("CREATE TABLE policy (flag VARCHAR);").first, kStatusDatabaseUnavailable)
        << "a table the mapper cannot map";

    const std::wstring notSqlite = folder / "text.db";
    { std::ofstream(std::filesystem::path(notSqlite)) << "no database at all, just text"; }
    bool flag = false;
    EXPECT_EQ(ReadPasswordFlag(notSqlite, flag), kStatusDatabaseUnavailable);
}

}  // namespace
