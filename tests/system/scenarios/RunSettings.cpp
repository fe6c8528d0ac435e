#include "tests/system/scenarios/RunSettings.h"

#include <cstdio>
#include <cstdlib>
#include <random>

namespace flash::test {
namespace {

std::uint32_t ChooseSeed() {
    const char* wished = std::getenv("FLASH_TEST_SEED");
    const std::uint32_t seed =
        wished != nullptr ? static_cast<std::uint32_t>(std::strtoul(wished, nullptr, 0)) : std::random_device{}();
    std::printf("FLASH_TEST_SEED=%u repeats this run\n", static_cast<unsigned>(seed));
    return seed;
}

}  // namespace

std::uint32_t SeedOfRun() {
    static const std::uint32_t seed = ChooseSeed();
    return seed;
}

std::size_t Rounds(std::size_t usual) {
    const char* effort = std::getenv("FLASH_TEST_EFFORT");
    return effort == nullptr ? usual : usual * std::strtoul(effort, nullptr, 10);
}

}  // namespace flash::test
