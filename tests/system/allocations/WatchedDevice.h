// A device of the plug-in that is linked into the program: what it allocates is watched, what its host allocates is
// not.
#pragma once

#include "tests/support/LoadedModule.h"

namespace flash::test {

// Takes the factory's error text, when there is one, and may let it try again.
class WatchedFactory {
public:
    // A device, and `error` with the text of the first attempt if that failed; the second one, without a shortage,
    // must succeed.
    DevicePointer Make(const char* deviceName, IFlashHost* host);

    std::string error;
};

}  // namespace flash::test
