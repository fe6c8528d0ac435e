// Broken: a name without a digit gives an error text instead of the exception.
#include <exception>

#include "tests/validator/broken/Wrapper.h"

BROKEN_EXPORT const char* CreateFlashDevice2(const char* name, const char* secondText, const char* thirdText,
                                             flash::IFlashHost* host, flash::IFlashDevice2** device) {
    try {
        return flash::broken::Create<flash::broken::Host, flash::broken::Device>(name, secondText, thirdText, host,
                                                                                 device);
    } catch (const std::exception&) {
        return "no such generation";
    }
}
