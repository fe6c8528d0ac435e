# Which sources these are: `flash_sources(FOLDER COMMIT TIME)` sets the variable COMMIT to ten digits, with "-dirty" behind
# them when files have changed since, and TIME to the commit's second. A source archive has both in a file; both are empty for
# sources without a history.
function(flash_sources FOLDER COMMIT TIME)
    file(STRINGS ${FOLDER}/cmake/archive.txt archived LIMIT_COUNT 2)
    list(GET archived 0 commit)
    list(GET archived 1 time)
    if(commit MATCHES "Format")  # not filled in: no archive made this folder
        execute_process(COMMAND git -C ${FOLDER} describe --always --dirty --exclude=* --abbrev=10
            OUTPUT_VARIABLE commit ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
        execute_process(COMMAND git -C ${FOLDER} log -1 --format=%ct
            OUTPUT_VARIABLE time ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    else()
        string(SUBSTRING ${commit} 0 10 commit)
    endif()
    set(${COMMIT} "${commit}" PARENT_SCOPE)
    set(${TIME} "${time}" PARENT_SCOPE)
endfunction()
