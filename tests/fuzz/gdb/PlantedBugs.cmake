# One small mistake in the remote protocol each, which the fuzzer must find.
include(${PROJECT_SOURCE_DIR}/tests/fuzz/PlantBug.cmake)

function(plant_bug_in_framing)
    flash_plant_bug(LIBRARY host_gdb TARGET gdb_framing CORPUS gdb_framing FILE host/gdb/Framing.cpp ${ARGN})
endfunction()

plant_bug_in_framing(NAME run_one_too_long RIGHT "byte - kCountBias)" WRONG "byte - kCountBias + 1)"
    REASON "the second reader|arrive as they were")
plant_bug_in_framing(NAME forgotten_escape RIGHT "character == kEscape || character == kRun" WRONG "character == kEscape"
    REASON "arrives as it was sent")
plant_bug_in_framing(NAME count_that_ends_a_packet RIGHT "return count == kEnd ||" WRONG "return"
    REASON "arrive as they were")
plant_bug_in_framing(NAME packet_without_a_bound RIGHT "times > maxBytes - payload.size()" WRONG "times > maxBytes"
    REASON "no payload is longer than allowed|the second reader")
plant_bug_in_framing(NAME run_of_nothing RIGHT "isDamaged |= payload.empty()" WRONG "isDamaged |= false"
    REASON "the second reader|basic_string.*Assertion")
