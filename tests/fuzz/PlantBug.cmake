# `flash_plant_bug(NAME x TARGET y, whose objects it takes; LIBRARY z FILE of the LIBRARY, from the top folder; RIGHT text
# in it that becomes the WRONG one; REASON that the finding must give; if wanted CORPUS c, MAX_LENGTH n)`: a variant of a
# fuzz target that has one bug, and a test that passes when the fuzzer finds it within 200 000 runs. Without a corpus it
# starts from nothing; what an earlier run found never counts. SEEDS are files of CORPUS: only
# they are read, and the fuzzer never drops them for others. FLAGS go to libFuzzer.
include(Planting)

function(flash_plant_bug)
    cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME;TARGET;LIBRARY;FILE;RIGHT;WRONG;CORPUS;MAX_LENGTH;REASON" "SEEDS;FLAGS")
    set(target planted_${ARG_NAME})
    if(ARG_CORPUS)
        set(folder ${PROJECT_SOURCE_DIR}/tests/fuzz/corpus/${ARG_CORPUS})
        set(seeds ${ARG_SEEDS})
        list(TRANSFORM seeds PREPEND ${folder}/)
        if(ARG_SEEDS)
            list(APPEND ARG_FLAGS -keep_seed=1)
        else()
            file(GLOB seeds ${folder}/*)  # in the order of their names, which that of a folder need not be
        endif()
        list(JOIN seeds "," seeds)
        set(list ${CMAKE_CURRENT_BINARY_DIR}/${target}.seeds)
        file(CONFIGURE OUTPUT ${list} CONTENT "${seeds}")
        list(APPEND ARG_FLAGS -seed_inputs=@${list})
    endif()
    if(NOT ARG_MAX_LENGTH)
        set(ARG_MAX_LENGTH 512)
    endif()
    flash_plant_source(planted ${ARG_FILE} "${ARG_RIGHT}" "${ARG_WRONG}")
    # Its symbols come before those of the library, so that the library's own file is left out.
    add_executable(${target} $<TARGET_OBJECTS:fuzz_${ARG_TARGET}> ${planted})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} $<TARGET_PROPERTY:${ARG_LIBRARY},INCLUDE_DIRECTORIES>)
    target_compile_definitions(${target} PRIVATE $<TARGET_PROPERTY:${ARG_LIBRARY},COMPILE_DEFINITIONS>)
    target_link_libraries(${target} PRIVATE ${ARG_LIBRARY} flash_build_options)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
    if(ARG_FILE MATCHES "[.]cpp$")
        get_target_property(library fuzz_${ARG_TARGET} PRECOMPILE_HEADERS_REUSE_FROM)
        flash_precompile_headers(${target} REUSE_FROM ${library})
    endif()
    add_dependencies(fuzz_targets ${target})
    flash_add_finding(${target} ${target} ${ARG_REASON} -runs=200000 -max_len=${ARG_MAX_LENGTH} ${ARG_FLAGS})
endfunction()

# `flash_add_finding(NAME PROGRAM REASON argument…)`: a test that passes when the fuzzer gives the reason for an input that
# it then keeps. A program that breaks before it has read an input keeps none, whatever it says.
function(flash_add_finding NAME PROGRAM REASON)
    set(found ${CMAKE_CURRENT_BINARY_DIR}/${NAME}-found)  # never into the sources
    add_test(NAME fuzz_${NAME} COMMAND ${PROJECT_SOURCE_DIR}/tests/fuzz/same_run.sh ${found}
        $<TARGET_FILE:${PROGRAM}> -seed=1 -reload=0 -artifact_prefix=${found}/ ${ARGN} ${found})
    set_tests_properties(fuzz_${NAME} PROPERTIES
        TIMEOUT 300 PASS_REGULAR_EXPRESSION "(${REASON}).*Test unit written to [^ ]*${NAME}-found/")
endfunction()
