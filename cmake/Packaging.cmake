# What is installed besides the programs, and the Debian packages that CPack makes of it: `lumo-flash` of the component
# `program`, `libflashdevice-dev` of `development`, and the debuggers' symbols of both in `lumo-flash-dbgsym`.
# `scripts/package` drives this.
set(documents ${CMAKE_INSTALL_DATADIR}/doc)
set(packaging ${PROJECT_SOURCE_DIR}/cmake/packaging)

# `flash_install_notice(TARGET FOLDER COMPONENT FILE)`: what it is made of, by the build's own account.
find_package(Python3 COMPONENTS Interpreter)
function(flash_install_notice TARGET FOLDER COMPONENT FILE)
    set(notice ${CMAKE_CURRENT_BINARY_DIR}/packaging/${TARGET}/NOTICE)
    file(RELATIVE_PATH name ${CMAKE_BINARY_DIR} ${FILE})
    add_custom_target(notice_${TARGET}
        COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/cmake/notice.py ${CMAKE_BINARY_DIR} ${name} --out ${notice}
        VERBATIM)
    file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/packaging/${TARGET})
    add_dependencies(notice_${TARGET} ${TARGET})
    install(FILES ${notice} DESTINATION ${FOLDER} COMPONENT ${COMPONENT})
endfunction()

if(WIN32)
    flash_install_notice(flashdevice . development ${PROJECT_BINARY_DIR}/flashdevice/flashdevice.dll)
    add_custom_target(packaged DEPENDS flashdevice flashdevice-check validate-plugin kit-host notice_flashdevice)
    install(FILES LICENSE docs/CHANGELOG.md DESTINATION . COMPONENT development)
    install(FILES docs/host-guide.md docs/flashloader-guide.md docs/install.md docs/licences.md DESTINATION docs
        COMPONENT development)
    return()
endif()
flash_install_notice(lumoflash ${documents}/lumo-flash program ${PROJECT_BINARY_DIR}/bin/lumoflash)
flash_install_notice(flashdevice ${documents}/libflashdevice-dev development ${PROJECT_BINARY_DIR}/flashdevice/libflashdevice.so)

install(FILES README.md docs/CHANGELOG.md DESTINATION ${documents}/lumo-flash COMPONENT program)
install(DIRECTORY docs DESTINATION ${documents}/lumo-flash COMPONENT program
    PATTERN examples EXCLUDE PATTERN contributing.md EXCLUDE PATTERN CHANGELOG.md EXCLUDE)
install(FILES docs/host-guide.md docs/flashloader-guide.md DESTINATION ${documents}/libflashdevice-dev/docs COMPONENT development)

# `flash_install_about(PACKAGE COMPONENT)`: what Debian wants to know of each package.
function(flash_install_about PACKAGE COMPONENT)
    set(folder ${CMAKE_CURRENT_BINARY_DIR}/packaging/${PACKAGE})
    add_custom_command(OUTPUT ${folder}/changelog.gz ${folder}/changelog.Debian.gz
        COMMAND ${CMAKE_COMMAND} -D PACKAGE=${PACKAGE} -D SOURCE=${PROJECT_SOURCE_DIR} -D FOLDER=${folder}
                -P ${PROJECT_SOURCE_DIR}/cmake/WriteChangeLog.cmake
        DEPENDS ${PROJECT_SOURCE_DIR}/docs/CHANGELOG.md ${PROJECT_SOURCE_DIR}/cmake/WriteChangeLog.cmake
        VERBATIM)
    add_custom_target(about_${PACKAGE} ALL DEPENDS ${folder}/changelog.gz ${folder}/changelog.Debian.gz)
    install(FILES ${folder}/changelog.gz ${folder}/changelog.Debian.gz ${packaging}/copyright
        DESTINATION ${documents}/${PACKAGE} COMPONENT ${COMPONENT})
    if(EXISTS ${packaging}/${PACKAGE}.lintian-overrides)
        install(FILES ${packaging}/${PACKAGE}.lintian-overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
            RENAME ${PACKAGE} COMPONENT ${COMPONENT})
    endif()
endfunction()
flash_install_about(lumo-flash program)
flash_install_about(libflashdevice-dev development)
flash_install_about(lumo-flash-dbgsym symbols)

add_custom_target(packaged DEPENDS lumoflash manual notice_lumoflash flashdevice flashdevice-check validate-plugin validate_plugin_manual notice_flashdevice about_lumo-flash about_libflashdevice-dev about_lumo-flash-dbgsym)

# Where debuggers look for the symbols of a file that has none.
foreach(target lumoflash flashdevice flashdevice-check validate-plugin)
    install(CODE "
        set(program \"$<TARGET_FILE:${target}>\")
        set(readelf \"${CMAKE_READELF}\")
        set(objcopy \"${CMAKE_OBJCOPY}\")
        set(root \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
        include(\"${PROJECT_SOURCE_DIR}/cmake/InstallSymbols.cmake\")
        " COMPONENT symbols EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lumo-flash)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_PACKAGE_CONTACT "The lumo-flash maintainers <maintainers@lumo-flash.example>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/SettleTimes.cmake)
set(CPACK_COMPONENTS_ALL program development symbols)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME lumo-flash)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "gdb-multiarch, libflashdevice-dev")
set(CPACK_COMPONENT_PROGRAM_DESCRIPTION "flash programming for Lumo microcontrollers
The command lumoflash programs, verifies, reads and erases the flash of LumoD
and LumoF microcontrollers through any GDB server, or of a virtual chip: an
emulated core that runs the real flashloader, so that everything can be tried
with no hardware at all. It also lets GDB program and debug such a chip.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libflashdevice-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONTROL_EXTRA ${packaging}/triggers)  # the loader learns of the link to the module
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "lumo-flash, cmake")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "flash plug-in for Lumo microcontrollers, for makers of debuggers
A debugger host loads this module, gives it access to the chip, and lets it
erase, program, verify and inspect the flash of LumoD and LumoF
microcontrollers. With the two headers of its binary interface, a CMake
package, a small host as an example, and the guides for makers of hosts and of
flashloaders. The program validate-plugin tells which promises of the interface
a module breaks, the module flashdevice-check those that a host breaks.")

set(CPACK_DEBIAN_SYMBOLS_PACKAGE_NAME lumo-flash-dbgsym)
set(CPACK_DEBIAN_SYMBOLS_PACKAGE_SECTION debug)
set(CPACK_COMPONENT_SYMBOLS_DESCRIPTION "debug symbols for lumo-flash and libflashdevice-dev
What a debugger needs to show the sources of the command lumoflash and of the
flash plug-in.")
include(CPack)
