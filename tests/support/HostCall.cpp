#include "tests/support/HostCall.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace flash::test {
namespace {

std::string Hex(std::uint64_t value) {
    char text[32];
    std::snprintf(text, sizeof text, "0x%08" PRIX64, value);
    return text;
}

std::string Joined(const std::vector<std::string>& texts, char separator) {
    std::string result;
    for (std::size_t i = 0; i < texts.size(); ++i) {
        result += (i == 0 ? "" : std::string(1, separator)) + texts[i];
    }
    return result;
}

std::string ArgumentsOf(const HostCall& call) {
    switch (call.slot) {
        case Slot::SetProperty:
            return Joined(call.texts, '=');
        case Slot::ReadMemory:
        case Slot::WriteMemory:
            return Hex(call.number) + " " + std::to_string(call.count) + "*" + std::to_string(call.elementSize) +
                   (call.page == 1 ? "" : " page=" + std::to_string(call.page));
        case Slot::ReadRegister:
        case Slot::WaitMilliseconds:
            return std::to_string(call.number);
        case Slot::WriteRegister:
            return std::to_string(call.number) + "=" + Hex(call.value);
        default:
            return Joined(call.texts, '|');
    }
}

bool Holds(std::initializer_list<Slot> slots, Slot slot) {
    return std::find(slots.begin(), slots.end(), slot) != slots.end();
}

}  // namespace

const char* SlotName(Slot slot) {
    switch (slot) {
        case Slot::GetProperty:
            return "GetProperty";
        case Slot::SetProperty:
            return "SetProperty";
        case Slot::LoadProgram:
            return "LoadProgram";
        case Slot::LookUpSymbol:
            return "LookUpSymbol";
        case Slot::RunTarget:
            return "RunTarget";
        case Slot::HaltTarget:
            return "HaltTarget";
        case Slot::ReadMemory:
            return "ReadMemory";
        case Slot::WriteMemory:
            return "WriteMemory";
        case Slot::ReadRegister:
            return "ReadRegister";
        case Slot::WriteRegister:
            return "WriteRegister";
        case Slot::ReportError:
            return "ReportError";
        case Slot::PrintMessage:
            return "PrintMessage";
        case Slot::GetDirectoryPath:
            return "GetDirectoryPath";
        case Slot::WaitMilliseconds:
            return "WaitMilliseconds";
        case Slot::SelectCore:
            return "SelectCore";
    }
    return "unknown slot";
}

std::string TextOf(const HostCall& call) {
    const std::string arguments = ArgumentsOf(call);
    return std::string(SlotName(call.slot)) + (arguments.empty() ? "" : " " + arguments);
}

std::vector<std::string> TextsOf(const std::vector<HostCall>& calls) {
    std::vector<std::string> texts;
    texts.reserve(calls.size());
    std::transform(calls.begin(), calls.end(), std::back_inserter(texts), TextOf);
    return texts;
}

std::vector<HostCall> Only(const std::vector<HostCall>& calls, std::initializer_list<Slot> slots) {
    std::vector<HostCall> result;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(result),
                 [&](const HostCall& call) { return Holds(slots, call.slot); });
    return result;
}

std::vector<HostCall> Without(const std::vector<HostCall>& calls, std::initializer_list<Slot> slots) {
    std::vector<HostCall> result;
    std::copy_if(calls.begin(), calls.end(), std::back_inserter(result),
                 [&](const HostCall& call) { return !Holds(slots, call.slot); });
    return result;
}

}  // namespace flash::test
