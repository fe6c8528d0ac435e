#include "validator/SimulatedChip.h"

#include <algorithm>
#include <cstring>

namespace flash::validator {
namespace {

constexpr std::uint32_t kSram = 0x2000'0000;
constexpr std::uint32_t kSramSize = 0x1'0000;
constexpr std::uint32_t kFactory = 0x5000'1200;     // primary addresses: IEEE, then BLE
constexpr std::uint32_t kCcfgWindow = 0x5000'3000;  // shows the last sector
constexpr std::uint32_t kSectorCountRegister = 0x4003'002C;
constexpr std::uint32_t kRamSizeRegister = 0x4008'2250;
constexpr std::uint32_t kMostSectors = 128;
constexpr std::uint32_t kVerificationIssue = 0x106;
constexpr std::uint32_t kInvalidArguments = 0x104;

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

SimulatedChip::SimulatedChip(const ChipModel& chipModel)
    : model(chipModel),
      flash(std::size_t{std::min(model.sectorCountRegister & 0xFF, kMostSectors)} * model.sectorSize, 0xFF),
      sram(kSramSize),
      isErased(kMostSectors) {
    words[kSectorCountRegister] = model.sectorCountRegister;
    words[kRamSizeRegister] = model.ramSizeRegister;
    FillFactoryData();
    FillCcfg();
}

void SimulatedChip::FillFactoryData() {
    factory = {0xA8, 0xA7, 0xA6, 0xA5, 0xA4, 0xA3, 0xA2, 0xA1, 0xB6, 0xB5, 0xB4, 0xB3, 0xB2, 0xB1};
}

void SimulatedChip::FillCcfg() {
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

std::uint8_t* SimulatedChip::Find(std::uint64_t address) {
    if (address < flash.size()) {
        return flash.data() + address;
    }
    if (Holds(address, kSram, sram.size())) {
        return sram.data() + (address - kSram);
    }
    if (Holds(address, kFactory, factory.size())) {
        return factory.data() + (address - kFactory);
    }
    if (Holds(address, kCcfgWindow, model.sectorSize) && flash.size() >= model.sectorSize) {
        return flash.data() + (flash.size() - model.sectorSize + (address - kCcfgWindow));
    }
    return nullptr;
}

bool SimulatedChip::Read(std::uint64_t address, std::span<std::uint8_t> bytes) {
    const auto word = address <= 0xFFFF'FFFF ? words.find(static_cast<std::uint32_t>(address)) : words.end();
    if (word != words.end() && bytes.size() == sizeof word->second) {
        std::memcpy(bytes.data(), &word->second, bytes.size());
        return true;
    }
    AnswerPoll(address);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const std::uint8_t* byte = Find(address + i);
        if (byte == nullptr) {
            return false;
        }
        bytes[i] = *byte;
    }
    return true;
}

bool SimulatedChip::Write(std::uint64_t address, std::span<const std::uint8_t> bytes) {
    if (!Holds(address, kSram, sram.size()) || bytes.size() > kSram + sram.size() - address) {
        return false;
    }
    std::copy(bytes.begin(), bytes.end(), sram.begin() + static_cast<std::ptrdiff_t>(address - kSram));
    for (std::uint32_t block = 0; block < blocks.size(); ++block) {
        const std::uint32_t status = StatusAddress(block);
        if (address <= status && status < address + bytes.size() && SramWord(status) == kStatusNotDone) {
            PostFrom(block, bytes.size());
        }
    }
    return true;
}

void SimulatedChip::PostFrom(std::uint32_t block, std::size_t byteCount) {
    const std::uint32_t base = kBlocks + block * kBlockStride;
    PostedCommand command;
    command.block = block;
    command.address = SramWord(base);
    command.length = SramWord(base + 4);
    command.command = SramWord(base + 8);
    command.crc = SramWord(base + 12);
    command.statusAsPosted = SramWord(base + kStatusOffset);
    command.postedBytes = static_cast<std::uint32_t>(byteCount);
    blocks[block] = {commands.size(), 0};
    commands.push_back(command);
}

// A poll of a block lets the flashloader get as far as that block's answer.
void SimulatedChip::AnswerPoll(std::uint64_t address) {
    for (std::uint32_t block = 0; block < blocks.size(); ++block) {
        if (address == StatusAddress(block) && blocks[block].pending && blocks[block].polls++ >= pollsBeforeAnswer) {
            Finish(block);
        }
    }
}

// The blocks are taken in the order of posting, so an older command of the other block comes first.
void SimulatedChip::Finish(std::uint32_t block) {
    const std::uint32_t other = block ^ 1;
    if (blocks[other].pending && *blocks[other].pending < *blocks[block].pending) {
        Finish(other);
    }
    const std::size_t index = *blocks[block].pending;
    SetSramWord(kBlockInWork, block);
    const auto given = statusOfCommand.find(index);
    if (given != statusOfCommand.end() && given->second == kStatusNotDone) {
        return;
    }
    const std::uint32_t status = given != statusOfCommand.end() ? given->second : CarryOut(commands[index]);
    blocks[block].pending.reset();
    SetSramWord(StatusAddress(block), status);
}

std::uint32_t SimulatedChip::CarryOut(PostedCommand& command) {
    const std::uint32_t code = command.command & 0xF;
    const std::uint64_t end = std::uint64_t{command.address} + command.length;
    if (code != 1 && end > flash.size()) {
        return kInvalidArguments;
    }
    if (code == 1) {
        std::fill(flash.begin(), flash.end(), std::uint8_t{0xFF});
    } else if (code == 5) {
        EraseOnce(command.address, static_cast<std::uint32_t>(end));
    } else if (code == 6) {
        return std::all_of(flash.begin(), flash.end(), [](std::uint8_t byte) { return byte == 0xFF; })
                   ? 0
                   : kVerificationIssue;
    } else {
        const std::uint32_t length = std::min(command.length, model.sectorSize);
        const std::uint8_t* data = sram.data() + (kBuffers[command.block] - kSram);
        command.data.assign(data, data + length);
        Program(command, code);
    }
    return 0;
}

void SimulatedChip::Program(const PostedCommand& command, std::uint32_t code) {
    if (code == 3 && command.length != 0) {
        EraseOnce(command.address, command.address + command.length - 1);
    }
    for (std::size_t i = 0; i < command.data.size(); ++i) {
        std::uint8_t& cell = flash[command.address + i];
        const std::uint8_t byte = command.data[i];
        cell = code == 4 ? byte : static_cast<std::uint8_t>(cell & byte);
    }
}

// At most once between two loads of the flashloader, so that chunks which share a sector do not undo each other.
void SimulatedChip::EraseOnce(std::uint32_t address, std::uint32_t lastAddress) {
    for (std::uint32_t sector = address / model.sectorSize; sector <= lastAddress / model.sectorSize; ++sector) {
        const auto start = std::size_t{sector} * model.sectorSize;
        if (start < flash.size() && !isErased[sector]) {
            std::fill_n(flash.begin() + static_cast<std::ptrdiff_t>(start), model.sectorSize, std::uint8_t{0xFF});
            isErased[sector] = true;
        }
    }
}

void SimulatedChip::LoadFlashloader() {
    std::fill(sram.begin(), sram.end(), std::uint8_t{0});
    isErased.assign(isErased.size(), false);
    blocks = {};
}

void SimulatedChip::Run() { isRunning = true; }

void SimulatedChip::FinishAll() {
    for (std::uint32_t block = 0; block < blocks.size(); ++block) {
        if (blocks[block].pending) {
            Finish(block);
        }
    }
}

void SimulatedChip::Halt() {
    if (isRunning) {
        FinishAll();
    }
    isRunning = false;
}

void SimulatedChip::ForgetCommands() {
    FinishAll();
    blocks = {};
    commands.clear();
    statusOfCommand.clear();
}

std::optional<std::uint32_t> SimulatedChip::AddressOfSymbol(const std::string& name) const {
    static const std::map<std::string, std::uint32_t> kSymbols = {
        {"ResetISR", kEntryPoint}, {"g_cfg", kBlocks},      {"g_currBuf", kBlockInWork},
        {"g_buf1", kBuffers[0]},   {"g_buf2", kBuffers[1]},
    };
    const auto symbol = kSymbols.find(name);
    return symbol == kSymbols.end() ? std::nullopt : std::optional(symbol->second);
}

std::uint32_t SimulatedChip::SramWord(std::uint32_t address) const {
    std::uint32_t word = 0;
    std::memcpy(&word, sram.data() + (address - kSram), sizeof word);
    return word;
}

void SimulatedChip::SetSramWord(std::uint32_t address, std::uint32_t value) {
    std::memcpy(sram.data() + (address - kSram), &value, sizeof value);
}

}  // namespace flash::validator
