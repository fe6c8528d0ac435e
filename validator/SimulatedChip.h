// A chip small enough to check a plug-in against: memories, the registers that a plug-in reads, and a flashloader that
// answers when its status word is polled. It has no processor and no clock; `lumoflash` has a real one for that.
//
// What is posted is carried out late, when its answer is first seen, and from what the buffer holds then: a plug-in
// that reuses a buffer too early programs wrong bytes here, as it would on a chip.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace flash::validator {

struct ChipModel {
    std::uint32_t sectorSize = 0x1000;
    std::uint32_t sectorCountRegister = 32;  // bits 7 to 0: sectors
    std::uint32_t ramSizeRegister = 3;       // bits 1 to 0: size code
    std::uint64_t idCode = 0x1000'0001;      // bits 31 to 28: revision
};

inline constexpr ChipModel kFirstGeneration{};
inline constexpr ChipModel kSecondGeneration{0x2000, 44, 3, 0x1000'0001};

// Where the simulated flashloader has its symbols.
inline constexpr std::uint32_t kEntryPoint = 0x2000'0101;
inline constexpr std::uint32_t kBlocks = 0x2000'0400;
inline constexpr std::uint32_t kBlockInWork = 0x2000'0430;
inline constexpr std::array<std::uint32_t, 2> kBuffers = {0x2000'1000, 0x2000'4000};
inline constexpr std::uint32_t kBlockStride = 24;
inline constexpr std::uint32_t kStatusOffset = 16;

inline constexpr std::uint32_t kStatusNotDone = 0xFFFF'FFFF;

// What a plug-in posted, in the order of posting.
struct PostedCommand {
    std::uint32_t block = 0;
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    std::uint32_t command = 0;
    std::uint32_t crc = 0;
    std::uint32_t statusAsPosted = 0;
    std::uint32_t postedBytes = 0;   // by the write that posted it
    std::vector<std::uint8_t> data;  // of the buffer, when carried out
};

class SimulatedChip {
public:
    explicit SimulatedChip(const ChipModel& chipModel);

    // False for an address at which there is nothing; then nothing is done.
    bool Read(std::uint64_t address, std::span<std::uint8_t> bytes);
    bool Write(std::uint64_t address, std::span<const std::uint8_t> bytes);

    void LoadFlashloader();
    void Run();
    void Halt();            // what is posted is finished first, as a careful host sees to
    void ForgetCommands();  // those not yet finished are finished first
    std::optional<std::uint32_t> AddressOfSymbol(const std::string& name) const;

    std::uint32_t FlashSize() const { return static_cast<std::uint32_t>(flash.size()); }
    std::uint32_t StatusAddress(std::uint32_t block) const { return kBlocks + block * kBlockStride + kStatusOffset; }

    ChipModel model;
    std::vector<std::uint8_t> flash;
    std::vector<PostedCommand> commands;
    std::uint32_t pollsBeforeAnswer = 0;                   // of each command
    std::map<std::size_t, std::uint32_t> statusOfCommand;  // by index in `commands`; `kStatusNotDone` never answers
    std::map<std::uint32_t, std::uint32_t> words;          // further registers
    bool isRunning = false;

private:
    struct Block {
        std::optional<std::size_t> pending;  // index in `commands`
        std::uint32_t polls = 0;
    };

    std::uint8_t* Find(std::uint64_t address);
    void PostFrom(std::uint32_t block, std::size_t byteCount);
    void AnswerPoll(std::uint64_t address);
    void Finish(std::uint32_t block);
    void FinishAll();
    std::uint32_t CarryOut(PostedCommand& command);
    void Program(const PostedCommand& command, std::uint32_t code);
    void EraseOnce(std::uint32_t address, std::uint32_t lastAddress);
    std::uint32_t SramWord(std::uint32_t address) const;
    void SetSramWord(std::uint32_t address, std::uint32_t value);
    void FillFactoryData();
    void FillCcfg();

    std::vector<std::uint8_t> sram;
    std::vector<std::uint8_t> factory;
    std::vector<bool> isErased;  // by sector, since the flashloader was loaded
    std::array<Block, 2> blocks;
};

}  // namespace flash::validator
