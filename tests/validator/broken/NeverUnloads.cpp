// Broken: unloading the module never comes back.
#include "tests/validator/broken/Wrapper.h"

namespace {

__attribute__((destructor)) void End() {
    for (const volatile bool isHanging = true; isHanging;) {
    }
}

}  // namespace

BROKEN_FACTORY(flash::broken::Host, flash::broken::Device)
