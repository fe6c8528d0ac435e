// Compiles as C++17: a device is a table and nothing else, and the factory has C linkage and five arguments.
#include "flashdevice/interface/IFlashDevice2.h"

#include <type_traits>

static_assert(__cplusplus == 201703L, "the public headers must not need more than C++17");
static_assert(sizeof(flash::IFlashDevice2) == sizeof(void*), "the interface holds no data");
static_assert(std::is_abstract<flash::IFlashDevice2>::value, "every slot is left to the plug-in");
static_assert(!std::has_virtual_destructor<flash::IFlashDevice2>::value, "a destructor would take slots of the table");
static_assert(
    std::is_same<decltype(&CreateFlashDevice2), const char* (*)(const char*, const char*, const char*,
                                                                flash::IFlashHost*, flash::IFlashDevice2**)>::value,
    "the factory's arguments are part of the contract");
