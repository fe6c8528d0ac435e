// Broken: the module's end is a crash.
#include <cstdlib>

#include "tests/validator/broken/Wrapper.h"

namespace {

__attribute__((destructor)) void End() { std::abort(); }

}  // namespace

BROKEN_FACTORY(flash::broken::Host, flash::broken::Device)
