#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>

// The SQLite functions this program uses, bound at run time from "sqlite3.dll" beside the
// running executable (sqlite_api.cpp). The host build links SQLite and binds the same
// functions by their addresses (sqlite_api_linked.cpp).
class SqliteApi {
public:
    // Throws std::runtime_error when the library or one of its functions is missing.
    SqliteApi();
    // The same for another library (name or path).
    explicit SqliteApi(const std::wstring& library);
    SqliteApi(const SqliteApi&) = delete;
    SqliteApi& operator=(const SqliteApi&) = delete;
    ~SqliteApi();

    decltype(&::sqlite3_bind_blob) bind_blob = nullptr;
    decltype(&::sqlite3_clear_bindings) clear_bindings = nullptr;
    decltype(&::sqlite3_bind_double) bind_double = nullptr;
    decltype(&::sqlite3_bind_int) bind_int = nullptr;
    decltype(&::sqlite3_bind_int64) bind_int64 = nullptr;
    decltype(&::sqlite3_bind_text) bind_text = nullptr;
    decltype(&::sqlite3_bind_text16) bind_text16 = nullptr;
    decltype(&::sqlite3_bind_null) bind_null = nullptr;
    decltype(&::sqlite3_close_v2) close_v2 = nullptr;
    decltype(&::sqlite3_column_blob) column_blob = nullptr;
    decltype(&::sqlite3_column_bytes) column_bytes = nullptr;
    decltype(&::sqlite3_column_count) column_count = nullptr;
    decltype(&::sqlite3_column_double) column_double = nullptr;
    decltype(&::sqlite3_column_int) column_int = nullptr;
    decltype(&::sqlite3_column_int64) column_int64 = nullptr;
    decltype(&::sqlite3_column_name) column_name = nullptr;
    decltype(&::sqlite3_column_text) column_text = nullptr;
    decltype(&::sqlite3_column_text16) column_text16 = nullptr;
    decltype(&::sqlite3_column_type) column_type = nullptr;
    decltype(&::sqlite3_column_value) column_value = nullptr;
    decltype(&::sqlite3_exec) exec = nullptr;
    decltype(&::sqlite3_errcode) errcode = nullptr;
    decltype(&::sqlite3_finalize) finalize = nullptr;
    decltype(&::sqlite3_prepare_v2) prepare_v2 = nullptr;
    decltype(&::sqlite3_reset) reset = nullptr;
    decltype(&::sqlite3_errmsg) errmsg = nullptr;
    decltype(&::sqlite3_errmsg16) errmsg16 = nullptr;
    decltype(&::sqlite3_errmsg16) errmsg16_second = nullptr;
    decltype(&::sqlite3_open16) open16 = nullptr;
    decltype(&::sqlite3_step) step = nullptr;
    decltype(&::sqlite3_busy_timeout) busy_timeout = nullptr;

private:
    void Bind(const std::wstring& library);

    // Keeps the library loaded while the functions are in use.
    std::shared_ptr<void> library_;
};
