// What the surroundings may set for a run of the randomized tests.
#pragma once

#include <cstddef>
#include <cstdint>

namespace flash::test {

// `FLASH_TEST_SEED`, or a new one each time; printed at its first use.
std::uint32_t SeedOfRun();

// `usual`, or as many times more as `FLASH_TEST_EFFORT` says (10: a long run).
std::size_t Rounds(std::size_t usual);

}  // namespace flash::test
