// Broken: the module exports a second function.
#include "tests/validator/broken/Wrapper.h"

BROKEN_FACTORY(flash::broken::Host, flash::broken::Device)

BROKEN_EXPORT int FlashDeviceVersion() { return 2; }
