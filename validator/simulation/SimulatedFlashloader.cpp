#include "validator/simulation/SimulatedFlashloader.h"

#include <algorithm>

namespace flash::simulation {
namespace {

constexpr std::uint32_t kBankErase = 1;
constexpr std::uint32_t kProgramErase = 3;
constexpr std::uint32_t kProgramRetain = 4;
constexpr std::uint32_t kEraseSectors = 5;
constexpr std::uint32_t kBlankCheck = 6;
constexpr std::uint32_t kCrcFlag = 0x10;

constexpr std::uint32_t kInvalidArguments = 0x104;
constexpr std::uint32_t kUnknownCommand = 0x105;
constexpr std::uint32_t kVerificationIssue = 0x106;

std::uint32_t CodeOf(const PostedCommand& command) { return command.command & ~kCrcFlag; }

bool IsProgram(std::uint32_t code) { return code >= 2 && code <= 4; }

// The CRC-32 of IEEE 802.3, bit by bit.
std::uint32_t CrcOf(const std::vector<std::uint8_t>& bytes) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc >> 1) ^ ((crc & 1) != 0 ? 0xEDB8'8320 : 0);
        }
    }
    return ~crc;
}

}  // namespace

void SimulatedFlashloader::ForgetAnswers() {
    byTurn.clear();
    byCode.clear();
    usual = {};
}

void SimulatedFlashloader::ForgetCommands() {
    commands.clear();
    forgotten = posted;
}

void SimulatedFlashloader::Load() {
    ++loads;
    memory.ClearSram();
    blocks = {};
    std::erase_if(byTurn, [this](const auto& planned) { return planned.first <= posted; });
    turn = 0;
    isRunning = false;
    isAtEntry = false;
    isErased.assign(memory.flash.size() / memory.sectorSize, false);
}

void SimulatedFlashloader::Halt() {
    if (isRunning) {
        for (std::optional<std::uint32_t> next = Next(); next; next = Next()) {
            const Answer answer = ChooseAnswer(blocks[*next]);
            if (answer.pollsBefore == Answer::kForever) {
                break;
            }
            Finish(blocks[*next], answer);
        }
    }
    isRunning = false;
}

void SimulatedFlashloader::OnWritten(std::uint64_t address, std::size_t lengthBytes) {
    for (std::uint32_t block = 0; block < blocks.size() && loads != 0; ++block) {
        const std::uint32_t status = StatusAddress(block);
        if (address <= status && status < address + lengthBytes && memory.Word(status) == kStatusNotDone) {
            Post(block, lengthBytes);
        }
    }
}

void SimulatedFlashloader::Post(std::uint32_t block, std::size_t byteCount) {
    const std::uint32_t base = BlockAddress(block);
    PostedCommand command;
    command.block = block;
    command.address = memory.Word(base);
    command.length = memory.Word(base + 4);
    command.command = memory.Word(base + 8);
    command.crc = memory.Word(base + 12);
    command.statusAsPosted = memory.Word(base + kStatusOffset);
    command.postedBytes = static_cast<std::uint32_t>(byteCount);
    blocks[block] = {command, ++posted, 0};
    commands.push_back(command);
}

// The block whose command is in work, or comes next.
std::optional<std::uint32_t> SimulatedFlashloader::Next() const {
    if (isStrict) {
        return isRunning && blocks[turn].command ? std::optional(turn) : std::nullopt;
    }
    const std::uint32_t older =
        blocks[0].command && (!blocks[1].command || blocks[0].number < blocks[1].number) ? 0 : 1;
    return blocks[older].command ? std::optional(older) : std::nullopt;
}

// A poll of a block lets the flashloader get as far as that block's answer.
void SimulatedFlashloader::OnPoll(std::uint64_t address) {
    for (std::uint32_t block = 0; block < blocks.size(); ++block) {
        while (address == StatusAddress(block) && blocks[block].command && GetOn(block)) {
        }
    }
}

// Whether the older of two commands is finished and the one of this block comes next.
bool SimulatedFlashloader::GetOn(std::uint32_t block) {
    const std::optional<std::uint32_t> next = Next();
    if (!next) {
        return false;
    }
    memory.SetWord(kBlockInWork, *next);
    const Answer answer = ChooseAnswer(blocks[*next]);
    if (answer.pollsBefore == Answer::kForever || blocks[*next].polls++ < answer.pollsBefore) {
        return false;
    }
    Finish(blocks[*next], answer);
    return *next != block;
}

Answer SimulatedFlashloader::ChooseAnswer(const Block& block) const {
    if (const auto found = byTurn.find(block.number); found != byTurn.end()) {
        return found->second;
    }
    const auto found = byCode.find(CodeOf(*block.command));
    return found == byCode.end() ? usual : found->second;
}

void SimulatedFlashloader::Finish(Block& block, const Answer& answer) {
    PostedCommand command = *block.command;
    if (IsProgram(CodeOf(command))) {
        command.data = memory.Bytes(kBuffers[command.block], std::min(command.length, memory.sectorSize));
    }
    if (block.number > forgotten) {
        commands[block.number - forgotten - 1].data = command.data;
    }
    const std::uint32_t status = answer.status ? *answer.status : CarryOut(command);
    memory.SetWord(kBlockInWork, command.block);
    memory.SetWord(BlockAddress(command.block), command.address);
    memory.SetWord(StatusAddress(command.block), status);
    block.command.reset();
    turn = command.block ^ 1;
}

std::uint32_t SimulatedFlashloader::CarryOut(PostedCommand& command) {
    const std::uint32_t code = CodeOf(command);
    const std::uint64_t end = std::uint64_t{command.address} + command.length;
    const std::uint64_t behind = code == kEraseSectors ? end + 1 : end;  // its length is one less than the range's
    if (code != kBankErase && behind > memory.flash.size()) {
        return kInvalidArguments;
    }
    switch (code) {
        case kBankErase:
            std::fill(memory.flash.begin(), memory.flash.end(), std::uint8_t{0xFF});
            return 0;
        case kEraseSectors:
            EraseOnce(command.address, static_cast<std::uint32_t>(end));
            return 0;
        case kBlankCheck:
            return CheckBlank(command);
        default:
            return IsProgram(code) ? Program(command) : kUnknownCommand;
    }
}

std::uint32_t SimulatedFlashloader::Program(PostedCommand& command) {
    if (isStrict && (command.length == 0 || command.length > memory.sectorSize)) {
        return kInvalidArguments;
    }
    const std::uint32_t code = CodeOf(command);
    if (code == kProgramErase && command.length != 0) {
        EraseOnce(command.address, command.address + command.length - 1);
    }
    const auto flash = memory.flash.begin() + command.address;
    std::transform(command.data.begin(), command.data.end(), flash, flash, [code](std::uint8_t data, std::uint8_t old) {
        return code == kProgramRetain ? data : static_cast<std::uint8_t>(data & old);
    });
    const std::vector<std::uint8_t> result(flash, flash + static_cast<std::ptrdiff_t>(command.data.size()));
    if (!isStrict || (command.command & kCrcFlag) == 0 || CrcOf(result) == command.crc) {
        return 0;
    }
    const auto difference = std::mismatch(result.begin(), result.end(), command.data.begin()).first;
    command.address += static_cast<std::uint32_t>(difference - result.begin());
    return kVerificationIssue;
}

std::uint32_t SimulatedFlashloader::CheckBlank(PostedCommand& command) {
    const auto end = memory.flash.begin() + command.length;
    const auto used = std::find_if(memory.flash.begin(), end, [](std::uint8_t byte) { return byte != 0xFF; });
    if (used == end) {
        return 0;
    }
    command.address = static_cast<std::uint32_t>(used - memory.flash.begin());
    return kVerificationIssue;
}

// At most once between two loads of the flashloader, so that chunks which share a sector do not undo each other.
void SimulatedFlashloader::EraseOnce(std::uint32_t address, std::uint32_t lastAddress) {
    const std::uint32_t size = memory.sectorSize;
    for (std::uint32_t sector = address / size; sector <= lastAddress / size && sector < isErased.size(); ++sector) {
        if (!isErased[sector]) {
            memory.Fill(sector * size, 0xFF, size);
            isErased[sector] = true;
        }
    }
}

}  // namespace flash::simulation
