// Flash is small enough to be kept whole: what is given needs no sorting, and later bytes replace earlier ones.
#include "host/gdb/FlashLoad.h"

#include <fmt/format.h>

#include <algorithm>
#include <stdexcept>

#include "host/Words.h"

namespace flash::host::gdb {
namespace {
constexpr std::uint8_t kErasedByte = 0xFF;
}  // namespace

FlashLoad::FlashLoad(std::uint32_t flashBytes, std::uint32_t flashBlockBytes)
    : blockBytes(flashBlockBytes),
      content(flashBytes, kErasedByte),
      written(flashBytes),
      erased(flashBytes / flashBlockBytes) {}

std::size_t FlashLoad::RequireInside(std::uint32_t address, std::uint64_t lengthBytes) const {
    if (address + lengthBytes > content.size()) {
        throw std::invalid_argument(fmt::format("{} at 0x{:08X} outside of the flash of {} bytes",
                                                Counted(lengthBytes, "byte"), address, content.size()));
    }
    return address;
}

void FlashLoad::Erase(const AddressRange& range) {
    const std::size_t first = RequireInside(range.address, range.lengthBytes);
    if (range.lengthBytes == 0) {
        return;  // the block that the address lies in is not meant
    }
    const std::size_t end = first + range.lengthBytes;
    for (std::size_t block = first / blockBytes; block * blockBytes < end; ++block) {
        erased[block] = true;
    }
}

void FlashLoad::Write(std::uint32_t address, std::span<const std::uint8_t> bytes) {
    const std::size_t first = RequireInside(address, bytes.size());
    std::copy(bytes.begin(), bytes.end(), content.begin() + static_cast<std::ptrdiff_t>(first));
    std::fill_n(written.begin() + static_cast<std::ptrdiff_t>(first), bytes.size(), true);
}

bool FlashLoad::IsEmpty() const { return WrittenBytes() == 0 && ErasedBlocks() == 0; }

std::uint32_t FlashLoad::WrittenBytes() const {
    return static_cast<std::uint32_t>(std::count(written.begin(), written.end(), true));
}

std::uint32_t FlashLoad::ErasedBlocks() const {
    return static_cast<std::uint32_t>(std::count(erased.begin(), erased.end(), true));
}

std::uint32_t FlashLoad::WrittenEnd() const {
    return static_cast<std::uint32_t>(written.rend() - std::find(written.rbegin(), written.rend(), true));
}

bool FlashLoad::IsWritten(std::size_t block) const {
    const auto first = written.begin() + static_cast<std::ptrdiff_t>(block * blockBytes);
    return std::find(first, first + blockBytes, true) != first + blockBytes;
}

// What the load makes of a block where nothing was written; empty for what stays its plan's matter.
std::vector<std::uint8_t> FlashLoad::Rest(std::size_t block, ErasedRest rest, const ReadFlash& readFlash) const {
    if (rest == ErasedRest::Kept || erased[block] == IsWritten(block)) {
        return {};
    }
    return erased[block] ? std::vector<std::uint8_t>(blockBytes, kErasedByte)
                         : readFlash(static_cast<std::uint32_t>(block * blockBytes), blockBytes);
}

std::vector<FlashRun> FlashLoad::Data(ErasedRest rest, std::uint32_t unwrittenEnd, const ReadFlash& readFlash) const {
    std::vector<FlashRun> runs;
    for (std::size_t block = 0; block < erased.size(); ++block) {
        const std::vector<std::uint8_t> unwritten = Rest(block, rest, readFlash);
        const std::size_t first = block * blockBytes;
        for (std::size_t at = first; at < first + blockBytes; ++at) {
            if (!written[at] && (unwritten.empty() || at >= unwrittenEnd)) {
                continue;
            }
            if (runs.empty() || runs.back().address + runs.back().bytes.size() != at) {
                runs.push_back({static_cast<std::uint32_t>(at), {}});
            }
            runs.back().bytes.push_back(written[at] ? content[at] : unwritten[at - first]);
        }
    }
    return runs;
}

}  // namespace flash::host::gdb
