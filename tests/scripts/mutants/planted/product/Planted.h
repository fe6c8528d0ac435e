// A tiny product with known weak points, for the tests of scripts/mutants.
#pragma once

#include <string>
#include <vector>

namespace planted {

constexpr int kLimit = 10;

int Clamp(int value);
int CountDown(long long from);
int Unwatched(int value);
int InModule(int value);
int Slowly(int value);
int First(const std::vector<int>& values);
void Fill(char* text, int length);
std::string Greeting(const char* name);

}  // namespace planted
