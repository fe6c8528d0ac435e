#include "tests/fuzz/flashdevice/FuzzHost.h"

#include <cstring>

#include "tests/fuzz/FuzzTarget.h"

namespace flash::fuzz {
namespace {

constexpr std::uint32_t kBlocks = 0x2000'0400;
constexpr std::uint32_t kBlockBytes = 24;
constexpr std::uint32_t kBuffers[] = {0x2000'1000, 0x2000'4000};
constexpr std::uint32_t kStatusNotDone = 0xFFFF'FFFF;
constexpr std::uint32_t kMostCalls = 20'000;  // of one operation; a run away loop has more
constexpr std::uint32_t kMostPauses = 400;    // of 5 ms: what a wait may take

struct Choice {
    const char* name;
    std::vector<const char*> values;
};

// Settings with the values that lead somewhere; any text comes on top.
const std::vector<Choice>& Choices() {
    static const std::vector<Choice> kChoices = {
        {"FlashEraseSetting",
         {"Necessary Sectors Only", "All Unprotected Sectors", "Specific Sectors",
          "Do not erase sectors (program load only)",
          "Necessary Sectors Only (Retain untouched content within sector)"}},
        {"FlashPageToggle", {"0", "1"}},
        {"FlashPages", {"", "0,2,4,6,8-30", "1,3-4", "0-31", "2-1", "1,3,5,7", "200"}},
        {"FlashPagesFilledWith", {"0", "1"}},
        {"FlashPagesFilledWithValue", {"0xFF", "0", "1", "255"}},
        {"KeepCcfgSetting", {"0", "1"}},
        {"CrcVerify", {"0", "1"}},
        {"FlashVerboseMode", {"0", "1"}},
        {"RetainIeeeSecondaryAddr", {"0", "1"}},
        {"RetainBleSecondaryAddr", {"0", "1"}},
        {"OverrideIeeeSecondaryAddr", {"0", "1"}},
        {"OverrideBleSecondaryAddr", {"0", "1"}},
        {"WriteProtectionToggle", {"0", "1"}},
        {"WriteProtectionText", {"", "0,33", "1-3"}},
        {"DisableBootloader", {"0", "1"}},
        {"DisableCpuDap", {"0", "1"}},
        {"ProgramLoadEraseSpecificText", {"", "1,3-4", "0-7"}},
        {"StandaloneEraseSpecificText", {"2", "1,3-4", "0-7"}},
        {"DeviceFlashloaderFile", {"flashloader.out"}},
        {"DeviceInfoRevisionTranslation", {"0:1.0:RevA:1:2.0:RevB", "", "0:1:2:3", "1::x"}},
        {"DeviceIeeePrimaryLoc", {"0x50001200:8"}},
        {"DeviceBlePrimaryLoc", {"0x50001208:6"}},
        {"DeviceIeeeSecondaryLoc", {"0x1FFC0:8", "1FFFE:8", "57FC0:8"}},
        {"DeviceBleSecondaryLoc", {"0x1FFC8:6", "57FC8:6"}},
        {"DeviceIeeeSecondary", {"01:23:45:67:89:AB:CD:EF", "1:2", ""}},
        {"DeviceBleSecondary", {"11:22:33:44:55:66", "G"}},
        {"DisableBootloaderLoc", {"1FFD3:1"}},
        {"DisableCpuDapLoc", {"1FFD7:1"}},
        {"CCFG_PROT_31_0Loc", {"1FFE0:8", "1FFFC:8"}},
    };
    return kChoices;
}

// Bit by bit, from the polynomial.
std::uint32_t SecondCrc(const std::vector<std::uint8_t>& bytes) {
    std::uint32_t crc = 0xFFFF'FFFF;
    for (const std::uint8_t byte : bytes) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xEDB8'8320 : crc >> 1;
        }
    }
    return ~crc;
}

}  // namespace

FuzzHost::FuzzHost(ByteSource& byteSource) : source(byteSource) {
    for (std::size_t i = 0; i < Choices().size(); ++i) {
        ChooseProperty(i);
    }
}

void FuzzHost::PrepareOperation() {
    callsInOperation = 0;
    pausesInWait = 0;
    hasFailed = false;
    failingCall = source.Chance(3) ? source.Byte() : 0;
    failureText = "failure " + std::to_string(failingCall) + " %s %n";
    isSilent = source.Chance(8);
    programmed.clear();
    firstProgrammedAddress.reset();
    hasStrayChunk = false;
}

void FuzzHost::ChangeProperty() { ChooseProperty(source.Below(static_cast<std::uint32_t>(Choices().size()))); }

// One byte: most are one of the known values, some any text, some no property at all.
void FuzzHost::ChooseProperty(std::size_t index) {
    const Choice& choice = Choices()[index];
    const std::string name = choice.name;
    const std::uint8_t kind = source.Byte();
    if (kind >= 248) {
        properties.erase(name);
    } else if (kind >= 240) {
        // A device description is the host's own: its lengths are small.
        properties[name] = source.Text(name.ends_with("Loc") ? 6 : 24);
    } else {
        properties[name] = choice.values[kind % choice.values.size()];
    }
}

bool FuzzHost::IsOn(const char* name) const {
    const auto property = properties.find(name);
    return property != properties.end() && property->second == "1";
}

const char* FuzzHost::HandOut(const std::string& text) {
    handedOut = std::make_unique<std::string>(text);
    return handedOut->c_str();
}

const char* FuzzHost::Answer() {
    FuzzRequire(++callsInOperation < kMostCalls, "an operation ends");
    if (callsInOperation == failingCall) {
        hasFailed = true;
        return HandOut(failureText);
    }
    handedOut.reset();
    return nullptr;
}

const char* FuzzHost::GetProperty(const char* name) {
    const auto property = properties.find(name);
    return property == properties.end() ? nullptr : HandOut(property->second);
}

const char* FuzzHost::SetProperty(const char* name, const char* value) {
    const std::string key = name;
    const std::string text = value;
    const char* error = Answer();
    if (error == nullptr) {
        properties[key] = text;
    }
    return error;
}

const char* FuzzHost::LoadProgram(const char*, const char* options, const char* directory) {
    FuzzRequire(std::strlen(options) == 0, "a flashloader is loaded without options");
    FuzzRequire(std::strcmp(directory, "C:\\tools\\..\\..\\arm\\") == 0, "the flashloader's folder");
    return Answer();
}

const char* FuzzHost::LookUpSymbol(const char* name, std::uint64_t* value) {
    static const std::map<std::string, std::uint32_t> kSymbols = {{"ResetISR", 0x2000'0101},
                                                                  {"g_cfg", kBlocks},
                                                                  {"g_currBuf", 0x2000'0430},
                                                                  {"g_buf1", kBuffers[0]},
                                                                  {"g_buf2", kBuffers[1]}};
    const std::uint32_t address = kSymbols.at(name);
    *value = address;
    const char* error = Answer();
    // A flashloader whose symbols could not be looked up counts as loaded, on purpose, and is written to as before.
    areSymbolsLost = error != nullptr || (areSymbolsLost && address != kBlocks);
    return error;
}

const char* FuzzHost::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    FuzzRequire(registerNumber == 1, "only the identification code is read");
    *value = std::uint64_t{source.Word()} << (source.Chance(8) ? 4 : 0);
    return Answer();
}

const char* FuzzHost::WriteRegister(std::uint32_t registerNumber, std::uint64_t) {
    FuzzRequire(registerNumber == 527, "only the program counter is written");
    return Answer();
}

const char* FuzzHost::ReportError(const char* text) {
    FuzzRequire(text[0] != '\0', "a reported error says something");
    return Answer();
}

const char* FuzzHost::PrintMessage(const char* text) {
    FuzzRequire(text[0] != '\0', "a message says something");
    return Answer();
}

const char* FuzzHost::WaitMilliseconds(std::uint32_t milliseconds) {
    FuzzRequire(milliseconds == 5, "a pause has 5 ms");
    FuzzRequire(++pausesInWait <= kMostPauses, "a wait ends");
    return Answer();
}

const char* FuzzHost::SelectCore(const char* name) {
    FuzzRequire(std::strcmp(name, "Sluice") == 0 || std::strcmp(name, "Cortex") == 0, "the two routes");
    return Answer();
}

const char* FuzzHost::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                 std::size_t elementSize) {
    FuzzRequire(page == 1 && count != 0 && (elementSize == 1 || (elementSize == 4 && count == 1)),
                "memory is read in bytes or one word, on page 1");
    FuzzRequire(address <= 0xFFFF'FFFF, "addresses have 32 bits");
    const bool isStatus = address == kBlocks + 16 || address == kBlocks + kBlockBytes + 16;
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    std::memset(bytes, 0, count * elementSize);
    if (elementSize == 4) {
        const std::uint32_t words[] = {0, 0x20, 0x2C, 0x0058'0001, source.Chance(4) ? source.Word() : 0, 0xFFFF'FFFF};
        const std::uint32_t chosen = isStatus ? (source.Chance(8) ? 5 : 0) : source.Below(6);
        const std::uint32_t word = isStatus && isSilent ? kStatusNotDone : words[chosen];
        std::memcpy(bytes, &word, sizeof word);
        pausesInWait = word == kStatusNotDone ? pausesInWait : 0;
    } else if (!source.IsEmpty()) {
        bytes[0] = source.Byte();
        bytes[count - 1] = source.Byte();
    }
    return Answer();
}

const char* FuzzHost::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                  std::size_t elementSize) {
    FuzzRequire(page == 1 && elementSize == 1 && count != 0, "memory is written in bytes, on page 1");
    pausesInWait = 0;
    const auto* bytes = static_cast<const std::uint8_t*>(buffer);
    for (std::uint32_t block = 0; block < 2 && !areSymbolsLost; ++block) {
        if (address == kBuffers[block]) {
            FuzzRequire(count <= sectorSize, "a chunk is at most one sector");
            buffers[block].assign(bytes, bytes + count);
            return Answer();
        }
        if (address == kBlocks + block * kBlockBytes) {
            FuzzRequire(count == 20, "a command is one write of 20 bytes");
            CheckCommand(block, bytes);
            return Answer();
        }
    }
    FuzzRequire(areSymbolsLost, "only buffers and blocks are written");
    return Answer();
}

void FuzzHost::CheckCommand(std::uint32_t block, const std::uint8_t* bytes) {
    std::uint32_t words[5];
    std::memcpy(words, bytes, sizeof words);
    const auto [address, length, command, crc, status] = words;
    const std::uint32_t code = command & 0xF;
    const bool hasData = code >= 2 && code <= 4;
    FuzzRequire(code >= 1 && code <= 6 && (command & ~0x1FU) == 0, "a command that there is");
    FuzzRequire((command & 0x10) == 0 || hasData, "only program commands are checked by CRC");
    FuzzRequire(status == kStatusNotDone, "a posted command is marked as not done");
    if (hasData) {
        FuzzRequire(length == buffers[block].size(), "a program command has the length of its buffer");
        FuzzRequire(crc == ((command & 0x10) != 0 ? SecondCrc(buffers[block]) : 0), "the CRC is that of the buffer");
        KeepChunk(block, address);
    } else if (code != 6) {
        FuzzRequire(crc == 0, "the CRC field is unused");
    }
}

void FuzzHost::KeepChunk(std::uint32_t block, std::uint32_t address) {
    const std::uint32_t first = firstProgrammedAddress.value_or(address);
    firstProgrammedAddress = first;
    if (address == static_cast<std::uint32_t>(first + programmed.size())) {
        programmed.insert(programmed.end(), buffers[block].begin(), buffers[block].end());
    } else {
        hasStrayChunk = true;
    }
}

}  // namespace flash::fuzz
