// What a debugger sees of a chip: flash, SRAM, factory data, the window that shows the last sector, and registers that
// are words. It has no processor and no clock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <vector>

namespace flash::simulation {

struct ChipModel {
    std::uint32_t sectorSize = 0x1000;
    std::uint32_t sectorCountRegister = 32;  // bits 7 to 0: sectors
    std::uint32_t ramSizeRegister = 3;       // bits 1 to 0: size code
    std::uint64_t idCode = 0x1000'0001;      // bits 31 to 28: revision
};

inline constexpr ChipModel kFirstGeneration{};
inline constexpr ChipModel kSecondGeneration{0x2000, 44, 3, 0x1000'0001};

class ChipMemory {
public:
    explicit ChipMemory(const ChipModel& model);

    // Over the debug port. False for an address at which there is nothing; then nothing is done. Only SRAM is written.
    bool Read(std::uint64_t address, std::span<std::uint8_t> bytes);
    bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes);

    // Behind its back, wherever there is memory. A word at another address becomes a register.
    std::vector<std::uint8_t> Bytes(std::uint32_t address, std::size_t count);
    void SetBytes(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    void Fill(std::uint32_t address, std::uint8_t value, std::size_t count);
    std::uint32_t Word(std::uint32_t address);  // little-endian, as the workstation is
    void SetWord(std::uint32_t address, std::uint32_t word);

    void ClearSram();

    const std::uint32_t sectorSize;
    std::uint32_t FlashSize() const { return static_cast<std::uint32_t>(flash.size()); }

    std::vector<std::uint8_t> flash;

private:
    std::span<std::uint8_t> From(std::uint64_t address);  // to the end of that memory; empty where there is none
    void FillCcfg();

    std::map<std::uint32_t, std::uint32_t> registers;
    std::vector<std::uint8_t> sram;
    std::vector<std::uint8_t> factory;
};

}  // namespace flash::simulation
