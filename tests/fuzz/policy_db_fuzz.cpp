// The agent's agent.db as setup reads it for the uninstall password policy. An input that
// begins like an SQLite file is the database file itself; any other input is SQL that
// makes one, so that the mutations reach the table shapes and values the mapper reads.
#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>

#include <unistd.h>

#include "setup/uninstall/policy_database.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

const std::filesystem::path& DatabasePath() {
    static const std::filesystem::path path =
        std::filesystem::temp_directory_path() /
        ("hollin-fuzz-policy-" + std::to_string(getpid()) + ".db");
    return path;
}

void RemoveDatabase() {
    std::error_code ignored;
    for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
        std::filesystem::remove(DatabasePath().string() + suffix, ignored);
    }
}

// Only statements that shape this one database: no ATTACH, VACUUM INTO or pragma reaches
// another file.
int AllowShaping(void*, int action, const char*, const char*, const char*, const char*) {
    static constexpr int kShaping[] = {
        SQLITE_CREATE_TABLE, SQLITE_CREATE_INDEX, SQLITE_CREATE_VIEW, SQLITE_DROP_TABLE,
        SQLITE_INSERT,       SQLITE_UPDATE,       SQLITE_DELETE,      SQLITE_READ,
        SQLITE_SELECT,       SQLITE_FUNCTION,     SQLITE_TRANSACTION, SQLITE_ALTER_TABLE};
    return std::find(std::begin(kShaping), std::end(kShaping), action) != std::end(kShaping)
               ? SQLITE_OK
               : SQLITE_DENY;
}

// Endless recursive queries end after this many steps of SQLite's machine.
int StopLongQueries(void* steps) { return ++*static_cast<int*>(steps) > 2000; }

void MakeFromSql(const std::string& sql) {
    sqlite3* database = nullptr;
    if (sqlite3_open(DatabasePath().c_str(), &database) == SQLITE_OK) {
        sqlite3_limit(database, SQLITE_LIMIT_LENGTH, 1 << 16);
        sqlite3_set_authorizer(database, AllowShaping, nullptr);
        int steps = 0;
        sqlite3_progress_handler(database, 100, StopLongQueries, &steps);
        sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
    }
    sqlite3_close_v2(database);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const char kHeader[] = "SQLite format 3";  // with its NUL, 16 bytes
    RemoveDatabase();
    if (size >= sizeof(kHeader) && std::memcmp(data, kHeader, sizeof(kHeader)) == 0) {
        std::ofstream(DatabasePath(), std::ios::binary)
            .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    } else {
        MakeFromSql(std::string(reinterpret_cast<const char*>(data), size));
    }
    bool requiresPassword = false;
    const Status status = ReadPasswordFlag(DatabasePath().wstring(), requiresPassword);
    FUZZ_CHECK(status == kStatusOk || Failed(status));
    return 0;
}
