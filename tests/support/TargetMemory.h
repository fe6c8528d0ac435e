// Target memory as a test keeps it: 4 GiB, sparse, all zero at first. Registers are just memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

namespace flash::test {

class TargetMemory {
public:
    void Read(std::uint32_t address, void* bytes, std::size_t count) const;
    void Write(std::uint32_t address, const void* bytes, std::size_t count);
    void Fill(std::uint32_t address, std::uint8_t value, std::size_t count);

    // The same with values; words are little-endian.
    std::vector<std::uint8_t> Bytes(std::uint32_t address, std::size_t count) const;
    void SetBytes(std::uint32_t address, const std::vector<std::uint8_t>& bytes);
    std::uint32_t Word(std::uint32_t address) const;
    void SetWord(std::uint32_t address, std::uint32_t word);

    // From now on the bytes at `address` are those at `original`: a second window on the same memory.
    void Mirror(std::uint32_t address, std::uint32_t lengthBytes, std::uint32_t original);

private:
    static constexpr std::uint32_t kBlockSize = 4096;
    using Block = std::array<std::uint8_t, kBlockSize>;

    struct Window {
        std::uint32_t address;
        std::uint32_t lengthBytes;
        std::uint32_t original;
    };

    std::uint32_t Resolve(std::uint32_t address) const;
    const Block* FindBlock(std::uint32_t index) const;
    Block& TouchBlock(std::uint32_t index);

    std::unordered_map<std::uint32_t, std::unique_ptr<Block>> blocks;  // by address / kBlockSize
    std::vector<Window> windows;                                       // whole blocks each
};

}  // namespace flash::test
