// Whether a sector that differs is ever left out of a load: pairs of images, full of what a weak hash takes for equal,
// through the routine on the emulated core and through the plan. And whether every sector that is right is left out.
//
// Usage: flash_question_safety ROUTINE PAIRS_OF_SECTORS
#include <cstdio>
#include <cstdlib>
#include <random>
#include <utility>

#include "chip/VirtualChip.h"
#include "host/plan/Unchanged.h"
#include "host/target/FlashQuestion.h"
#include "host/virtual_chip/VirtualChipProbe.h"
#include "tests/host/target/safety/Twins.h"

namespace {

using namespace flash::host;

// Small sectors, so that there can be many.
constexpr FlashGeometry kGeometry{128, 32};

struct Images {
    std::vector<Pair> sectors;
    Bytes present, wanted;
};

Images DrawImages(std::mt19937& random) {
    Images images;
    for (std::uint32_t i = 0; i < kGeometry.sectorCount; ++i) {
        images.sectors.push_back(DrawPair(random, kGeometry.sectorSizeBytes));
    }
    for (std::uint32_t i = 0; i + 1 < kGeometry.sectorCount; i += 8) {
        Pair& first = images.sectors[i];
        Pair& second = images.sectors[i + 1];
        first = {"swapped with the next sector", first.present, second.present};
        second = {"swapped with the sector before", second.present, first.present};
    }
    for (const Pair& pair : images.sectors) {
        images.present.insert(images.present.end(), pair.present.begin(), pair.present.end());
        images.wanted.insert(images.wanted.end(), pair.wanted.begin(), pair.wanted.end());
    }
    return images;
}

WritePlan PlanChanges(Probe& probe, const Routine& routine, const Bytes& image) {
    PlanRequest request{};
    request.geometry = kGeometry;
    const WritePlan all = MakeWritePlan({{0, image}}, request, {});
    const std::vector<SectorContent> contents = ContentsAfter(all, std::nullopt);
    std::vector<WantedRange> wanted;
    for (const SectorContent& sector : contents) {
        wanted.push_back({sector.content.address, sector.content.bytes});
    }
    const std::vector<bool> isHeld = AskWhatFlashHolds(probe, routine, wanted);
    SectorSet unchanged(kGeometry.sectorCount);
    for (std::size_t i = 0; i < contents.size(); ++i) {
        if (isHeld[i]) {
            unchanged.Add(contents[i].sector);
        }
    }
    return LeaveOut(all, unchanged);
}

// The number of sectors that the plan is wrong about.
unsigned CheckPlan(const WritePlan& plan, const Images& images) {
    unsigned wrong = 0;
    for (std::uint32_t i = 0; i < kGeometry.sectorCount; ++i) {
        const Pair& pair = images.sectors[i];
        const bool isRight = pair.present == pair.wanted;
        if (plan.sectors[i].isUnchanged != isRight) {
            ++wrong;
            std::printf("sector %u (%s) %s\n", static_cast<unsigned>(i), pair.kind.c_str(),
                        isRight ? "is right, and would have been written"
                                : "holds something else, and would have been left out");
        }
    }
    return wrong;
}

}  // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 3) {
        std::fprintf(stderr, "Usage: flash_question_safety ROUTINE PAIRS_OF_SECTORS\n");
        return 2;
    }
    const Routine routine = ReadRoutine(arguments[1]);
    const unsigned long pairs = std::strtoul(arguments[2], nullptr, 10);
    VirtualChipProbe probe(flash::chip::VirtualChip(flash::chip::Settings{}));
    std::mt19937 random(16);
    unsigned long done = 0;
    unsigned wrong = 0;
    for (; done < pairs && wrong == 0; done += kGeometry.sectorCount) {
        const Images images = DrawImages(random);
        probe.Chip().PlaceInFlash(0, images.present);
        wrong += CheckPlan(PlanChanges(probe, routine, images.wanted), images);
    }
    std::printf("%lu pairs of sectors tried, %u decided wrongly\n", done, wrong);
    return wrong == 0 ? 0 : 1;
}
