// The one way from a host's C texts to exceptions: what the device and its helpers share when they call the host.
#pragma once

#include <string>

#include "flashdevice/interface/IFlashHost.h"

namespace flash {

// The host, or `std::runtime_error` when the plug-in was given none.
IFlashHost& RequireHost(IFlashHost* host);

// Throws `std::runtime_error` with exactly this text, unless it is null.
void ThrowIfError(const char* hostError);

// A text from the host; null counts as empty.
std::string TextOrEmpty(const char* text);

// The text of a mandatory property. Throws `std::logic_error` "Unknown property "name"" when the host has none.
std::string ReadProperty(IFlashHost& host, const char* name);

// Sends `text` as it is, without formatting.
void PrintText(IFlashHost& host, const std::string& text);

// Shows a complaint that does not end the operation.
void ReportErrorText(IFlashHost& host, const std::string& text);

}  // namespace flash
