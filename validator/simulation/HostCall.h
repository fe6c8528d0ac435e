// One call of a host service, as the simulated host records it.
#pragma once

#include <cstdint>
#include <string>

namespace flash::simulation {

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

// Those that answer with an error text. The others answer with null.
constexpr bool HasErrorText(Service service) {
    return service != Service::GetProperty && service != Service::GetDirectoryPath && service != Service::Reserved;
}

struct HostCall {
    Service service = Service::Reserved;
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

std::string HexText(std::uint64_t value);  // "0x1F000"

}  // namespace flash::simulation
