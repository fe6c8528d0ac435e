# The sweeps against a plug-in or a flashloader with one bug. Each test passes when the sweep fails with the reason that it
# should give. A sweep of one job is whole, and ends at the first finding.
# `flash_plant_swept_bug(NAME x FILE of the sources, RIGHT text that becomes the WRONG one, JOB test to run, REASON)`.
function(flash_plant_swept_bug)
    cmake_parse_arguments(ARG "" "NAME;FILE;RIGHT;WRONG;JOB;REASON" "" ${ARGN})
    flash_plant_source(planted ${ARG_FILE} "${ARG_RIGHT}" "${ARG_WRONG}")
    if(ARG_FILE MATCHES "^firmware/")
        flash_link_planted_image(planted_${ARG_NAME} ${ARG_FILE} ${planted})
        set(underTest FLASH_TEST_IMAGES=${CMAKE_CURRENT_BINARY_DIR}/planted_${ARG_NAME})
    else()
        add_library(planted_${ARG_NAME} MODULE ${planted} ${PROJECT_SOURCE_DIR}/flashdevice/boundary/CreateFlashDevice2.cpp)
        target_link_libraries(planted_${ARG_NAME} PRIVATE flashdevice_core flash_build_options)
        set_target_properties(planted_${ARG_NAME} PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
        set(underTest FLASH_TEST_MODULE=$<TARGET_FILE:planted_${ARG_NAME}>)
    endif()
    add_dependencies(hardware_faults_tests planted_${ARG_NAME})
    add_test(NAME hardware_faults.planted.${ARG_NAME} COMMAND hardware_faults_tests --gtest_filter=${ARG_JOB})
    set_tests_properties(hardware_faults.planted.${ARG_NAME} PROPERTIES
        ENVIRONMENT "FLASH_SOAK=1;${underTest}" TIMEOUT 300 PASS_REGULAR_EXPRESSION ${ARG_REASON})
endfunction()

# LumoD's image with the planted file instead of the right one, in a folder of the target's name.
function(flash_link_planted_image target file planted)
    set(firmware ${PROJECT_SOURCE_DIR}/firmware)
    set(sources start_up.c mailbox.c commands.c crc32.c port/virtual_chip/flash_port.c variants/lumod.c)
    list(TRANSFORM sources PREPEND ${firmware}/)
    list(TRANSFORM sources REPLACE "^${PROJECT_SOURCE_DIR}/${file}$" ${planted})
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target})
    file(MAKE_DIRECTORY ${folder})
    file(GLOB headers CONFIGURE_DEPENDS ${firmware}/*.h)
    add_custom_command(OUTPUT ${folder}/lumod-flashloader.elf
        COMMAND ${ARM_GCC} -mcpu=cortex-m3 -mthumb -std=c11 -O2 -ffreestanding -fno-tree-loop-distribute-patterns
            -ffunction-sections -fdata-sections -I${PROJECT_SOURCE_DIR} ${sources}
            -nostdlib -Wl,--gc-sections,--build-id=none -L${firmware}/variants -Tlumod.ld
            -o ${folder}/lumod-flashloader.elf
        DEPENDS ${sources} ${headers} ${firmware}/variants/lumod.ld ${firmware}/variants/sections.ld
        VERBATIM)
    add_custom_target(${target} DEPENDS ${folder}/lumod-flashloader.elf)
endfunction()

flash_plant_swept_bug(NAME host_errors_ignored FILE flashdevice/boundary/HostServices.cpp
    RIGHT "if (hostError != nullptr) {" WRONG "if (hostError != nullptr && *hostError == 0) {"
    JOB "*PowerLoss*/LoadOnLumoD" REASON "success was reported for work that was cut")
flash_plant_swept_bug(NAME ccfg_change_erases_all FILE flashdevice/operations/CcfgChanges.cpp
    RIGHT "WriteProperty(kEraseSettingKey, kEraseNecessary);"
    WRONG "WriteProperty(kEraseSettingKey, \"All Unprotected Sectors\");"
    JOB "*PowerLoss*/WriteSecBleOnLumoD" REASON "flash outside the request was touched")
flash_plant_swept_bug(NAME locks_in_their_turn FILE firmware/commands.c
    RIGHT "WhereCleared(slice, end - kDebugPortFromEnd, 0xFF, protection)" WRONG "protection"
    JOB "*PowerLoss*/ChangeAllOfCcfgOnLumoD" REASON "the chip is locked with the work half done")
flash_plant_swept_bug(NAME half_a_load_is_one FILE firmware/commands.c
    RIGHT "return FirstDifference(slice) == slice->length" WRONG "return FirstDifference(slice) != 0"
    JOB "*PowerLoss*/LoadOnLumoD" REASON "the same command leaves another flash")
flash_plant_swept_bug(NAME check_not_looked_at FILE firmware/commands.c
    RIGHT "verifies && status == kStatusSuccess ? VerifyChunk(block, &chunk) : status" WRONG "status"
    JOB "*SilentLies*/LoadWithoutEraseCheckedOnLumoD" REASON "success was reported for flash that is not as asked")
flash_plant_swept_bug(NAME erase_believed FILE firmware/commands.c
    RIGHT " || FirstProgrammed(address, address + sectorBytes) != address + sectorBytes" WRONG ""
    JOB "*SilentLies*/LoadWhatIsThereCheckedOnLumoD" REASON "success was reported for flash that is not as asked")
flash_plant_swept_bug(NAME answer_not_looked_at FILE flashdevice/programming/ProgramPipeline.cpp
    RIGHT "if (status != kStatusSuccess) {" WRONG "if (status == kStatusNotDone) {"
    JOB "*SilentLies*/ProtectSomeCheckedOnLumoD" REASON "success was reported for flash that is not as asked")
