#include "validator/simulation/HostCall.h"

#include <cstdio>

namespace flash::simulation {
namespace {

constexpr const char* kServiceNames[] = {
    "GetProperty",      "SetProperty",      "LoadProgram",  "LookUpSymbol",  "RunTarget",   "HaltTarget",
    "ReadMemory",       "WriteMemory",      "ReadRegister", "WriteRegister", "ReportError", "PrintMessage",
    "GetDirectoryPath", "WaitMilliseconds", "SelectCore",   "reserved slot",
};

}  // namespace

const char* NameOf(Service service) { return kServiceNames[static_cast<std::size_t>(service)]; }

std::string HexText(std::uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(value));
    return text;
}

std::string HostCall::ToText() const {
    std::string result = NameOf(service);
    for (const std::string& part : {text, secondText, thirdText}) {
        result += " \"" + part + "\"";
    }
    for (const std::uint64_t part : {address, number, value, page}) {
        result += " " + HexText(part);
    }
    return result;
}

}  // namespace flash::simulation
