// What a load does when nothing goes wrong, and what is refused.
#include <algorithm>
#include <random>

#include "firmware/check/PortCheck.h"
#include "firmware/flash_port.h"

namespace flash::check {
namespace {

constexpr std::uint8_t kOld = 0xA5;  // what an older program has left
constexpr std::uint32_t kProgramCommands[] = {2, 3, 4, 0x12, 0x13, 0x14};

void PortIsUsable() {
    Loader loader;
    Expect(loader.Load(), 0u, "fault at the beginning of a load (firmware/commands.h)");
    Expect(FlashPortSectorCount(), ModelFlashBytes() / ModelSectorBytes(), "number of sectors");
    Expect(FlashPortBytes() == ModelFlash(), true, "flash is read where it is");
    Expect(FlashPortTraits()->ticksPerMillisecond, ModelTicksPerMillisecond(), "ticks per millisecond");
}

void ChunksEndAnywhere() {
    for (const std::uint32_t command : kProgramCommands) {
        for (std::uint32_t start = ModelSectorBytes() - 17; start <= ModelSectorBytes() + 17; start += Step(7)) {
            for (const std::uint32_t length : {1u, 3u, 8u, 31u, 100u}) {
                Loader loader;
                Bytes expected = Flash();
                const Bytes chunk = Pattern(length, start);
                std::copy(chunk.begin(), chunk.end(), expected.begin() + start);
                Expect(loader.Program(command, start, chunk).status, 0u, Name(command, start, length));
                ExpectFlash(expected, Name(command, start, length));
            }
        }
    }
}

void EraseSectorAt(Bytes& flash, std::uint32_t address) {
    std::fill_n(flash.begin() + address / ModelSectorBytes() * ModelSectorBytes(), ModelSectorBytes(),
                std::uint8_t{0xFF});
}

void LoadAscending(std::uint32_t command, std::uint32_t alignment, std::mt19937& random) {
    Loader loader;
    if (command != 2) {
        FillFlash(0, 2 * ModelSectorBytes(), kOld);
    }
    Bytes expected = Flash();
    std::uint32_t address = ModelSectorBytes() - 8 * (1 + static_cast<std::uint32_t>(random() % 40));
    if (command == 3) {
        EraseSectorAt(expected, address);
    }
    for (std::uint32_t chunk = 0; chunk < 8; ++chunk) {
        const auto length = alignment * (1 + static_cast<std::uint32_t>(random() % 20));
        const Bytes data = Pattern(length, static_cast<std::uint32_t>(random()));
        Expect(loader.Program(command, address, data).status, 0u, Name(command, address, length));
        for (const std::uint8_t byte : data) {
            if (command == 3 && address % ModelSectorBytes() == 0) {
                EraseSectorAt(expected, address);
            }
            expected[address++] = byte;
        }
    }
    ExpectFlash(expected, Name(command, address, alignment) + " in each chunk's length");
}

// As a host sends a load: each chunk goes on where the last one ended.
void ChunksAbut() {
    for (const std::uint32_t command : kProgramCommands) {
        for (std::uint32_t size = 1; size <= 40; size += Step(5)) {
            Loader loader;
            Bytes expected = Flash();
            std::uint32_t address = 2 * ModelSectorBytes() - 150;
            for (std::uint32_t chunk = 0; chunk < 6; ++chunk) {
                const Bytes data = Pattern(size, chunk);
                std::copy(data.begin(), data.end(), expected.begin() + address);
                Expect(loader.Program(command, address, data).status, 0u, Name(command, address, size));
                address += size;
            }
            ExpectFlash(expected, Name(command, address, size));
        }
    }
}

// Loads of random lengths whose chunks end at multiples of 1, 2, 4 and 8, over what an older program has left.
void LoadsOfEveryAlignment() {
    std::mt19937 random(1);
    for (const std::uint32_t alignment : {1u, 2u, 4u, 8u}) {
        for (std::uint32_t load = 0; load < 500; load += Step(50)) {
            for (const std::uint32_t command : {2u, 3u, 4u}) {
                LoadAscending(command, alignment, random);
            }
        }
    }
}

void WholeSectors() {
    for (const std::uint32_t command : kProgramCommands) {
        Loader loader;
        if (command % 0x10 != 2) {
            FillFlash(ModelSectorBytes(), ModelSectorBytes(), 0x00);
        }
        Bytes expected = Flash();
        const Bytes chunk = Pattern(ModelSectorBytes(), command);
        std::copy(chunk.begin(), chunk.end(), expected.begin() + ModelSectorBytes());
        Expect(loader.Program(command, ModelSectorBytes(), chunk).status, 0u,
               Name(command, ModelSectorBytes(), chunk.size()));
        ExpectFlash(expected, Name(command, ModelSectorBytes(), chunk.size()));
    }
}

void OldContentIsErasedOrKept() {
    for (const std::uint32_t command : {3u, 4u}) {
        Loader loader;
        FillFlash(0, 2 * ModelSectorBytes(), 0x00);
        Bytes expected = Flash();
        const Bytes chunk = Pattern(20, command);
        std::fill_n(expected.begin() + ModelSectorBytes(), ModelSectorBytes(),
                    static_cast<std::uint8_t>(command == 3 ? 0xFF : 0x00));
        std::copy(chunk.begin(), chunk.end(), expected.begin() + ModelSectorBytes() + 5);
        Expect(loader.Program(command, ModelSectorBytes() + 5, chunk).status, 0u,
               Name(command, ModelSectorBytes() + 5, 20));
        ExpectFlash(expected, Name(command, ModelSectorBytes() + 5, 20));
    }
}

void SectorsAreErased() {
    Loader loader;
    FillFlash(0, ModelFlashBytes(), 0x00);
    Bytes expected = Flash();
    std::fill_n(expected.begin() + ModelSectorBytes(), 2 * ModelSectorBytes(), std::uint8_t{0xFF});
    Expect(loader.Run(5, ModelSectorBytes() + 1, ModelSectorBytes()).status, 0u, "command 5");
    ExpectFlash(expected, "command 5");
    Expect(loader.Run(6, ModelSectorBytes(), 2 * ModelSectorBytes()).status, 0u, "blank check of what is erased");
    const Answer answer = loader.Run(6, ModelSectorBytes(), 2 * ModelSectorBytes() + 1);
    Expect(answer.status, 0x106u, "blank check of what is not");
    Expect(answer.address, 3 * ModelSectorBytes(), "address of the first byte that is not blank");
}

void BankEraseErasesOrIsRefused() {
    Loader loader;
    FillFlash(0, ModelFlashBytes(), 0x00);
    const std::uint32_t status = loader.Run(1, 0, 0).status;
    Expect(status == 0 || status == 0x105, true, "command 1 succeeds or is refused");
    ExpectFlash(Bytes(ModelFlashBytes(), status == 0 ? 0xFF : 0x00), "command 1");
}

void WhatIsNotAllowedIsRefused() {
    const struct {
        std::uint32_t command, address, length, status;
    } cases[] = {
        {2, 0, 0, 0x104},
        {2, 0, ModelSectorBytes() + 1, 0x104},
        {2, ModelFlashBytes() - 1, 2, 0x104},
        {3, ModelFlashBytes(), 1, 0x104},
        {4, 0xFFFF'FFFF, 2, 0x104},
        {5, ModelFlashBytes(), 0, 0x104},
        {6, 0, ModelFlashBytes() + 1, 0x104},
        {1, 4, 0, 0x104},
        {0, 0, 0, 0x105},
        {7, 0, 0, 0x105},
        {0x15, 0, 0, 0x105},
    };
    for (const auto& c : cases) {
        Loader loader;
        Expect(loader.Run(c.command, c.address, c.length).status, c.status, Name(c.command, c.address, c.length));
        Expect(ModelOperations(), 0u, "operations of a refused command");
    }
}

void ADamagedChunkIsNoticed() {
    for (const std::uint32_t command : {0x12u, 0x13u, 0x14u}) {
        Loader loader;
        Expect(loader.Run(command, 0, 64, 0x12345678).status, 0x106u, Name(command, 0, 64));
        Expect(ModelOperations(), 0u, "operations for a damaged chunk");
    }
}

void ContradictingDataFails() {
    Loader loader;
    loader.Program(2, 8, {0x00});
    const Bytes before = Flash();
    const std::uint32_t status = loader.Program(2, 8, {0x01}).status;
    Expect(status & 0xFFFF, 0x103u, "command 2 that would set a bit");
    ExpectFlash(before, "command 2 that would set a bit");
}

void AProtectedSectorStaysAsItIs() {
    for (const std::uint32_t command : {2u, 3u, 4u, 5u}) {
        Loader loader;
        FillFlash(0, 2 * ModelSectorBytes(), command == 2 ? 0xFF : 0x00);
        ModelProtectSector(ModelSectorBytes());
        loader.Load();
        const Bytes before = Flash();
        const std::uint32_t status = command == 5
                                         ? loader.Run(5, ModelSectorBytes(), 0).status
                                         : loader.Program(command, 2 * ModelSectorBytes() - 8, Bytes(8, 0x5A)).status;
        Expect(FlashPortIsProtected(1), true, "a sector of which a page is protected is protected");
        Expect(status & 0xFFFF, command == 2 ? 0x103u : 0x102u, Name(command, ModelSectorBytes(), 8));
        Expect(status >> 16 & 0xFF, 4u, "state machine status");
        ExpectFlash(before, Name(command, ModelSectorBytes(), 8));
    }
}

}  // namespace

std::vector<Check> ProgrammingChecks() {
    return {
        {"port-is-usable", PortIsUsable},
        {"chunks-end-anywhere", ChunksEndAnywhere},
        {"chunks-abut", ChunksAbut},
        {"loads-of-every-alignment", LoadsOfEveryAlignment},
        {"whole-sectors", WholeSectors},
        {"old-content-is-erased-or-kept", OldContentIsErasedOrKept},
        {"sectors-are-erased", SectorsAreErased},
        {"bank-erase-erases-or-is-refused", BankEraseErasesOrIsRefused},
        {"what-is-not-allowed-is-refused", WhatIsNotAllowedIsRefused},
        {"a-damaged-chunk-is-noticed", ADamagedChunkIsNoticed},
        {"contradicting-data-fails", ContradictingDataFails},
        {"a-protected-sector-stays-as-it-is", AProtectedSectorStaysAsItIs},
    };
}

}  // namespace flash::check
