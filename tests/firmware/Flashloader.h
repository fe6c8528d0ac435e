// The flashloader's logic on a fake flash, as if freshly loaded.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "firmware/commands.h"
#include "firmware/crc32.h"
#include "tests/firmware/FakeFlash.h"

namespace flash {

using Bytes = std::vector<std::uint8_t>;

struct Answer {
    std::uint32_t status;
    std::uint32_t address;  // as left in the block
    bool operator==(const Answer&) const = default;
};

struct Flashloader {
    explicit Flashloader(std::uint32_t sectorBytes = 4096, std::uint32_t sectorCount = 4)
        : fake(sectorBytes, sectorCount),
          buffers{Bytes(sectorBytes), Bytes(sectorBytes)},
          scratch(sectorBytes),
          workspace{sectorBytes, {buffers[0].data(), buffers[1].data()}, scratch.data(), stackGuard.data()} {
        LoadAgain();
    }

    // A command that needs no data.
    Answer Run(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t crc = 0) {
        ::CommandBlock block{address, length, command, crc, 0xFFFF'FFFF, 0};
        const std::uint32_t status = RunCommand(&state, &block, buffers[0].data());
        return {status, block.address};
    }

    // A program command for this chunk, with its true CRC.
    Answer Program(std::uint32_t command, std::uint32_t address, const Bytes& chunk) {
        std::copy(chunk.begin(), chunk.end(), buffers[0].begin());
        const auto length = static_cast<std::uint32_t>(chunk.size());
        return Run(command, address, length, Crc32(chunk.data(), length));
    }

    Bytes FlashAt(std::uint32_t address, std::size_t length) const {
        const auto first = fake.bytes.begin() + address;
        return {first, first + static_cast<std::ptrdiff_t>(length)};
    }

    void SetFlash(std::uint32_t address, const Bytes& content) {
        std::copy(content.begin(), content.end(), fake.bytes.begin() + address);
    }

    // In place: the workspace points at the buffers.
    void FillBuffer(std::size_t index, std::uint8_t value) {
        std::fill(buffers[index].begin(), buffers[index].end(), value);
    }

    // As after another load: SRAM starts anew, flash stays.
    void LoadAgain() { loadFault = BeginLoad(&state, &workspace); }

    FakeFlash fake;
    std::array<Bytes, 2> buffers;
    Bytes scratch;
    std::array<std::uint32_t, kGuardWords> stackGuard{};
    Workspace workspace;
    LoadState state{};
    std::uint32_t loadFault = 0;
};

}  // namespace flash
