// Finding them: in the options, and in the bytes that a file has for CCFG.
#include "host/plan/Dangers.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace flash::host {
namespace {

constexpr std::uint32_t kProtectionBytes = 8;

std::optional<std::uint8_t> ByteAt(const std::vector<DataRun>& data, std::uint32_t address) {
    for (const DataRun& run : data) {
        if (address >= run.address && address - run.address < run.bytes.size()) {
            return run.bytes[address - run.address];
        }
    }
    return std::nullopt;
}

bool ClearsProtectionBits(const std::vector<DataRun>& data, std::uint32_t address) {
    for (std::uint32_t i = 0; i < kProtectionBytes; ++i) {
        if (ByteAt(data, address + i).value_or(0xFF) != 0xFF) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<std::string> FindDangers(const DangerousChanges& changes, const DeviceDescription& device,
                                     std::uint32_t flashSizeBytes) {
    std::vector<std::string> dangers;
    if (changes.disableDebug) {
        dangers.emplace_back(
            "The debug port will be disabled from the next power-up on: no debugger, this program "
            "included, will reach the chip again");
    }
    const bool isLast = changes.protectedSectors.Contains(changes.protectedSectors.SectorCount() - 1);
    if (!changes.protectedSectors.IsEmpty()) {
        dangers.push_back(fmt::format("Pages {} will be write-protected from the next power-up on{}",
                                      changes.protectedSectors.Text(),
                                      isLast ? ", and with the last page all of CCFG: this cannot be taken back" : ""));
    }
    if (changes.disableDebug && isLast) {
        dangers.emplace_back(
            "The last page is protected before the debug port is disabled: a chip that loses power in between can "
            "never be changed to have both");
    }
    if (ByteAt(changes.programmedData, device.Location("DisableCpuDap", flashSizeBytes).address) == 0) {
        dangers.emplace_back(
            "The CCFG in the file disables the debug port from the next power-up on: no debugger, this "
            "program included, will reach the chip again");
    }
    if (ClearsProtectionBits(changes.programmedData, device.Location("CCFG_PROT_31_0", flashSizeBytes).address)) {
        dangers.emplace_back("The CCFG in the file write-protects pages from the next power-up on");
    }
    return dangers;
}

}  // namespace flash::host
