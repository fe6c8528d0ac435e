# GoogleTest from Debian's sources, so that it is built with the same compiler and sanitizers as the code under test.
set(googletestSources /usr/src/googletest)
if(NOT EXISTS ${googletestSources}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest's sources are missing: install the Debian package `googletest`")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(${googletestSources} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
# For Windows the library under test is built as it is released, with libFuzzer it is optimized for speed. The tests
# themselves need no optimizer, which would take most of the time.
if(WIN32)
    set(testCodeOptions -O0 -g0 -U_FORTIFY_SOURCE)
elseif(FLASH_FUZZ)
    set(testCodeOptions -O0 -fno-sanitize=fuzzer-no-link)
endif()
foreach(library gtest gtest_main gmock gmock_main)
    target_compile_options(${library} PRIVATE -O0 ${testCodeOptions})
endforeach()

# GoogleTest and what most tests use of the standard library, read once for all test programs. Every target that takes it
# is compiled with the same options.
function(flash_add_test_headers)
    file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/test_headers.cpp CONTENT "")
    add_library(flash_test_headers STATIC EXCLUDE_FROM_ALL ${CMAKE_BINARY_DIR}/test_headers.cpp)
    target_link_libraries(flash_test_headers PRIVATE GTest::gtest GTest::gmock flash_build_options)
    target_precompile_headers(flash_test_headers PRIVATE
        <gmock/gmock.h> <gtest/gtest.h> <algorithm> <array> <cstdint> <cstdio> <cstring> <filesystem> <fstream> <functional>
        <map> <memory> <optional> <random> <set> <span> <sstream> <stdexcept> <string> <string_view> <vector>)
endfunction()

# A test per suite of the program, named PROGRAM.SUITE. Under Wine, where it takes long to start a program, one for all.
function(flash_register_suites NAME)
    set(properties ENVIRONMENT WINEDEBUG=-all TIMEOUT 300)
    if(WIN32)
        add_test(NAME ${NAME} COMMAND ${NAME})
        set_tests_properties(${NAME} PROPERTIES ${properties})
        return()
    endif()
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${NAME}-suites.cmake)
    file(GENERATE OUTPUT ${script} CONTENT "set(name ${NAME})
set(program $<TARGET_FILE:${NAME}>)
set(list ${CMAKE_CURRENT_BINARY_DIR}/${NAME}-suites.txt)
set(properties ${properties})
include(${PROJECT_SOURCE_DIR}/cmake/DiscoverSuites.cmake)
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()

# One test program per folder of tests: `flash_add_tests(NAME folder SOURCES a.cpp … LIBRARIES x …)`.
function(flash_add_tests)
    flash_add_test_program(${ARGN})
    cmake_parse_arguments(ARG "" "NAME" "" ${ARGN})
    flash_register_suites(${ARG_NAME})
endfunction()

# The same, for tests that are registered in another way.
function(flash_add_test_program)
    cmake_parse_arguments(ARG "" "NAME" "SOURCES;LIBRARIES" ${ARGN})
    add_executable(${ARG_NAME} ${ARG_SOURCES})
    target_link_libraries(${ARG_NAME} PRIVATE ${ARG_LIBRARIES} GTest::gtest GTest::gmock GTest::gtest_main flash_build_options)
    target_precompile_headers(${ARG_NAME} REUSE_FROM flash_test_headers)
endfunction()

# Sources of tests whose own names others of the program have, too: they are compiled by themselves.
macro(flash_compile_alone)
    set_source_files_properties(${ARGN} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
endmacro()

# A module that hosts could load, of the sources given and, for the rest, of the plug-in's own library:
# `flash_add_module(TARGET source…)`.
function(flash_add_module TARGET)
    add_library(${TARGET} MODULE ${ARGN})
    target_link_libraries(${TARGET} PRIVATE flashdevice_core flash_build_options)
    set_target_properties(${TARGET} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()
