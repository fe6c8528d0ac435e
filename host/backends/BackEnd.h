// One kind of probe, as the list of all has it.
#pragma once

#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "host/devices/DeviceDescription.h"
#include "host/probe/Probe.h"
#include "host/probe/ProbeSpec.h"

namespace flash::host {

struct BackEnd {
    std::string_view kind;
    bool keepsFile;                        // the place is a file
    void (*check)(const ProbeSpec& spec);  // throws std::invalid_argument
    std::set<std::string> (*places)(const ProbeSpec& spec);
    std::unique_ptr<Probe> (*open)(const ProbeSpec& spec, const DeviceDescription& part);
};

// One of two files is built: the virtual chip, or what stands for it in a program without one.
BackEnd VirtualChipBackEnd();

}  // namespace flash::host
