# Imported targets for the Windows builds of the third-party libraries, made
# by scripts/bootstrap.sh into a cache outside the checkout.
set(HOLLIN_DEPS_FILE "$ENV{HOME}/.cache/hollin-setup-deps/deps.cmake" CACHE FILEPATH
    "File written by scripts/bootstrap.sh that names the dependency folders")
if(NOT EXISTS "${HOLLIN_DEPS_FILE}")
    message(FATAL_ERROR "${HOLLIN_DEPS_FILE} not found: run scripts/bootstrap.sh first")
endif()
include("${HOLLIN_DEPS_FILE}")

add_library(hollin_crypto STATIC IMPORTED GLOBAL)
set_target_properties(hollin_crypto PROPERTIES
    IMPORTED_LOCATION "${HOLLIN_OPENSSL_ROOT}/lib/libcrypto.a"
    INTERFACE_INCLUDE_DIRECTORIES "${HOLLIN_OPENSSL_ROOT}/include"
    INTERFACE_LINK_LIBRARIES "ws2_32;crypt32;bcrypt")

add_library(hollin_jsoncpp STATIC IMPORTED GLOBAL)
set_target_properties(hollin_jsoncpp PROPERTIES
    IMPORTED_LOCATION "${HOLLIN_JSONCPP_ROOT}/lib/libjsoncpp.a"
    INTERFACE_INCLUDE_DIRECTORIES "${HOLLIN_JSONCPP_ROOT}/include")

# SQLite is loaded at run time by file name; the build only ships the DLL.
set(HOLLIN_SQLITE_DLL "${HOLLIN_SQLITE_ROOT}/bin/sqlite3.dll")
set(HOLLIN_SQLITE_INCLUDE "${HOLLIN_SQLITE_ROOT}/include")

add_library(hollin_gtest STATIC IMPORTED GLOBAL)
set_target_properties(hollin_gtest PROPERTIES
    IMPORTED_LOCATION "${HOLLIN_GTEST_ROOT}/lib/libgtest.a"
    INTERFACE_INCLUDE_DIRECTORIES "${HOLLIN_GTEST_ROOT}/include")
add_library(hollin_gtest_main STATIC IMPORTED GLOBAL)
set_target_properties(hollin_gtest_main PROPERTIES
    IMPORTED_LOCATION "${HOLLIN_GTEST_ROOT}/lib/libgtest_main.a"
    INTERFACE_LINK_LIBRARIES hollin_gtest)
add_library(hollin_gmock STATIC IMPORTED GLOBAL)
set_target_properties(hollin_gmock PROPERTIES
    IMPORTED_LOCATION "${HOLLIN_GTEST_ROOT}/lib/libgmock.a"
    INTERFACE_LINK_LIBRARIES hollin_gtest)
