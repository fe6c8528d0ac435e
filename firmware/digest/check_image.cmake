# Prints how many bytes the routine takes, loaded and in all, and how much of its stack is used at most, and fails when
# something does not fit. There is no recursion and no call through a pointer, so the sum over all functions bounds the
# stack.
cmake_minimum_required(VERSION 3.25)

execute_process(COMMAND ${NM} ${IMAGE} OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)

function(read_symbol name outValue)
    if(NOT symbols MATCHES "([0-9a-f]+) [A-Za-z] ${name}\n")
        message(FATAL_ERROR "${IMAGE} has no symbol ${name}")
    endif()
    math(EXPR value "0x${CMAKE_MATCH_1}")
    set(${outValue} ${value} PARENT_SCOPE)
endfunction()

foreach(name DigestISR FaultISR g_exchange g_digests)
    read_symbol(${name} ignored)
endforeach()
read_symbol(g_loadedBytes loaded)
read_symbol(g_sramUsed sramUsed)
read_symbol(g_stackBytes stackBytes)

set(stackUsed 32)  # the frame that the core pushes on a fault
foreach(object IN LISTS OBJECTS)
    string(REGEX REPLACE "\\.o$" ".su" usageFile ${object})
    file(STRINGS ${usageFile} lines)
    foreach(line IN LISTS lines)
        if(NOT line MATCHES "\t([0-9]+)\tstatic$")
            message(FATAL_ERROR "Stack use has no bound: ${line}")
        endif()
        math(EXPR stackUsed "${stackUsed} + ${CMAKE_MATCH_1}")
    endforeach()
endforeach()

message("digest.elf: ${loaded} bytes loaded, ${sramUsed} of ${BUDGET} bytes of SRAM; "
    "stack at most ${stackUsed} of ${stackBytes} bytes")
if(sramUsed GREATER BUDGET OR stackUsed GREATER stackBytes)
    file(REMOVE ${IMAGE})
    message(FATAL_ERROR "digest.elf does not fit")
endif()
