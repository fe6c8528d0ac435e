// A careful debugger host with the virtual chip at its probe: settings and messages in plain containers, program images
// from the build. It lets a running flashloader finish what is posted before it halts it, and pauses no longer than
// the flashloader works.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "chip/VirtualChip.h"
#include "tests/support/StubHost.h"

namespace flash::test {

class ChipHost final : public StubHost {
public:
    // Refers to the chip, which must live as long.
    explicit ChipHost(chip::VirtualChip& virtualChip) : chip(virtualChip) {}

    std::map<std::string, std::string> properties;
    std::vector<std::string> messages;
    std::vector<std::string> errors;
    bool isCareful = true;  // lets the flashloader finish before it halts it
    // May change what travels into the target's memory.
    std::function<void(std::uint32_t address, std::vector<std::uint8_t>& bytes)> tamper;

    // What the flashloader left in one of its command blocks (0 or 1).
    std::uint32_t BlockStatus(std::uint32_t block) const { return chip.PeekWord(BlockAddress(block) + 16); }
    std::uint32_t BlockAddressField(std::uint32_t block) const { return chip.PeekWord(BlockAddress(block)); }
    std::uint32_t Symbol(const std::string& name) const { return symbols.at(name); }

    const char* GetProperty(const char* name) override;
    const char* SetProperty(const char* name, const char* value) override;
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override;
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override;
    const char* RunTarget() override;
    const char* HaltTarget() override;
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override;
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override;
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override;
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    const char* ReportError(const char* text) override;
    const char* PrintMessage(const char* text) override;
    const char* GetDirectoryPath() override;
    const char* WaitMilliseconds(std::uint32_t milliseconds) override;
    const char* SelectCore(const char* name) override;

private:
    std::uint32_t BlockAddress(std::uint32_t block) const { return symbols.at("g_cfg") + 24 * block; }
    void LetFlashloaderFinish();
    void Send(std::uint32_t address, std::vector<std::uint8_t> bytes, std::uint32_t elementSize);
    // Turns an exception into a text that stays readable until the next call.
    const char* Guarded(const std::function<void()>& work);

    chip::VirtualChip& chip;
    std::map<std::string, std::uint32_t> symbols;
    std::string core;
    std::uint32_t polledAddress = 0;  // of the status word that was read last as not done; 0 for none
    std::string lentText;
};

}  // namespace flash::test
