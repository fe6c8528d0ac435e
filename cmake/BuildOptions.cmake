# What every target of this project is compiled with. Link `flash_build_options` PRIVATE; nothing is set globally.
add_library(flash_build_options INTERFACE)
target_compile_features(flash_build_options INTERFACE cxx_std_20 c_std_11)

target_compile_options(flash_build_options INTERFACE
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wcast-qual -Wpointer-arith
    $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual -Wextra-semi -Wzero-as-null-pointer-constant>
    # A build names no folder of the machine that made it, so two builds of one commit are the same to the bit.
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}=. -ffile-prefix-map=${CMAKE_BINARY_DIR}=build)

# Hardening, where the toolchain has it.
target_compile_options(flash_build_options INTERFACE -fstack-protector-strong)
target_compile_definitions(flash_build_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:_GLIBCXX_ASSERTIONS>
    $<$<AND:$<NOT:$<BOOL:${FLASH_SANITIZE}>>,$<NOT:$<CONFIG:Debug>>>:_FORTIFY_SOURCE=2>)
if(WIN32)
    target_link_options(flash_build_options INTERFACE
        -static -fstack-protector-strong -Wl,--dynamicbase,--nxcompat,--high-entropy-va,--no-insert-timestamp)
else()
    target_link_options(flash_build_options INTERFACE -Wl,-z,relro,-z,now,-z,noexecstack,-z,text,--build-id=sha1)
endif()

if(FLASH_SANITIZE)
    set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        list(APPEND sanitizers -fsanitize-ignorelist=${CMAKE_CURRENT_LIST_DIR}/sanitizer_ignorelist.txt)
    endif()
    target_compile_options(flash_build_options INTERFACE ${sanitizers})
    target_link_options(flash_build_options INTERFACE ${sanitizers})
endif()
if(FLASH_SANITIZE_THREADS)
    target_compile_options(flash_build_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
    target_link_options(flash_build_options INTERFACE -fsanitize=thread)
endif()
if(FLASH_COVERAGE)
    if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        message(FATAL_ERROR "FLASH_COVERAGE needs Clang: use the preset `coverage`")
    endif()
    target_compile_options(flash_build_options INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(flash_build_options INTERFACE -fprofile-instr-generate)
endif()

# What most sources read of the standard library, and more where a library says so, parsed once for each library that asks.
# Only where each source is an object of its own, and with Clang, which builds all that there is for the tests; what is
# released is compiled by GCC without it. REUSE_FROM names a library that is compiled with the same options.
function(flash_precompile_headers TARGET)
    cmake_parse_arguments(ARG "" "REUSE_FROM" "ALSO" ${ARGN})
    if(CMAKE_UNITY_BUILD OR NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
        return()
    endif()
    if(ARG_REUSE_FROM)
        target_precompile_headers(${TARGET} REUSE_FROM ${ARG_REUSE_FROM})
        return()
    endif()
    target_precompile_headers(${TARGET} PRIVATE
        <algorithm> <array> <chrono> <cstdint> <cstring> <filesystem> <fstream> <functional> <map> <memory> <optional> <set>
        <span> <sstream> <stdexcept> <string> <string_view> <utility> <vector> ${ARG_ALSO})
endfunction()
