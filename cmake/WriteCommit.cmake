# Writes OUTPUT, a source with the commit of the folder SOURCE, "" without one, when that has changed: only then is it
# compiled anew.
include(${CMAKE_CURRENT_LIST_DIR}/Sources.cmake)
flash_sources(${SOURCE} commit time)
file(CONFIGURE OUTPUT ${OUTPUT} CONTENT "extern const char kLumoflashCommit[];\nconst char kLumoflashCommit[] = \"${commit}\";\n")
