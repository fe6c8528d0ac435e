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

bool FlashLoad::IsWritten(std::size_t block) const {
    const auto first = written.begin() + static_cast<std::ptrdiff_t>(block * blockBytes);
    return std::find(first, first + blockBytes, true) != first + blockBytes;
}

std::vector<FlashRun> FlashLoad::Blocks(ErasedRest rest, const ReadFlash& readFlash) const {
    std::vector<FlashRun> runs;
    for (std::size_t block = 0; block < erased.size(); ++block) {
        const bool isWritten = IsWritten(block);
        if (!isWritten && (!erased[block] || rest == ErasedRest::Kept)) {
            continue;
        }
        const auto address = static_cast<std::uint32_t>(block * blockBytes);
        std::vector<std::uint8_t> bytes = erased[block] && rest == ErasedRest::Erased
                                              ? std::vector<std::uint8_t>(blockBytes, kErasedByte)
                                              : readFlash(address, blockBytes);
        for (std::size_t i = 0; i < blockBytes; ++i) {
            bytes[i] = written[address + i] ? content[address + i] : bytes[i];
        }
        if (runs.empty() || runs.back().address + runs.back().bytes.size() != address) {
            runs.push_back({address, {}});
        }
        runs.back().bytes.insert(runs.back().bytes.end(), bytes.begin(), bytes.end());
    }
    return runs;
}

}  // namespace flash::host::gdb
