# Variants of the fuzz targets whose plug-in has one bug. Each test passes when the fuzzer finds it within
# 200 000 runs.
# A parser's target starts from nothing, that of the interface from its corpus.
# `plant_bug(NAME x CORPUS y SOURCES … FILE of the plug-in, RIGHT text that becomes the WRONG one,
# REASON that the finding must give)`.
function(plant_bug)
    cmake_parse_arguments(ARG "" "NAME;FILE;RIGHT;WRONG;CORPUS;REASON" "SOURCES" ${ARGN})
    set(target planted_${ARG_NAME})
    set(corpus)
    if(ARG_CORPUS)
        # What the fuzzer finds new goes to the first folder: never into the sources.
        set(corpus ${CMAKE_CURRENT_BINARY_DIR}/${target}-corpus ${PROJECT_SOURCE_DIR}/fuzz/corpus/${ARG_CORPUS})
        file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/${target}-corpus)
    endif()
    set(original ${PROJECT_SOURCE_DIR}/flashdevice/${ARG_FILE})
    set(planted ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    # The text travels through Python: a CMake list would take the brackets and semicolons of C++ for its own.
    execute_process(COMMAND python3 ${CMAKE_CURRENT_SOURCE_DIR}/plant_bug.py ${original} ${planted} ${ARG_RIGHT} ${ARG_WRONG}
        COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${original})
    # Its symbols come before those of the library, so that the library's own file is left out.
    add_executable(${target} ${ARG_SOURCES} ${planted})
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR})
    target_link_libraries(${target} PRIVATE flashdevice_core flash_build_options)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
    add_dependencies(fuzz_targets ${target})
    add_test(NAME fuzz_${target} COMMAND ${target} -runs=200000 -max_len=512 -seed=1 -artifact_prefix=${target}-
        ${corpus})
    set_tests_properties(fuzz_${target} PROPERTIES TIMEOUT 300
        PASS_REGULAR_EXPRESSION ${ARG_REASON})
endfunction()

plant_bug(NAME page_behind_the_last SOURCES FuzzPageList.cpp FILE programming/PageList.cpp
    RIGHT "span.last >= pages.size()" WRONG "span.last > pages.size()"
    REASON "both readers find the same pages|AddressSanitizer|bit_vector|runtime error")
plant_bug(NAME return_is_no_blank SOURCES FuzzNumberText.cpp FILE device/NumberText.cpp
    RIGHT "character <= '\\r'" WRONG "character < '\\r'"
    REASON "as the C")
plant_bug(NAME three_digits_of_a_byte SOURCES FuzzMacText.cpp FILE device/FlashUtil.cpp
    RIGHT "pieces[i].size() > 2" WRONG "pieces[i].size() > 3"
    REASON "both readers find the same address")
plant_bug(NAME short_fill_value SOURCES FuzzFillValue.cpp FILE programming/FillValue.cpp
    RIGHT "text.size() != kHexLength" WRONG "text.size() > kHexLength"
    REASON "both readers find the same fill value")
plant_bug(NAME byte_behind_the_sector CORPUS interface_calls SOURCES FuzzInterfaceCalls.cpp FuzzHost.cpp
    FILE operations/CcfgChanges.cpp RIGHT "index >= image.size()" WRONG "index > image.size()"
    REASON "Assertion|heap-buffer-overflow")
plant_bug(NAME ignored_pause CORPUS interface_calls SOURCES FuzzInterfaceCalls.cpp FuzzHost.cpp
    FILE flashloader/CommandMailbox.cpp RIGHT "ThrowIfError(Host().WaitMilliseconds(kPollIntervalMilliseconds));"
    WRONG "Host().WaitMilliseconds(kPollIntervalMilliseconds);"
    REASON "an operation fails when a host call failed|an error tells what the host said")
