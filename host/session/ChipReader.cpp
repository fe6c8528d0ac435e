// Pieces are short enough to show progress and to be interrupted.
#include "host/session/ChipReader.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "host/Failure.h"
#include "host/Numbers.h"
#include "host/Words.h"
#include "host/services/Progress.h"

namespace flash::host {
namespace {
constexpr std::uint32_t kReadPieceBytes = 4096;
}  // namespace

void RequireNotInterrupted(const std::atomic<bool>& isInterrupted) {
    if (isInterrupted) {
        throw Failure(FailureKind::Interrupted, "Interrupted; the same command again starts anew");
    }
}

std::vector<std::uint8_t> ChipReader::Bytes(std::uint32_t address, std::uint32_t lengthBytes) {
    std::vector<std::uint8_t> bytes(lengthBytes);
    try {
        probe.ReadMemory(address, bytes, address % 4 == 0 && lengthBytes % 4 == 0 ? 4 : 1);
    } catch (const ProbeError& error) {
        throw Failure(FailureKind::Operation, error.what());
    }
    return bytes;
}

LastSector ChipReader::ReadLastSector(const CcfgLayout& layout) {
    const std::uint32_t sizeRegister = LittleEndian(Bytes(layout.sizeRegister, 4));
    return {sizeRegister, Bytes(layout.geometry.LastSectorAddress(), layout.geometry.sectorSizeBytes)};
}

LastSector ChipReader::ReadFields(const CcfgLayout& layout) {
    const std::uint32_t sizeRegister = LittleEndian(Bytes(layout.sizeRegister, 4));
    const std::uint32_t start = StartOfFields(sizeRegister, layout);
    return {sizeRegister, Bytes(start, layout.geometry.SizeBytes() - start)};
}

void ChipReader::ReadPieces(Stage stage, const std::vector<DataRun>& where, const Take& take) {
    std::uint64_t total = 0;
    std::for_each(where.begin(), where.end(), [&](const DataRun& run) { total += run.bytes.size(); });
    Progress progress(observer, probe);
    progress.Start(stage, total);
    for (const DataRun& run : where) {
        for (std::uint32_t offset = 0; offset < run.bytes.size(); offset += kReadPieceBytes) {
            RequireNotInterrupted(isInterrupted);
            const auto length = std::min(kReadPieceBytes, static_cast<std::uint32_t>(run.bytes.size()) - offset);
            take(run.address + offset, Bytes(run.address + offset, length));
            progress.Advance(length);
        }
    }
    progress.Finish();
}

std::vector<std::uint8_t> ChipReader::Read(std::uint32_t address, std::uint32_t lengthBytes) {
    std::vector<std::uint8_t> content;
    ReadPieces(Stage::Read, {DataRun{address, std::vector<std::uint8_t>(lengthBytes)}},
               [&](std::uint32_t, std::span<const std::uint8_t> bytes) {
                   content.insert(content.end(), bytes.begin(), bytes.end());
               });
    return content;
}

std::size_t ChipReader::Compare(const std::vector<DataRun>& expected, std::size_t totalBytes) {
    std::size_t compared = 0, different = 0;
    std::string firstDifference;
    auto run = expected.begin();
    ReadPieces(Stage::Verify, expected, [&](std::uint32_t address, std::span<const std::uint8_t> present) {
        while (address >= run->address + run->bytes.size()) {
            ++run;
        }
        for (std::size_t i = 0; i < present.size(); ++i) {
            const std::uint8_t wanted = run->bytes[address - run->address + i];
            if (wanted != present[i] && different++ == 0) {
                firstDifference = fmt::format("first at 0x{:08X}, where the file has 0x{:02X} and flash 0x{:02X}",
                                              address + i, wanted, present[i]);
            }
        }
        compared += present.size();
    });
    if (different != 0) {
        throw Failure(FailureKind::Difference,
                      fmt::format("Verifying: {} of {} {}, {}", different, Counted(totalBytes, "byte"),
                                  different == 1 ? "differs" : "differ", firstDifference));
    }
    return compared;
}

}  // namespace flash::host
