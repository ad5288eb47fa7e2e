# add_unit_test(NAME SOURCES file... LINK library... [LABELS label...] [OPTIONS compile-option...]
#               [TIMEOUT seconds] [TIMED filter])
#
# Adds one GoogleTest program and every test in it to CTest, each under a time limit that only a hang reaches: 120 s, or
# TIMEOUT. The tests that the GoogleTest filter TIMED matches get the label "timed" instead of LABELS: they hold only
# where the machine gives them the processor when they need it, as those do in which live streams must lose nothing.
# CTest knows a program as one test where starting it takes longer than a test: in Wine, and with AddressSanitizer
# unless it has a label.
function(add_unit_test NAME)
    cmake_parse_arguments(PARSE_ARGV 1 TEST "" "TIMEOUT;TIMED" "SOURCES;LINK;LABELS;OPTIONS")
    if(NOT TEST_TIMEOUT)
        set(TEST_TIMEOUT 120)
    endif()
    add_executable(${NAME} ${TEST_SOURCES})
    target_link_libraries(${NAME} PRIVATE project_settings ${TEST_LINK} GTest::gmock Threads::Threads)
    target_compile_options(${NAME} PRIVATE ${TEST_OPTIONS})

    set(arguments DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${TEST_TIMEOUT} LABELS)
    set(others "*")
    if(TEST_TIMED AND NOT WIN32)
        gtest_discover_tests(${NAME} TEST_FILTER "${TEST_TIMED}" ${arguments} timed)
        set(others "-${TEST_TIMED}")
    endif()
    if(others STREQUAL "-*")
        return()
    endif()
    if(WIN32 OR (CMAKE_CXX_FLAGS MATCHES "-fsanitize=address" AND NOT TEST_LABELS))
        add_test(NAME ${NAME} COMMAND ${NAME} "--gtest_filter=${others}")
        math(EXPR TEST_TIMEOUT "5 * ${TEST_TIMEOUT}") # of all its tests
        set_tests_properties(${NAME} PROPERTIES TIMEOUT ${TEST_TIMEOUT} LABELS "${TEST_LABELS}")
    else()
        gtest_discover_tests(${NAME} TEST_FILTER "${others}" ${arguments} "${TEST_LABELS}")
    endif()
endfunction()
