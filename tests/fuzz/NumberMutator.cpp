// Half of the fuzzer's changes of a text: one of its numbers becomes a neighbour, another of them, or none. So the
// edges of what is allowed are met soon, which single bytes seldom do. Linked into targets that read texts with
// numbers.
#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

namespace {

struct Run {
    std::size_t start, length;
};

std::vector<Run> NumbersIn(const std::string& text) {
    std::vector<Run> runs;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (std::isdigit(static_cast<unsigned char>(text[i])) != 0) {
            if (!runs.empty() && runs.back().start + runs.back().length == i) {
                ++runs.back().length;
            } else {
                runs.push_back({i, 1});
            }
        }
    }
    return runs;
}

std::string NumberInPlaceOf(const std::string& digits, const std::string& other, std::uint32_t choice) {
    const std::uint64_t number = std::stoull(digits.substr(0, 18));
    switch (choice % 6) {
        case 0:
            return std::to_string(number + 1);
        case 1:
            return std::to_string(number - (number == 0 ? 0 : 1));
        case 2:
            return other;
        case 3:
            return "0";
        case 4:
            return digits + digits;
        default:
            return "";
    }
}

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    std::minstd_rand random(seed);
    std::string text(data, data + size);
    const std::vector<Run> runs = NumbersIn(text);
    if (runs.empty() || random() / 2 % 2 == 0) {
        return LLVMFuzzerMutate(data, size, maxSize);
    }
    const Run chosen = runs[random() % runs.size()];
    const Run other = runs[random() % runs.size()];
    text.replace(chosen.start, chosen.length,
                 NumberInPlaceOf(text.substr(chosen.start, chosen.length), text.substr(other.start, other.length),
                                 static_cast<std::uint32_t>(random())));
    const std::size_t newSize = std::min(text.size(), maxSize);
    std::memcpy(data, text.data(), newSize);
    return newSize;
}
