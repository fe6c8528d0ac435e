// The tests of the tiny product: they watch all of it but `Unwatched`.
#include <cstdio>
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

}  // namespace

int main() {
    Expect(planted::kLimit == 10, "Limit");
    Expect(planted::Clamp(9) == 9 && planted::Clamp(12) == 10, "Clamp");
    Expect(planted::CountDown(3) == 3, "CountDown");
    planted::Unwatched(1);
    const auto text = std::make_unique<char[]>(kLength);
    planted::Fill(text.get(), kLength);
    Expect(std::string(text.get(), kLength) == std::string(kLength, 'x'), "Fill");
    Expect(planted::Greeting("all") == "all: hello", "Greeting");
    return failures == 0 ? 0 : 1;
}
