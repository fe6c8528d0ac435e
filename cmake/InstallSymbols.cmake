# Puts the symbols of `program` below `root`, where debuggers look for them by the file's build identifier.
execute_process(COMMAND ${readelf} --notes ${program} OUTPUT_VARIABLE notes COMMAND_ERROR_IS_FATAL ANY)
if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
    message(FATAL_ERROR "${program} has no build identifier")
endif()
set(folder ${root}/lib/debug/.build-id/${CMAKE_MATCH_1})
file(MAKE_DIRECTORY ${folder})
execute_process(COMMAND ${objcopy} --only-keep-debug --compress-debug-sections ${program} ${folder}/${CMAKE_MATCH_2}.debug
    COMMAND_ERROR_IS_FATAL ANY)
file(CHMOD ${folder}/${CMAKE_MATCH_2}.debug PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
