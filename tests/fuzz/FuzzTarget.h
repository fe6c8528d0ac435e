// What a fuzz target is: one function that takes any bytes and must return; `FuzzRequire` is its oracle's voice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// Called by libFuzzer, or by ReplayMain.cpp for each file of a corpus. Always returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace flash::fuzz {

// A broken promise ends the process, so that libFuzzer keeps the input and a replay fails.
inline void FuzzRequire(bool holds, const char* promise) {
    if (!holds) {
        std::fprintf(stderr, "Broken promise: %s\n", promise);
        std::abort();
    }
}

}  // namespace flash::fuzz
