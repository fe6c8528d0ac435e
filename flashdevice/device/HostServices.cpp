#include "flashdevice/device/HostServices.h"

#include <stdexcept>

namespace flash {

IFlashHost& RequireHost(IFlashHost* host) {
    if (host == nullptr) {
        throw std::runtime_error("FlashUtil::GetFlashProgrammerUtility(): Pointer is NULL.");
    }
    return *host;
}

void ThrowIfError(const char* hostError) {
    if (hostError != nullptr) {
        throw std::runtime_error(hostError);
    }
}

std::string TextOrEmpty(const char* text) { return text == nullptr ? "" : text; }

std::string ReadProperty(IFlashHost& host, const char* name) {
    // Asked twice on purpose: first whether there is such a property, then for its text.
    const char* text = host.GetProperty(name);
    if (text != nullptr) {
        text = host.GetProperty(name);
    }
    if (text == nullptr) {
        throw std::logic_error(std::string("Unknown property \"") + name + "\"");
    }
    return text;
}

void PrintText(IFlashHost& host, const std::string& text) { ThrowIfError(host.PrintMessage(text.c_str())); }

void ReportErrorText(IFlashHost& host, const std::string& text) { ThrowIfError(host.ReportError(text.c_str())); }

}  // namespace flash
