# The sources that call no system function, per layer. The Windows build puts them into
# the layers' libraries; the host build (tests/host) compiles them for Linux with
# sanitizers and the fuzzers. A file listed here must not include windows.h.
set(HOLLIN_PURE_SYS
    sys/command_line.cpp
    sys/ini_document.cpp
    sys/owner_rule.cpp
    sys/text_sys.cpp)
set(HOLLIN_PURE_DB
    db/table_mapper.cpp)
set(HOLLIN_PURE_SETUP
    setup/auth/invite_answer.cpp
    setup/base64.cpp
    setup/command_line_options.cpp
    setup/config/agent_config_document.cpp
    setup/config/certificate.cpp
    setup/config/proxy_envelope.cpp
    setup/exit_codes.cpp
    setup/install/download_trust.cpp
    setup/install/package_manifest.cpp
    setup/run_record.cpp
    setup/uninstall/farewell_arguments.cpp
    setup/uninstall/policy_database.cpp)
# Their tests, run by both builds, and what those tests need besides them.
set(HOLLIN_PURE_TESTS
    tests/pure/command_line_test.cpp
    tests/pure/config_text_test.cpp
    tests/pure/database_test.cpp
    tests/pure/run_end_test.cpp
    tests/pure/text_test.cpp)
set(HOLLIN_PURE_TEST_SUPPORT
    tests/support/sealing.cpp)
