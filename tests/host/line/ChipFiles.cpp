#include "tests/host/line/ChipFiles.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <stdexcept>
#include <vector>

#include "tests/host/line/Databases.h"

namespace flash::host::line::test {
namespace {

constexpr std::size_t kBytes = kIeeeAddressBytes + 1;  // the address, and whether it is set aside

off_t PlaceOf(std::uint64_t chip) { return static_cast<off_t>(chip * kBytes); }

void Put(int file, std::uint64_t chip, std::size_t offset, const std::vector<std::uint8_t>& bytes) {
    const ssize_t written = pwrite(file, bytes.data(), bytes.size(), PlaceOf(chip) + static_cast<off_t>(offset));
    if (written != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("a chip cannot be written");
    }
}

}  // namespace

ChipFiles::ChipFiles(const std::filesystem::path& folder, std::uint64_t chipCount)
    : count(chipCount), file(open((folder / "chips").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
    const std::vector<std::uint8_t> erased(count * kBytes, 0xFF);
    Put(file, 0, 0, erased);
}

ChipFiles::~ChipFiles() { close(file); }

ChipFacts ChipFiles::Read(std::uint64_t chip) const {
    std::vector<std::uint8_t> bytes(kIeeeAddressBytes);
    if (pread(file, bytes.data(), bytes.size(), PlaceOf(chip)) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("a chip cannot be read");
    }
    ChipFacts facts = Chip(chip + 1);
    const RadioAddress address(bytes);
    facts.ieee = IsNoAddress(address) ? std::nullopt : std::optional(address);
    return facts;
}

void ChipFiles::Erase(std::uint64_t chip) const {
    Put(file, chip, 0, std::vector<std::uint8_t>(kIeeeAddressBytes, 0xFF));
}

void ChipFiles::Program(std::uint64_t chip, const RadioAddress& address) const { Put(file, chip, 0, address.Bytes()); }

void ChipFiles::SetAside(std::uint64_t chip) const { Put(file, chip, kIeeeAddressBytes, {1}); }

bool ChipFiles::IsSetAside(std::uint64_t chip) const {
    std::array<std::uint8_t, 1> mark{};
    return pread(file, mark.data(), 1, PlaceOf(chip) + static_cast<off_t>(kIeeeAddressBytes)) == 1 && mark[0] == 1;
}

}  // namespace flash::host::line::test
