# Builds the minimal host against the installed package: on Linux as it is, for Windows with -DCMAKE_PREFIX_PATH=… naming the
# folder of the unpacked archive.
cmake_minimum_required(VERSION 3.20)
project(minimal-host LANGUAGES CXX)
find_package(flashdevice REQUIRED)

add_executable(minimal-host
    main.cpp validator/simulation/ChipMemory.cpp validator/simulation/SimulatedFlashloader.cpp)
target_compile_features(minimal-host PRIVATE cxx_std_20)
target_include_directories(minimal-host PRIVATE ${CMAKE_CURRENT_SOURCE_DIR})
target_link_libraries(minimal-host PRIVATE flashdevice::flashdevice_interface ${CMAKE_DL_LIBS})
if(MINGW)
    target_link_options(minimal-host PRIVATE -static)
endif()
