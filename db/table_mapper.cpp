#include "db/table_mapper.h"

#include <cstdio>
#include <stdexcept>

#include "sys/text_sys.h"

namespace {

const char* DeclaredType(ColumnType type) {
    switch (type) {
        case ColumnType::kBlob:
            return "BLOB";
        case ColumnType::kDouble:
            return "DOUBLE";
        case ColumnType::kInteger:
            return "INTEGER";
        case ColumnType::kNull:
            return "NULL";
        case ColumnType::kText:
            return "TEXT";
        case ColumnType::kText16:
            return "TEXT16";
    }
    return "";
}

ColumnType ParseType(const std::string& text) {
    if (text == "BLOB") {
        return ColumnType::kBlob;
    }
    if (text == "DOUBLE") {
        return ColumnType::kDouble;
    }
    if (text == "INTEGER" || text == "INT") {
        return ColumnType::kInteger;
    }
    if (text == "NULL") {
        return ColumnType::kNull;
    }
    if (text == "TEXT") {
        return ColumnType::kText;
    }
    if (text == "TEXT16") {
        return ColumnType::kText16;
    }
    throw std::runtime_error("Unknown column data type");
}

// Drops the last two characters, the separator after the last item of a list.
void BackTwo(std::string& text) {
    text.resize(text.size() - 2);
}


}  // namespace

struct TableMapper::Statement {
    SqliteApi& api;
    sqlite3_stmt* handle = nullptr;
    ~Statement() {
        if (handle != nullptr) {
            api.finalize(handle);
        }
    }
};

TableMapper::TableMapper() = default;

TableMapper::TableMapper(const std::wstring& sqliteLibrary) : api_(sqliteLibrary) {}

TableMapper::~TableMapper() {
    if (database_ != nullptr) {
        api_.close_v2(database_);
    }
}

int TableMapper::Open(const std::wstring& path) {
    if (database_ != nullptr) {
        throw std::runtime_error("Database already opened");
    }
    const std::u16string utf16 = text_sys::ToUtf16(path);
    int result = api_.open16(utf16.c_str(), &database_);
    if (result != SQLITE_OK && database_ != nullptr) {
        api_.close_v2(database_);
        database_ = nullptr;
    }
    return result;
}

int TableMapper::SetBusyTimeout(int milliseconds) {
    return database_ != nullptr ? api_.busy_timeout(database_, milliseconds) : SQLITE_MISUSE;
}

void TableMapper::SetColumns(const std::string& table, std::vector<std::string> names,
                             std::vector<ColumnType> types, int primaryKey) {
    table_ = table;
    columnNames_ = std::move(names);
    columnTypes_ = std::move(types);
    primaryKey_ = primaryKey;
}

std::unique_ptr<TableMapper::Statement> TableMapper::Prepare(const std::string& text) {
    auto statement = std::make_unique<Statement>(Statement{api_});
    if (api_.prepare_v2(database_, text.c_str(), -1, &statement->handle, nullptr) != SQLITE_OK) {
        char message[512];
        std::snprintf(message, sizeof(message), "Failed to create prepared statement [%s]",
                      database_ != nullptr ? api_.errmsg(database_) : "no database");
        throw std::runtime_error(message);
    }
    return statement;
}

int TableMapper::AddColumn(void* context, int, char** values, char**) {
    auto* mapper = static_cast<TableMapper*>(context);
    // Only the first column of a composite key is taken as the primary key.
    if (values[2] != nullptr && values[2][0] == '1') {
        mapper->primaryKey_ = static_cast<int>(mapper->columnNames_.size());
    }
    // No exception may cross SQLite's C frames: note it and stop the query instead.
    try {
        const ColumnType type = ParseType(values[1] != nullptr ? values[1] : "");
        mapper->columnNames_.emplace_back(values[0] != nullptr ? values[0] : "");
        mapper->columnTypes_.push_back(type);
        return 0;
    } catch (const std::runtime_error& error) {
        mapper->columnError_ = error.what();
        return 1;
    }
}

Status TableMapper::LoadTable(const std::string& table) {
    if (database_ == nullptr) {
        return kStatusDatabaseNotOpen;
    }
    columnNames_.clear();
    columnTypes_.clear();
    rows_.clear();
    primaryKey_ = -1;
    table_ = table;
    {
        auto exists = Prepare("SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?");
        api_.bind_text(exists->handle, 1, table.c_str(), -1, SQLITE_TRANSIENT);
        if (api_.step(exists->handle) != SQLITE_ROW) {
            return kStatusTableMissing;
        }
    }
    const std::string columns = "SELECT name, type, pk FROM pragma_table_info('" + table + "');";
    columnError_.clear();
    api_.exec(database_, columns.c_str(), &TableMapper::AddColumn, this, nullptr);
    if (!columnError_.empty()) {
        columnNames_.clear();
        columnTypes_.clear();
        throw std::runtime_error(columnError_);
    }
    rows_ = Select();
    return kStatusOk;
}

std::string TableMapper::CreateStatement(const std::set<std::string>& leaveOut) const {
    std::string text;
    text += "CREATE TABLE IF NOT EXISTS " + table_ + " (";
    for (size_t i = 0; i < columnNames_.size(); ++i) {
        if (leaveOut.count(columnNames_[i]) != 0) {
            continue;
        }
        const bool key = static_cast<int>(i) == primaryKey_;
        // An integer key declared "INT" does not become an alias of ROWID.
        text += columnNames_[i] + " ";
        text += key && columnTypes_[i] == ColumnType::kInteger ? "INT"
                                                               : DeclaredType(columnTypes_[i]);
        text += key ? " PRIMARY KEY NOT NULL, " : ", ";
    }
    BackTwo(text);
    text += ");";
    return text;
}

std::string TableMapper::SelectStatement() const {
    std::string text;
    text += "SELECT ROWID, ";
    if (columnNames_.empty()) {
        text += "*";
    } else {
        for (const std::string& name : columnNames_) {
            text += name + ", ";
        }
        BackTwo(text);
    }
    text += " FROM " + table_;
    return text;
}

std::string TableMapper::InsertStatement() const {
    std::string text;
    text += "INSERT INTO " + table_ + " VALUES (";
    for (size_t i = 0; i < columnNames_.size(); ++i) {
        text += "?, ";
    }
    BackTwo(text);
    text += ") RETURNING ROWID, *;";
    return text;
}

std::string TableMapper::UpdateStatement() const {
    std::string text;
    text += "UPDATE " + table_ + " SET ";
    for (const std::string& name : columnNames_) {
        text += name + " = ?, ";
    }
    BackTwo(text);
    text += " WHERE ROWID = ?;";
    return text;
}

std::string TableMapper::DeleteStatement(const std::vector<std::int64_t>& rowIds) const {
    std::string text;
    text += "DELETE FROM " + table_ + " WHERE ROWID IN (";
    for (std::int64_t rowId : rowIds) {
        text += std::to_string(rowId) + ", ";
    }
    BackTwo(text);
    text += ");";
    return text;
}

void TableMapper::Bind(Statement& statement, int index, const ColumnValue& value,
                       ColumnType type) {
    sqlite3_stmt* handle = statement.handle;
    if (std::holds_alternative<std::monostate>(value)) {
        api_.bind_null(handle, index);
        return;
    }
    switch (type) {
        case ColumnType::kBlob: {
            const auto& bytes = std::get<std::vector<std::uint8_t>>(value);
            api_.bind_blob(handle, index, bytes.data(), static_cast<int>(bytes.size()),
                           SQLITE_TRANSIENT);
            break;
        }
        case ColumnType::kDouble:
            api_.bind_double(handle, index, std::get<double>(value));
            break;
        case ColumnType::kInteger:
            api_.bind_int64(handle, index, std::get<std::int64_t>(value));
            break;
        case ColumnType::kText:
            api_.bind_text(handle, index, std::get<std::string>(value).c_str(), -1,
                           SQLITE_TRANSIENT);
            break;
        case ColumnType::kText16: {
            const std::wstring& wide = std::get<std::wstring>(value);
            if (api_.bind_text16 != nullptr) {
                const std::u16string utf16 = text_sys::ToUtf16(wide);
                api_.bind_text16(handle, index, utf16.c_str(), -1, SQLITE_TRANSIENT);
            } else {
                std::string utf8;
                text_sys::WideToUtf8(wide, utf8);  // an unconvertible text binds empty
                api_.bind_text(handle, index, utf8.c_str(), -1, SQLITE_TRANSIENT);
            }
            break;
        }
        case ColumnType::kNull:
            api_.bind_null(handle, index);
            break;
    }
}

ColumnValue TableMapper::Read(Statement& statement, int index, ColumnType type) {
    sqlite3_stmt* handle = statement.handle;
    if (api_.column_type(handle, index) == SQLITE_NULL) {
        return std::monostate{};
    }
    switch (type) {
        case ColumnType::kBlob: {
            const auto* data = static_cast<const std::uint8_t*>(api_.column_blob(handle, index));
            return std::vector<std::uint8_t>(data, data + api_.column_bytes(handle, index));
        }
        case ColumnType::kDouble:
            return api_.column_double(handle, index);
        case ColumnType::kInteger:
            return static_cast<std::int64_t>(api_.column_int64(handle, index));
        case ColumnType::kText:
            return std::string(reinterpret_cast<const char*>(api_.column_text(handle, index)));
        case ColumnType::kText16:
            return text_sys::FromUtf16(
                static_cast<const char16_t*>(api_.column_text16(handle, index)));
        case ColumnType::kNull:
            break;
    }
    return std::monostate{};
}

TableRow TableMapper::ReadRow(Statement& statement) {
    TableRow row;
    row.rowId = api_.column_int64(statement.handle, 0);
    for (size_t i = 0; i < columnTypes_.size(); ++i) {
        row.values.push_back(Read(statement, static_cast<int>(i) + 1, columnTypes_[i]));
    }
    return row;
}

std::vector<TableRow> TableMapper::Select() {
    std::vector<TableRow> rows;
    auto statement = Prepare(SelectStatement());
    while (api_.step(statement->handle) == SQLITE_ROW) {
        rows.push_back(ReadRow(*statement));
    }
    return rows;
}

void TableMapper::CreateTable(const std::set<std::string>& leaveOut) {
    auto statement = Prepare(CreateStatement(leaveOut));
    api_.step(statement->handle);
}

TableRow TableMapper::Insert(const std::vector<ColumnValue>& values) {
    auto statement = Prepare(InsertStatement());
    for (size_t i = 0; i < values.size() && i < columnTypes_.size(); ++i) {
        Bind(*statement, static_cast<int>(i) + 1, values[i], columnTypes_[i]);
    }
    TableRow row;
    if (api_.step(statement->handle) == SQLITE_ROW) {
        row = ReadRow(*statement);
    }
    return row;
}

void TableMapper::Update(const TableRow& row) {
    auto statement = Prepare(UpdateStatement());
    for (size_t i = 0; i < row.values.size() && i < columnTypes_.size(); ++i) {
        Bind(*statement, static_cast<int>(i) + 1, row.values[i], columnTypes_[i]);
    }
    api_.bind_int64(statement->handle, static_cast<int>(columnTypes_.size()) + 1, row.rowId);
    api_.step(statement->handle);
}

void TableMapper::Delete(const std::vector<std::int64_t>& rowIds) {
    auto statement = Prepare(DeleteStatement(rowIds));
    api_.step(statement->handle);
}

Status TableMapper::GetInteger(size_t row, size_t column, std::int64_t& value) const {
    if (row >= rows_.size() || column >= rows_[row].values.size() ||
        !std::holds_alternative<std::int64_t>(rows_[row].values[column])) {
        return kStatusNoSuchCell;
    }
    value = std::get<std::int64_t>(rows_[row].values[column]);
    return kStatusOk;
}

TableMapper::Transaction::Transaction(TableMapper& mapper) : mapper_(mapper) {
    if (mapper_.api_.exec(mapper_.database_, "BEGIN DEFERRED TRANSACTION;", nullptr, nullptr,
                          nullptr) != SQLITE_OK) {
        char message[512];
        std::snprintf(message, sizeof(message), "Failed to begin transaction [%s]",
                      mapper_.database_ != nullptr ? mapper_.api_.errmsg(mapper_.database_)
                                                   : "no database");
        throw std::runtime_error(message);
    }
}

TableMapper::Transaction::~Transaction() {
    mapper_.api_.exec(mapper_.database_,
                      commit_ ? "COMMIT TRANSACTION;" : "ROLLBACK TRANSACTION;", nullptr, nullptr,
                      nullptr);
}
