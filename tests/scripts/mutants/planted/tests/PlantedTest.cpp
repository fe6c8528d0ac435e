// The tests of the tiny product: they watch all of it but `Unwatched`. They take the filter of a test program's suites.
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "product/Planted.h"

namespace {

int failures = 0;

void Expect(bool isTrue, const char* what) {
    if (!isTrue) {
        std::printf("[  FAILED  ] %s\n", what);
        ++failures;
    }
}

// One byte beyond these is the allocator's padding: only a sanitizer sees it written.
constexpr int kLength = 20;

void Quick() {
    Expect(planted::kLimit == 10, "Limit");
    Expect(planted::Clamp(9) == 9 && planted::Clamp(12) == 10, "Clamp");
    Expect(planted::CountDown(3) == 3, "CountDown");
    Expect(planted::First({}) == 0 && planted::First({7}) == 7, "First");
    planted::Unwatched(1);
}

void More() {
    const auto text = std::make_unique<char[]>(kLength);
    planted::Fill(text.get(), kLength);
    Expect(std::string(text.get(), kLength) == std::string(kLength, 'x'), "Fill");
    Expect(planted::Greeting("all") == "all: hello", "Greeting");
    void* module = dlopen(std::getenv("PLANTED_MODULE"), RTLD_NOW);
    const auto inModule = reinterpret_cast<int (*)(int)>(dlsym(module, "InModule"));
    Expect(inModule(8) == 4, "InModule");
}

void Slow() { Expect(planted::Slowly(4) == 1, "Slowly"); }

}  // namespace

int main(int, char** arguments) {
    const std::string filter = arguments[1];
    if (filter.find("Quick") != std::string::npos) {
        Quick();
    }
    if (filter.find("More") != std::string::npos) {
        More();
    }
    if (filter.find("Slow") != std::string::npos) {
        Slow();
    }
    return failures == 0 ? 0 : 1;
}
