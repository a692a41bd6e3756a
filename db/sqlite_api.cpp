#include "db/sqlite_api.h"

#include <stdexcept>

#include "sys/library_loader.h"
#include "sys/process_sys.h"

namespace {

template <class Function>
void Resolve(HMODULE module, const char* name, Function& function) {
    function = module != nullptr
                   ? reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)))
                   : nullptr;
}

}  // namespace

// By full path: the copy shipped beside this program, not one found through a search.
SqliteApi::SqliteApi()
    : SqliteApi(process_sys::FolderOf(process_sys::GetModulePath()) + L"\\sqlite3.dll") {}

SqliteApi::SqliteApi(const std::wstring& library) { Bind(library); }

SqliteApi::~SqliteApi() = default;

void SqliteApi::Bind(const std::wstring& library) {
    auto loader = std::make_shared<CLibraryLoader>();
    HMODULE module = loader->Load(library);
    library_ = loader;
    Resolve(module, "sqlite3_bind_blob", bind_blob);
    Resolve(module, "sqlite3_clear_bindings", clear_bindings);
    Resolve(module, "sqlite3_bind_double", bind_double);
    Resolve(module, "sqlite3_bind_int", bind_int);
    Resolve(module, "sqlite3_bind_int64", bind_int64);
    Resolve(module, "sqlite3_bind_text", bind_text);
    Resolve(module, "sqlite3_bind_text16", bind_text16);
    Resolve(module, "sqlite3_bind_null", bind_null);
    Resolve(module, "sqlite3_close_v2", close_v2);
    Resolve(module, "sqlite3_column_blob", column_blob);
    Resolve(module, "sqlite3_column_bytes", column_bytes);
    Resolve(module, "sqlite3_column_count", column_count);
    Resolve(module, "sqlite3_column_double", column_double);
    Resolve(module, "sqlite3_column_int", column_int);
    Resolve(module, "sqlite3_column_int64", column_int64);
    Resolve(module, "sqlite3_column_name", column_name);
    Resolve(module, "sqlite3_column_text", column_text);
    Resolve(module, "sqlite3_column_text16", column_text16);
    Resolve(module, "sqlite3_column_type", column_type);
    Resolve(module, "sqlite3_column_value", column_value);
    Resolve(module, "sqlite3_exec", exec);
    Resolve(module, "sqlite3_errcode", errcode);
    Resolve(module, "sqlite3_finalize", finalize);
    Resolve(module, "sqlite3_prepare_v2", prepare_v2);
    Resolve(module, "sqlite3_reset", reset);
    Resolve(module, "sqlite3_errmsg", errmsg);
    Resolve(module, "sqlite3_errmsg16", errmsg16);
    Resolve(module, "sqlite3_errmsg16", errmsg16_second);
    Resolve(module, "sqlite3_open16", open16);
    Resolve(module, "sqlite3_step", step);
    Resolve(module, "sqlite3_busy_timeout", busy_timeout);

    // A library without the wide-text binder is accepted; the mapper then binds UTF-8.
    const bool complete =
        bind_blob && clear_bindings && bind_double && bind_int && bind_int64 && bind_text &&
        bind_null && close_v2 && column_blob && column_bytes && column_count && column_double &&
        column_int && column_int64 && column_name && column_text && column_text16 &&
        column_type && column_value && exec && errcode && finalize && prepare_v2 && reset &&
        errmsg && errmsg16 && errmsg16_second && open16 && step && busy_timeout;
    if (!complete) {
        throw std::runtime_error("Failed to resolve some sqlite3 function from dynamic library");
    }
}
