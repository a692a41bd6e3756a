# Copies one built binary into the package stripped, its debug information into the
# symbols folder, and links the two by name and checksum (.gnu_debuglink), so that a
# crash address from the field can still be read against the shipped file.
# Run as: cmake -DOBJCOPY=... -DINPUT=... -DPACKAGE=... -DSYMBOLS=... -P ShipBinary.cmake
# EPOCH, when given, is the PE time stamp the stripped file gets (objcopy rewrites it).
if(EPOCH)
    set(ENV{SOURCE_DATE_EPOCH} ${EPOCH})
endif()
get_filename_component(name ${INPUT} NAME)
set(debug ${SYMBOLS}/${name}.debug)
set(stripped ${PACKAGE}/${name}.tmp)
execute_process(COMMAND ${OBJCOPY} --only-keep-debug ${INPUT} ${debug}
    COMMAND_ERROR_IS_FATAL ANY)
# objcopy looks for the debug file by the name given, so it runs in the symbols folder.
execute_process(COMMAND ${OBJCOPY} --strip-all --add-gnu-debuglink=${name}.debug ${INPUT}
    ${stripped} WORKING_DIRECTORY ${SYMBOLS} COMMAND_ERROR_IS_FATAL ANY)
file(RENAME ${stripped} ${PACKAGE}/${name})
# Signed last, as shipped; the manifest and the MSI take the signed file.
set(FILE ${PACKAGE}/${name})
include(${CMAKE_CURRENT_LIST_DIR}/../release/Sign.cmake)
