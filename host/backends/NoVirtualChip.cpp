// In place of the virtual chip: who asks for one is told that this program has none.
#include <stdexcept>

#include "host/backends/BackEnd.h"

namespace flash::host {
namespace {

constexpr const char* kMissing =
    "this program was built without the virtual chip; gdb:HOST:PORT is a chip behind a GDB server";

void Check(const ProbeSpec&) { throw std::invalid_argument(kMissing); }

std::set<std::string> Places(const ProbeSpec&) { return {}; }

std::unique_ptr<Probe> Open(const ProbeSpec&, const DeviceDescription&) { throw std::invalid_argument(kMissing); }

}  // namespace

BackEnd VirtualChipBackEnd() { return {"virtual", false, &Check, &Places, &Open}; }

}  // namespace flash::host
