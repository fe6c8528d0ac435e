// Two tables of beginnings: what is behind them differs from failure to failure.
#include "host/plugin/PluginTexts.h"

#include <algorithm>

namespace flash::host {
namespace {

// Those of the interface that a user can act on; the others name functions of the plug-in.
constexpr std::string_view kOfTheInterface[] = {
    "Address value is too big",
    "Cannot perform Blank Check. Unknown Flash size!",
    "Erasing all unprotected pages failed! Timed out waiting for target flashloader",
    "Failed to convert HEX string '",
    "Failed to read property '",
    "Failed to write configuration block to target.",
    "Failed to write data to temporary buffer in RAM",
    "Failed to write flashloader to device SRAM.",
    "Flash Programmer: Error erasing flash.",
    "Given page is out of range: ",
    "Input format wrong not valid.",
    "Invalid option was given ",
    "Invalid range was given ",
    "Lumo flash supports only supports 32 bit addresses",
    "Option contains invalid characters: ",
    "Property DeviceInfoRevisionTranslation",
    "Something went wrong programming device",
    "Syntax error in MAC address.",
    "Timed out waiting for target flashloader to execute command.",
    "Unknown property \"",
    "Unsupported Operation Code: '",
    "Unsupported target data type",
};

// With what exceptions of the standard libraries that plug-ins are built with begin.
constexpr std::string_view kOfALibrary[] = {
    "__",
    "array::",
    "bad allocation",
    "bad any",
    "bad array",
    "bad cast",
    "bad expected",
    "bad function",
    "bad optional",
    "bad typeid",
    "bad variant",
    "bad_",
    "basic_",
    "bitset",
    "deque",
    "invalid bitset",
    "invalid deque",
    "invalid hash",
    "invalid map",
    "invalid sto",
    "invalid string position",
    "invalid unordered",
    "invalid vector",
    "list::",
    "list too long",
    "map::",
    "map/set",
    "span::",
    "std::",
    "stod",
    "stof",
    "stoi",
    "stol",
    "stoul",
    "string too long",
    "string_view",
    "unknown exception",
    "unordered_",
    "vector",
};

template <typename Beginnings>
bool BeginsWithOneOf(std::string_view text, const Beginnings& beginnings) {
    return std::ranges::any_of(beginnings, [&](std::string_view beginning) { return text.starts_with(beginning); });
}

}  // namespace

PluginAnswer ReadPluginText(std::string_view text) {
    if (text.empty()) {
        return {"the plug-in failed without saying why", ""};
    }
    if (BeginsWithOneOf(text, kOfTheInterface)) {
        return {std::string(text), std::string(text)};
    }
    if (BeginsWithOneOf(text, kOfALibrary)) {
        return {"the plug-in cannot use the value of a property, or what the chip answered", ""};
    }
    return {"the plug-in failed for a reason of its own", std::string(text)};
}

}  // namespace flash::host
