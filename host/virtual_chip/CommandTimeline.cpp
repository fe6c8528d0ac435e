#include "host/virtual_chip/CommandTimeline.h"

#include <fmt/format.h>

#include <array>
#include <optional>
#include <utility>

namespace flash::host {
namespace {

constexpr std::uint32_t kBlockCount = 2;
constexpr std::uint32_t kBlockBytes = 24;
constexpr std::uint32_t kLengthOffset = 4;  // the address comes first
constexpr std::uint32_t kCommandOffset = 8;
constexpr std::uint32_t kStatusOffset = 16;
constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;
constexpr std::array kLanes = {chip::UserLane::First, chip::UserLane::Second};

struct Command {
    std::uint32_t code;
    std::uint32_t address;
    std::uint32_t lengthBytes;
    std::chrono::nanoseconds start;
};

class CommandWatch {
public:
    CommandWatch(chip::VirtualChip& watchedChip, std::uint32_t address) : chip(&watchedChip), blocks(address) {}

    void OnWrite(const chip::SramWrite& write) {
        for (std::uint32_t i = 0; i < kBlockCount; ++i) {
            const std::uint32_t block = blocks + i * kBlockBytes;
            if (write.address >= block + kBlockBytes || write.address + write.length <= block) {
                continue;
            }
            if (write.by == chip::SramWrite::By::Probe) {
                NotePost(block, commands[i]);
            } else {
                NoteStatus(block, i);
            }
        }
    }

private:
    void NotePost(std::uint32_t block, std::optional<Command>& command) const {
        command.reset();
        if (chip->PeekWord(block + kStatusOffset) == kNotDone) {
            command = {chip->PeekWord(block + kCommandOffset), chip->PeekWord(block),
                       chip->PeekWord(block + kLengthOffset), chip->Now()};
        }
    }

    void NoteStatus(std::uint32_t block, std::uint32_t index) {
        const std::uint32_t status = chip->PeekWord(block + kStatusOffset);
        if (!commands[index] || status == kNotDone) {
            return;
        }
        const Command done = *std::exchange(commands[index], std::nullopt);
        chip->AddToLane(kLanes[index], done.address, done.lengthBytes, done.start,
                        fmt::format("command 0x{:02X}, status 0x{:08X}", done.code, status));
    }

    chip::VirtualChip* chip;
    std::uint32_t blocks;
    std::array<std::optional<Command>, kBlockCount> commands;
};

}  // namespace

void NameCommandLanes(chip::VirtualChip& chip) {
    chip.NameLane(chip::UserLane::First, "command block 0");
    chip.NameLane(chip::UserLane::Second, "command block 1");
}

void ShowCommands(chip::VirtualChip& chip, std::uint32_t blocks) {
    if (blocks == 0) {
        chip.ObserveSram(0, 0, {});
        return;
    }
    try {
        chip.ObserveSram(
            blocks, kBlockCount * kBlockBytes,
            [watch = CommandWatch(chip, blocks)](const chip::SramWrite& write) mutable { watch.OnWrite(write); });
    } catch (const chip::ChipError&) {
        throw chip::ChipError("Command blocks lie in SRAM, at a multiple of 4.");
    }
}

}  // namespace flash::host
