// What each command leaves in flash, and what is refused.
#include <fmt/format.h>

#include <algorithm>
#include <random>

#include "apps/check_flashloader/Checks.h"

namespace flash::flashloader_check {
namespace {

constexpr std::uint32_t kProgramCommands[] = {2, 3, 4, 0x12, 0x13, 0x14};

std::string Name(std::uint32_t command, std::uint32_t address, std::size_t length) {
    return fmt::format("command 0x{:X} at 0x{:X}, {} bytes", command, address, length);
}

void ChunksEndAnywhere(const Image& image) {
    const std::uint32_t size = SectorBytesOf(image);
    for (const std::uint32_t command : kProgramCommands) {
        Bench bench(image);
        Bytes expected = bench.Flash();
        std::uint32_t address = size - 60;
        for (const std::uint32_t length : {1u, 2u, 3u, 5u, 8u, 13u, 4u, 40u, 7u, 64u, 9u}) {
            const Bytes chunk = Pattern(length, address);
            std::ranges::copy(chunk, expected.begin() + address);
            RequireEqual(bench.Program(command, address, chunk).status, 0, Name(command, address, length));
            address += length;
        }
        RequireFlash(bench, expected, fmt::format("abutting chunks by command 0x{:X}", command));
        bench.RequireNoViolation();
    }
}

void EraseSectorAt(Bytes& flash, std::uint32_t address, std::uint32_t size) {
    std::fill_n(flash.begin() + address / size * size, size, std::uint8_t{0xFF});
}

// As a host sends a load: each chunk goes on where the last one ended, and all end at multiples of `alignment`.
void LoadAscending(Bench& bench, std::uint32_t command, std::uint32_t alignment, std::mt19937& random) {
    const std::uint32_t size = bench.SectorBytes();
    Bytes expected = bench.Flash();
    std::uint32_t address = size - 8 * (1 + static_cast<std::uint32_t>(random() % 24));
    if (command == 3) {
        EraseSectorAt(expected, address, size);
    }
    for (int chunk = 0; chunk < 5; ++chunk) {
        const auto length = alignment * (1 + static_cast<std::uint32_t>(random() % (80 / alignment)));
        const Bytes data = Pattern(length, static_cast<std::uint32_t>(random()));
        RequireEqual(bench.Program(command | 0x10, address, data).status, 0, Name(command, address, length));
        for (const std::uint8_t byte : data) {
            if (command == 3 && address % size == 0) {
                EraseSectorAt(expected, address, size);
            }
            expected[address++] = byte;
        }
    }
    RequireFlash(bench, expected, fmt::format("a load by command {} in multiples of {}", command, alignment));
}

void LoadsOfEveryAlignment(const Image& image) {
    std::mt19937 random(1);
    for (const std::uint32_t command : {2u, 3u, 4u}) {
        for (const std::uint32_t alignment : {1u, 2u, 4u, 8u}) {
            for (std::uint32_t load = 0; load < image.loads; ++load) {
                Bench bench(image, command == 2 ? Bytes{} : OldFlash(image));
                LoadAscending(bench, command, alignment, random);
                bench.RequireNoViolation();
            }
        }
    }
}

void WholeSectors(const Image& image) {
    for (const std::uint32_t command : {3u, 0x14u}) {
        Bench bench(image, OldFlash(image));
        Bytes expected = bench.Flash();
        const Bytes chunk = Pattern(bench.SectorBytes(), command);
        std::ranges::copy(chunk, expected.begin() + bench.SectorBytes());
        RequireEqual(bench.Program(command, bench.SectorBytes(), chunk).status, 0, "status of a whole sector");
        RequireFlash(bench, expected, fmt::format("a whole sector by command 0x{:X}", command));
    }
}

void ErasesOrKeeps(const Image& image) {
    for (const std::uint32_t command : {3u, 4u}) {
        Bench bench(image, OldFlash(image));
        const std::uint32_t size = bench.SectorBytes();
        Bytes expected = bench.Flash();
        if (command == 3) {
            std::fill_n(expected.begin() + size, 2 * size, std::uint8_t{0xFF});
        }
        const Bytes chunk = Pattern(30, command);
        std::ranges::copy(chunk, expected.begin() + 2 * size - 15);
        RequireEqual(bench.Program(command, 2 * size - 15, chunk).status, 0, Name(command, 2 * size - 15, 30));
        RequireFlash(bench, expected, Name(command, 2 * size - 15, 30));
    }
}

void ErasesOncePerLoad(const Image& image) {
    Bench bench(image, OldFlash(image));
    Bytes expected = bench.Flash();
    std::fill_n(expected.begin(), bench.SectorBytes(), std::uint8_t{0xFF});
    for (const std::uint32_t address : {0x10u, 0x400u}) {
        std::ranges::copy(Pattern(16, address), expected.begin() + address);
        RequireEqual(bench.Program(3, address, Pattern(16, address)).status, 0, Name(3, address, 16));
    }
    RequireEqual(bench.Run({0, bench.SectorBytes() - 1, 5}).status, 0, "status of command 5");
    RequireFlash(bench, expected, "two chunks and command 5 in one sector");
    bench.Load();
    bench.Start();
    RequireEqual(bench.Run({0, bench.SectorBytes() - 1, 5}).status, 0, "status of command 5 after another load");
    std::fill_n(expected.begin(), bench.SectorBytes(), std::uint8_t{0xFF});
    RequireFlash(bench, expected, "command 5 after another load");
}

void ErasesARange(const Image& image) {
    Bench bench(image, OldFlash(image));
    Bytes expected = bench.Flash();
    std::fill_n(expected.begin() + bench.SectorBytes(), 2 * bench.SectorBytes(), std::uint8_t{0xFF});
    RequireEqual(bench.Run({bench.SectorBytes(), 2 * bench.SectorBytes() - 1, 5}).status, 0, "status of command 5");
    RequireFlash(bench, expected, "command 5 over two sectors");
}

void ErasesTheBank(const Image& image) {
    Bench bench(image, OldFlash(image));
    const Bytes before = bench.Flash();
    const std::uint32_t status = bench.Run({0, 0, 1}).status;
    Require(status == 0 || status == 0x105, "status 0 or 0x105 of command 1", fmt::format("0x{:X}", status));
    RequireFlash(bench, status == 0 ? Bytes(before.size(), 0xFF) : before, "command 1");
}

void ChecksForBlank(const Image& image) {
    Bench bench(image, OldFlash(image));
    const std::uint32_t size = bench.SectorBytes();
    RequireEqual(bench.Run({4 * size, 2 * size, 6}).status, 0, "status of a blank check where flash is blank");
    const Bytes one = {0xFE};
    RequireEqual(bench.Program(2, 5 * size + 77, one).status, 0, "status of command 2");
    const Answer answer = bench.Run({4 * size, 2 * size, 6});
    RequireEqual(answer.status, 0x106, "status of a blank check where flash is not blank");
    RequireEqual(answer.address, 5 * size + 77, "address of the first byte that is not blank");
}

void RefusesWhatIsNotAllowed(const Image& image) {
    const std::uint32_t size = SectorBytesOf(image);
    const std::uint32_t end = image.sectorCount * size;
    const struct {
        Block block;
        std::uint32_t status;
    } cases[] = {
        {{0, 0, 2}, 0x104},           {{0, size + 1, 2}, 0x104}, {{end - 1, 2, 3}, 0x104}, {{end, 1, 4}, 0x104},
        {{0xFFFF'FFFF, 2, 3}, 0x104}, {{end, 0, 5}, 0x104},      {{0, end, 5}, 0x104},     {{0, end + 1, 6}, 0x104},
        {{0, 0, 6}, 0x104},           {{4, 0, 1}, 0x104},        {{0, 4, 1}, 0x104},       {{0, 4, 0}, 0x105},
        {{0, 4, 7}, 0x105},           {{0, 4, 0x15}, 0x105},     {{0, 4, 0x102}, 0x105},
    };
    Bench bench(image, OldFlash(image));
    for (const auto& c : cases) {
        RequireEqual(bench.Run(c.block).status, c.status, Name(c.block.command, c.block.address, c.block.length));
        RequireEqual(bench.Operations(), 0, "flash operations of a refused command");
    }
}

void ChecksTheCrcFirst(const Image& image) {
    for (const std::uint32_t command : {0x12u, 0x13u, 0x14u}) {
        Bench bench(image, OldFlash(image));
        bench.chip.WriteMemory(bench.BufferAddress(0), Pattern(64, 1));
        RequireEqual(bench.Run({0, 64, command, 0x1234'5678}).status, 0x106, "status of a damaged chunk");
        RequireEqual(bench.Operations(), 0, "flash operations for a damaged chunk");
    }
}

void LeavesProtectedSectorsAlone(const Image& image) {
    for (const std::uint32_t command : {1u, 3u, 4u, 5u}) {
        Bench bench(image, OldFlash(image));
        bench.ProtectSector(1);
        const Bytes flash = bench.Flash();
        const std::uint32_t size = bench.SectorBytes();
        const Block whole = command == 1 ? Block{0, 0, 1} : Block{size, command == 5 ? size - 1 : size, command};
        bench.chip.WriteMemory(bench.BufferAddress(0), Pattern(size, 1));
        const std::uint32_t status = bench.Run(whole).status;
        Require(std::equal(flash.begin() + size, flash.begin() + 2 * size, bench.Flash().begin() + size),
                "a protected sector as it was", "other bytes");
        if (command != 1) {
            RequireEqual(status, 0x102 | 4u << 16 | 1u << 24, fmt::format("status of command {} there", command));
        }
    }
}

}  // namespace

std::vector<Check> CommandChecks() {
    return {
        {"chunks-end-anywhere", "Commands 2, 3 and 4 take chunks of any alignment.", ChunksEndAnywhere},
        {"loads-of-every-alignment",
         "Loads of abutting chunks leave the file in flash, whatever they are multiples of.", LoadsOfEveryAlignment},
        {"whole-sectors", "A chunk of a whole sector is programmed.", WholeSectors},
        {"erases-or-keeps", "Command 3 erases the sectors that it touches, command 4 keeps the rest.", ErasesOrKeeps},
        {"erases-once-per-load", "Commands 3 and 5 erase a sector once per load.", ErasesOncePerLoad},
        {"erases-a-range", "Command 5 erases from its first byte to its last.", ErasesARange},
        {"erases-the-bank", "Command 1 erases all, or is refused and has touched nothing.", ErasesTheBank},
        {"checks-for-blank", "Command 6 tells the first byte that is not blank.", ChecksForBlank},
        {"refuses-what-is-not-allowed", "Bad arguments give 0x104, unknown commands 0x105; nothing is touched.",
         RefusesWhatIsNotAllowed},
        {"checks-the-crc-first", "A damaged chunk gives 0x106 before flash is touched.", ChecksTheCrcFirst},
        {"leaves-protected-sectors-alone", "A protected sector stays as it is.", LeavesProtectedSectorsAlone},
    };
}

}  // namespace flash::flashloader_check
