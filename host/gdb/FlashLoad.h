// What a debugger wants flash to hold: erased blocks and written bytes are collected, and nothing happens to the chip
// before the debugger says that it is done.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "host/gdb/Requests.h"

namespace flash::host::gdb {

// Bytes without a gap.
struct FlashRun {
    std::uint32_t address;
    std::vector<std::uint8_t> bytes;
    bool operator==(const FlashRun&) const = default;
};

// What becomes of bytes that an erased block gets no data for.
enum class ErasedRest { Erased, Kept };

class FlashLoad {
public:
    // Flash begins at address 0.
    FlashLoad(std::uint32_t flashBytes, std::uint32_t flashBlockBytes);

    // Both throw std::invalid_argument, and take nothing, when a part lies outside flash. Blocks are erased whole.
    void Erase(const AddressRange& range);
    void Write(std::uint32_t address, std::span<const std::uint8_t> bytes);

    bool IsEmpty() const;
    std::uint32_t WrittenBytes() const;
    std::uint32_t ErasedBlocks() const;
    std::uint32_t WrittenEnd() const;  // behind the last written byte; 0 for none

    // The bytes that flash is to get. Of an erased block these are the written ones, and erased bytes when nothing was
    // written there. A block that was written and not erased keeps its other bytes: debuggers forget to erase a block
    // of which they write one byte. Of bytes that nobody wrote only those below `unwrittenEnd` belong to the load.
    using ReadFlash = std::function<std::vector<std::uint8_t>(std::uint32_t address, std::uint32_t lengthBytes)>;
    std::vector<FlashRun> Data(ErasedRest rest, std::uint32_t unwrittenEnd, const ReadFlash& readFlash) const;

private:
    std::size_t RequireInside(std::uint32_t address, std::uint64_t lengthBytes) const;
    bool IsWritten(std::size_t block) const;
    std::vector<std::uint8_t> Rest(std::size_t block, ErasedRest rest, const ReadFlash& readFlash) const;

    std::uint32_t blockBytes;
    std::vector<std::uint8_t> content;
    std::vector<bool> written;  // by byte
    std::vector<bool> erased;   // by block
};

}  // namespace flash::host::gdb
