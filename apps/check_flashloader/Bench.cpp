#include "apps/check_flashloader/Bench.h"

#include <fmt/format.h>

#include <algorithm>

#include "chip/Crc32.h"
#include "host/files/FileContent.h"

namespace flash::flashloader_check {
namespace {

constexpr std::chrono::seconds kHostWaits{2};
constexpr std::uint32_t kSmallSectorBytes = 4096;
constexpr std::uint32_t kSmallSram = 0x5000;
constexpr std::uint32_t kThumbBit = 1;
constexpr std::uint32_t kProtectionFromEnd = 0x20;
constexpr std::uint32_t kFewestSectors = 6;
constexpr std::uint32_t kMostSectors = 255;

chip::Settings ChipFor(const Image& image, const Bytes& flash) {
    chip::Settings settings;
    settings.generation = image.generation;
    settings.controller = image.controller;
    settings.sectorCount = image.sectorCount;
    settings.initialFlash = flash;
    settings.ramBytes = image.generation == chip::Generation::LumoD ? kSmallSram : 0;
    settings.timing.linkBytesPerSecond = 20'000'000;
    settings.timing.linkLatency = std::chrono::microseconds(2);
    settings.timing.sectorErase = std::chrono::milliseconds(2);
    settings.timing.busyStall = std::chrono::microseconds(100);  // so that few looks are emulated
    if (image.model != nullptr) {
        settings.timing.coreClockHz = std::uint64_t{1000} * image.model->ticksPerMillisecond();
    }
    return settings;
}

std::unique_ptr<chip::Controller> ModelOf(const Image& image) {
    return image.model == nullptr ? nullptr : ControllerFrom(*image.model, image.symbols.Find("g_flash").value_or(0));
}

Bytes Encode(const Block& block) {
    Bytes bytes;
    for (const std::uint32_t field : {block.address, block.length, block.command, block.crc, kNotDone}) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<std::uint8_t>(field >> shift));
        }
    }
    return bytes;
}

}  // namespace

std::uint32_t Image::Find(const std::string& symbol) const {
    const auto address = symbols.Find(symbol);
    if (!address) {
        throw Broken("expected the symbol " + symbol + ", found none");
    }
    return *address;
}

Image ReadImage(const std::filesystem::path& file, const chip::ControllerKind& controller) {
    const Bytes content = host::LoadFile(file);
    Image image{host::ReadElf(content, file.string()), host::ReadElfSymbols(content, file.string()),
                chip::Generation::LumoD, controller};
    const auto first = image.symbols.Find("g_buf1");
    const auto second = image.symbols.Find("g_buf2");
    const bool isLarge = first && second && std::max(*first, *second) - std::min(*first, *second) > kSmallSectorBytes;
    image.generation = isLarge ? chip::Generation::LumoF : chip::Generation::LumoD;
    return image;
}

void UseModel(Image& image, const ModelLibrary& model) {
    const std::uint32_t sectorBytes = image.generation == chip::Generation::LumoF ? 8192 : 4096;
    image.model = &model;
    image.sectorCount = model.flashBytes() / model.sectorBytes();
    if (model.sectorBytes() != sectorBytes) {
        throw std::runtime_error(fmt::format("the image has buffers of {} bytes, and the model sectors of {}",
                                             sectorBytes, model.sectorBytes()));
    }
    if (image.sectorCount < kFewestSectors || image.sectorCount > kMostSectors) {
        throw std::runtime_error(fmt::format("the model has {} sectors; {} to {} are needed", image.sectorCount,
                                             kFewestSectors, kMostSectors));
    }
}

Bench::Bench(const Image& flashloaderImage, const Bytes& flash)
    : image(flashloaderImage), chip(ChipFor(flashloaderImage, flash), ModelOf(flashloaderImage)) {
    Load();
    Start();
}

void Bench::Load() {
    chip.Halt();
    for (const host::DataRun& run : image.program.Runs()) {
        chip.WriteMemory(run.address, run.bytes);
    }
    next = 0;
}

void Bench::Start() {
    chip.WriteCoreRegister(chip::CoreRegister::Pc, image.Find("ResetISR") & ~kThumbBit);
    chip.Run();
}

void Bench::Post(std::uint32_t index, const Block& block) { chip.WriteMemory(BlockAddress(index), Encode(block)); }

Answer Bench::Run(const Block& block) {
    const std::uint32_t index = next;
    next ^= 1;
    Post(index, block);
    if (!chip.PauseWhileWordIs(BlockAddress(index) + 16, kNotDone, kHostWaits)) {
        throw Broken(fmt::format("expected an answer to command 0x{:X} at 0x{:X} within 2 s, found none", block.command,
                                 block.address));
    }
    return {StatusOf(index), chip.PeekWord(BlockAddress(index))};
}

Answer Bench::Program(std::uint32_t command, std::uint32_t address, const Bytes& chunk) {
    chip.WriteMemory(BufferAddress(next), chunk);
    return Run({address, static_cast<std::uint32_t>(chunk.size()), command, chip::Crc32(chunk)});
}

std::uint64_t Bench::Operations() const {
    return image.model == nullptr ? chip.GetCounters().flashOperations : image.model->operations();
}

void Bench::ProtectSector(std::uint32_t index) {
    if (image.model != nullptr) {
        image.model->protectSector(index * SectorBytes());
    } else {
        chip.PlaceInFlash(chip.FlashBytes() - kProtectionFromEnd, Bytes{static_cast<std::uint8_t>(~(1U << index))});
    }
    chip.Reset();
    Load();
    Start();
}

void Bench::FlipABitOf(std::uint32_t address) {
    if (image.model != nullptr) {
        image.model->arm(2, kOperationFlipsABit);
    } else {
        chip.ArmBitThatFlips(address, 4);
    }
}

void Bench::RequireNoViolation() const {
    if (image.model != nullptr) {
        RequireEqual(image.model->rulesBroken(), 0, "rules of the controller that were broken");
    }
    for (std::size_t i = 0; i < chip::kViolationCount; ++i) {
        const auto violation = static_cast<chip::Violation>(i);
        Require(chip.Count(violation) == 0, "no breach of the chip's rules",
                fmt::format("{} times \"{}\"", chip.Count(violation), chip::Name(violation)));
    }
}

Bytes Pattern(std::size_t length, std::uint32_t seed) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i * 37 + std::size_t{seed} * 101 + (i >> 8));
    }
    return bytes;
}

void Require(bool holds, const std::string& expected, const std::string& found) {
    if (!holds) {
        throw Broken("expected " + expected + ", found " + found);
    }
}

void RequireEqual(std::uint64_t found, std::uint64_t expected, const std::string& what) {
    Require(found == expected, fmt::format("{}: 0x{:X}", what, expected), fmt::format("0x{:X}", found));
}

void RequireFlash(const Bench& bench, const Bytes& expected, const std::string& what) {
    const Bytes found = bench.Flash();
    const auto [at, wanted] = std::ranges::mismatch(found, expected);
    if (at != found.end()) {
        throw Broken(fmt::format("{}: expected 0x{:02X} at 0x{:X} of flash, found 0x{:02X}", what, *wanted,
                                 at - found.begin(), *at));
    }
}

}  // namespace flash::flashloader_check
