# One small mistake in the plug-in each, which the fuzzer must find.
include(${PROJECT_SOURCE_DIR}/tests/fuzz/PlantBug.cmake)

flash_plant_bug(NAME page_behind_the_last LIBRARY flashdevice_core TARGET page_list
    FILE flashdevice/programming/PageList.cpp RIGHT "span.last >= sectors.size()" WRONG "span.last > sectors.size()"
    REASON "both readers find the same pages")
flash_plant_bug(NAME return_is_no_blank LIBRARY flashdevice_core TARGET number_text
    FILE flashdevice/device/NumberText.cpp RIGHT "character <= '\\r'" WRONG "character < '\\r'"
    REASON "as the C")
flash_plant_bug(NAME three_digits_of_a_byte LIBRARY flashdevice_core TARGET mac_text
    FILE flashdevice/device/FlashUtil.cpp RIGHT "pieces[i].size() > 2" WRONG "pieces[i].size() > 3"
    REASON "both readers find the same address")
flash_plant_bug(NAME short_fill_value LIBRARY flashdevice_core TARGET fill_value
    FILE flashdevice/programming/FillValue.cpp RIGHT "text.size() != kHexLength" WRONG "text.size() > kHexLength"
    REASON "both readers find the same fill value")
flash_plant_bug(NAME byte_behind_the_sector LIBRARY flashdevice_core TARGET interface_calls
    CORPUS interface_calls
    FILE flashdevice/operations/CcfgChanges.cpp RIGHT "index >= image.size()" WRONG "index > image.size()"
    REASON "Assertion|heap-buffer-overflow")
flash_plant_bug(NAME ignored_pause LIBRARY flashdevice_core TARGET interface_calls
    CORPUS interface_calls
    FILE flashdevice/mailbox/CommandMailbox.cpp
    RIGHT "ThrowIfError(Host().WaitMilliseconds(kPollIntervalMilliseconds));"
    WRONG "Host().WaitMilliseconds(kPollIntervalMilliseconds);"
    REASON "an operation fails when a host call failed|an error tells what the host said")
flash_plant_bug(NAME chunk_posted_twice LIBRARY flashdevice_core TARGET interface_calls
    CORPUS interface_calls
    FILE flashdevice/programming/ProgramPipeline.cpp
    RIGHT "PostCommand(block);" WRONG "PostCommand(block), currentBlock ^= 1, PostCommand(block);"
    REASON "what was given is programmed, all of it and in order")
flash_plant_bug(NAME byte_behind_the_request LIBRARY flashdevice_core TARGET interface_calls
    CORPUS interface_calls
    FILE flashdevice/programming/ProgramPipeline.cpp
    RIGHT "part.length <= given" WRONG "part.length <= given + 1"
    REASON "heap-buffer-overflow")
