// A flashloader's image on a virtual chip, and a host that knows nothing of it but the mailbox.
#pragma once

#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "apps/check_flashloader/PortModel.h"
#include "chip/VirtualChip.h"
#include "host/files/ElfFile.h"

namespace flash::flashloader_check {

using Bytes = std::vector<std::uint8_t>;

// What a check expected and what it found instead.
class Broken : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct Image {
    host::ProgramImage program;
    host::SymbolTable symbols;
    chip::Generation generation;  // by the size of its buffers
    chip::ControllerKind controller;
    const ModelLibrary* model = nullptr;  // in the place of the chip's own controller
    std::uint32_t sectorCount = 6;
    std::uint64_t stride = 1;  // of a load's operations one in so many fails or loses its power
    std::uint32_t loads = 20;  // of each alignment by each command

    std::uint32_t Find(const std::string& symbol) const;  // throws Broken
};

Image ReadImage(const std::filesystem::path& file, const chip::ControllerKind& controller);

// For that model. Throws std::runtime_error when the two do not go together.
void UseModel(Image& image, const ModelLibrary& model);

struct Answer {
    std::uint32_t status;
    std::uint32_t address;  // as left in the block
};

inline constexpr std::uint32_t kNotDone = 0xFFFF'FFFF;

// What the host writes of a block, but for the status.
struct Block {
    std::uint32_t address;
    std::uint32_t length;
    std::uint32_t command;
    std::uint32_t crc = 0;
};

class Bench {
public:
    // A chip whose flash holds this, with the flashloader running. An old program, to show what is erased and kept.
    explicit Bench(const Image& flashloaderImage, const Bytes& flash = {});

    void Load();  // again; the next block is 0
    void Start();
    Answer Run(const Block& block);  // in the next block. Throws Broken when nothing comes in 2 s
    Answer Program(std::uint32_t command, std::uint32_t address, const Bytes& chunk);  // with its CRC

    void Post(std::uint32_t index, const Block& block);
    std::uint32_t StatusOf(std::uint32_t index) const { return chip.PeekWord(BlockAddress(index) + 16); }
    std::uint32_t BlockAddress(std::uint32_t index) const { return image.Find("g_cfg") + 24 * index; }
    std::uint32_t BufferAddress(std::uint32_t index) const { return image.Find(index == 0 ? "g_buf1" : "g_buf2"); }
    std::uint32_t SectorBytes() const { return chip.SectorSize(); }
    Bytes Flash() const { return Bytes(chip.Flash().begin(), chip.Flash().end()); }
    std::uint64_t Operations() const;
    void ProtectSector(std::uint32_t index);  // and loads anew
    void FlipABitOf(std::uint32_t address);   // in one of the next operations, which reports success
    std::uint32_t Next() const { return next; }

    // The rules of the controller and of memory were kept; what a host provoked is left out.
    void RequireNoViolation() const;

    const Image& image;
    chip::VirtualChip chip;

private:
    std::uint32_t next = 0;
};

Bytes Pattern(std::size_t length, std::uint32_t seed);
void Require(bool holds, const std::string& expected, const std::string& found);
void RequireEqual(std::uint64_t found, std::uint64_t expected, const std::string& what);
void RequireFlash(const Bench& bench, const Bytes& expected, const std::string& what);

}  // namespace flash::flashloader_check
