// The names that people read, in the timeline and in tests' output.
#include <array>

#include "chip/ChipLog.h"

namespace flash::chip {
namespace {

constexpr std::array<std::string_view, kViolationCount> kViolationNames = {
    "program sets a bit",
    "unaligned operation",
    "operation out of range",
    "operation on a protected sector",
    "command while busy",
    "flash read while busy",
    "wrong key or code",
    "execution outside SRAM",
    "core read of unwritten SRAM",
    "probe read of unwritten SRAM",
    "unit programmed twice",
    "watchdog bite",
    "register misuse",
    "core bus fault",
    "core fault",
};

constexpr std::array<std::string_view, 12> kFaultNames = {
    "power loss before an operation",
    "power loss inside an operation",
    "power loss after an operation",
    "power loss at a transfer",
    "link error at a transfer",
    "core stops at an operation",
    "core stops at a transfer",
    "operation fails",
    "operation does nothing",
    "early ready",
    "late ready",
    "stuck busy",
};

}  // namespace

std::string_view Name(Violation violation) { return kViolationNames[static_cast<std::size_t>(violation)]; }

std::string_view Name(Fault fault) { return kFaultNames[static_cast<std::size_t>(fault)]; }

}  // namespace flash::chip
