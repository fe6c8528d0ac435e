// The flashloader once more, as its guide tells it: byte by byte, over whole contents, with no thought for speed or
// memory. It works on flash of its own.
#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <vector>

#include "firmware/commands.h"
#include "tests/fuzz/firmware/ModelFlash.h"

namespace flash::fuzz {

struct Answer {
    std::uint32_t status;
    std::uint32_t address;  // as left in the block
};

class SecondFlashloader {
public:
    SecondFlashloader(std::uint32_t sectorBytes, std::uint32_t sectorCount, Units units)
        : flash(sectorBytes, sectorCount, units) {}

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
    std::uint32_t ProgramUnitsWithLocks(std::uint32_t begin, const Bytes& part);
    std::uint32_t ProgramBytes(std::uint32_t begin, const Bytes& part);

    // The first byte of a range that is programmed, or unit in it that was, with ones; its end when there is none.
    std::uint32_t FirstUsed(std::uint32_t begin, std::uint32_t length) const;
    bool IsBlank(std::uint32_t begin, std::uint32_t length) const { return FirstUsed(begin, length) == begin + length; }
    std::uint32_t UnitOf(std::uint32_t address) const { return address / flash.units.bytes * flash.units.bytes; }
    // A unit with the part's bytes over it; nothing when the part has only ones there, or changes nothing.
    std::optional<Bytes> Merged(std::uint32_t unit, std::uint32_t begin, const Bytes& part) const;
    bool WritesTwice(std::uint32_t begin, const Bytes& part) const;
    bool Contradicts(std::uint32_t begin, const Bytes& part) const;
    // The locks that the part closes, in the order in which they come.
    std::vector<std::uint32_t> Locks(std::uint32_t begin, const Bytes& part) const;

    Bytes Content(std::uint32_t begin, std::uint32_t length) const;

    std::set<std::uint32_t> fresh;  // sectors that hold nothing older than the load
};

std::uint32_t SlowCrc32(const Bytes& bytes);

}  // namespace flash::fuzz
