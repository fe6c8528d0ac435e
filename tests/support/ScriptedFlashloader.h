// The target's flashloader as a test wants it: takes the two command blocks in turn, works on the flash in the fake
// host's memory, and answers at once, late, never, or with a given status. It keeps a record of what it was asked.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <vector>

#include "tests/support/FakeHost.h"
#include "tests/support/Generations.h"

namespace flash::test {

// Where the image's symbols lie.
struct MailboxAddresses {
    std::uint32_t resetIsr = 0x2000'0101;
    std::array<std::uint32_t, 2> buffers = {0x2000'1000, 0x2000'3000};  // g_buf1, g_buf2
    std::uint32_t firstBlock = 0x2000'0200;                             // g_cfg
    std::uint32_t blockInWork = 0x2000'0240;                            // g_currBuf
};

// How one command is answered.
struct Answer {
    static constexpr std::uint32_t kOfWork = 0xFFFF'FFFF;  // the status that the work gives
    static constexpr std::uint32_t kForever = 0xFFFF'FFFF;

    std::uint32_t pollsBefore = 0;   // reads of its status that still see "not done"
    std::uint32_t status = kOfWork;  // any other: the flash is not touched
};

inline constexpr Answer kAnswerNever{Answer::kForever, Answer::kOfWork};
constexpr Answer AnswerAfterPolls(std::uint32_t polls) { return {polls, Answer::kOfWork}; }
constexpr Answer AnswerWithStatus(std::uint32_t status) { return {0, status}; }

// A command as it was taken from a block, with what its buffer held at that moment.
struct TakenCommand {
    std::uint32_t command = 0;  // with its flag
    std::uint32_t address = 0;
    std::uint32_t length = 0;
    std::uint32_t crc = 0;
    std::uint32_t block = 0;         // 0 or 1, also of the buffer
    std::vector<std::uint8_t> data;  // of the program commands, else empty
};

// "command=3 addr=0x00001000 length=4096 crc=0x00000000 block=1", for comparing lists.
std::string TextOf(const TakenCommand& command);
std::vector<std::string> TextsOf(const std::vector<TakenCommand>& commands);

class ScriptedFlashloader final : public TargetProgram {
public:
    // Attaches itself to the host, which must live as long.
    ScriptedFlashloader(FakeHost& flashHost, FlashGeometry flashGeometry, MailboxAddresses mailboxAddresses = {});

    // The n-th command taken from now on (1 is the next one) is answered so; else by its code without the flag; else
    // by the usual answer.
    void AnswerNth(std::size_t n, Answer answer) { byTurn[taken.size() + n] = answer; }
    void AnswerCommand(std::uint32_t code, Answer answer) { byCode[code] = answer; }
    void AnswerAll(Answer answer) { usual = answer; }
    void ForgetAnswers();

    std::vector<TakenCommand> taken;  // in order
    std::size_t loads = 0;            // of the image
    bool isRunning = false;
    bool isBusy = false;  // a command is taken and not answered
    FlashGeometry geometry;
    MailboxAddresses addresses;

    std::uint32_t BlockAddress(std::uint32_t block) const { return addresses.firstBlock + 24 * block; }

    void OnLoad() override;
    void OnRun() override;
    void OnHalt() override;
    void OnMemoryWritten(std::uint32_t address, std::size_t lengthBytes) override;
    void OnMemoryRead(std::uint32_t address, std::size_t lengthBytes) override;
    void OnProgramCounterWritten(std::uint64_t value) override;

private:
    void TakePosted();
    void Take();
    void Finish();
    Answer ChooseAnswer(const TakenCommand& command) const;
    std::uint32_t Work(TakenCommand& command);
    std::uint32_t Program(TakenCommand& command);
    std::uint32_t VerifyCrc(TakenCommand& command);
    std::uint32_t CheckBlank(TakenCommand& command);
    bool IsInFlash(std::uint32_t address, std::uint32_t lengthBytes) const;
    void EraseTouched(std::uint32_t first, std::uint32_t last);

    FakeHost& host;
    std::map<std::size_t, Answer> byTurn;  // 1 is the first command ever taken
    std::map<std::uint32_t, Answer> byCode;
    Answer usual;

    std::array<bool, 2> isPosted = {false, false};
    std::uint32_t turn = 0;  // the block that is taken next, or is in work
    Answer current;          // of the command in work
    std::uint32_t pollsLeft = 0;
    bool isAtEntry = false;                 // the program counter stands at the image's entry, or behind
    std::set<std::uint32_t> erasedSectors;  // since the last load
};

}  // namespace flash::test
