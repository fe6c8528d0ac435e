// Starts a process that holds whatever the check's process has open. It ends of itself where nobody ends it.
#include <unistd.h>

#include "tests/validator/broken/Wrapper.h"

namespace {

void StartAProcess() {
    if (fork() == 0) {
        alarm(120);
        pause();
    }
}

}  // namespace

BROKEN_EXPORT const char* CreateFlashDevice2(const char* name, const char* secondText, const char* thirdText,
                                             flash::IFlashHost* host, flash::IFlashDevice2** device) {
    StartAProcess();
    return flash::broken::Create<flash::broken::Host, flash::broken::Device>(name, secondText, thirdText, host, device);
}
