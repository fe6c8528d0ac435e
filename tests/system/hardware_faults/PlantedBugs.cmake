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
        flash_add_module(planted_${ARG_NAME} ${planted} ${PROJECT_SOURCE_DIR}/flashdevice/boundary/CreateFlashDevice2.cpp)
        set(underTest FLASH_TEST_MODULE=$<TARGET_FILE:planted_${ARG_NAME}>)
    endif()
    add_dependencies(hardware_faults_tests planted_${ARG_NAME})
    add_test(NAME hardware_faults.planted.${ARG_NAME} COMMAND hardware_faults_tests --gtest_filter=${ARG_JOB})
    set_tests_properties(hardware_faults.planted.${ARG_NAME} PROPERTIES
        ENVIRONMENT "FLASH_SOAK=1;${underTest}" TIMEOUT 300 PASS_REGULAR_EXPRESSION ${ARG_REASON})
endfunction()

# LumoD's image with the planted file instead of the right one, in a folder of the target's name.
function(flash_link_planted_image target file planted)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target})
    file(MAKE_DIRECTORY ${folder})
    flash_add_flashloader(NAME ${target} PORT virtual_chip VARIANT lumod CPU cortex-m3
        IMAGE ${folder}/lumod-flashloader.elf REPLACE ${file} ${planted})
endfunction()

flash_plant_swept_bug(NAME host_errors_ignored FILE flashdevice/device/HostServices.cpp
    RIGHT "if (hostError != nullptr) {" WRONG "if (hostError != nullptr && *hostError == 0) {"
    JOB "*PowerLoss*/LoadOnLumoD" REASON "success was reported for work that was cut")
flash_plant_swept_bug(NAME ccfg_change_erases_all FILE flashdevice/operations/CcfgChanges.cpp
    RIGHT "WriteProperty(kEraseSettingKey, kEraseNecessary);"
    WRONG "WriteProperty(kEraseSettingKey, \"All Unprotected Sectors\");"
    JOB "*PowerLoss*/WriteSecBleOnLumoD" REASON "flash outside the request was touched")
flash_plant_swept_bug(NAME locks_in_their_turn FILE firmware/locks.c
    RIGHT "(slice->data[offset] & lock->bits) == 0" WRONG "(slice->data[offset] & lock->bits) == 0 && lock->bits != 0xFF"
    JOB "*PowerLoss*/ChangeAllOfCcfgOnLumoD" REASON "the chip is locked with the work half done")
flash_plant_swept_bug(NAME half_a_load_is_one FILE firmware/commands.c
    RIGHT "return FirstDifference(slice) == slice->length" WRONG "return FirstDifference(slice) != 0"
    JOB "*PowerLoss*/LoadOnLumoD" REASON "the same command leaves another flash")
flash_plant_swept_bug(NAME check_not_looked_at FILE firmware/commands.c
    RIGHT "status == kStatusSuccess ? VerifyChunk" WRONG "status != kStatusSuccess ? VerifyChunk"
    JOB "*SilentLies*/LoadWithoutEraseCheckedOnLumoD" REASON "success was reported for flash that is not as asked")
flash_plant_swept_bug(NAME erase_believed FILE firmware/commands.c
    RIGHT " || FirstProgrammed(address, address + sectorBytes) != address + sectorBytes" WRONG ""
    JOB "*SilentLies*/LoadWhatIsThereCheckedOnLumoD" REASON "success was reported for flash that is not as asked")
flash_plant_swept_bug(NAME answer_not_looked_at FILE flashdevice/programming/ProgramPipeline.cpp
    RIGHT "if (WaitForPostedCommand() != kStatusSuccess) {" WRONG "if (WaitForPostedCommand() == kStatusNotDone) {"
    JOB "*SilentLies*/ProtectSomeCheckedOnLumoD" REASON "success was reported for flash that is not as asked")
