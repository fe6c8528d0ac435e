// A debugger host for tests: properties, target memory, symbols and messages in plain containers, a record of every
// service call, and failures on demand. A text that it returns is spoilt at its next service call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/HostCall.h"
#include "tests/support/StrictHost.h"
#include "tests/support/TargetMemory.h"

namespace flash::test {

// What runs on the target: told of everything that a host does to it. Failed calls are not told.
class TargetProgram {
public:
    virtual ~TargetProgram() = default;
    virtual void OnLoad() = 0;
    virtual void OnRun() = 0;
    virtual void OnHalt() = 0;
    virtual void OnMemoryWritten(std::uint32_t address, std::size_t lengthBytes) = 0;
    virtual void OnMemoryRead(std::uint32_t address, std::size_t lengthBytes) = 0;  // before the bytes are taken
    virtual void OnProgramCounterWritten(std::uint64_t value) = 0;
};

class FakeHost final : public StrictHost {
public:
    std::map<std::string, std::string> properties;
    std::map<std::string, std::uint64_t> symbols;
    std::map<std::uint32_t, std::uint64_t> routerRegisters;        // by number; others cannot be read
    std::optional<std::string> directory = "C:\\debugger\\bin\\";  // without a value: null
    TargetMemory memory;
    TargetProgram* program = nullptr;  // not owned

    std::vector<HostCall> calls;
    bool isRecording = true;            // of `calls`
    std::vector<std::string> messages;  // printed with success
    std::vector<std::string> errors;    // reported with success
    std::string core;                   // selected last
    bool givesValues = true;            // else reads and look-ups succeed and leave the caller's place as it is

    // The n-th call (1 is the next one) of a slot, or of any slot, fails once with this text.
    // A failing `GetProperty` or `GetDirectoryPath` returns null. A failed call changes nothing on the target.
    void FailNth(Slot slot, std::size_t n, const std::string& text);
    void FailNthOfAny(std::size_t n, const std::string& text);
    // As `FailNthOfAny`, and all calls behind it fail too, each with its own text: "text +1", "text +2", …
    void FailAllFrom(std::size_t n, const std::string& text);
    void StopFailing() { failures.clear(); }

    // The n-th `GetProperty` of one name from now on returns null once.
    void HideProperty(const std::string& name, std::size_t n);

    // The slot of the last call that was made to fail, if any did since the last plan.
    std::optional<Slot> LastFailure() const { return lastFailure; }

    void ClearRecord();
    std::size_t CountOf(Slot slot) const;

    const char* GetProperty(const char* name) override;
    const char* SetProperty(const char* name, const char* value) override;
    const char* LoadProgram(const char* fileName, const char* options, const char* directoryPath) override;
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
    struct Failure {
        std::optional<Slot> slot;  // none: any
        std::string property;      // empty: any
        std::size_t callsLeft;     // until it strikes; 1: at the next matching call
        bool isLasting;
        std::string text;
        std::size_t strikes = 0;  // so far
    };

    void Plan(Failure failure);
    // Records the call, spoils the text returned last, and returns the error text of a planned failure or null.
    const char* Begin(HostCall call);
    const char* PlannedError(const HostCall& call);
    const char* Lend(const std::string& text);

    std::vector<Failure> failures;
    std::optional<Slot> lastFailure;
    std::unique_ptr<std::string> lent;    // readable until the next service call
    std::unique_ptr<std::string> spoilt;  // the one before, overwritten
};

}  // namespace flash::test
