# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later

# For memcheck: "valgrind;-q;--error-exitcode=9;--suppressions=SOURCE/tests/support/valgrind.supp".
# Without leaks, which are LeakSanitizer's to find: memcheck also counts them in a child that could
# not start its program, where the threads that own the memory are gone.
set(KESTRA_TEST_LAUNCHER "" CACHE STRING "Command that runs each test program")

# Tests that wait out time-outs of half a minute and more tell nothing new under a checking tool.
set(KESTRA_SLOW_TESTS ON)
if(KESTRA_SANITIZE OR KESTRA_TEST_LAUNCHER)
    set(KESTRA_SLOW_TESTS OFF)
endif()

set(kestra_test_support_dir ${PROJECT_SOURCE_DIR}/tests/support)
set(kestra_test_environment
    QT_LOGGING_RULES=
    QTEST_FUNCTION_TIMEOUT=1800000
    ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:detect_stack_use_after_return=1
    LSAN_OPTIONS=suppressions=${kestra_test_support_dir}/lsan.supp:print_suppressions=0
    UBSAN_OPTIONS=print_stacktrace=1
)

# kestra_add_test(NAME name SOURCES file... [LABELS label...] [SANDBOX_ARGS arg...] [TIMEOUT s]
#                 [LIBRARIES library...] [DEFINITIONS definition...] [RUN_SERIAL])
#
# Builds a Qt Test program on the support library and has ctest run it in a sandbox of its own with
# a message bus of its own. The label "slow" is for programs that wait out a time-out of 30 s or
# more. Each program should be one ctest test: its functions then share the cost of the sandbox.
function(kestra_add_test)
    cmake_parse_arguments(PARSE_ARGV 0 test "RUN_SERIAL" "NAME;TIMEOUT"
        "SOURCES;LABELS;SANDBOX_ARGS;LIBRARIES;DEFINITIONS")
    if("slow" IN_LIST test_LABELS AND NOT KESTRA_SLOW_TESTS)
        return()
    endif()
    if(NOT test_TIMEOUT)
        set(test_TIMEOUT 300)
    endif()

    add_executable(${test_NAME} ${test_SOURCES})
    target_link_libraries(${test_NAME} PRIVATE kestratest ${test_LIBRARIES})
    target_compile_definitions(${test_NAME} PRIVATE ${test_DEFINITIONS})
    kestra_precompile_as(${test_NAME} testheaders)

    kestra_add_sandboxed_test(NAME ${test_NAME}
        COMMAND ${KESTRA_TEST_LAUNCHER} $<TARGET_FILE:${test_NAME}>
        SANDBOX_ARGS ${test_SANDBOX_ARGS})
    set_tests_properties(${test_NAME} PROPERTIES
        TIMEOUT ${test_TIMEOUT}
        RUN_SERIAL ${test_RUN_SERIAL})
    if("slow" IN_LIST test_LABELS)
        set_tests_properties(${test_NAME} PROPERTIES COST 1000) # start these first
    endif()
    if(test_LABELS)
        set_tests_properties(${test_NAME} PROPERTIES LABELS "${test_LABELS}")
    endif()
endfunction()

# kestra_add_sandboxed_test(NAME name COMMAND command arg... [SANDBOX_ARGS arg...])
#
# Has ctest run any command the same way; it is passed when it exits with 0, skipped with 77.
function(kestra_add_sandboxed_test)
    cmake_parse_arguments(PARSE_ARGV 0 test "" "NAME" "COMMAND;SANDBOX_ARGS")
    add_test(NAME ${test_NAME}
        COMMAND ${PROJECT_SOURCE_DIR}/scripts/sandbox --bus
            --keep ${PROJECT_SOURCE_DIR} --keep ${PROJECT_BINARY_DIR} ${test_SANDBOX_ARGS} --
            ${test_COMMAND})
    set_tests_properties(${test_NAME} PROPERTIES
        ENVIRONMENT "${kestra_test_environment}"
        SKIP_RETURN_CODE 77
        TIMEOUT 300)
endfunction()
