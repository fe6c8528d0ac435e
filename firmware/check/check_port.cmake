# `flash_add_port_check(NAME SOURCES port model … [INCLUDE folder…])`: a program that runs the checks of this folder on a
# flash port over a model of its controller, on the workstation.
include_guard(GLOBAL)
cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH flashloader)
foreach(name mailbox load commands blank deadline equal locks sums units crc32)
    list(APPEND portCheckSources ${flashloader}/${name}.c)
endforeach()
foreach(name PortCheck ProgrammingChecks MishapChecks check_port)
    list(APPEND portCheckSources ${flashloader}/check/${name}.cpp)
endforeach()
cmake_path(GET flashloader PARENT_PATH top)
set(portCheckTop ${top} CACHE INTERNAL "What the flashloader's includes count from")

# Power is lost by an exception, through functions in C. Optimised, because the model counts each look at a register.
add_library(port_checks OBJECT ${portCheckSources})
set_target_properties(port_checks PROPERTIES UNITY_BUILD OFF)
target_include_directories(port_checks PUBLIC ${portCheckTop})
target_compile_options(port_checks PUBLIC -Wall -Wextra -g -O1 -fexceptions)
target_compile_features(port_checks PUBLIC cxx_std_20 c_std_11)
if(TARGET flash_build_options)
    target_link_libraries(port_checks PUBLIC flash_build_options)
else()
    target_compile_options(port_checks PUBLIC -fsanitize=address,undefined)
    target_link_options(port_checks PUBLIC -fsanitize=address,undefined)
endif()

# `flash_add_port_model(NAME SOURCES model … [INCLUDE folder…])`: the model as a shared library NAME.so, for
# scripts/check-flashloader. Power is lost by an exception of the program that loads it, hence the option.
function(flash_add_port_model NAME)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;INCLUDE")
    add_library(${NAME} MODULE ${ARG_SOURCES})
    target_include_directories(${NAME} PRIVATE ${portCheckTop} ${ARG_INCLUDE})
    target_compile_options(${NAME} PRIVATE -Wall -Wextra -g -O1 -fexceptions)
    target_compile_features(${NAME} PRIVATE c_std_11)
    set_target_properties(${NAME} PROPERTIES PREFIX "")
endfunction()

function(flash_add_port_check NAME)
    cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;INCLUDE")
    add_executable(${NAME} ${ARG_SOURCES})
    target_include_directories(${NAME} PRIVATE ${ARG_INCLUDE})
    target_link_libraries(${NAME} PRIVATE port_checks)
    set_target_properties(${NAME} PROPERTIES LINKER_LANGUAGE CXX UNITY_BUILD OFF)
endfunction()
