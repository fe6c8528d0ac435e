#include "ChipHost.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include "ElfImage.h"
#include "host/virtual_chip/CommandTimeline.h"

namespace flash::test {
namespace {

constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;
constexpr std::uint32_t kProgramCounter = 527;
constexpr std::uint32_t kIdentificationCode = 1;
constexpr std::chrono::milliseconds kFinishBound{500};
constexpr char kDirectory[] = "C:\\debugger\\bin\\";
constexpr char kImageDirectory[] = "C:\\debugger\\bin\\..\\..\\arm\\";

void Require(bool holds, const std::string& text) {
    if (!holds) {
        throw std::runtime_error(text);
    }
}

// That of the build, or another one: FLASH_TEST_IMAGES.
std::string ImageFolder() {
    const char* other = std::getenv("FLASH_TEST_IMAGES");
    return other != nullptr ? other : FLASHLOADER_IMAGE_DIR;
}

}  // namespace

const char* ChipHost::Guarded(const std::function<void()>& work) {
    try {
        work();
        return nullptr;
    } catch (const std::exception& error) {
        lentText = error.what();
        return lentText.c_str();
    }
}

const char* ChipHost::GetProperty(const char* name) {
    const auto found = properties.find(name);
    return found == properties.end() ? nullptr : found->second.c_str();
}

const char* ChipHost::SetProperty(const char* name, const char* value) {
    properties[name] = value;
    return nullptr;
}

const char* ChipHost::LoadProgram(const char* fileName, const char* options, const char* directory) {
    return Guarded([&] {
        Require(std::string(options).empty() && std::string(directory) == kImageDirectory, "Unexpected arguments");
        const ElfImage image = ReadElf(ImageFolder() + "/" + fileName);
        symbols = image.symbols;
        for (const ElfSegment& segment : image.segments) {
            Send(segment.address, segment.bytes, 1);
        }
        host::ShowCommands(chip, static_cast<std::uint32_t>(symbols.at("g_cfg")));
    });
}

const char* ChipHost::LookUpSymbol(const char* name, std::uint64_t* value) {
    return Guarded([&] {
        Require(symbols.contains(name), std::string("No symbol ") + name);
        *value = symbols.at(name);
    });
}

const char* ChipHost::RunTarget() {
    return Guarded([&] { chip.Run(); });
}

const char* ChipHost::HaltTarget() {
    return Guarded([&] {
        LetFlashloaderFinish();
        chip.Halt();
    });
}

void ChipHost::LetFlashloaderFinish() {
    for (std::uint32_t block = 0; block < 2 && isCareful && !symbols.empty(); ++block) {
        if (chip.State() == chip::CoreState::Running) {
            chip.PauseWhileWordIs(BlockAddress(block) + 16, kNotDone, kFinishBound);
        }
    }
}

const char* ChipHost::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                 std::size_t elementSize) {
    return Guarded([&] {
        Require(page == 1 && core == "Cortex", "Memory is behind the core, on page 1");
        const auto start = static_cast<std::uint32_t>(address);
        const std::span bytes(static_cast<std::uint8_t*>(buffer), count * elementSize);
        chip.ReadMemory(start, bytes, static_cast<std::uint32_t>(elementSize));
        std::uint32_t word = 0;
        if (bytes.size() == sizeof word) {
            std::memcpy(&word, buffer, sizeof word);
        }
        polledAddress = word == kNotDone ? start : 0;
    });
}

const char* ChipHost::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                                  std::size_t elementSize) {
    return Guarded([&] {
        Require(page == 1 && core == "Cortex", "Memory is behind the core, on page 1");
        const auto* first = static_cast<const std::uint8_t*>(buffer);
        Send(static_cast<std::uint32_t>(address), {first, first + count * elementSize},
             static_cast<std::uint32_t>(elementSize));
    });
}

void ChipHost::Send(std::uint32_t address, std::vector<std::uint8_t> bytes, std::uint32_t elementSize) {
    if (tamper) {
        tamper(address, bytes);
    }
    chip.WriteMemory(address, bytes, elementSize);
}

const char* ChipHost::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    return Guarded([&] {
        Require(core == "Sluice" && registerNumber == kIdentificationCode, "No such register on this route");
        *value = chip.ReadIdentificationCode();
    });
}

const char* ChipHost::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    return Guarded([&] {
        Require(core == "Cortex" && registerNumber == kProgramCounter, "No such register on this route");
        chip.WriteCoreRegister(chip::CoreRegister::Pc, static_cast<std::uint32_t>(value));
    });
}

const char* ChipHost::ReportError(const char* text) {
    errors.emplace_back(text);
    return nullptr;
}

const char* ChipHost::PrintMessage(const char* text) {
    messages.emplace_back(text);
    return nullptr;
}

const char* ChipHost::GetDirectoryPath() { return kDirectory; }

const char* ChipHost::WaitMilliseconds(std::uint32_t milliseconds) {
    return Guarded([&] {
        if (polledAddress != 0) {
            chip.PauseWhileWordIs(polledAddress, kNotDone, std::chrono::milliseconds(milliseconds));
        } else {
            chip.Pause(std::chrono::milliseconds(milliseconds));
        }
    });
}

const char* ChipHost::SelectCore(const char* name) {
    return Guarded([&] {
        core = name;
        Require(core == "Sluice" || core == "Cortex", "No route " + core);
    });
}

}  // namespace flash::test
