// A debugger host in memory: settings and messages, a chip, a record of every call, and failures on demand. It is a
// demanding host: a text that it hands out is overwritten by the next call, and gone with the one after.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "flashdevice/interface/IFlashHost.h"
#include "validator/simulation/ChipMemory.h"
#include "validator/simulation/Failures.h"
#include "validator/simulation/HostCall.h"
#include "validator/simulation/SimulatedFlashloader.h"

namespace flash::simulation {

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

    ChipMemory memory;
    SimulatedFlashloader flashloader{memory};
    std::uint64_t idCode;
    std::map<std::string, std::string> properties;  // the defaults of a device description, nothing switched on
    std::optional<std::string> directory = "C:\\tools\\bin\\debug\\";  // none: null
    std::map<std::string, std::uint64_t> symbols;                      // of the flashloader
    Failures failures;

    // What the plug-in did.
    std::vector<HostCall> calls;
    std::vector<std::string> messages;  // printed with success
    std::vector<std::string> errors;    // reported with success
    std::string route = "Cortex";       // selected last

    // Forgets those, and the commands that were posted.
    void ForgetCalls();
    std::vector<HostCall> CallsOf(Service service) const;
    std::size_t CountOf(Service service) const { return CallsOf(service).size(); }
    bool HasPrinted(const std::string& text) const;

private:
    // Records the call and spoils the text handed out last.
    HostCall& Note(Service service, const char* text = "", const char* secondText = "", const char* thirdText = "");
    HostCall& NoteMemory(Service service, std::size_t count, std::uint64_t address, std::uint16_t page,
                         std::size_t elementSize);
    void NoteReserved(std::uint64_t slot) { Note(Service::Reserved).number = slot; }
    // The error text when this call, which was noted last, is to fail.
    const char* Failure();
    const char* HandOut(const std::string& text);

    std::unique_ptr<std::string> handedOut;  // a new one each time, so that a kept pointer dangles
    std::unique_ptr<std::string> spoilt;     // the one before
};

}  // namespace flash::simulation
