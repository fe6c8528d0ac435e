// Calls of the host's services, each watched for what holds for all of them: the slot holds a function, nothing is
// thrown, and a text lives until the next call.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "flashdevice/interface/IFlashHost.h"
#include "validator/hostcheck/Findings.h"
#include "validator/hostcheck/Memory.h"

namespace flash::hostcheck {

class HostCalls {
public:
    // Both must outlive this. `host` may have an incomplete table; what is missing is refused when it is called.
    HostCalls(IFlashHost* host, Findings& found);

    // Whether the table is the one that the factory saw.
    bool IsHostAlive() const;
    // Looks a last time at the text that was handed out last. Between two operations a host may change its texts.
    void EndOperation();
    // What was handed out last is not needed any more.
    void ForgetText() { lent.place = nullptr; }

    // As the services of the same names; an error text is a copy that lives until the next call.
    std::optional<std::string> GetProperty(const std::string& name);
    const char* SetProperty(std::string& name, std::string& value);
    const char* LoadProgram(std::string fileName, std::string options, std::string directory);
    const char* LookUpSymbol(std::string name, std::uint64_t* value);
    const char* RunTarget();
    const char* HaltTarget();
    const char* ReadMemory(void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                           std::size_t elementSize);
    const char* WriteMemory(const void* buffer, std::size_t count, std::uint64_t address, std::uint16_t page,
                            std::size_t elementSize);
    const char* ReadRegister(std::uint32_t registerNumber, std::uint64_t* value);
    const char* WriteRegister(std::uint32_t registerNumber, std::uint64_t value);
    const char* ReportError(std::string text);
    const char* PrintMessage(std::string text);
    std::optional<std::string> GetDirectoryPath();
    const char* WaitMilliseconds(std::uint32_t milliseconds);
    const char* SelectCore(std::string name);

private:
    // A text of the host: where it lies, and what it said.
    struct LentText {
        Rule rule = Rule::PropertyTextLives;
        const char* service = "";
        const char* place = nullptr;  // none: nothing is lent
        TextCopy text;
    };

    template <typename Call>
    const char* Ask(std::size_t slot, const char* service, const char* refusal, Call call);
    template <typename Call>
    const char* ErrorOf(std::size_t slot, const char* service, Call call);
    void Lend(Rule rule, const char* service, const char* place);
    void SeeLent(const char* when);

    IFlashHost* const host;
    Findings& findings;
    const void* const firstFunction;  // of the table, as the factory saw it
    LentText lent;
    std::string error;
};

// The slots that a plug-in calls and that are empty, as "slot 4 RunTarget, …". Empty when the table is complete.
std::string EmptySlots(const IFlashHost* host);

}  // namespace flash::hostcheck
