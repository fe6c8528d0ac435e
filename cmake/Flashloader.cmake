# Compiling and linking a flashloader for the target. The same bytes from every build tree and build type: nothing of
# CMake's own flags, no paths, no build identifier.
set(armFlags
    -mcpu=cortex-m3 -mthumb -std=c11 -O2 -g -gno-record-gcc-switches
    -ffreestanding -fno-common -ffunction-sections -fdata-sections
    -fno-tree-loop-distribute-patterns  # no calls to memset or memcpy: there is no library
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wundef -Wcast-qual -Wpointer-arith
    -Wstrict-prototypes -Wmissing-prototypes)

# `flash_compile_for_target(SOURCE OBJECT)`: one object file. Its stack use lies beside it, in a file of the same name
# with the ending .su.
function(flash_compile_for_target SOURCE OBJECT)
    cmake_path(GET SOURCE FILENAME name)
    add_custom_command(
        OUTPUT ${OBJECT}
        COMMAND ${ARM_GCC} ${armFlags} -I${PROJECT_SOURCE_DIR} -fstack-usage -MD -MF ${OBJECT}.d -c ${SOURCE} -o ${OBJECT}
        DEPENDS ${SOURCE}
        DEPFILE ${OBJECT}.d
        COMMENT "Compiling ${name} for the target"
        VERBATIM)
endfunction()

# `flash_link_for_target(VARIANT IMAGE object…)`: an image, checked for its size and its stack.
function(flash_link_for_target VARIANT IMAGE)
    set(folder ${PROJECT_SOURCE_DIR}/firmware)
    add_custom_command(
        OUTPUT ${IMAGE}
        COMMAND ${ARM_GCC} -mcpu=cortex-m3 -mthumb -nostdlib -Wl,--gc-sections,--fatal-warnings,--build-id=none
                -L${folder}/variants -T${VARIANT}.ld ${ARGN} -o ${IMAGE}
        COMMAND ${CMAKE_COMMAND} -DIMAGE=${IMAGE} -DNM=${ARM_NM} "-DOBJECTS=${ARGN}" -P ${folder}/check_image.cmake
        DEPENDS ${ARGN} ${folder}/variants/${VARIANT}.ld ${folder}/variants/sections.ld ${folder}/check_image.cmake
        COMMENT "Linking ${VARIANT}-flashloader.elf"
        VERBATIM)
endfunction()
