// The device's wrappers of the host services: each turns the host's error text into an exception.
#include <cstdarg>
#include <cstddef>

#include "flashdevice/device/FlashDeviceLumo.h"
#include "flashdevice/device/FormatText.h"
#include "flashdevice/device/HostServices.h"

namespace flash {
namespace {

constexpr std::uint16_t kPage = 1;  // the host's own notion of a memory page; always this one
constexpr char kVerboseMode[] = "FlashVerboseMode";

}  // namespace

IFlashHost& FlashDeviceLumo::Host() const { return RequireHost(host); }

std::uint32_t FlashDeviceLumo::ReadWord(std::uint32_t address) {
    std::uint32_t word = 0;
    ThrowIfError(Host().ReadMemory(&word, 1, address, kPage, sizeof word));
    return word;
}

void FlashDeviceLumo::ReadBytes(std::uint8_t* begin, std::uint8_t* end, std::uint32_t address) {
    if (begin != end) {
        ThrowIfError(Host().ReadMemory(begin, static_cast<std::size_t>(end - begin), address, kPage, 1));
    }
}

void FlashDeviceLumo::WriteBytes(const std::uint8_t* begin, const std::uint8_t* end, std::uint32_t address) {
    if (begin != end) {
        ThrowIfError(Host().WriteMemory(begin, static_cast<std::size_t>(end - begin), address, kPage, 1));
    }
}

std::string FlashDeviceLumo::ReadProperty(const char* name) { return flash::ReadProperty(Host(), name); }

bool FlashDeviceLumo::IsOptionOn(const char* name) {
    return Host().GetProperty(name) != nullptr && IsRequiredOptionOn(name);
}

bool FlashDeviceLumo::IsRequiredOptionOn(const char* name) { return ReadProperty(name) == "1"; }

void FlashDeviceLumo::WriteProperty(const char* name, const std::string& value) {
    ThrowIfError(Host().SetProperty(name, value.c_str()));
}

void FlashDeviceLumo::Run() { ThrowIfError(Host().RunTarget()); }

void FlashDeviceLumo::Halt() { ThrowIfError(Host().HaltTarget()); }

void FlashDeviceLumo::ReportErrorText(const std::string& text) { flash::ReportErrorText(Host(), text); }

std::string FlashDeviceLumo::DirectoryPath() { return TextOrEmpty(Host().GetDirectoryPath()); }

bool FlashDeviceLumo::IsVerbose() {
    if (verboseState == kVerboseUnread) {
        verboseState = IsOptionOn(kVerboseMode) ? 1 : 0;
    }
    return verboseState != 0;
}

void FlashDeviceLumo::PrintFormatted(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const std::string text = FormatTextWith(format, arguments);
    va_end(arguments);
    PrintText(Host(), text);
}

std::uint32_t FlashDeviceLumo::LookUpSymbol(const char* name) {
    std::uint64_t address = 0;
    ThrowIfError(Host().LookUpSymbol(name, &address));
    return static_cast<std::uint32_t>(address);
}

}  // namespace flash
