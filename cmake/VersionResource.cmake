# Gives an executable a version block; its company name decides the brand. An optional
# fourth argument overrides the version (four dotted numbers).
function(hollin_version_resource target company description)
    if(ARGC GREATER 3)
        set(SETUP_FILE_VERSION "${ARGV3}")
    endif()
    set(SETUP_COMPANY_NAME "${company}")
    set(SETUP_FILE_DESCRIPTION "${description}")
    set(SETUP_INTERNAL_NAME "${target}")
    string(REPLACE "." "," SETUP_FILE_VERSION_COMMAS "${SETUP_FILE_VERSION}")
    set(rc "${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc")
    configure_file("${PROJECT_SOURCE_DIR}/resources/version.rc.in" "${rc}" @ONLY)
    target_sources(${target} PRIVATE "${rc}")
endfunction()
