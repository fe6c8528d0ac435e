// Random work for a chip that is programmed again and again: what it holds, what a file brings, and what is asked for.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "host/files/ProgramImage.h"
#include "host/settings/ProgramOptions.h"
#include "tests/host/session/SessionBench.h"

namespace flash::host {

struct Work {
    std::vector<std::uint8_t> before;  // all of flash
    ProgramImage image;
    ProgramOptions options;
    std::string text;
};

class RandomWork {
public:
    RandomWork(std::uint32_t seed, const DeviceDescription& part) : random(seed), device(part) {}

    // Any options.
    Work Draw();

    // A load that can be cut anywhere and done again: what the file does not bring in a sector needs not stay.
    Work DrawRepeatable();

    std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(random() % bound); }
    bool Coin() { return Below(2) == 0; }

private:
    void PutWords(std::vector<std::uint8_t>& flash, std::uint32_t sector);
    std::vector<std::uint8_t> OldFlash();
    std::vector<std::uint8_t> NewFlash(const std::vector<std::uint8_t>& before);
    ProgramImage FileOf(const std::vector<std::uint8_t>& flash, bool isWholeSectors);
    SectorSet SomeSectors();
    void ChooseErasing(ProgramOptions& options);
    void ChooseClosing(ClosingChanges& closing);
    static std::string Describe(const Work& work);

    std::mt19937 random;
    const DeviceDescription& device;
};

// Chips that erase quickly, since the core only waits meanwhile.
void MakeChip(Bench& bench, const std::vector<std::uint8_t>& flash);

}  // namespace flash::host
