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

function(plant_bug_in_client)
    flash_plant_bug(LIBRARY flash_host_gdb TARGET gdb_client CORPUS gdb_client ${ARGN})
endfunction()

plant_bug_in_client(NAME more_bytes_than_asked_for FILE host/gdb/Client.cpp
    RIGHT "|| piece->size() > wanted" WRONG "|| false" REASON "AddressSanitizer|Assertion")
plant_bug_in_client(NAME packet_that_does_not_fit FILE host/gdb/Client.cpp
    RIGHT "byte == '*' ? 2 : 1" WRONG "byte == '*' ? 1 : 1" REASON "no packet is longer")
plant_bug_in_client(NAME binary_writes_believed FILE host/gdb/Client.cpp
    RIGHT "trial.size())) == trial" WRONG "trial.size())) != std::vector<std::uint8_t>()" REASON "holds what was written")
plant_bug_in_client(NAME lost_and_tried_again FILE host/gdb/Client.cpp
    RIGHT "lostBecause = reason;" WRONG "static_cast<void>(reason);" REASON "nothing is sent when the connection is lost")
plant_bug_in_client(NAME half_a_register FILE host/gdb/ClientControl.cpp
    RIGHT "bytes && bytes->size() == place.lengthBytes" WRONG "bytes" REASON "AddressSanitizer|Assertion")
plant_bug_in_client(NAME asked_while_it_runs FILE host/gdb/GdbProbeRun.cpp
    RIGHT "if (isResumed && !HasStopped(nanoseconds::zero()))" WRONG "if (false)" REASON "nothing is asked while")

function(plant_bug_in_server)
    flash_plant_bug(LIBRARY flash_host_gdb_server TARGET gdb_server CORPUS gdb_server ${ARGN})
endfunction()

plant_bug_in_server(NAME half_a_load_programmed FILE host/gdb/Visit.cpp
    RIGHT "if (!IsPartOfLoad(request))" WRONG "if (false && !IsPartOfLoad(request))" REASON "flash holds what")
plant_bug_in_server(NAME forgotten_block_garbled FILE host/gdb/FlashLoad.cpp
    RIGHT "erased[block] == IsWritten(block)" WRONG "!erased[block] || IsWritten(block)" REASON "flash holds what")
plant_bug_in_server(NAME write_behind_flash FILE host/gdb/FlashLoad.cpp
    RIGHT "address + lengthBytes > content.size()" WRONG "address > content.size()"
    REASON "flash holds what|AddressSanitizer|Assertion")
plant_bug_in_server(NAME flash_written_like_ram FILE host/gdb/VisitMemory.cpp
    RIGHT "address < region.address + region.lengthBytes &&" WRONG "address < region.address &&"
    REASON "flash holds what the finished loads gave")
