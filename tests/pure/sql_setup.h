#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
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
    EXPECT_EQ(api.exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
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

// A new empty folder below the temporary folder, removed with its content on destruction;
// with the standard library only, for the tests that build on the host too.
class ScratchFolder {
public:
    ScratchFolder() {
        static std::atomic<unsigned> counter{0};
        const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
        path_ = std::filesystem::temp_directory_path() /
                ("hollin-pure-" + std::to_string(now) + "-" + std::to_string(counter++));
        std::filesystem::create_directories(path_);
    }
    ~ScratchFolder() {
        std::error_code ignored;  // a file still open keeps its folder: nothing to do then
        std::filesystem::remove_all(path_, ignored);
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::wstring operator/(const std::string& name) const { return (path_ / name).wstring(); }

private:
    std::filesystem::path path_;
};

}  // namespace test_support
