# Fuzz targets. With FLASH_FUZZ (preset `clang`) each is a libFuzzer program; without it each is a replay driver, so that a
# test run on every compiler feeds every file of the corpus to it. Corpus: tests/fuzz/corpus/NAME, in both cases.
if(FLASH_FUZZ AND NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "FLASH_FUZZ needs Clang: use the preset `clang`")
endif()

add_custom_target(fuzz_targets)  # all of them

# `flash_add_fuzz_target(NAME intel_hex SOURCES a.cpp … LIBRARIES x …)`: program fuzz_NAME, test fuzz_NAME.
# MUTATOR names a source that only libFuzzer wants,
# HEADERS_FROM the library whose precompiled headers are those of the target, if not `host_files`.
function(flash_add_fuzz_target)
    cmake_parse_arguments(ARG "" "NAME;MUTATOR;HEADERS_FROM" "SOURCES;LIBRARIES" ${ARGN})
    set(target fuzz_${ARG_NAME})
    if(NOT ARG_HEADERS_FROM)
        set(ARG_HEADERS_FROM host_files)
    endif()
    set(corpus ${PROJECT_SOURCE_DIR}/tests/fuzz/corpus/${ARG_NAME})
    add_executable(${target} ${ARG_SOURCES})
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz-targets)
    add_dependencies(fuzz_targets ${target})
    target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES} flash_build_options)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    if(FLASH_FUZZ)
        flash_precompile_headers(${target} REUSE_FROM ${ARG_HEADERS_FROM})
        target_sources(${target} PRIVATE ${ARG_MUTATOR})
        target_link_options(${target} PRIVATE -fsanitize=fuzzer)
        add_test(NAME ${target} COMMAND ${target} -runs=0 -entropic=0 ${corpus})
    else()
        target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests/fuzz/ReplayMain.cpp)
        add_test(NAME ${target} COMMAND ${target} ${corpus})
    endif()
    set_tests_properties(${target} PROPERTIES ENVIRONMENT "WINEDEBUG=-all" TIMEOUT 300)
endfunction()
