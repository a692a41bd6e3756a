/* A stand-in SQLite library with every export the binding resolves but one: the one named
 * by OMIT_BIND_TEXT16 or OMIT_BUSY_TIMEOUT. For the binding's completeness rule; none of its
 * functions is called. */
#define STUB(name) __declspec(dllexport) int name(void) { return 0; }

STUB(sqlite3_bind_blob)
STUB(sqlite3_clear_bindings)
STUB(sqlite3_bind_double)
STUB(sqlite3_bind_int)
STUB(sqlite3_bind_int64)
STUB(sqlite3_bind_text)
#ifndef OMIT_BIND_TEXT16
STUB(sqlite3_bind_text16)
#endif
STUB(sqlite3_bind_null)
STUB(sqlite3_close_v2)
STUB(sqlite3_column_blob)
STUB(sqlite3_column_bytes)
STUB(sqlite3_column_count)
STUB(sqlite3_column_double)
STUB(sqlite3_column_int)
STUB(sqlite3_column_int64)
STUB(sqlite3_column_name)
STUB(sqlite3_column_text)
STUB(sqlite3_column_text16)
STUB(sqlite3_column_type)
STUB(sqlite3_column_value)
STUB(sqlite3_exec)
STUB(sqlite3_errcode)
STUB(sqlite3_finalize)
STUB(sqlite3_prepare_v2)
STUB(sqlite3_reset)
STUB(sqlite3_errmsg)
STUB(sqlite3_errmsg16)
STUB(sqlite3_open16)
STUB(sqlite3_step)
#ifndef OMIT_BUSY_TIMEOUT
STUB(sqlite3_busy_timeout)
#endif
