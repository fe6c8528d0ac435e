// A host that answers as the input says: values of any kind, failures, a flashloader that never answers. It watches
// what the plug-in asks of it.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/fuzz/ByteSource.h"
#include "tests/support/StubHost.h"

namespace flash::fuzz {

class FuzzHost final : public test::StubHost {
public:
    // Takes one byte per setting; 0 is its usual value.
    explicit FuzzHost(ByteSource& byteSource);

    const char* GetProperty(const char* name) override;
    const char* SetProperty(const char* name, const char* value) override;
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override;
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override;
    const char* RunTarget() override { return Answer(); }
    const char* HaltTarget() override { return Answer(); }
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override;
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override;
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override;
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    const char* ReportError(const char* text) override;
    const char* PrintMessage(const char* text) override;
    const char* GetDirectoryPath() override { return HandOut("C:\\tools\\"); }
    const char* WaitMilliseconds(std::uint32_t milliseconds) override;
    const char* SelectCore(const char* name) override;

    // Chooses how the host behaves in the next operation.
    void PrepareOperation();
    void ChangeProperty();
    bool IsOn(const char* name) const;

    std::map<std::string, std::string> properties;
    std::string failureText;
    bool hasFailed = false;       // in this operation
    bool areSymbolsLost = false;  // the plug-in does not know where buffers and blocks lie
    std::uint32_t sectorSize = 0x1000;
    std::vector<std::uint8_t> programmed;  // the chunks of commands 2 to 4 that continue each other
    std::optional<std::uint32_t> firstProgrammedAddress;
    bool hasStrayChunk = false;  // one that does not continue the others

private:
    const char* Answer();
    const char* HandOut(const std::string& text);
    void ChooseProperty(std::size_t index);
    void CheckCommand(std::uint32_t block, const std::uint8_t* bytes);
    void KeepChunk(std::uint32_t block, std::uint32_t address);

    ByteSource& source;
    std::uint32_t callsInOperation = 0;
    std::uint32_t pausesInWait = 0;  // since the last write, or the last answer
    std::uint32_t failingCall = 0;   // 0: none
    bool isSilent = false;           // the flashloader never answers
    std::array<std::vector<std::uint8_t>, 2> buffers;
    std::unique_ptr<std::string> handedOut;  // a new one each time, so that a kept pointer dangles
};

}  // namespace flash::fuzz
