// The test program is the validator, too, and under Windows what its broken modules start.
#include <gtest/gtest.h>

#include <chrono>
#include <string_view>
#include <thread>
#include <vector>

#include "validator/CheckProcess.h"

namespace {

// Ends of itself where nobody ends it.
int Stay(std::size_t mebibytes) {
    const std::vector<char> taken(mebibytes << 20, 'x');
    std::this_thread::sleep_for(std::chrono::seconds(120));
    return taken.size() == 1 ? 1 : 0;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const std::string_view first = argumentCount > 1 ? arguments[1] : "";
    if (first == "__wait" || first == "__take") {
        return Stay(first == "__take" ? 96 : 0);
    }
    if (const std::optional<int> code = flash::validator::RunAsCheck(argumentCount, arguments)) {
        return *code;
    }
    testing::InitGoogleTest(&argumentCount, arguments);
    return RUN_ALL_TESTS();
}
