# Delay-import libraries for the system libraries that are not among the system's
# KnownDLLs. Imported the ordinary way, such a library is mapped before wWinMain runs, and
# the loader looks for it first in the folder of setup.exe, where anyone can put a file of
# that name beside a downloaded setup. Delay-loaded, it is loaded on its first call, after
# wWinMain has restricted the search to the system folder. The delay-load helper
# (__delayLoadHelper2) comes from the mingw-w64 runtime (libmingwex).
find_program(HOLLIN_DLLTOOL ${TOOLCHAIN_PREFIX}-dlltool REQUIRED)
find_program(HOLLIN_NM ${TOOLCHAIN_PREFIX}-nm REQUIRED)

# Makes the imported target hollin_delay_<name>: the functions of the toolchain's import
# library lib<name>.a, bound on first call. Made at configure time: the import libraries
# belong to the toolchain and do not change with the sources.
function(hollin_delay_import name)
    find_library(HOLLIN_IMPORT_LIB_${name} NAMES lib${name}.a REQUIRED NO_CACHE)
    set(folder ${CMAKE_BINARY_DIR}/delayimp)
    set(def ${folder}/${name}.def)
    set(library ${folder}/lib${name}_delay.a)
    file(MAKE_DIRECTORY ${folder})
    execute_process(COMMAND ${HOLLIN_NM} -g ${HOLLIN_IMPORT_LIB_${name}}
        OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
    # A function has a thunk ("T name") beside its import slot ("I __imp_name"); members
    # that are not imports at all have no slot and stay out.
    string(REGEX MATCHALL "I __imp_[A-Za-z0-9_@?$]+" slots "${symbols}")
    set(exports "")
    foreach(slot IN LISTS slots)
        string(SUBSTRING "${slot}" 8 -1 function)
        if(symbols MATCHES "T ${function}\n")
            string(APPEND exports "    ${function}\n")
        endif()
    endforeach()
    if(exports STREQUAL "")
        message(FATAL_ERROR "no functions found in ${HOLLIN_IMPORT_LIB_${name}}")
    endif()
    # Made again only when the functions change, so that configuring relinks nothing.
    set(content "; made in its folder: dlltool names symbols after the library's path\nLIBRARY ${name}.dll\nEXPORTS\n${exports}")
    set(previous "")
    if(EXISTS ${def})
        file(READ ${def} previous)
    endif()
    if(NOT previous STREQUAL content OR NOT EXISTS ${library})
        file(WRITE ${def} "${content}")
        # A relative path, so that the symbols name no build folder (reproducible builds).
        execute_process(COMMAND ${HOLLIN_DLLTOOL} --input-def ${name}.def --dllname ${name}.dll
            --output-delaylib lib${name}_delay.a WORKING_DIRECTORY ${folder}
            COMMAND_ERROR_IS_FATAL ANY)
    endif()
    add_library(hollin_delay_${name} STATIC IMPORTED GLOBAL)
    set_target_properties(hollin_delay_${name} PROPERTIES IMPORTED_LOCATION ${library})
endfunction()
