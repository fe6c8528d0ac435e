// The host services: each slot in its few lines, and the watch over the mailbox.
#include "host/services/PluginServices.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>

#include "host/files/FileContent.h"
#include "host/files/ProgramFile.h"

namespace flash::host {
namespace {

constexpr std::chrono::milliseconds kSettleLimit{2000};  // as long as the plug-in itself waits for a command
constexpr std::size_t kLoadPieceBytes = 4096;
constexpr const char* kInterruptedText = "Interrupted by the user";

std::string Slashes(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

std::string_view TextOf(const char* text) { return text == nullptr ? std::string_view() : text; }

// Target addresses have 32 bits; a wider one is the plug-in's mistake.
std::uint32_t NarrowAddress(std::uint64_t address) {
    if (address > 0xFFFF'FFFF) {
        throw ProbeError(fmt::format("Address 0x{:X} is beyond the target's 32 bits", address));
    }
    return static_cast<std::uint32_t>(address);
}

}  // namespace

std::string_view StageName(Stage stage) {
    static constexpr std::array<std::string_view, 6> kNames = {"load", "erase", "program", "verify", "read", "close"};
    return kNames[static_cast<std::size_t>(stage)];
}

PluginServices::PluginServices(Probe& targetProbe, Settings& hostSettings, Observer& hostObserver,
                               const std::filesystem::path& dataFolder, std::uint32_t sectorSize,
                               const std::atomic<bool>& interruptFlag)
    : probe(targetProbe),
      settings(hostSettings),
      observer(hostObserver),
      // The plug-in goes two folders up and down into "arm"; the two folders need not exist.
      directoryText(std::filesystem::absolute(dataFolder).string() + "\\host\\bin\\"),
      sectorSizeBytes(sectorSize),
      isInterrupted(interruptFlag) {
    std::replace(directoryText.begin(), directoryText.end(), '/', '\\');
}

// The one way from exceptions to the texts that the plug-in expects.
template <typename Work>
const char* PluginServices::Guarded(Work work) {
    try {
        work();
        return nullptr;
    } catch (const std::exception& error) {
        errorText = error.what();
        return errorText.c_str();
    }
}

void PluginServices::BeginOperation(Stage stageOfProgramming, std::uint64_t bytesToProgram) {
    EndOperation();
    complaints.clear();
    messages.clear();
    sawVerificationFailure = false;
    wasInterrupted = false;
    programStage = stageOfProgramming;
    programBytes = bytesToProgram;
    programmedBytes = 0;
    checkedBytes = 0;
}

void PluginServices::EndOperation() { FinishStage(); }

void PluginServices::StartStage(Stage next, std::uint64_t totalBytes) {
    FinishStage();
    stage = next;
    stageStart = probe.Now();
    stageBytes = 0;
    observer.StageStarted(next, totalBytes);
}

void PluginServices::FinishStage() {
    if (stage) {
        observer.StageFinished(*stage, stageBytes, probe.Now() - stageStart);
        stage.reset();
    }
}

std::optional<MailboxReport> PluginServices::ExplainMailbox() {
    return mailbox ? std::optional(ReadMailbox(probe, *mailbox, coreBeforeHalt)) : std::nullopt;
}

// ---- Properties and messages

const char* PluginServices::GetProperty(const char* name) {
    const std::string* value = settings.Find(std::string(TextOf(name)));
    return value == nullptr ? nullptr : value->c_str();
}

const char* PluginServices::SetProperty(const char* name, const char* value) {
    return Guarded([&] { settings.Set(std::string(TextOf(name)), std::string(TextOf(value))); });
}

const char* PluginServices::ReportError(const char* text) {
    return Guarded([&] {
        complaints.emplace_back(TextOf(text));
        observer.PluginError(complaints.back());
    });
}

const char* PluginServices::PrintMessage(const char* text) {
    return Guarded([&] {
        messages.emplace_back(TextOf(text));
        observer.PluginMessage(messages.back());
    });
}

// ---- The flashloader's image

const char* PluginServices::GetDirectoryPath() { return directoryText.c_str(); }

const char* PluginServices::LoadProgram(const char* fileName, const char*, const char* directory) {
    return Guarded([&] {
        const std::filesystem::path folder = Slashes(std::string(TextOf(directory)));
        LoadImage((folder / Slashes(std::string(TextOf(fileName)))).lexically_normal());
    });
}

void PluginServices::LoadImage(const std::filesystem::path& file) {
    const std::vector<std::uint8_t> content = LoadFile(file);
    const ProgramImage image = ReadElf(content, file.string());
    symbols = ReadElfSymbols(content, file.string());
    mailbox.reset();
    coreBeforeHalt.reset();
    pending.fill(std::nullopt);
    polledBlock.reset();
    StartStage(Stage::Load, image.ByteCount());
    for (const DataRun& run : image.Runs()) {
        for (std::size_t offset = 0; offset < run.bytes.size(); offset += kLoadPieceBytes) {
            const std::size_t length = std::min(kLoadPieceBytes, run.bytes.size() - offset);
            probe.WriteMemory(run.address + static_cast<std::uint32_t>(offset),
                              std::span(run.bytes).subspan(offset, length), 1);
            stageBytes += length;
            observer.StageAdvanced(Stage::Load, stageBytes, probe.Now() - stageStart);
        }
    }
    FinishStage();
    const auto blocks = symbols.Find("g_cfg");
    const auto first = symbols.Find("g_buf1");
    const auto second = symbols.Find("g_buf2");
    if (blocks && first && second) {
        mailbox = MailboxSymbols{*blocks, {*first, *second}, symbols.Find("g_currBuf")};
        if (TimelineService* timeline = probe.Timeline()) {
            timeline->WatchCommandBlocks(*blocks);
        }
    }
}

const char* PluginServices::LookUpSymbol(const char* name, std::uint64_t* value) {
    return Guarded([&] {
        const std::optional<std::uint32_t> address = symbols.Find(TextOf(name));
        if (!address) {
            throw ProbeError(fmt::format("The loaded image has no symbol \"{}\"", TextOf(name)));
        }
        *value = *address;
    });
}

// ---- The core

const char* PluginServices::RunTarget() {
    return Guarded([&] {
        probe.Run();
        isFlashloaderRunning = mailbox.has_value();
    });
}

const char* PluginServices::HaltTarget() {
    return Guarded([&] { Settle(); });
}

void PluginServices::Settle() {
    if (isFlashloaderRunning) {
        try {
            AwaitPending();
            coreBeforeHalt = probe.ReadCoreState();
        } catch (const ProbeError& error) {  // the core is stopped all the same
            complaints.push_back(fmt::format("Cannot tell whether the flashloader has finished: {}", error.what()));
        }
    }
    probe.Halt();
    isFlashloaderRunning = false;
    pending.fill(std::nullopt);
    polledBlock.reset();
}

void PluginServices::AwaitPending() {
    for (std::uint32_t index = 0; index < kBlockCount; ++index) {
        if (pending[index]) {
            AwaitBlock(index);
        }
    }
}

void PluginServices::AwaitBlock(std::uint32_t index) {
    // What the plug-in has waited already counts, so that a hanging target is not waited for twice.
    const auto bound = kSettleLimit - (polledBlock == index ? waited : std::chrono::microseconds::zero());
    if (bound > std::chrono::microseconds::zero()) {
        probe.PauseWhileWordIs(mailbox->StatusAddress(index), kStatusNotDone, bound);
    }
    const CommandBlockView block = ReadBlock(probe, *mailbox, index);
    if (block.status == 0) {
        FinishBlock(*pending[index]);
    } else if (block.command != kCommandBlankCheck) {
        complaints.push_back(fmt::format("Posted and not waited for by the plug-in: {}: {}", DescribeCommand(block),
                                         DescribeStatus(block)));
    }
    pending[index].reset();
}

const char* PluginServices::SelectCore(const char* name) {
    return Guarded([&] { probe.SelectRoute(std::string(TextOf(name))); });
}

const char* PluginServices::ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) {
    return Guarded([&] { *value = probe.ReadRegister(registerNumber); });
}

const char* PluginServices::WriteRegister(std::uint32_t registerNumber, std::uint64_t value) {
    // A function's symbol has bit 0 set, which says Thumb code and is no part of the address.
    const std::uint64_t written = registerNumber == kProgramCounterRegister ? value & ~std::uint64_t{1} : value;
    return Guarded([&] { probe.WriteRegister(registerNumber, written); });
}

// ---- Memory, and what passes through the mailbox

const char* PluginServices::ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                                       std::size_t elementSize) {
    return Guarded([&] {
        const std::span bytes(static_cast<std::uint8_t*>(buffer), count * elementSize);
        const std::uint32_t target = NarrowAddress(address);
        probe.ReadMemory(target, bytes, elementSize);
        if (bytes.size() == 4) {
            WatchStatus(target, bytes[0] | std::uint32_t{bytes[1]} << 8 | std::uint32_t{bytes[2]} << 16 |
                                    std::uint32_t{bytes[3]} << 24);
        }
    });
}

const char* PluginServices::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                                        std::size_t elementSize) {
    return Guarded([&] {
        const std::span bytes(static_cast<const std::uint8_t*>(buffer), count * elementSize);
        const std::uint32_t target = NarrowAddress(address);
        if (IsSafePoint(target, bytes.size()) && isInterrupted) {
            wasInterrupted = true;
            throw ProbeError(kInterruptedText);
        }
        probe.WriteMemory(target, bytes, elementSize);
        WatchPost(target, bytes);
    });
}

// Before a whole sector of data goes into a buffer nothing is half done, but for what the flashloader works on. A kept
// CCFG and the rest of its sector are shorter, and the closing phase has no safe point.
bool PluginServices::IsSafePoint(std::uint32_t address, std::size_t lengthBytes) const {
    return mailbox && programStage == Stage::Program && lengthBytes == sectorSizeBytes &&
           (address == mailbox->buffers[0] || address == mailbox->buffers[1]);
}

void PluginServices::WatchPost(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    for (std::uint32_t index = 0; mailbox && index < kBlockCount; ++index) {
        if (address != mailbox->blocks + index * kBlockBytes || bytes.size() != kPostedBytes) {
            continue;
        }
        const CommandBlockView block = DecodeBlock(bytes);
        pending[index] = block;
        if (block.IsErase()) {
            StartStage(Stage::Erase, block.command == 5 ? std::uint64_t{block.lengthBytes} + 1 : 0);
        } else if (block.IsProgram() && stage != programStage) {
            StartStage(programStage, programBytes);
        }
    }
}

void PluginServices::WatchStatus(std::uint32_t address, std::uint32_t value) {
    for (std::uint32_t index = 0; mailbox && index < kBlockCount; ++index) {
        if (address != mailbox->StatusAddress(index)) {
            continue;
        }
        if (value == kStatusNotDone) {
            waited = polledBlock == index ? waited : std::chrono::microseconds::zero();
            polledBlock = index;
            return;
        }
        polledBlock.reset();
        if (pending[index] && value == 0) {
            FinishBlock(*pending[index]);
        }
        sawVerificationFailure |= (value & 0xFFFF) == kStatusVerification;
        pending[index].reset();
    }
}

void PluginServices::FinishBlock(const CommandBlockView& block) {
    if (block.IsErase() && stage == Stage::Erase) {
        stageBytes = block.command == 5 ? std::uint64_t{block.lengthBytes} + 1 : 0;
        FinishStage();
    } else if (block.IsProgram()) {
        programmedBytes += block.lengthBytes;
        checkedBytes += (block.command & kCommandCrcFlag) != 0 ? block.lengthBytes : 0;
        if (stage == programStage) {
            stageBytes += block.lengthBytes;
            observer.StageAdvanced(programStage, stageBytes, probe.Now() - stageStart);
        }
    }
}

const char* PluginServices::WaitMilliseconds(std::uint32_t milliseconds) {
    return Guarded([&] {
        const std::chrono::milliseconds duration(milliseconds);
        if (polledBlock && isFlashloaderRunning) {
            waited += duration;
            probe.PauseWhileWordIs(mailbox->StatusAddress(*polledBlock), kStatusNotDone, duration);
        } else {
            probe.Pause(duration);
        }
    });
}

}  // namespace flash::host
