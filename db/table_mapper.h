#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <variant>
#include <vector>

#include "db/sqlite_api.h"
#include "sys/status.h"


enum class ColumnType : int {
    kBlob = 0,
    kDouble = 1,
    kInteger = 2,
    kNull = 3,
    kText = 4,
    kText16 = 5,
};

using ColumnValue = std::variant<std::monostate, std::vector<std::uint8_t>, double, std::int64_t,
                                 std::string, std::wstring>;

struct TableRow {
    std::int64_t rowId = 0;
    std::vector<ColumnValue> values;
};

// A whole-table view of one table of an SQLite database.
class TableMapper {
public:
    TableMapper();
    explicit TableMapper(const std::wstring& sqliteLibrary);
    TableMapper(const TableMapper&) = delete;
    TableMapper& operator=(const TableMapper&) = delete;
    ~TableMapper();

    // Throws "Database already opened" when one is open. Returns the SQLite result code.
    int Open(const std::wstring& path);
    int SetBusyTimeout(int milliseconds);

    // Reads the table's columns and all its rows.
    Status LoadTable(const std::string& table);

    void CreateTable(const std::set<std::string>& leaveOut = {});
    std::vector<TableRow> Select();
    TableRow Insert(const std::vector<ColumnValue>& values);
    void Update(const TableRow& row);
    void Delete(const std::vector<std::int64_t>& rowIds);

    const std::vector<std::string>& ColumnNames() const { return columnNames_; }
    const std::vector<ColumnType>& ColumnTypes() const { return columnTypes_; }
    int PrimaryKeyColumn() const { return primaryKey_; }
    const std::vector<TableRow>& Rows() const { return rows_; }
    Status GetInteger(size_t row, size_t column, std::int64_t& value) const;

    // The statements as this mapper builds them.
    std::string CreateStatement(const std::set<std::string>& leaveOut) const;
    std::string SelectStatement() const;
    std::string InsertStatement() const;
    std::string UpdateStatement() const;
    std::string DeleteStatement(const std::vector<std::int64_t>& rowIds) const;

    // Begins a deferred transaction; it commits at its end only when marked.
    class Transaction {
    public:
        explicit Transaction(TableMapper& mapper);
        ~Transaction();
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        void MarkForCommit() { commit_ = true; }

    private:
        TableMapper& mapper_;
        bool commit_ = false;
    };

    // Declares the table's columns without reading them from a database.
    void SetColumns(const std::string& table, std::vector<std::string> names,
                    std::vector<ColumnType> types, int primaryKey);

private:
    friend class Transaction;
    struct Statement;
    std::unique_ptr<Statement> Prepare(const std::string& text);
    void Bind(Statement& statement, int index, const ColumnValue& value, ColumnType type);
    ColumnValue Read(Statement& statement, int index, ColumnType type);
    TableRow ReadRow(Statement& statement);
    static int AddColumn(void* mapper, int count, char** values, char** names);

    SqliteApi api_;
    sqlite3* database_ = nullptr;
    std::string table_;
    std::vector<std::string> columnNames_;
    std::vector<ColumnType> columnTypes_;
    int primaryKey_ = -1;
    std::vector<TableRow> rows_;
    std::string columnError_;
};
