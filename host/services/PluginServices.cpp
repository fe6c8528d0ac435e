// Each slot in its few lines.
#include "host/services/PluginServices.h"

#include <fmt/format.h>

#include <algorithm>
#include <exception>
#include <span>
#include <string_view>
#include <utility>

#include "host/Failure.h"

namespace flash::host {
namespace {

constexpr const char* kVerboseMode = "FlashVerboseMode";
constexpr const char* kInterruptedText = "Interrupted by the user";

std::string Slashes(std::string text) {
    std::replace(text.begin(), text.end(), '\\', '/');
    return text;
}

std::string TextOf(const char* text) { return text == nullptr ? "" : text; }

// Target addresses have 32 bits; a wider one is the plug-in's mistake.
std::uint32_t NarrowAddress(std::uint64_t address) {
    if (address > 0xFFFF'FFFF) {
        throw ProbeError(fmt::format("Address 0x{:X} is beyond the target's 32 bits", address));
    }
    return static_cast<std::uint32_t>(address);
}

}  // namespace

PluginServices::PluginServices(const Means& means, Observer& hostObserver, const std::atomic<bool>& interruptFlag)
    : probe(means.probe),
      settings(means.settings),
      observer(hostObserver),
      // The plug-in goes two folders up and down into "arm"; the two folders need not exist.
      directoryText(std::filesystem::absolute(means.dataFolder).string() + "\\host\\bin\\"),
      sectorSizeBytes(means.sectorSizeBytes),
      isInterrupted(interruptFlag),
      flashloader(means.probe),
      record(observer, means.probe) {
    std::replace(directoryText.begin(), directoryText.end(), '/', '\\');
}

// The one way from exceptions to the texts that the plug-in expects.
template <typename Work>
const char* PluginServices::Guarded(Work work) {
    try {
        work();
        return nullptr;
    } catch (const Failure& failure) {
        return Refuse(failure.Text());
    } catch (const std::exception& error) {
        return Refuse(error.what());
    }
}

const char* PluginServices::Refuse(const FieldText& text) {
    record.TakeRefusal(text);
    errorText = text.Plain();
    return errorText.c_str();
}

// ---- Properties and messages

const char* PluginServices::GetProperty(const char* name) {
    const std::string* value = settings.Find(TextOf(name));
    return value == nullptr ? nullptr : value->c_str();
}

const char* PluginServices::SetProperty(const char* name, const char* value) {
    return Guarded([&] { settings.Set(TextOf(name), TextOf(value)); });
}

const char* PluginServices::ReportError(const char* text) {
    return Guarded([&] { record.TakeError(TextOf(text)); });
}

const char* PluginServices::PrintMessage(const char* text) {
    return Guarded([&] { record.TakeMessage(TextOf(text)); });
}

// ---- The flashloader's image

const char* PluginServices::GetDirectoryPath() { return directoryText.c_str(); }

const char* PluginServices::LoadProgram(const char* fileName, const char*, const char* directory) {
    return Guarded([&] {
        TakeCoreOver();
        const std::filesystem::path folder = Slashes(TextOf(directory));
        flashloader.Load((folder / Slashes(TextOf(fileName))).lexically_normal(), record.progress);
    });
}

const char* PluginServices::LookUpSymbol(const char* name, std::uint64_t* value) {
    return Guarded([&] {
        const std::optional<std::uint32_t> address = flashloader.FindSymbol(TextOf(name));
        if (!address) {
            throw ProbeError(fmt::format("The loaded image has no symbol \"{}\"", TextOf(name)));
        }
        *value = *address;
    });
}

// ---- The core

// The plug-in's closing phase counts on what the core did before it, so a later reset would be one too many.
void PluginServices::TakeCoreOver() {
    DebugService* const core = std::exchange(isCoreOurs, true) ? nullptr : probe.Debugging();
    if (core == nullptr) {
        return;
    }
    try {
        core->Reset();
    } catch (const ProbeError& error) {
        if (settings.Value(kVerboseMode) == "1") {
            observer.Note(fmt::format("The core is only halted, not reset, before it is used: {}", error.what()));
        }
        probe.Halt();
    }
}

const char* PluginServices::RunTarget() {
    return Guarded([&] { flashloader.Run(); });
}

const char* PluginServices::HaltTarget() {
    return Guarded([&] { Settle(); });
}

const char* PluginServices::SelectCore(const char* name) {
    return Guarded([&] { probe.SelectRoute(TextOf(name)); });
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
        record.Take(flashloader.OnRead(target, bytes));
    });
}

const char* PluginServices::WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t,
                                        std::size_t elementSize) {
    return Guarded([&] {
        const std::span bytes(static_cast<const std::uint8_t*>(buffer), count * elementSize);
        const std::uint32_t target = NarrowAddress(address);
        if (IsSafePoint(target, bytes.size()) && isInterrupted) {
            record.wasInterrupted = true;
            throw ProbeError(kInterruptedText);
        }
        probe.WriteMemory(target, bytes, elementSize);
        record.Take(flashloader.OnWrite(target, bytes));
    });
}

// Before a whole sector of data goes into a buffer nothing is half done, but for what the flashloader works on. A kept
// CCFG and the rest of its sector are shorter, and the closing phase has no safe point.
bool PluginServices::IsSafePoint(std::uint32_t address, std::size_t lengthBytes) const {
    return record.ProgramStage() == Stage::Program && lengthBytes == sectorSizeBytes && flashloader.IsBuffer(address);
}

const char* PluginServices::WaitMilliseconds(std::uint32_t milliseconds) {
    return Guarded([&] { flashloader.Pause(std::chrono::milliseconds(milliseconds)); });
}

}  // namespace flash::host
