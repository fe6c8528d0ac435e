# One small mistake in the flashloader each, which the fuzzer must find.
include(${PROJECT_SOURCE_DIR}/tests/fuzz/PlantBug.cmake)

function(plant_bug_in_flashloader)
    flash_plant_bug(LIBRARY flashloader_core TARGET flashloader ${ARGN})
endfunction()

plant_bug_in_flashloader(NAME forgotten_erase FILE firmware/commands.c
    RIGHT "|= 1u << (sectorIndex % 32)" WRONG "= 1u << (sectorIndex % 32)"
    REASON "both flashloaders")
plant_bug_in_flashloader(NAME length_that_wraps FILE firmware/commands.c
    RIGHT "length <= flashBytes - address" WRONG "address + length <= flashBytes"
    REASON "both flashloaders")
plant_bug_in_flashloader(NAME old_bytes_behind_the_chunk CORPUS flashloader FILE firmware/commands.c
    RIGHT "FirstProgrammed(sliceEnd, sectorEnd) == sectorEnd" WRONG "sliceEnd <= sectorEnd"
    REASON "both flashloaders")
plant_bug_in_flashloader(NAME part_of_a_word_in_a_run FILE firmware/units.c
    RIGHT "FirstProgrammed(unitAddress, end)) - unitAddress) / UnitBytes()"
    WRONG "FirstProgrammed(unitAddress, end)) - unitAddress + 3) / UnitBytes()"
    REASON "both flashloaders|a run lies in one sector")
plant_bug_in_flashloader(NAME chunk_longer_than_a_buffer FILE firmware/commands.c
    RIGHT "block->length > state->workspace->sectorBytes" WRONG "block->length > 2 * state->workspace->sectorBytes"
    REASON "both flashloaders|heap-buffer-overflow on address")
plant_bug_in_flashloader(NAME same_block_after_a_failure FILE firmware/mailbox.c
    RIGHT "g_currBuf = current ^ 1u" WRONG "g_currBuf = current ^ (status == kStatusSuccess)"
    REASON "the blocks are taken in turn")
plant_bug_in_flashloader(NAME verified_buffer CORPUS flashloader FILE firmware/commands.c
    RIGHT "Crc32(FlashPortBytes() + chunk->address, chunk->length)" WRONG "Crc32(chunk->data, chunk->length)"
    REASON "both flashloaders answer with the same status")
plant_bug_in_flashloader(NAME open_debug_port FILE firmware/locks.c
    RIGHT "i < traits->lockCount && fsmStatus == kFsmSuccess" WRONG "i + 1 < traits->lockCount && fsmStatus == kFsmSuccess"
    REASON "both flashloaders")
