// One call of a host service, as the fake host records it, and its text form for comparing whole lists of calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace flash::test {

// The slots that the plug-in may call, by their numbers in the host's table.
enum class Slot : std::uint8_t {
    GetProperty = 0,
    SetProperty = 1,
    LoadProgram = 2,
    LookUpSymbol = 3,
    RunTarget = 4,
    HaltTarget = 6,
    ReadMemory = 10,
    WriteMemory = 11,
    ReadRegister = 13,
    WriteRegister = 14,
    ReportError = 19,
    PrintMessage = 20,
    GetDirectoryPath = 21,
    WaitMilliseconds = 22,
    SelectCore = 27,
};

inline constexpr Slot kAllSlots[] = {
    Slot::GetProperty, Slot::SetProperty,  Slot::LoadProgram,      Slot::LookUpSymbol,     Slot::RunTarget,
    Slot::HaltTarget,  Slot::ReadMemory,   Slot::WriteMemory,      Slot::ReadRegister,     Slot::WriteRegister,
    Slot::ReportError, Slot::PrintMessage, Slot::GetDirectoryPath, Slot::WaitMilliseconds, Slot::SelectCore,
};

const char* SlotName(Slot slot);

struct HostCall {
    Slot slot;
    std::vector<std::string> texts;  // in the order of the arguments
    std::uint64_t number = 0;        // address, register number or milliseconds
    std::uint64_t value = 0;         // written to a register
    std::size_t count = 0;           // elements of memory
    std::size_t elementSize = 0;
    std::uint16_t page = 1;
};

// "GetProperty CrcVerify", "SetProperty DeviceInfoRAMSize=20 KB", "LoadProgram file||directory", "LookUpSymbol g_cfg",
// "RunTarget", "ReadMemory 0x4003002C 1*4" (count * element size), "ReadRegister 1", "WriteRegister 527=0x20000101",
// "PrintMessage text", "WaitMilliseconds 5", "SelectCore Sluice". A memory page other than 1 is added: " page=2".
std::string TextOf(const HostCall& call);

using Texts = std::vector<std::string>;

Texts TextsOf(const std::vector<HostCall>& calls);

// Only the calls of these slots.
std::vector<HostCall> Only(const std::vector<HostCall>& calls, std::initializer_list<Slot> slots);

// All calls but those of these slots.
std::vector<HostCall> Without(const std::vector<HostCall>& calls, std::initializer_list<Slot> slots);

}  // namespace flash::test
