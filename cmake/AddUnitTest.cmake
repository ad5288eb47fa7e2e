# add_unit_test(NAME SOURCES file... LINK library... [LABELS label...] [OPTIONS compile-option...])
#
# Adds one GoogleTest program and every test in it to CTest, each under a time limit that only a hang reaches.
function(add_unit_test NAME)
    cmake_parse_arguments(PARSE_ARGV 1 TEST "" "" "SOURCES;LINK;LABELS;OPTIONS")
    add_executable(${NAME} ${TEST_SOURCES})
    target_link_libraries(${NAME} PRIVATE project_settings ${TEST_LINK} GTest::gmock Threads::Threads)
    target_compile_options(${NAME} PRIVATE ${TEST_OPTIONS})
    gtest_discover_tests(${NAME} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 120 LABELS "${TEST_LABELS}")
endfunction()
