// Each function is there for one fate of its mutants; mutants_test.py has the table.
#include "product/Planted.h"

#define NOT_CHANGED(x) (x + 1)

namespace planted {

int Clamp(int value) { return value > kLimit ? kLimit : value; }

int CountDown(long long from) {
    unsigned steps = 0;
    while (from != 0) {
        --from;  // without it, the end never comes: 1 + 1 in a comment is no code
        ++steps;
    }
    return static_cast<int>(steps);
}

int Unwatched(int value) { return NOT_CHANGED(value) * 2; }

int InModule(int value) { return value / 2; }

int First(const std::vector<int>& values) { return values.empty() ? 0 : values[0]; }

void Fill(char* text, int length) {
    for (int i = 0; i < length; ++i) {
        text[i] = 'x';
    }
}

std::string Greeting(const char* name) {
    if (name == nullptr) {
        return "nobody";
    }
    return std::string(name) + ": hello";
}

}  // namespace planted
