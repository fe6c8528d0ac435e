#include "tests/fuzz/firmware/SecondFlashloader.h"

#include <algorithm>

namespace flash::fuzz {
namespace {

constexpr std::uint32_t kInvalidArguments = 0x104;
constexpr std::uint32_t kUnknownCommand = 0x105;
constexpr std::uint32_t kVerificationIssue = 0x106;

std::uint32_t EraseFailed(std::uint32_t sector, FsmStatus fsmStatus) {
    return 0x102 + fsmStatus * 0x10000U + sector * 0x100'0000U;
}

std::uint32_t ProgramFailed(FsmStatus fsmStatus) { return fsmStatus == kFsmSuccess ? 0 : 0x103 + fsmStatus * 0x10000U; }

bool IsBlank(const Bytes& bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte == 0xFF; });
}

Bytes Part(const Bytes& bytes, std::uint32_t begin, std::uint32_t end) {
    return Bytes(bytes.begin() + begin, bytes.begin() + end);
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
    if (fsmStatus == kFsmBusy) {
        return EraseFailed(0, fsmStatus);
    }
    std::set<std::uint32_t> erased;
    for (std::uint32_t sector = 0; sector < flash.sectorCount; ++sector) {
        if (!flash.protectedSectors.contains(sector)) {
            if (!IsBlank(Content(sector * flash.sectorBytes, flash.sectorBytes))) {
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
    if (fsmStatus != kFsmSuccess || !IsBlank(Content(address, flash.sectorBytes))) {
        return EraseFailed(sector, fsmStatus);
    }
    return 0;
}

Answer SecondFlashloader::BlankCheck(const ::CommandBlock& block) const {
    if (block.length == 0 || std::uint64_t{block.address} + block.length > flash.bytes.size()) {
        return {kInvalidArguments, block.address};
    }
    const Bytes content = Content(block.address, block.length);
    const std::uint32_t offset = FirstDifference(content, Bytes(content.size(), 0xFF));
    return offset == block.length ? Answer{0, block.address} : Answer{kVerificationIssue, block.address + offset};
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

std::uint32_t SecondFlashloader::ProgramSector(std::uint32_t code, std::uint32_t sector, std::uint32_t begin,
                                               const Bytes& part) {
    const std::uint32_t sectorBegin = sector * flash.sectorBytes;
    const Bytes before = Content(sectorBegin, flash.sectorBytes);
    Bytes after = code == 3 ? Bytes(flash.sectorBytes, 0xFF) : before;
    std::copy(part.begin(), part.end(), after.begin() + (begin - sectorBegin));
    if (code == 3 && before == after) {
        fresh.insert(sector);
        return 0;
    }
    const bool setsABit = !std::equal(before.begin(), before.end(), after.begin(),
                                      [](std::uint8_t held, std::uint8_t wanted) { return (wanted & ~held) == 0; });
    const bool erases = (code == 3 && !fresh.contains(sector)) || (code == 4 && setsABit);
    if (const std::uint32_t status = erases ? EraseSector(sector) : 0; status != 0) {
        return status;
    }
    if (erases && (code == 3 || part.size() == flash.sectorBytes)) {
        fresh.insert(sector);
    }
    return code == 4 && erases ? ProgramLocksLast(sectorBegin, after) : ProgramLocksLast(begin, part);
}

// First what locks nothing, then the bit that protects the last sector, then the byte that closes the debug port.
std::uint32_t SecondFlashloader::ProgramLocksLast(std::uint32_t begin, const Bytes& part) {
    const auto size = static_cast<std::uint32_t>(flash.bytes.size());
    const std::uint32_t last = flash.sectorCount - 1;
    const std::uint32_t port = size - 0x29;
    const std::uint32_t protection = size - (last < 32 ? 0x20 : 0x1C) + last % 32 / 8;
    const auto bit = static_cast<std::uint8_t>(1U << last % 8);
    const auto locks = [&](std::uint32_t address, std::uint8_t bits) {
        return begin <= address && address < begin + part.size() && (part[address - begin] & bits) == 0;
    };
    const bool closesPort = locks(port, 0xFF);
    const bool protects = locks(protection, bit);
    std::uint32_t status = 0;
    const auto program = [&](std::uint32_t from, std::uint32_t to) {
        status = status != 0 ? status : ProgramBytes(from, Part(part, from - begin, to - begin));
    };
    std::uint32_t from = begin;
    if (closesPort) {
        program(from, port);
        from = port + 1;
    }
    if (protects) {
        program(from, protection);
        from = protection + 1;
    }
    program(from, begin + static_cast<std::uint32_t>(part.size()));
    if (protects) {
        const auto others = static_cast<std::uint8_t>(part[protection - begin] | (flash.bytes[protection] & bit));
        status = status != 0 ? status : ProgramBytes(protection, {others});
        program(protection, protection + 1);
    }
    if (closesPort) {
        program(port, port + 1);
    }
    return status;
}

std::uint32_t SecondFlashloader::ProgramBytes(std::uint32_t begin, const Bytes& part) {
    std::uint32_t status = 0;
    for (std::uint32_t word = begin / 4 * 4; word < begin + part.size() && status == 0; word += 4) {
        Bytes asked(4, 0xFF);
        Bytes wanted = Content(word, 4);
        const Bytes before = wanted;
        for (std::uint32_t i = 0; i < 4; ++i) {
            if (word + i >= begin && word + i < begin + part.size()) {
                asked[i] = wanted[i] = part[word + i - begin];
            }
        }
        if (!IsBlank(asked) && wanted != before) {
            status = ProgramFailed(flash.ProgramWord(word, wanted.data()));
        }
    }
    return status;
}

Bytes SecondFlashloader::Content(std::uint32_t begin, std::uint32_t length) const {
    return Part(flash.bytes, begin, begin + length);
}

}  // namespace flash::fuzz
