// The GDB probe as users name it: gdb:HOST:PORT, with keys behind it.
#pragma once

#include <memory>

#include "host/gdb/Endpoint.h"
#include "host/gdb/GdbProbe.h"
#include "host/probe/ProbeSpec.h"

namespace flash::host::gdb {

struct GdbProbeRequest {
    Endpoint endpoint;
    GdbProbeOptions options;
};

// Throws std::invalid_argument with a text that says which part of it is wrong.
GdbProbeRequest ReadGdbProbe(const ProbeSpec& spec);

// Throws ProbeError. `assumedIdentificationCode` is taken when the user gave none.
std::unique_ptr<Probe> OpenGdbProbe(const ProbeSpec& spec, std::uint32_t assumedIdentificationCode);

}  // namespace flash::host::gdb
