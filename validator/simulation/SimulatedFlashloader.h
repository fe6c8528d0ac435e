// The flashloader of a simulated chip: it answers when its status word is polled, at once, late, never, or with a given
// status.
//
// What is posted is carried out late, when its answer is first seen, and from what the buffer holds then: a plug-in
// that reuses a buffer too early programs wrong bytes here, as it would on a chip.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "validator/simulation/ChipMemory.h"

namespace flash::simulation {

// Where it has its symbols.
inline constexpr std::uint32_t kEntryPoint = 0x2000'0101;
inline constexpr std::uint32_t kBlocks = 0x2000'0200;
inline constexpr std::uint32_t kBlockInWork = 0x2000'0240;
inline constexpr std::array<std::uint32_t, 2> kBuffers = {0x2000'1000, 0x2000'4000};
inline constexpr std::uint32_t kBlockStride = 24;
inline constexpr std::uint32_t kStatusOffset = 16;

inline constexpr std::uint32_t kStatusNotDone = 0xFFFF'FFFF;

constexpr std::uint32_t BlockAddress(std::uint32_t block) { return kBlocks + block * kBlockStride; }
constexpr std::uint32_t StatusAddress(std::uint32_t block) { return BlockAddress(block) + kStatusOffset; }

// How one command is answered.
struct Answer {
    static constexpr std::uint32_t kForever = 0xFFFF'FFFF;

    std::uint32_t pollsBefore = 0;             // reads of its status that still see "not done"
    std::optional<std::uint32_t> status = {};  // given so, and the flash is not touched; none: that of the work
};

inline constexpr Answer kAnswerNever{Answer::kForever, {}};
constexpr Answer AnswerAfterPolls(std::uint32_t polls) { return {polls, {}}; }
constexpr Answer AnswerWithStatus(std::uint32_t status) { return {0, status}; }

// What a plug-in posted.
struct PostedCommand {
    std::uint32_t block = 0;
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    std::uint32_t command = 0;
    std::uint32_t crc = 0;
    std::uint32_t statusAsPosted = 0;
    std::uint32_t postedBytes = 0;   // by the write that posted it
    std::vector<std::uint8_t> data;  // of the buffer, when a program command is carried out
};

class SimulatedFlashloader {
public:
    explicit SimulatedFlashloader(ChipMemory& chipMemory) : memory(chipMemory) {}

    // A flashloader on silicon takes the two blocks in turn, runs only once it was started at its entry, checks lengths
    // and verifies what it is given a CRC for. A lenient one takes what is posted, so that a plug-in that breaks one
    // promise is not refused everywhere for it.
    bool isStrict = false;

    std::vector<PostedCommand> commands;  // in the order of posting
    std::size_t loads = 0;                // of the image
    bool isRunning = false;

    // The n-th command posted from now on (1 is the next one) is answered so; else by its code without the CRC flag;
    // else by the usual answer.
    void AnswerNth(std::size_t n, Answer answer) { byTurn[posted + n] = answer; }
    void AnswerCommand(std::uint32_t code, Answer answer) { byCode[code] = answer; }
    void AnswerAll(Answer answer) { usual = answer; }
    void ForgetAnswers();
    void ForgetCommands();

    // What a host does to it. A halt lets it finish first what is posted, as a careful host sees to.
    void Load();
    void SetProgramCounter(std::uint64_t address) { isAtEntry = address == kEntryPoint; }
    void Run() { isRunning = isAtEntry || !isStrict; }
    void Halt();
    void OnWritten(std::uint64_t address, std::size_t lengthBytes);
    void OnPoll(std::uint64_t address);  // before the word is read

private:
    struct Block {
        std::optional<PostedCommand> command;
        std::size_t number = 0;  // of the command, among all that were ever posted
        std::uint32_t polls = 0;
    };

    void Post(std::uint32_t block, std::size_t byteCount);
    std::optional<std::uint32_t> Next() const;
    bool GetOn(std::uint32_t block);
    Answer ChooseAnswer(const Block& block) const;
    void Finish(Block& block, const Answer& answer);
    std::uint32_t CarryOut(PostedCommand& command);
    std::uint32_t Program(PostedCommand& command);
    std::uint32_t CheckBlank(PostedCommand& command);
    void EraseOnce(std::uint32_t address, std::uint32_t lastAddress);

    ChipMemory& memory;
    std::map<std::size_t, Answer> byTurn;
    std::map<std::uint32_t, Answer> byCode;
    Answer usual;
    std::size_t posted = 0;     // commands so far
    std::size_t forgotten = 0;  // of them
    std::array<Block, 2> blocks;
    std::uint32_t turn = 0;      // the block that a strict one takes next
    bool isAtEntry = false;      // the program counter stands at the image's entry, or behind
    std::vector<bool> isErased;  // by sector, since the last load
};

}  // namespace flash::simulation
