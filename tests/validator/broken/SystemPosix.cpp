// The processes are forks, and the module is known by the loader's own word.
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <vector>

#include "tests/validator/broken/System.h"

namespace flash::broken {

std::string NameOfModule() {
    static const int place = 0;
    Dl_info info{};
    return dladdr(&place, &info) == 0 ? "" : std::filesystem::path(info.dli_fname).stem().string();
}

void StartAProcess() {
    if (fork() == 0) {
        alarm(120);
        pause();
    }
}

// No group and no session of the check reaches it.
void StartADaemon() {
    if (fork() == 0) {
        setsid();
        if (fork() == 0) {
            setsid();
            StartAProcess();
            alarm(120);
            pause();
        }
        std::_Exit(0);
    }
}

// Each leaves the group and session that it was started in.
void LetOthersTakeMemory() {
    constexpr std::size_t kEach = std::size_t{96} << 20;
    for (int other = 0; other < 4; ++other) {
        if (fork() == 0) {
            setsid();
            const std::vector<char> taken(kEach, 'x');
            for (;;) {
                pause();
            }
        }
    }
    for (;;) {
        pause();
    }
}

void OpenSomething() {
    static std::vector<int> kept;
    kept.push_back(open("/dev/null", O_RDONLY));
}

}  // namespace flash::broken
