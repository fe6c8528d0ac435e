# Writes FOLDER/changelog.gz, the page docs/CHANGELOG.md of the folder SOURCE, and FOLDER/changelog.Debian.gz, the same in Debian's
# form for PACKAGE. Every day in it is that of the page, so that the same page gives the same files.
file(READ ${SOURCE}/docs/CHANGELOG.md page)
string(REPLACE ";" "," page "${page}")
string(REGEX REPLACE "\n- " "\n  * " page "${page}")
string(REGEX REPLACE "\n  ([^*])" "\n    \\1" page "${page}")
string(REPLACE "\n## " ";" sections "${page}")
list(POP_FRONT sections)
set(log "")
foreach(section IN LISTS sections)
    if(NOT section MATCHES "^([0-9.]+) \\(([0-9-]+)\\)\n(.*)$")
        message(FATAL_ERROR "CHANGELOG.md: \"## VERSION (YEAR-MONTH-DAY)\" is missing in: ${section}")
    endif()
    set(version ${CMAKE_MATCH_1})
    string(STRIP "${CMAKE_MATCH_3}" changes)
    execute_process(COMMAND env LC_ALL=C date --utc --date=${CMAKE_MATCH_2} --rfc-email
        OUTPUT_VARIABLE day OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    string(APPEND log "${PACKAGE} (${version}-1) unstable; urgency=medium\n\n  ${changes}\n\n"
        " -- The lumo-flash maintainers <maintainers@lumo-flash.example>  ${day}\n\n")
endforeach()
file(WRITE ${FOLDER}/changelog.Debian "${log}")
file(COPY_FILE ${SOURCE}/docs/CHANGELOG.md ${FOLDER}/changelog)
execute_process(COMMAND gzip --no-name --best --force ${FOLDER}/changelog ${FOLDER}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
