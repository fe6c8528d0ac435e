// The flashloader once more, as its guide tells it: byte by byte, over whole contents, with no thought for speed or
// memory. It works on flash of its own.
#pragma once

#include <cstdint>
#include <set>

#include "firmware/commands.h"
#include "tests/fuzz/firmware/ModelFlash.h"

namespace flash::fuzz {

struct Answer {
    std::uint32_t status;
    std::uint32_t address;  // as left in the block
};

class SecondFlashloader {
public:
    SecondFlashloader(std::uint32_t sectorBytes, std::uint32_t sectorCount) : flash(sectorBytes, sectorCount) {}

    Answer Run(const ::CommandBlock& block, const Bytes& buffer);
    void LoadAgain() { fresh.clear(); }

    ModelFlash flash;

private:
    Answer Program(const ::CommandBlock& block, const Bytes& buffer);
    Answer BlankCheck(const ::CommandBlock& block) const;
    std::uint32_t EraseBank(const ::CommandBlock& block);
    std::uint32_t EraseRange(const ::CommandBlock& block);
    std::uint32_t EraseSector(std::uint32_t sector);

    std::uint32_t ProgramSector(std::uint32_t code, std::uint32_t sector, std::uint32_t begin, const Bytes& part);
    std::uint32_t ProgramLocksLast(std::uint32_t begin, const Bytes& part);
    std::uint32_t ProgramBytes(std::uint32_t begin, const Bytes& part);

    Bytes Content(std::uint32_t begin, std::uint32_t length) const;

    std::set<std::uint32_t> fresh;  // sectors that hold nothing older than the load
};

std::uint32_t SlowCrc32(const Bytes& bytes);

}  // namespace flash::fuzz
