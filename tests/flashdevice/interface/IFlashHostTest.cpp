// Compiles as C++17: a host's object is a table and nothing else.
#include "flashdevice/interface/IFlashHost.h"

#include <type_traits>

static_assert(__cplusplus == 201703L, "the public headers must not need more than C++17");
static_assert(sizeof(flash::IFlashHost) == sizeof(void*), "the interface holds no data");
static_assert(std::is_abstract<flash::IFlashHost>::value, "every slot is left to the host");
static_assert(!std::has_virtual_destructor<flash::IFlashHost>::value, "a destructor would take slots of the table");
