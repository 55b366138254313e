# One way to register a test: a Qt Test executable run on the offscreen platform.
# Database tests read AGR_TEST_PG (a postgresql:// URL) and run every case on SQLite and on PostgreSQL.
function(agr_add_test name)
    cmake_parse_arguments(T "" "" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${T_LIBS})
    add_test(NAME ${name} COMMAND ${name} -platform offscreen)
    set_tests_properties(${name} PROPERTIES
        ENVIRONMENT "QT_QPA_PLATFORM=offscreen;AGR_COMPONENT_REGISTRY=${CMAKE_BINARY_DIR}/test-registry-${name}.json"
        TIMEOUT 600)
endfunction()
