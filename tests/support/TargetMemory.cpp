#include "tests/support/TargetMemory.h"

#include <algorithm>
#include <cstring>

namespace flash::test {
namespace {

// Calls `part(address, offset, count)` for each piece of a range that lies within one block.
template <typename Part>
void ForEachPart(std::uint32_t address, std::size_t count, std::uint32_t blockSize, Part part) {
    for (std::size_t offset = 0; offset < count;) {
        const auto at = static_cast<std::uint32_t>(address + offset);
        const std::size_t length = std::min<std::size_t>(count - offset, blockSize - at % blockSize);
        part(at, offset, length);
        offset += length;
    }
}

}  // namespace

void TargetMemory::Read(std::uint32_t address, void* bytes, std::size_t count) const {
    auto* to = static_cast<std::uint8_t*>(bytes);
    ForEachPart(address, count, kBlockSize, [&](std::uint32_t at, std::size_t offset, std::size_t length) {
        const std::uint32_t real = Resolve(at);
        const Block* block = FindBlock(real / kBlockSize);
        if (block == nullptr) {
            std::memset(to + offset, 0, length);
        } else {
            std::memcpy(to + offset, block->data() + real % kBlockSize, length);
        }
    });
}

void TargetMemory::Write(std::uint32_t address, const void* bytes, std::size_t count) {
    const auto* from = static_cast<const std::uint8_t*>(bytes);
    ForEachPart(address, count, kBlockSize, [&](std::uint32_t at, std::size_t offset, std::size_t length) {
        const std::uint32_t real = Resolve(at);
        std::memcpy(TouchBlock(real / kBlockSize).data() + real % kBlockSize, from + offset, length);
    });
}

void TargetMemory::Fill(std::uint32_t address, std::uint8_t value, std::size_t count) {
    ForEachPart(address, count, kBlockSize, [&](std::uint32_t at, std::size_t, std::size_t length) {
        const std::uint32_t real = Resolve(at);
        std::memset(TouchBlock(real / kBlockSize).data() + real % kBlockSize, value, length);
    });
}

std::vector<std::uint8_t> TargetMemory::Bytes(std::uint32_t address, std::size_t count) const {
    std::vector<std::uint8_t> bytes(count);
    Read(address, bytes.data(), count);
    return bytes;
}

void TargetMemory::SetBytes(std::uint32_t address, const std::vector<std::uint8_t>& bytes) {
    Write(address, bytes.data(), bytes.size());
}

std::uint32_t TargetMemory::Word(std::uint32_t address) const {
    std::uint32_t word = 0;  // the workstations of this project are little-endian, as the target is
    Read(address, &word, sizeof word);
    return word;
}

void TargetMemory::SetWord(std::uint32_t address, std::uint32_t word) { Write(address, &word, sizeof word); }

void TargetMemory::Mirror(std::uint32_t address, std::uint32_t lengthBytes, std::uint32_t original) {
    windows.insert(windows.begin(), {address, lengthBytes, original});
}

std::uint32_t TargetMemory::Resolve(std::uint32_t address) const {
    for (const Window& window : windows) {
        if (address - window.address < window.lengthBytes) {
            return window.original + (address - window.address);
        }
    }
    return address;
}

const TargetMemory::Block* TargetMemory::FindBlock(std::uint32_t index) const {
    const auto found = blocks.find(index);
    return found == blocks.end() ? nullptr : found->second.get();
}

TargetMemory::Block& TargetMemory::TouchBlock(std::uint32_t index) {
    std::unique_ptr<Block>& block = blocks[index];
    if (!block) {
        block = std::make_unique<Block>();
    }
    return *block;
}

}  // namespace flash::test
