# One small mistake in the reading of the command line each, which the fuzzer must find.
include(${PROJECT_SOURCE_DIR}/tests/fuzz/PlantBug.cmake)

function(plant_bug_in_command_line)
    flash_plant_bug(LIBRARY lumoflash_app TARGET command_line
        CORPUS command_line ${ARGN})
    cmake_parse_arguments(ARG "" "NAME" "" ${ARGN})
    target_link_libraries(planted_${ARG_NAME} PRIVATE flash_host_backends)  # the application leaves the choice to who links it
endfunction()

plant_bug_in_command_line(NAME rest_behind_an_address FILE host/Numbers.cpp
    RIGHT "error == std::errc() && end == last" WRONG "error == std::errc()"
    REASON "both readers accept the same command lines|an accepted number is the one|an accepted range is the one")
plant_bug_in_command_line(NAME first_sector_forgotten FILE apps/lumoflash/RawOptions.cpp
    RIGHT "raw.erase.substr(kListedSectors.size())" WRONG "raw.erase.substr(kListedSectors.size() + 1)"
    REASON "same options|out_of_range|a refusal is a Failure")
plant_bug_in_command_line(NAME flag_always_on FILE apps/lumoflash/TomlFile.cpp
    RIGHT "*isOn ? \"true\" : \"false\"" WRONG "*isOn ? \"true\" : \"true\""
    REASON "a configuration file gives the same options")
plant_bug_in_command_line(NAME path_from_elsewhere FILE apps/lumoflash/Config.cpp
    RIGHT "\"devices\", \"data\"" WRONG "\"devices\""
    REASON "a configuration file gives the same options")
plant_bug_in_command_line(NAME loud_and_quiet FILE apps/lumoflash/RawOptions.cpp
    RIGHT "options.isJson && options.isQuiet" WRONG "options.isJson && options.isQuiet && options.isVerbose"
    REASON "both readers accept the same command lines")
# One input, short enough for this, has a hash in upper case.
flash_plant_bug(NAME hash_as_it_is_typed LIBRARY lumoflash_app TARGET job_file CORPUS job_file FILE apps/lumoflash/JobFile.cpp
    RIGHT "char(digit + 32)" WRONG "digit" REASON "a hash is 64 digits in lower case")
target_link_libraries(planted_hash_as_it_is_typed PRIVATE flash_host_backends)
