# One small mistake in the reader of device descriptions each, which the fuzzer must find.
include(${PROJECT_SOURCE_DIR}/tests/fuzz/PlantBug.cmake)

function(plant_bug_in_descriptions)
    flash_plant_bug(LIBRARY flash_host TARGET device_description
        CORPUS device_description SEEDS plain smallest_values largest_values MAX_LENGTH 2048 FLAGS -mutate_depth=1
        FILE host/devices/DescriptionReader.cpp ${ARGN})
endfunction()

plant_bug_in_descriptions(NAME field_of_any_length
    RIGHT "!location || location->lengthBytes != rule.lengthBytes" WRONG "!location"
    REASON "no field is longer than an address|both readers accept the same files")
plant_bug_in_descriptions(NAME switch_outside_of_the_last_sector RIGHT "rule.isInCcfg &&" WRONG "rule.isInCcfg && false &&"
    REASON "both readers accept the same files")
flash_plant_bug(NAME rest_behind_a_number LIBRARY flash_host TARGET device_description
    CORPUS device_description SEEDS plain smallest_values largest_values MAX_LENGTH 2048 FLAGS -mutate_depth=1
    FILE host/Numbers.cpp RIGHT "error == std::errc() && end == last" WRONG "error == std::errc()"
    REASON "both readers accept the same files")
plant_bug_in_descriptions(NAME fifth_size_of_ram
    RIGHT "Number(chip, \"ramSizeCode\", 0, 3)" WRONG "Number(chip, \"ramSizeCode\", 0, 4)"
    REASON "both readers accept the same files")
plant_bug_in_descriptions(NAME swallowed_control_characters
    RIGHT "character < 0x20 ||" WRONG "character < 0x0A ||"
    REASON "a refusal is one line|what is printed reads back")
plant_bug_in_descriptions(NAME kilobytes_for_a_byte
    RIGHT "std::vector<std::string> pieces(1)" WRONG "std::vector<std::string> unused(value.size() * 512), pieces(1)"
    REASON "memory is bounded by the file")
