// The image against one entry per byte: additions, merges and ranges taken from the input, refused as a whole or done.
#include <span>
#include <vector>

#include "host/files/ProgramImage.h"
#include "tests/fuzz/files/ByteMap.h"

namespace flash::fuzz {
namespace {

const host::Origin kOrigin{"fuzz", ""};

struct Both {
    host::ProgramImage image;
    ByteMap model;
};

// Near the ends of the address space, and near each other, so that runs meet.
void AddRun(Both& both, std::uint8_t place, std::uint8_t length, std::uint8_t value) {
    const std::uint32_t address = place < 128 ? place : 0xFFFF'FF00 + place;
    const std::vector<std::uint8_t> bytes(length % 24, value);
    ByteMap changed = both.model;
    bool fits = true;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        fits = changed.Put(std::uint64_t{address} + i, bytes[i]) && fits;
    }
    const bool isAdded = IsDone("fuzz", bytes.size(), [&] { both.image.Add(address, bytes, kOrigin); });
    FuzzRequire(isAdded == fits, "an addition is refused exactly when it does not fit");
    both.model = fits ? changed : both.model;
}

void MergeInto(Both& target, const Both& source) {
    ByteMap changed = target.model;
    bool fits = true;
    for (const auto& [address, byte] : source.model.bytes) {
        fits = changed.Put(address, byte) && fits;
    }
    const bool isMerged = IsDone("fuzz", source.model.bytes.size(), [&] { target.image.Merge(source.image); });
    FuzzRequire(isMerged == fits, "a merge is refused exactly when something overlaps");
    target.model = fits ? changed : target.model;
}

void CheckRange(const Both& both, std::uint8_t first, std::uint8_t length) {
    const std::uint32_t count = length + 1u;
    bool isInside = true;
    for (const auto& [address, byte] : both.model.bytes) {
        isInside = isInside && address >= first && address < first + count;
    }
    const bool isAccepted = IsDone("fuzz", 0, [&] { RequireInside(both.image, first, count, "flash"); });
    FuzzRequire(isAccepted == isInside, "a range refuses exactly what has a byte outside");
}

}  // namespace
}  // namespace flash::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace flash::fuzz;
    constexpr std::size_t kStepBytes = 4;
    Both images[2];
    for (std::span rest(data, size); rest.size() >= kStepBytes; rest = rest.subspan(kStepBytes)) {
        Both& chosen = images[rest[0] >> 7];
        switch (rest[0] % 4) {
            case 0:
                MergeInto(chosen, images[rest[1] % 2]);
                break;
            case 1:
                CheckRange(chosen, rest[1], rest[2]);
                break;
            default:
                AddRun(chosen, rest[1], rest[2], rest[3]);
        }
        FuzzRequire(MapOf(chosen.image) == chosen.model, "the image is what the model says");
    }
    return 0;
}
