// The host services that a plug-in under check gets: settings and messages in memory, a simulated chip, a journal of
// every call, and failures on demand. It is a demanding host: a text that it hands out is destroyed by the next call.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "flashdevice/interface/IFlashHost.h"
#include "validator/SimulatedChip.h"

namespace flash::validator {

enum class Service {
    GetProperty,
    SetProperty,
    LoadProgram,
    LookUpSymbol,
    RunTarget,
    HaltTarget,
    ReadMemory,
    WriteMemory,
    ReadRegister,
    WriteRegister,
    ReportError,
    PrintMessage,
    GetDirectoryPath,
    WaitMilliseconds,
    SelectCore,
    Reserved,  // any slot that a plug-in must not call; `number` is the slot
};

const char* NameOf(Service service);

struct HostCall {
    Service service;
    std::string text;           // its first text: a name, a message, a file
    std::string secondText;     // a value, options
    std::string thirdText;      // a directory
    std::uint64_t address = 0;  // of memory
    std::uint64_t number = 0;   // bytes of memory, a register's number, milliseconds
    std::uint64_t value = 0;    // for a register; the element size for memory
    std::uint64_t page = 0;
    std::string ToText() const;
    bool operator==(const HostCall&) const = default;
};

class SimulatedHost final : public IFlashHost {
public:
    explicit SimulatedHost(const ChipModel& model = kFirstGeneration);

    const char* GetProperty(const char* name) override;
    const char* SetProperty(const char* name, const char* value) override;
    const char* LoadProgram(const char* fileName, const char* options, const char* directory) override;
    const char* LookUpSymbol(const char* name, std::uint64_t* value) override;
    const char* RunTarget() override;
    void Reserved5() override { NoteReserved(5); }
    const char* HaltTarget() override;
    void Reserved7() override { NoteReserved(7); }
    void Reserved8() override { NoteReserved(8); }
    void Reserved9() override { NoteReserved(9); }
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize) override;
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize) override;
    void Reserved12() override { NoteReserved(12); }
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value) override;
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value) override;
    void Reserved15() override { NoteReserved(15); }
    void Reserved16() override { NoteReserved(16); }
    void Reserved17() override { NoteReserved(17); }
    void Reserved18() override { NoteReserved(18); }
    const char* ReportError(const char* text) override;
    const char* PrintMessage(const char* text) override;
    const char* GetDirectoryPath() override;
    const char* WaitMilliseconds(std::uint32_t milliseconds) override;
    void Reserved23() override { NoteReserved(23); }
    void Reserved24() override { NoteReserved(24); }
    void Reserved25() override { NoteReserved(25); }
    void Reserved26() override { NoteReserved(26); }
    const char* SelectCore(const char* name) override;

    SimulatedChip chip;
    std::map<std::string, std::string> properties;  // the defaults of a device description, nothing switched on
    std::string directory = "C:\\tools\\bin\\debug\\";

    // What the plug-in did.
    std::vector<HostCall> journal;
    std::vector<std::string> messages;  // PrintMessage
    std::vector<std::string> errors;    // ReportError
    void ForgetCalls();
    std::vector<HostCall> CallsOf(Service service) const;
    bool HasPrinted(const std::string& text) const;

    // Failing calls. Only calls that can fail are counted, from 0, since `ForgetCalls`.
    std::size_t failableCalls = 0;
    std::optional<std::size_t> failingCall;
    std::optional<Service> failingService;  // every call of it
    std::string failureText = "the probe was pulled out";
    bool hasFailed = false;

private:
    bool Fails(Service service);
    const char* Answer(bool isGood, const std::string& error);
    const char* HandOut(const std::string& text);
    HostCall& Note(Service service, const char* text = "", const char* secondText = "", const char* thirdText = "");
    void NoteReserved(std::uint64_t slot);
    void DestroyHandedOut();

    std::string route = "Cortex";
    std::unique_ptr<std::string> handedOut;  // a new one each time, so that a kept pointer dangles
};

}  // namespace flash::validator
