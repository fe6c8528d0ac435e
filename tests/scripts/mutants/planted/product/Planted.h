// A tiny product with known weak points, for the tests of scripts/mutants.
#pragma once

#include <string>

namespace planted {

constexpr int kLimit = 10;

int Clamp(int value);
int CountDown(long long from);
int Unwatched(int value);
void Fill(char* text, int length);
std::string Greeting(const char* name);

}  // namespace planted
