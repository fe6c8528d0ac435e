# Building a flashloader for the target, with nothing but arm-none-eabi-gcc. The same bytes from every build tree and
# build type: nothing of CMake's own flags, no paths, no build identifier.
#
#   flash_add_flashloader(NAME n PORT p VARIANT v CPU c
#       [IMAGE file] [FLASH address] [SOURCES …] [INCLUDE …] [REPLACE original by …])
#
# makes the target NAME, which builds IMAGE (NAME.elf in this folder of the build tree) and checks it.
#   PORT     a folder of firmware/port, or the path of a file in C
#   VARIANT  a name in firmware/variants, or the path, without its ending, of a file in C and a linker script side by side
#   CPU      cortex-m0plus, cortex-m3, cortex-m4 or cortex-m33
#   FLASH    where flash is read, 0 if not said: the address of `g_flash`
#   SOURCES  more files in C; INCLUDE: more folders for headers
#   REPLACE  pairs of files: instead of the first, a path from the folder above this one, the second is compiled
find_program(ARM_GCC arm-none-eabi-gcc)
find_program(ARM_NM arm-none-eabi-nm)
if(NOT ARM_GCC OR NOT ARM_NM)
    message(FATAL_ERROR "The cross compiler is missing: install the Debian package `gcc-arm-none-eabi`")
endif()

cmake_path(GET CMAKE_CURRENT_LIST_DIR FILENAME flashloaderFolderName)
if(NOT flashloaderFolderName STREQUAL "firmware")
    message(FATAL_ERROR "Sources include each other by the name of this folder: call it firmware, not ${flashloaderFolderName}")
endif()
set(FLASHLOADER_FOLDER ${CMAKE_CURRENT_LIST_DIR} CACHE INTERNAL "Where the flashloader's sources are")
set(FLASHLOADER_FLAGS
    -mthumb -masm-syntax-unified -std=c11 -g -gno-record-gcc-switches
    -ffreestanding -fno-common -ffunction-sections -fdata-sections
    -fno-tree-loop-distribute-patterns  # no calls to memset or memcpy: there is no library
    -fno-jump-tables                    # nor to its helpers for a switch on a small core
    -Wall -Wextra -Wpedantic -Werror -Wshadow -Wconversion -Wsign-conversion -Wundef -Wcast-qual -Wpointer-arith
    -Wstrict-prototypes -Wmissing-prototypes CACHE INTERNAL "")

# For each core the folder of its `core.h`.
set(FLASHLOADER_CORE_cortex-m0plus v6m CACHE INTERNAL "")
set(FLASHLOADER_CORE_cortex-m3 v7m CACHE INTERNAL "")
set(FLASHLOADER_CORE_cortex-m4 v7m CACHE INTERNAL "")
set(FLASHLOADER_CORE_cortex-m33 v8m CACHE INTERNAL "")

# The compiler sees a flashloader as a whole, when it is linked: what its port's traits never ask for is left out. Functions
# of the same code keep their names, by which the check of the stack follows the calls.
set(FLASHLOADER_LINK_TIME -flto -flto-partition=one -fno-ipa-icf CACHE INTERNAL "")

# `flash_compile_for_target(SOURCE OBJECT CPU [INCLUDE folder…] [OPTIONS option…])`: one object file. Beside it lies, with
# the ending .ci, what it calls and how much stack each of its functions takes, and that alone with the ending .su.
function(flash_compile_for_target SOURCE OBJECT CPU)
    cmake_parse_arguments(PARSE_ARGV 3 ARG "" "" "INCLUDE;OPTIONS")
    if(NOT FLASHLOADER_CORE_${CPU})
        message(FATAL_ERROR "The flashloader does not know the core ${CPU}")
    endif()
    cmake_path(GET SOURCE FILENAME name)
    cmake_path(GET FLASHLOADER_FOLDER PARENT_PATH top)
    list(TRANSFORM ARG_INCLUDE PREPEND -I)
    # Small, but for what a load spends the core's time in.
    set(optimization -Os)
    if(name MATCHES "^(blank|crc32|equal|flash_port|sums)")
        set(optimization -O2)
    endif()
    add_custom_command(
        OUTPUT ${OBJECT}
        COMMAND ${ARM_GCC} -mcpu=${CPU} ${FLASHLOADER_FLAGS} ${optimization}
                -ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${top}=.
                ${ARG_OPTIONS} -frandom-seed=${name}
                ${ARG_INCLUDE} -I${top} -I${FLASHLOADER_FOLDER}/target/${FLASHLOADER_CORE_${CPU}}
                -fcallgraph-info=su -fstack-usage -MD -MF ${OBJECT}.d -c ${SOURCE} -o ${OBJECT}
        DEPENDS ${SOURCE}
        DEPFILE ${OBJECT}.d
        COMMENT "Compiling ${name} for the target"
        VERBATIM)
endfunction()

# What an image consists of, by its sources.
function(flash_list_sources OUT PORT VARIANT)
    if(NOT IS_ABSOLUTE ${PORT})
        set(PORT ${FLASHLOADER_FOLDER}/port/${PORT}/flash_port.c)
    endif()
    set(sources start_up.c mailbox.c load.c commands.c blank.c deadline.c equal.c locks.c sums.c units.c crc32.c
        target/clock.c target/library.c target/registers.c)
    list(TRANSFORM sources PREPEND ${FLASHLOADER_FOLDER}/)
    set(${OUT} ${sources} ${PORT} ${VARIANT}.c PARENT_SCOPE)
endfunction()

function(flash_add_flashloader)
    cmake_parse_arguments(ARG "" "NAME;PORT;VARIANT;CPU;IMAGE;FLASH" "SOURCES;INCLUDE;REPLACE" ${ARGN})
    if(NOT ARG_IMAGE)
        set(ARG_IMAGE ${CMAKE_CURRENT_BINARY_DIR}/${ARG_NAME}.elf)
    endif()
    if(NOT IS_ABSOLUTE ${ARG_VARIANT})
        set(ARG_VARIANT ${FLASHLOADER_FOLDER}/variants/${ARG_VARIANT})
    endif()
    flash_list_sources(sources ${ARG_PORT} ${ARG_VARIANT})
    while(ARG_REPLACE)
        list(POP_FRONT ARG_REPLACE original replacement)
        list(TRANSFORM sources REPLACE ".*/${original}$" ${replacement})
    endwhile()
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/${ARG_NAME}.objects)
    file(MAKE_DIRECTORY ${folder})
    foreach(source IN LISTS sources ARG_SOURCES)
        cmake_path(GET source STEM name)
        set(object ${folder}/${name}.o)
        if(object IN_LIST objects)
            set(object ${folder}/${name}_2.o)
        endif()
        set(options ${FLASHLOADER_LINK_TIME})
        if(name STREQUAL "library")
            set(options)  # the compiler asks for it only after it has seen all else
        endif()
        flash_compile_for_target(${source} ${object} ${ARG_CPU} INCLUDE ${ARG_INCLUDE} OPTIONS ${options})
        list(APPEND objects ${object})
    endforeach()
    flash_link_flashloader(IMAGE ${ARG_IMAGE} VARIANT ${ARG_VARIANT} CPU ${ARG_CPU} FLASH ${ARG_FLASH} FOLDER ${folder}
        OBJECTS ${objects})
    add_custom_target(${ARG_NAME} DEPENDS ${ARG_IMAGE})
    set_target_properties(${ARG_NAME} PROPERTIES FLASHLOADER_OBJECTS "${objects}")
endfunction()

# `flash_link_flashloader(IMAGE file VARIANT path CPU c FOLDER for what is left over OBJECTS … [FLASH address] [DEPENDS
# target] [UNCHECKED])`: links an image and checks it, or with UNCHECKED leaves the check to somebody else.
function(flash_link_flashloader)
    cmake_parse_arguments(ARG "UNCHECKED" "IMAGE;VARIANT;CPU;FLASH;FOLDER;DEPENDS" "OBJECTS" ${ARGN})
    set(place)
    if(ARG_FLASH)
        set(place -Wl,--defsym=g_flash=${ARG_FLASH})
    endif()
    cmake_path(GET ARG_VARIANT PARENT_PATH variantFolder)
    cmake_path(GET FLASHLOADER_FOLDER PARENT_PATH top)
    flash_find_library_calls(libraryCalls ${ARG_OBJECTS})
    set(check COMMAND ${CMAKE_COMMAND} -DIMAGE=${ARG_IMAGE} -DNM=${ARM_NM} -DCALLS=${ARG_FOLDER}/image.ltrans0.ltrans.ci
        -DLIBRARY_CALLS=${libraryCalls} -P ${FLASHLOADER_FOLDER}/check_image.cmake)
    if(ARG_UNCHECKED)
        set(check)
    endif()
    add_custom_command(
        OUTPUT ${ARG_IMAGE}
        COMMAND ${ARM_GCC} -mcpu=${ARG_CPU} ${FLASHLOADER_FLAGS} -Os ${FLASHLOADER_LINK_TIME}
                -ffile-prefix-map=${CMAKE_BINARY_DIR}=build -ffile-prefix-map=${top}=.
                -fcallgraph-info=su -dumpdir ${ARG_FOLDER}/ -dumpbase image -frandom-seed=image
                -nostdlib -Wl,--gc-sections,--fatal-warnings,--build-id=none -L${variantFolder}
                -L${FLASHLOADER_FOLDER}/variants -T${ARG_VARIANT}.ld ${place} ${ARG_OBJECTS} -o ${ARG_IMAGE}
        ${check}
        DEPENDS ${ARG_OBJECTS} ${ARG_DEPENDS} ${ARG_VARIANT}.ld ${FLASHLOADER_FOLDER}/variants/sections.ld
                ${FLASHLOADER_FOLDER}/check_image.cmake
        COMMENT "Linking ${ARG_IMAGE}"
        VERBATIM)
endfunction()

# The calls of what is compiled before the link and not seen again by then.
function(flash_find_library_calls OUT)
    list(FILTER ARGN INCLUDE REGEX "/library\\.o$")
    list(TRANSFORM ARGN REPLACE "\\.o$" ".ci")
    set(${OUT} ${ARGN} PARENT_SCOPE)
endfunction()
