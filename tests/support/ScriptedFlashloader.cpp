#include "tests/support/ScriptedFlashloader.h"

#include <algorithm>
#include <cstdio>

#include "tests/support/SlowCrc32.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kBankErase = 1;
constexpr std::uint32_t kProgram = 2;
constexpr std::uint32_t kProgramErase = 3;
constexpr std::uint32_t kProgramRetain = 4;
constexpr std::uint32_t kEraseSectors = 5;
constexpr std::uint32_t kBlankCheck = 6;
constexpr std::uint32_t kCrcFlag = 0x10;

constexpr std::uint32_t kInvalidArguments = 0x104;
constexpr std::uint32_t kUnknownCommand = 0x105;
constexpr std::uint32_t kVerificationIssue = 0x106;
constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;

constexpr std::uint32_t kStatusOffset = 16;
constexpr std::uint32_t kPostedLength = 20;

std::uint32_t CodeOf(const TakenCommand& command) { return command.command & ~kCrcFlag; }

bool IsProgram(std::uint32_t code) { return code >= kProgram && code <= kProgramRetain; }

}  // namespace

std::string TextOf(const TakenCommand& command) {
    char text[128];
    std::snprintf(text, sizeof text, "command=%u addr=0x%08X length=%u crc=0x%08X block=%u",
                  static_cast<unsigned>(command.command), static_cast<unsigned>(command.address),
                  static_cast<unsigned>(command.length), static_cast<unsigned>(command.crc),
                  static_cast<unsigned>(command.block));
    return text;
}

std::vector<std::string> TextsOf(const std::vector<TakenCommand>& commands) {
    std::vector<std::string> texts;
    texts.reserve(commands.size());
    for (const TakenCommand& command : commands) {
        texts.push_back(TextOf(command));
    }
    return texts;
}

ScriptedFlashloader::ScriptedFlashloader(FakeHost& flashHost, FlashGeometry flashGeometry,
                                         MailboxAddresses mailboxAddresses)
    : geometry(flashGeometry), addresses(mailboxAddresses), host(flashHost) {
    host.program = this;
}

void ScriptedFlashloader::ForgetAnswers() {
    byTurn.clear();
    byCode.clear();
    usual = Answer{};
}

void ScriptedFlashloader::OnLoad() {
    ++loads;
    host.symbols["ResetISR"] = addresses.resetIsr;
    host.symbols["g_buf1"] = addresses.buffers[0];
    host.symbols["g_buf2"] = addresses.buffers[1];
    host.symbols["g_cfg"] = addresses.firstBlock;
    host.symbols["g_currBuf"] = addresses.blockInWork;
    host.memory.Fill(addresses.firstBlock, 0, 48);
    host.memory.SetWord(addresses.blockInWork, 0);
    isPosted = {false, false};
    turn = 0;
    isRunning = false;
    isBusy = false;
    isAtEntry = false;
    erasedSectors.clear();
}

void ScriptedFlashloader::OnProgramCounterWritten(std::uint64_t value) { isAtEntry = value == addresses.resetIsr; }

void ScriptedFlashloader::OnRun() {
    isRunning = isAtEntry;
    TakePosted();
}

// A careful host lets the target finish first what it has begun.
void ScriptedFlashloader::OnHalt() {
    if (isRunning && isBusy && pollsLeft != Answer::kForever) {
        Finish();
        TakePosted();
    }
    isRunning = false;
}

void ScriptedFlashloader::OnMemoryWritten(std::uint32_t address, std::size_t lengthBytes) {
    for (std::uint32_t block = 0; block < 2; ++block) {
        if (loads != 0 && address == BlockAddress(block) && lengthBytes == kPostedLength) {
            isPosted[block] = host.memory.Word(address + kStatusOffset) == kNotDone;
        }
    }
    TakePosted();
}

void ScriptedFlashloader::OnMemoryRead(std::uint32_t address, std::size_t) {
    if (!isRunning || !isBusy || address != BlockAddress(turn) + kStatusOffset || pollsLeft == Answer::kForever) {
        return;
    }
    if (pollsLeft-- == 0) {
        Finish();
        TakePosted();
    }
}

void ScriptedFlashloader::TakePosted() {
    while (isRunning && !isBusy && isPosted[turn]) {
        Take();
        if (pollsLeft == 0) {
            Finish();
        }
    }
}

void ScriptedFlashloader::Take() {
    const std::uint32_t block = BlockAddress(turn);
    TakenCommand command;
    command.address = host.memory.Word(block);
    command.length = host.memory.Word(block + 4);
    command.command = host.memory.Word(block + 8);
    command.crc = host.memory.Word(block + 12);
    command.block = turn;
    if (IsProgram(CodeOf(command)) && command.length <= geometry.sectorSize) {
        command.data = host.memory.Bytes(addresses.buffers[turn], command.length);
    }
    taken.push_back(command);
    host.memory.SetWord(addresses.blockInWork, turn);
    current = ChooseAnswer(command);
    pollsLeft = current.pollsBefore;
    isPosted[turn] = false;
    isBusy = true;
}

Answer ScriptedFlashloader::ChooseAnswer(const TakenCommand& command) const {
    if (const auto found = byTurn.find(taken.size()); found != byTurn.end()) {
        return found->second;
    }
    const auto found = byCode.find(CodeOf(command));
    return found == byCode.end() ? usual : found->second;
}

void ScriptedFlashloader::Finish() {
    TakenCommand command = taken.back();
    std::uint32_t status = current.status;
    if (status == Answer::kOfWork) {
        status = Work(command);
    }
    host.memory.SetWord(BlockAddress(turn), command.address);
    host.memory.SetWord(BlockAddress(turn) + kStatusOffset, status);
    isBusy = false;
    turn ^= 1;
}

std::uint32_t ScriptedFlashloader::Work(TakenCommand& command) {
    switch (CodeOf(command)) {
        case kBankErase:
            host.memory.Fill(0, 0xFF, geometry.Size());
            return 0;
        case kProgram:
        case kProgramErase:
        case kProgramRetain:
            return Program(command);
        case kEraseSectors:
            if (!IsInFlash(command.address, command.length + 1)) {
                return kInvalidArguments;
            }
            EraseTouched(command.address, command.address + command.length);
            return 0;
        case kBlankCheck:
            return CheckBlank(command);
        default:
            return kUnknownCommand;
    }
}

std::uint32_t ScriptedFlashloader::Program(TakenCommand& command) {
    if (command.length == 0 || command.length > geometry.sectorSize || !IsInFlash(command.address, command.length)) {
        return kInvalidArguments;
    }
    if (CodeOf(command) == kProgramErase) {
        EraseTouched(command.address, command.address + command.length - 1);
    }
    std::vector<std::uint8_t> flash = command.data;
    if (CodeOf(command) != kProgramRetain) {
        const std::vector<std::uint8_t> before = host.memory.Bytes(command.address, command.length);
        std::transform(flash.begin(), flash.end(), before.begin(), flash.begin(),
                       [](std::uint8_t data, std::uint8_t old) { return static_cast<std::uint8_t>(data & old); });
    }
    host.memory.SetBytes(command.address, flash);
    return (command.command & kCrcFlag) != 0 ? VerifyCrc(command) : 0;
}

std::uint32_t ScriptedFlashloader::VerifyCrc(TakenCommand& command) {
    const std::vector<std::uint8_t> flash = host.memory.Bytes(command.address, command.length);
    if (SlowCrc32(flash) == command.crc) {
        return 0;
    }
    const auto difference = std::mismatch(flash.begin(), flash.end(), command.data.begin()).first;
    command.address += static_cast<std::uint32_t>(difference - flash.begin());
    return kVerificationIssue;
}

std::uint32_t ScriptedFlashloader::CheckBlank(TakenCommand& command) {
    if (command.length > geometry.Size()) {
        return kInvalidArguments;
    }
    const std::vector<std::uint8_t> flash = host.memory.Bytes(0, command.length);
    const auto used = std::find_if(flash.begin(), flash.end(), [](std::uint8_t byte) { return byte != 0xFF; });
    if (used == flash.end()) {
        return 0;
    }
    command.address = static_cast<std::uint32_t>(used - flash.begin());
    return kVerificationIssue;
}

bool ScriptedFlashloader::IsInFlash(std::uint32_t address, std::uint32_t lengthBytes) const {
    return std::uint64_t{address} + lengthBytes <= geometry.Size();
}

void ScriptedFlashloader::EraseTouched(std::uint32_t first, std::uint32_t last) {
    for (std::uint32_t sector = first / geometry.sectorSize; sector <= last / geometry.sectorSize; ++sector) {
        if (erasedSectors.insert(sector).second) {
            host.memory.Fill(sector * geometry.sectorSize, 0xFF, geometry.sectorSize);
        }
    }
}

}  // namespace flash::test
