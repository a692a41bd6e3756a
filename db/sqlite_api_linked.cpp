// The host build links Debian's SQLite: the binding takes the functions' own addresses.
#include "db/sqlite_api.h"

SqliteApi::SqliteApi() { Bind(L""); }

// There is no other library to load: the name is the linked one's.
SqliteApi::SqliteApi(const std::wstring& library) { Bind(library); }

SqliteApi::~SqliteApi() = default;

void SqliteApi::Bind(const std::wstring&) {
    bind_blob = &::sqlite3_bind_blob;
    clear_bindings = &::sqlite3_clear_bindings;
    bind_double = &::sqlite3_bind_double;
    bind_int = &::sqlite3_bind_int;
    bind_int64 = &::sqlite3_bind_int64;
    bind_text = &::sqlite3_bind_text;
    bind_text16 = &::sqlite3_bind_text16;
    bind_null = &::sqlite3_bind_null;
    close_v2 = &::sqlite3_close_v2;
    column_blob = &::sqlite3_column_blob;
    column_bytes = &::sqlite3_column_bytes;
    column_count = &::sqlite3_column_count;
    column_double = &::sqlite3_column_double;
    column_int = &::sqlite3_column_int;
    column_int64 = &::sqlite3_column_int64;
    column_name = &::sqlite3_column_name;
    column_text = &::sqlite3_column_text;
    column_text16 = &::sqlite3_column_text16;
    column_type = &::sqlite3_column_type;
    column_value = &::sqlite3_column_value;
    exec = &::sqlite3_exec;
    errcode = &::sqlite3_errcode;
    finalize = &::sqlite3_finalize;
    prepare_v2 = &::sqlite3_prepare_v2;
    reset = &::sqlite3_reset;
    errmsg = &::sqlite3_errmsg;
    errmsg16 = &::sqlite3_errmsg16;
    errmsg16_second = &::sqlite3_errmsg16;
    open16 = &::sqlite3_open16;
    step = &::sqlite3_step;
    busy_timeout = &::sqlite3_busy_timeout;
}
