/* A stand-in SQLite library with every export the binding resolves but one: the one named
 * by OMIT_<NAME>. For the binding's completeness rule; none of its functions is called. */
#define STUB(name) __declspec(dllexport) int name(void) { return 0; }

#ifndef OMIT_BIND_BLOB
STUB(sqlite3_bind_blob)
#endif
#ifndef OMIT_CLEAR_BINDINGS
STUB(sqlite3_clear_bindings)
#endif
#ifndef OMIT_BIND_DOUBLE
STUB(sqlite3_bind_double)
#endif
#ifndef OMIT_BIND_INT
STUB(sqlite3_bind_int)
#endif
#ifndef OMIT_BIND_INT64
STUB(sqlite3_bind_int64)
#endif
#ifndef OMIT_BIND_TEXT
STUB(sqlite3_bind_text)
#endif
#ifndef OMIT_BIND_TEXT16
STUB(sqlite3_bind_text16)
#endif
#ifndef OMIT_BIND_NULL
STUB(sqlite3_bind_null)
#endif
#ifndef OMIT_CLOSE_V2
STUB(sqlite3_close_v2)
#endif
#ifndef OMIT_COLUMN_BLOB
STUB(sqlite3_column_blob)
#endif
#ifndef OMIT_COLUMN_BYTES
STUB(sqlite3_column_bytes)
#endif
#ifndef OMIT_COLUMN_COUNT
STUB(sqlite3_column_count)
#endif
#ifndef OMIT_COLUMN_DOUBLE
STUB(sqlite3_column_double)
#endif
#ifndef OMIT_COLUMN_INT
STUB(sqlite3_column_int)
#endif
#ifndef OMIT_COLUMN_INT64
STUB(sqlite3_column_int64)
#endif
#ifndef OMIT_COLUMN_NAME
STUB(sqlite3_column_name)
#endif
#ifndef OMIT_COLUMN_TEXT
STUB(sqlite3_column_text)
#endif
#ifndef OMIT_COLUMN_TEXT16
STUB(sqlite3_column_text16)
#endif
#ifndef OMIT_COLUMN_TYPE
STUB(sqlite3_column_type)
#endif
#ifndef OMIT_COLUMN_VALUE
STUB(sqlite3_column_value)
#endif
#ifndef OMIT_EXEC
STUB(sqlite3_exec)
#endif
#ifndef OMIT_ERRCODE
STUB(sqlite3_errcode)
#endif
#ifndef OMIT_FINALIZE
STUB(sqlite3_finalize)
#endif
#ifndef OMIT_PREPARE_V2
STUB(sqlite3_prepare_v2)
#endif
#ifndef OMIT_RESET
STUB(sqlite3_reset)
#endif
#ifndef OMIT_ERRMSG
STUB(sqlite3_errmsg)
#endif
#ifndef OMIT_ERRMSG16
STUB(sqlite3_errmsg16)
#endif
#ifndef OMIT_OPEN16
STUB(sqlite3_open16)
#endif
#ifndef OMIT_STEP
STUB(sqlite3_step)
#endif
#ifndef OMIT_BUSY_TIMEOUT
STUB(sqlite3_busy_timeout)
#endif
