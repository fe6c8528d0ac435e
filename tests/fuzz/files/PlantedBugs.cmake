# One small mistake in the readers of program files each, which the fuzzer must find.
include(${PROJECT_SOURCE_DIR}/tests/fuzz/PlantBug.cmake)

flash_plant_bug(NAME half_a_byte LIBRARY host_files TARGET intel_hex CORPUS intel_hex
    FILE host/files/TextRecords.cpp RIGHT "if (column < line.size())" WRONG "if (column + 1 < line.size())"
    REASON "the second reader agrees")
flash_plant_bug(NAME linear_for_ever LIBRARY host_files TARGET intel_hex CORPUS intel_hex
    FILE host/files/IntelHex.cpp RIGHT "isLinear = false;\n            return" WRONG "return"
    REASON "the second reader agrees")
flash_plant_bug(NAME more_than_the_record_says LIBRARY host_files TARGET s_record CORPUS s_record
    FILE host/files/SRecord.cpp RIGHT "if (bytes[0] != bytes.size() - 1)" WRONG "if (bytes[0] > bytes.size() - 1)"
    REASON "the second reader agrees")
flash_plant_bug(NAME byte_behind_the_elf_file LIBRARY host_files TARGET elf_file CORPUS elf_file MAX_LENGTH 2048
    FILE host/files/ElfReader.cpp RIGHT "length > content.size() - offset" WRONG "length > content.size() - offset + 1"
    REASON "span.*Assertion|heap-buffer-overflow on address|lie in the file")
flash_plant_bug(NAME symbols_at_zero LIBRARY host_files TARGET elf_file CORPUS elf_file MAX_LENGTH 2048
    FILE host/files/ElfSymbols.cpp RIGHT "symbol.st_name, symbol.st_value" WRONG "symbol.st_name, symbol.st_value * 0"
    REASON "a symbol has the file's value")
flash_plant_bug(NAME section_that_runs_elsewhere LIBRARY host_files TARGET elf_file CORPUS elf_file MAX_LENGTH 2048
    FILE host/files/ElfFile.cpp RIGHT "Segment(index).p_paddr} + section" WRONG "Segment(index).p_vaddr} + section"
    REASON "every byte of a section is in the image")
flash_plant_bug(NAME padding_behind_a_section LIBRARY host_files TARGET elf_file CORPUS elf_file MAX_LENGTH 2048
    FILE host/files/ElfFile.cpp
    RIGHT "Header().e_shnum == 0" WRONG "Header().e_shnum <= 1 || reader.ProgramHeaders().size() == 1"
    REASON "the image has nothing but the sections' bytes|every byte of a section is in the image")
flash_plant_bug(NAME kilobytes_for_a_digit LIBRARY host_files TARGET s_record CORPUS s_record
    FILE host/files/TextRecords.cpp RIGHT "(line.size() - column) / 2" WRONG "(line.size() - column) * 1024"
    REASON "memory is bounded by the file's size")
flash_plant_bug(NAME any_letter_of_a_record LIBRARY host_files TARGET program_file CORPUS program_file
    FILE host/files/ProgramFile.cpp RIGHT "line[1] >= '0' && line[1] <= '9'" WRONG "line[1] >= '0'"
    REASON "both ways find the same format")
flash_plant_bug(NAME overlap_of_one_byte LIBRARY host_files TARGET program_image CORPUS program_image
    FILE host/files/ProgramImage.cpp
    RIGHT "other->first < EndOf(address, length)" WRONG "other->first + 1 < EndOf(address, length)"
    REASON "an addition is refused exactly when it does not fit|a merge is refused exactly when something overlaps")
