// The two documents that a debugger reads from a server: where memory lies, and which registers the core has.
#pragma once

#include <string>
#include <vector>

#include "host/gdb/ServedChip.h"

namespace flash::host::gdb {

std::string MemoryMapDocument(const std::vector<MemoryRegion>& regions);
std::string TargetDocument(const std::vector<std::string>& systemRegisters);

}  // namespace flash::host::gdb
