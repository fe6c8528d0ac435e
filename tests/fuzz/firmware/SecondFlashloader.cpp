#include "tests/fuzz/firmware/SecondFlashloader.h"

#include <algorithm>

namespace flash::fuzz {
namespace {

constexpr std::uint32_t kInvalidArguments = 0x104;
constexpr std::uint32_t kRestNotKept = 0x103;  // though the state machine calls each unit a success
constexpr std::uint32_t kUnknownCommand = 0x105;
constexpr std::uint32_t kVerificationIssue = 0x106;

std::uint32_t EraseFailed(std::uint32_t sector, FsmStatus fsmStatus) {
    return 0x102 + fsmStatus * 0x10000U + sector * 0x100'0000U;
}

std::uint32_t ProgramFailed(FsmStatus fsmStatus) { return fsmStatus == kFsmSuccess ? 0 : 0x103 + fsmStatus * 0x10000U; }

bool AreOnes(const Bytes& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0xFF; });
}

Bytes Part(const Bytes& bytes, std::uint32_t begin, std::uint32_t end) {
    return Bytes(bytes.begin() + begin, bytes.begin() + end);
}

bool SetsABit(const Bytes& before, const Bytes& after) {
    return !std::equal(before.begin(), before.end(), after.begin(),
                       [](std::uint8_t held, std::uint8_t wanted) { return (wanted & ~held) == 0; });
}

std::uint32_t FirstDifference(const Bytes& some, const Bytes& others) {
    return static_cast<std::uint32_t>(std::mismatch(some.begin(), some.end(), others.begin()).first - some.begin());
}

}  // namespace

std::uint32_t SlowCrc32(const Bytes& bytes) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : bytes) {
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ (((crc ^ (byte >> bit)) & 1) != 0 ? 0xEDB8'8320 : 0);
        }
    }
    return ~crc;
}

Answer SecondFlashloader::Run(const ::CommandBlock& block, const Bytes& buffer) {
    switch (block.command) {
        case 1:
            return {EraseBank(block), block.address};
        case 2:
        case 3:
        case 4:
        case 0x12:
        case 0x13:
        case 0x14:
            return Program(block, buffer);
        case 5:
            return {EraseRange(block), block.address};
        case 6:
            return BlankCheck(block);
        default:
            return {kUnknownCommand, block.address};
    }
}

std::uint32_t SecondFlashloader::EraseBank(const ::CommandBlock& block) {
    if (block.address != 0 || block.length != 0) {
        return kInvalidArguments;
    }
    const FsmStatus fsmStatus = flash.EraseBank();
    if (fsmStatus == kFsmNotSupported) {
        return kUnknownCommand;
    }
    if (fsmStatus == kFsmBusy) {
        return EraseFailed(0, fsmStatus);
    }
    std::set<std::uint32_t> erased;
    for (std::uint32_t sector = 0; sector < flash.sectorCount; ++sector) {
        if (!flash.protectedSectors.contains(sector)) {
            if (!IsBlank(sector * flash.sectorBytes, flash.sectorBytes)) {
                return EraseFailed(sector, fsmStatus);
            }
            erased.insert(sector);
        }
    }
    if (fsmStatus != kFsmSuccess) {
        return EraseFailed(0, fsmStatus);
    }
    fresh.merge(erased);
    return 0;
}

std::uint32_t SecondFlashloader::EraseRange(const ::CommandBlock& block) {
    const std::uint64_t last = std::uint64_t{block.address} + block.length;
    if (last >= flash.bytes.size()) {
        return kInvalidArguments;
    }
    std::uint32_t status = 0;
    for (std::uint32_t sector = 0; sector < flash.sectorCount && status == 0; ++sector) {
        const std::uint64_t begin = std::uint64_t{sector} * flash.sectorBytes;
        const bool isTouched = begin <= last && begin + flash.sectorBytes > block.address;
        status = isTouched && !fresh.contains(sector) ? EraseSector(sector) : 0;
        if (isTouched && status == 0) {
            fresh.insert(sector);
        }
    }
    return status;
}

std::uint32_t SecondFlashloader::EraseSector(std::uint32_t sector) {
    const std::uint32_t address = sector * flash.sectorBytes;
    const FsmStatus fsmStatus = flash.EraseSector(address);
    if (fsmStatus != kFsmSuccess || !IsBlank(address, flash.sectorBytes)) {
        return EraseFailed(sector, fsmStatus);
    }
    return 0;
}

Answer SecondFlashloader::BlankCheck(const ::CommandBlock& block) const {
    if (block.length == 0 || std::uint64_t{block.address} + block.length > flash.bytes.size()) {
        return {kInvalidArguments, block.address};
    }
    const std::uint32_t used = FirstUsed(block.address, block.length);
    return used == block.address + block.length ? Answer{0, block.address} : Answer{kVerificationIssue, used};
}

Answer SecondFlashloader::Program(const ::CommandBlock& block, const Bytes& buffer) {
    const std::uint64_t end = std::uint64_t{block.address} + block.length;
    if (block.length == 0 || block.length > flash.sectorBytes || end > flash.bytes.size()) {
        return {kInvalidArguments, block.address};
    }
    const Bytes chunk = Part(buffer, 0, block.length);
    const bool verifies = block.command > 0x10;
    if (verifies && SlowCrc32(chunk) != block.crc) {
        return {kVerificationIssue, block.address};
    }
    std::uint32_t status = 0;
    for (std::uint32_t sector = 0; sector < flash.sectorCount && status == 0; ++sector) {
        const std::uint32_t from = std::max(block.address, sector * flash.sectorBytes);
        const std::uint32_t to = std::min(block.address + block.length, (sector + 1) * flash.sectorBytes);
        if (from < to) {
            const Bytes part = Part(chunk, from - block.address, to - block.address);
            status = ProgramSector(block.command & 0x0F, sector, from, part);
        }
    }
    const std::uint32_t offset = FirstDifference(chunk, Content(block.address, block.length));
    return verifies && status == 0 && offset != block.length ? Answer{kVerificationIssue, block.address + offset}
                                                             : Answer{status, block.address};
}

std::uint32_t SecondFlashloader::FirstUsed(std::uint32_t begin, std::uint32_t length) const {
    const std::uint32_t programmed = begin + FirstDifference(Content(begin, length), Bytes(length, 0xFF));
    const auto used = std::find_if(flash.usedUnits.begin(), flash.usedUnits.end(), [&](std::uint32_t unit) {
        return unit >= begin && unit + flash.units.bytes <= begin + length && AreOnes(Content(unit, flash.units.bytes));
    });
    return used == flash.usedUnits.end() ? programmed : std::min(programmed, *used);
}

std::optional<Bytes> SecondFlashloader::Merged(std::uint32_t unit, std::uint32_t begin, const Bytes& part) const {
    Bytes asked(flash.units.bytes, 0xFF);
    Bytes wanted = Content(unit, flash.units.bytes);
    const Bytes before = wanted;
    for (std::uint32_t i = 0; i < flash.units.bytes; ++i) {
        if (unit + i >= begin && unit + i < begin + part.size()) {
            asked[i] = wanted[i] = part[unit + i - begin];
        }
    }
    return AreOnes(asked) || wanted == before ? std::nullopt : std::optional(wanted);
}

bool SecondFlashloader::WritesTwice(std::uint32_t begin, const Bytes& part) const {
    bool found = false;
    for (std::uint32_t unit = UnitOf(begin); unit < begin + part.size(); unit += flash.units.bytes) {
        found = found || (!flash.units.areRewritable && Merged(unit, begin, part) && !IsBlank(unit, flash.units.bytes));
    }
    return found;
}

bool SecondFlashloader::Contradicts(std::uint32_t begin, const Bytes& part) const {
    bool found = false;
    for (std::uint32_t unit = UnitOf(begin); unit < begin + part.size(); unit += flash.units.bytes) {
        const std::optional<Bytes> wanted = Merged(unit, begin, part);
        found = found || (wanted && SetsABit(Content(unit, flash.units.bytes), *wanted));
    }
    return found;
}

std::uint32_t SecondFlashloader::ProgramSector(std::uint32_t code, std::uint32_t sector, std::uint32_t begin,
                                               const Bytes& part) {
    const std::uint32_t sectorBegin = sector * flash.sectorBytes;
    const auto end = begin + static_cast<std::uint32_t>(part.size());
    const Bytes before = Content(sectorBegin, flash.sectorBytes);
    Bytes after = code == 3 ? Bytes(flash.sectorBytes, 0xFF) : before;
    std::copy(part.begin(), part.end(), after.begin() + (begin - sectorBegin));
    if (code == 3 && before == after && IsBlank(sectorBegin, begin - sectorBegin) &&
        IsBlank(end, sectorBegin + flash.sectorBytes - end)) {
        fresh.insert(sector);
        return 0;
    }
    const bool erasesFirst = code == 3 && !fresh.contains(sector);
    const bool writesTwice = !erasesFirst && WritesTwice(begin, part);
    if (writesTwice && code != 4 && Contradicts(begin, part)) {
        return ProgramFailed(kFsmFailed);
    }
    const bool rewrites = writesTwice || (code == 4 && SetsABit(before, after));
    if (code != 4 && rewrites) {  // where the part has only ones over something, that stays
        for (std::size_t i = 0; i < before.size(); ++i) {
            after[i] = part.size() > i - (begin - sectorBegin) ? after[i] & before[i] : before[i];
        }
    }
    if (const std::uint32_t status = erasesFirst || rewrites ? EraseSector(sector) : 0; status != 0) {
        return status;
    }
    if (erasesFirst || (rewrites && code == 4 && part.size() == flash.sectorBytes)) {
        fresh.insert(sector);
    }
    if (!rewrites) {
        return ProgramLocksLast(begin, part);
    }
    const std::uint32_t status = ProgramLocksLast(sectorBegin, after);
    Bytes expected = before;
    const Bytes now = Content(sectorBegin, flash.sectorBytes);
    const auto there = now.begin() + (begin - sectorBegin);
    std::copy_n(there, part.size(), expected.begin() + (begin - sectorBegin));
    return status == 0 && now != expected ? kRestNotKept : status;
}

std::vector<std::uint32_t> SecondFlashloader::Locks(std::uint32_t begin, const Bytes& part) const {
    const auto size = static_cast<std::uint32_t>(flash.bytes.size());
    const std::uint32_t last = flash.sectorCount - 1;
    const std::uint32_t port = size - 0x29;
    const std::uint32_t protection = size - (last < 32 ? 0x20 : 0x1C) + last % 32 / 8;
    std::vector<std::uint32_t> locks;
    for (const std::uint32_t address : {protection, port}) {
        const auto bits = static_cast<std::uint8_t>(address == port ? 0xFF : 1U << last % 8);
        if (begin <= address && address < begin + part.size() && (part[address - begin] & bits) == 0) {
            locks.push_back(address);
        }
    }
    return locks;
}

// First what locks nothing, then the bit that protects the last sector, then the byte that closes the debug port.
std::uint32_t SecondFlashloader::ProgramLocksLast(std::uint32_t begin, const Bytes& part) {
    if (!flash.units.areRewritable) {
        return ProgramUnitsWithLocks(begin, part);
    }
    const std::vector<std::uint32_t> locks = Locks(begin, part);
    std::uint32_t status = 0;
    const auto program = [&](std::uint32_t from, std::uint32_t to) {
        status = status != 0 ? status : ProgramBytes(from, Part(part, from - begin, to - begin));
    };
    std::uint32_t from = begin;
    std::vector<std::uint32_t> ascending = locks;
    std::sort(ascending.begin(), ascending.end());
    for (const std::uint32_t lock : ascending) {
        program(from, lock);
        from = lock + 1;
    }
    program(from, begin + static_cast<std::uint32_t>(part.size()));
    for (const std::uint32_t lock : locks) {
        if (lock != flash.bytes.size() - 0x29) {
            const auto bit = static_cast<std::uint8_t>(1U << (flash.sectorCount - 1) % 8);
            const auto others = static_cast<std::uint8_t>(part[lock - begin] | (flash.bytes[lock] & bit));
            status = status != 0 ? status : ProgramBytes(lock, {others});
        }
        program(lock, lock + 1);
    }
    return status;
}

// The units without a lock, then those with one; a unit that has both comes with the second.
std::uint32_t SecondFlashloader::ProgramUnitsWithLocks(std::uint32_t begin, const Bytes& part) {
    const auto end = begin + static_cast<std::uint32_t>(part.size());
    std::vector<std::uint32_t> late;
    for (const std::uint32_t lock : Locks(begin, part)) {
        std::erase(late, UnitOf(lock));
        late.push_back(UnitOf(lock));
    }
    std::vector<std::uint32_t> order;
    for (std::uint32_t unit = UnitOf(begin); unit < end; unit += flash.units.bytes) {
        if (std::find(late.begin(), late.end(), unit) == late.end()) {
            order.push_back(unit);
        }
    }
    order.insert(order.end(), late.begin(), late.end());
    std::uint32_t status = 0;
    for (const std::uint32_t unit : order) {
        const std::uint32_t from = std::max(unit, begin);
        const std::uint32_t to = std::min(unit + flash.units.bytes, end);
        status = status != 0 ? status : ProgramBytes(from, Part(part, from - begin, to - begin));
    }
    return status;
}

std::uint32_t SecondFlashloader::ProgramBytes(std::uint32_t begin, const Bytes& part) {
    std::uint32_t status = 0;
    for (std::uint32_t unit = UnitOf(begin); unit < begin + part.size() && status == 0; unit += flash.units.bytes) {
        if (const std::optional<Bytes> wanted = Merged(unit, begin, part)) {
            status = ProgramFailed(flash.ProgramUnit(unit, wanted->data()));
        }
    }
    return status;
}

Bytes SecondFlashloader::Content(std::uint32_t begin, std::uint32_t length) const {
    return Part(flash.bytes, begin, begin + length);
}

}  // namespace flash::fuzz
