#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>

#include "db/sqlite_api.h"
#include "sys/text_sys.h"

namespace test_support {

// Runs SQL on a database file through the binding, for setting up cases.
inline void Execute(const std::wstring& path, const char* sql) {
    SqliteApi api;
    sqlite3* database = nullptr;
    ASSERT_EQ(api.open16(text_sys::ToUtf16(path).c_str(), &database), SQLITE_OK);
    char* error = nullptr;
    EXPECT_EQ(api.exec(database, sql, nullptr, nullptr, &error), SQLITE_OK) << sql;
    api.close_v2(database);
}

// The message of the runtime_error an action throws; empty when it throws none.
inline std::string Message(const std::function<void()>& action) {
    try {
        action();
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

}  // namespace test_support
