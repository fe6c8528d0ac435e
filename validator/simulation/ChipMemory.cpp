#include "validator/simulation/ChipMemory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace flash::simulation {
namespace {

constexpr std::uint32_t kSram = 0x2000'0000;
constexpr std::uint32_t kSramSize = 0x1'0000;
constexpr std::uint32_t kFactory = 0x5000'1200;     // primary addresses: IEEE, then BLE
constexpr std::uint32_t kCcfgWindow = 0x5000'3000;  // shows the last sector
constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;
constexpr std::uint32_t kRamSizeRegister = 0x4008'2250;
constexpr std::uint32_t kMostSectors = 128;

// CCFG by distance from the end of flash.
constexpr std::uint32_t kCcfgSize = 0x58;
constexpr std::uint32_t kSizeWord = 0x50;
constexpr std::uint32_t kIeeeSecondary = 0x40;
constexpr std::uint32_t kBleSecondary = 0x38;

struct Field {
    std::uint32_t fromEnd;
    std::vector<std::uint8_t> bytes;
};

bool Holds(std::uint64_t address, std::uint64_t base, std::size_t size) {
    return address >= base && address < base + size;
}

}  // namespace

ChipMemory::ChipMemory(const ChipModel& model)
    : sectorSize(model.sectorSize),
      flash(std::size_t{std::min(model.sectorCountRegister & 0xFF, kMostSectors)} * model.sectorSize, 0xFF),
      registers({{kSectorCountRegister, model.sectorCountRegister}, {kRamSizeRegister, model.ramSizeRegister}}),
      sram(kSramSize),
      factory({0xA8, 0xA7, 0xA6, 0xA5, 0xA4, 0xA3, 0xA2, 0xA1, 0xB6, 0xB5, 0xB4, 0xB3, 0xB2, 0xB1}) {
    FillCcfg();
}

void ChipMemory::FillCcfg() {
    const Field fields[] = {
        {kSizeWord, {0x01, 0x00, kCcfgSize, 0x00}},
        {kIeeeSecondary, {0xEF, 0xCD, 0xAB, 0x89, 0x67, 0x45, 0x23, 0x01}},
        {kBleSecondary, {0x66, 0x55, 0x44, 0x33, 0x22, 0x11}},
    };
    for (const Field& field : fields) {
        if (flash.size() >= kCcfgSize) {
            std::copy(field.bytes.begin(), field.bytes.end(), flash.end() - field.fromEnd);
        }
    }
}

std::span<std::uint8_t> ChipMemory::From(std::uint64_t address) {
    if (address < flash.size()) {
        return std::span(flash).subspan(address);
    }
    if (Holds(address, kSram, sram.size())) {
        return std::span(sram).subspan(address - kSram);
    }
    if (Holds(address, kFactory, factory.size())) {
        return std::span(factory).subspan(address - kFactory);
    }
    if (Holds(address, kCcfgWindow, sectorSize) && flash.size() >= sectorSize) {
        return std::span(flash).last(sectorSize).subspan(address - kCcfgWindow);
    }
    return {};
}

bool ChipMemory::Read(std::uint64_t address, std::span<std::uint8_t> bytes) {
    const auto word = address <= 0xFFFF'FFFF ? registers.find(static_cast<std::uint32_t>(address)) : registers.end();
    if (word != registers.end() && bytes.size() == sizeof word->second) {
        std::memcpy(bytes.data(), &word->second, bytes.size());
        return true;
    }
    const std::span<const std::uint8_t> there = From(address);
    if (there.size() < bytes.size()) {
        return false;
    }
    std::ranges::copy(there.first(bytes.size()), bytes.begin());
    return true;
}

bool ChipMemory::Write(std::uint64_t address, std::span<const std::uint8_t> bytes) {
    if (!Holds(address, kSram, sram.size()) || bytes.size() > From(address).size()) {
        return false;
    }
    std::ranges::copy(bytes, From(address).begin());
    return true;
}

std::vector<std::uint8_t> ChipMemory::Bytes(std::uint32_t address, std::size_t count) {
    std::vector<std::uint8_t> bytes(count);
    Read(address, bytes);
    return bytes;
}

void ChipMemory::SetBytes(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    std::ranges::copy(bytes, From(address).first(bytes.size()).begin());
}

void ChipMemory::Fill(std::uint32_t address, std::uint8_t value, std::size_t count) {
    std::ranges::fill(From(address).first(count), value);
}

std::uint32_t ChipMemory::Word(std::uint32_t address) {
    std::array<std::uint8_t, 4> bytes{};
    Read(address, bytes);
    return std::bit_cast<std::uint32_t>(bytes);
}

void ChipMemory::SetWord(std::uint32_t address, std::uint32_t word) {
    if (From(address).empty()) {
        registers[address] = word;
    } else {
        std::memcpy(From(address).first(sizeof word).data(), &word, sizeof word);
    }
}

void ChipMemory::ClearSram() { std::ranges::fill(sram, std::uint8_t{0}); }

}  // namespace flash::simulation
