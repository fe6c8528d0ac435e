#include "flashdevice/boundary/GenerationSelection.h"

#include <stdexcept>

#include "flashdevice/device/NumberText.h"

namespace flash {
namespace {

constexpr std::size_t kGenerationPosition = 5;

}  // namespace

bool IsSecondGeneration(std::string_view deviceName) {
    if (deviceName.size() < kGenerationPosition) {
        throw std::out_of_range("invalid string position");
    }
    const std::int32_t digit = ParseInteger(deviceName.substr(kGenerationPosition, 1));
    // Exactly 2 and 4: less 2 and without bit 1, nothing is left of them.
    return ((digit - 2) & ~2) == 0;
}

}  // namespace flash
