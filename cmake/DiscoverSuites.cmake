# Read by CTest when it starts: one test per suite of a test program, so that `ctest -R KeepCcfg` finds what it names, and
# a slow program does not hold one core while the other is idle. A process for each single test would take longer than many
# of the tests. The file that includes this one sets: name, program, list (a file that keeps what the program said), and
# properties.
if(NOT EXISTS ${program})
    add_test(${name}_NOT_BUILT ${program})  # fails, because there is nothing to start
    return()
endif()
if(NOT EXISTS ${list} OR ${program} IS_NEWER_THAN ${list})
    execute_process(COMMAND ${program} --gtest_list_tests
        OUTPUT_VARIABLE said RESULT_VARIABLE result ERROR_VARIABLE complaint)
    string(REGEX MATCHALL "(^|\n)[^ \n]+\\.[ \r]*(#[^\n]*)?\n " suites "${said}")
    if(NOT result EQUAL 0 OR NOT suites)
        file(REMOVE ${list})
        message("${program} lists no tests (${result}): ${complaint}")
        add_test(${name}_LISTS_NOTHING ${program}_LISTS_NOTHING)  # fails, because there is nothing to start
        return()
    endif()
    list(TRANSFORM suites REPLACE "^\n?([^ ]+)\\..*" "\\1")
    string(REPLACE ";" "\n" suites "${suites}")
    file(WRITE ${list} "${suites}\n")
endif()
file(STRINGS ${list} suites)
foreach(suite IN LISTS suites)
    add_test(${name}.${suite} ${program} --gtest_filter=${suite}.*)
    set_tests_properties(${name}.${suite} PROPERTIES ${properties})
endforeach()
