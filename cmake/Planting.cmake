# `flash_plant_source(OUTPUT FILE RIGHT WRONG)`: a copy of FILE, named from the top folder, in which the text RIGHT, which
# must stand there once, is WRONG; OUTPUT becomes the copy's path. Compiled before the library that has FILE, it takes its
# place there: a check that is worth its name fails then.
function(flash_plant_source OUTPUT FILE RIGHT WRONG)
    set(original ${PROJECT_SOURCE_DIR}/${FILE})
    cmake_path(GET FILE STEM LAST_ONLY name)
    cmake_path(GET FILE EXTENSION LAST_ONLY extension)
    string(MD5 number "${FILE}${RIGHT}${WRONG}")
    string(SUBSTRING ${number} 0 8 number)
    set(planted ${CMAKE_CURRENT_BINARY_DIR}/planted/${name}-${number}${extension})
    # The text travels through Python: a CMake list would take the brackets and semicolons of C++ for its own.
    execute_process(COMMAND python3 ${PROJECT_SOURCE_DIR}/cmake/plant_bug.py ${original} ${planted} "${RIGHT}" "${WRONG}"
        COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${original})
    set(${OUTPUT} ${planted} PARENT_SCOPE)
endfunction()
