# Writes OUTPUT, a source with the commit of the folder SOURCE, "" without one, when that has changed: only then is it
# compiled anew.
execute_process(COMMAND git -C ${SOURCE} describe --always --dirty --exclude=* --abbrev=10
    OUTPUT_VARIABLE commit RESULT_VARIABLE result ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT result EQUAL 0)
    set(commit "")
endif()
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "extern const char kLumoflashCommit[];\nconst char kLumoflashCommit[] = \"${commit}\";\n")
