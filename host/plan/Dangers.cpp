// Finding them: in the options, and in the bytes that a file has for CCFG.
#include "host/plan/Dangers.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "host/Words.h"

namespace flash::host {
namespace {

std::optional<std::uint8_t> ByteAt(const std::vector<DataRun>& data, std::uint32_t address) {
    for (const DataRun& run : data) {
        if (address >= run.address && address - run.address < run.bytes.size()) {
            return run.bytes[address - run.address];
        }
    }
    return std::nullopt;
}

bool ClearsProtectionBits(const std::vector<DataRun>& data, const FieldLocation& words) {
    for (std::uint32_t i = 0; i < words.lengthBytes; ++i) {
        if (ByteAt(data, words.address + i).value_or(0xFF) != 0xFF) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::vector<std::string> FindDangers(const ClosingChanges& changes, const std::vector<DataRun>& programmedData,
                                     const CcfgLayout& layout) {
    std::vector<std::string> dangers;
    if (changes.disableDebug) {
        dangers.emplace_back(
            "The debug port will be disabled from the next power-up on: no debugger, this program "
            "included, will reach the chip again");
    }
    const bool isLast = changes.protect && changes.protect->Contains(layout.geometry.sectorCount - 1);
    if (changes.protect) {
        dangers.push_back(fmt::format("{} will be write-protected from the next power-up on{}",
                                      Listed("Page", changes.protect->Text()),
                                      isLast ? ", and with the last page all of CCFG: this cannot be taken back" : ""));
    }
    if (changes.disableDebug && isLast) {
        dangers.emplace_back(
            "The last page is protected before the debug port is disabled: a chip that loses power in between can "
            "never be changed to have both");
    }
    if (ByteAt(programmedData, layout.debugPort.address) == 0) {
        dangers.emplace_back(
            "The CCFG in the file disables the debug port from the next power-up on: no debugger, this "
            "program included, will reach the chip again");
    }
    if (ClearsProtectionBits(programmedData, layout.protection)) {
        dangers.emplace_back("The CCFG in the file write-protects pages from the next power-up on");
    }
    return dangers;
}

}  // namespace flash::host
