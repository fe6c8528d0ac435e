// Broken: of the two digits of the second generation only one is known.
#include "tests/validator/broken/Wrapper.h"

BROKEN_EXPORT const char* CreateFlashDevice2(const char* name, const char* secondText, const char* thirdText,
                                             flash::IFlashHost* host, flash::IFlashDevice2** device) {
    std::string known = name;
    if (known.size() > 5 && known[5] == '4') {
        known[5] = '1';
    }
    return flash::broken::Create<flash::broken::Host, flash::broken::Device>(known.c_str(), secondText, thirdText, host,
                                                                             device);
}
