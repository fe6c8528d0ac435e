#include "tests/system/scenarios/LoadModel.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <utility>

#include "tests/support/SlowCrc32.h"

namespace flash::test {
namespace {

int Signed(std::size_t value) { return static_cast<int>(value); }

}  // namespace

LoadModel::LoadModel(FlashGeometry flashGeometry, LoadSettings loadSettings, Bytes flashBefore)
    : geometry(flashGeometry), settings(std::move(loadSettings)), flash(std::move(flashBefore)) {}

void LoadModel::Say(const char* format, ...) {
    if (!settings.isVerbose) {
        return;
    }
    char text[4096];
    std::va_list values;
    va_start(values, format);
    std::vsnprintf(text, sizeof text, format, values);
    va_end(values);
    messages.emplace_back(text);
}

void LoadModel::SayWhatIsSkipped() {
    Say("Skip program/erase/verify of the following page(s): %s", settings.skippedSectorsText.c_str());
}

void LoadModel::Post(std::uint32_t command, std::uint32_t address, std::uint32_t length, std::uint32_t crc,
                     Bytes data) {
    PostedCommand taken;
    taken.command = command;
    taken.address = address;
    taken.length = length;
    taken.crc = crc;
    taken.block = nextBlock;
    taken.data = std::move(data);
    commands.push_back(std::move(taken));
    nextBlock = 1 - nextBlock;
}

void LoadModel::NeedFlashloader() {
    if (!isLoaded) {
        Say("Loading flashloader to target: %s\n", "flashloader.out");
        isLoaded = true;
    }
}

std::vector<LoadModel::SectorRun> LoadModel::Runs(const std::set<std::uint32_t>& sectors, bool areNamed) const {
    std::vector<SectorRun> runs;
    for (std::uint32_t sector = 0; sector < geometry.sectorCount; ++sector) {
        if (sectors.contains(sector) != areNamed) {
            continue;
        }
        if (!runs.empty() && runs.back().last + 1 == sector) {
            runs.back().last = sector;
        } else {
            runs.push_back({sector, sector});
        }
    }
    return runs;
}

// Phase 1: a bank erase would also erase the sectors to skip.
void LoadModel::Start() {
    if (!settings.isSkippingSectors) {
        return;
    }
    SayWhatIsSkipped();
    if (settings.erasing == Erasing::Bank) {
        settings.erasing = Erasing::Necessary;
        Say("Overriding erase option to \"Necessary Sectors Only\" because the Skip Sector option is enabled\n");
    }
}

void LoadModel::Write(const Segment& segment) {
    if (settings.isSkippingSectors) {
        const std::vector<SectorRun> runs = Runs(settings.skippedSectors, false);
        if (!areSectorsKnown) {
            SayWhatIsSkipped();
            areSectorsKnown = !runs.empty();
        }
        for (const SectorRun run : runs) {
            if (!WriteWithinRun(segment, {run.first * geometry.sectorSize, (run.last + 1) * geometry.sectorSize - 1})) {
                return;
            }
        }
    } else if (settings.isSkippingFill) {
        WriteUnfilled(segment);
    } else {
        Program(segment);
    }
}

// Byte by byte: of a run of permitted sectors and a request that is not all within it, the byte at `address`.
LoadModel::ProgrammedByte LoadModel::ByteWithinRun(const Segment& segment, AddressRun run, std::uint64_t address) {
    const std::uint64_t end = std::uint64_t{segment.address} + segment.data.size();
    const bool isLastOfRun = address == run.last;
    if (address == end) {
        // Behind the data: erased flash, when that completes the run.
        return isLastOfRun && run.first >= segment.address ? ProgrammedByte(0xFF) : std::nullopt;
    }
    const bool isLost = run.first < segment.address ? isLastOfRun : run.first == end - 1;
    return isLost ? std::nullopt : ProgrammedByte(segment.data[address - segment.address]);
}

// False when the whole request lies within the run, so that no other concerns it. An end behind the address space
// wraps.
bool LoadModel::WriteWithinRun(const Segment& segment, AddressRun run) {
    const auto lastAddress = static_cast<std::uint32_t>(segment.address + segment.data.size() - 1);
    if (run.first <= segment.address && lastAddress <= run.last) {
        Program(segment);
        return false;
    }
    Segment part{0, {}};
    const std::uint64_t end = segment.data.empty() ? 0 : std::uint64_t{segment.address} + segment.data.size();
    for (std::uint64_t at = std::max(run.first, segment.address); at <= std::min<std::uint64_t>(run.last, end); ++at) {
        if (const ProgrammedByte byte = ByteWithinRun(segment, run, at)) {
            part.address = part.data.empty() ? static_cast<std::uint32_t>(at) : part.address;
            part.data.push_back(*byte);
        }
    }
    if (!part.data.empty()) {
        Program(part);
    }
    return true;
}

void LoadModel::WriteUnfilled(const Segment& segment) {
    std::uint32_t at = segment.address;
    auto rest = segment.data.begin();
    while (rest != segment.data.end()) {
        const std::uint32_t intoSector = at % geometry.sectorSize;
        const std::uint32_t wished = intoSector == 0 ? geometry.sectorSize : intoSector;
        const auto length = std::min<std::ptrdiff_t>(wished, segment.data.end() - rest);
        const Bytes piece(rest, rest + length);
        if (std::count(piece.begin(), piece.end(), settings.fillValue) != length) {
            Program({at, piece});
        }
        at += static_cast<std::uint32_t>(length);
        rest += length;
    }
}

void LoadModel::Program(const Segment& segment) {
    const auto length = static_cast<std::uint32_t>(segment.data.size());
    if (settings.isKeepingCcfg && ccfg.empty()) {
        SaveCcfg();
    }
    if (settings.erasing == Erasing::Bank && !isBankErased) {
        EraseBank();
    }
    const bool isTrimming = settings.isKeepingCcfg && !ccfg.empty();
    const std::uint32_t kept = isTrimming ? Trimmed(segment.address, length) : length;
    SendChunks(segment.address, Bytes(segment.data.begin(), segment.data.begin() + kept));
    if (settings.isKeepingCcfg && !ccfg.empty() && segment.address + length - 1 > ccfgAddress) {
        RestoreCcfg();
    }
}

void LoadModel::SendChunks(std::uint32_t address, const Bytes& data) {
    NeedFlashloader();
    if (settings.erasing == Erasing::Listed) {
        for (const SectorRun run : Runs(settings.erasedSectors, true)) {
            Post(5, run.first * geometry.sectorSize, (run.last - run.first + 1) * geometry.sectorSize - 1, 0, {});
        }
    }
    const std::uint32_t plain = settings.erasing == Erasing::Necessary   ? 3
                                : settings.erasing == Erasing::Retaining ? 4
                                                                         : 2;
    int number = 1;
    for (std::size_t from = 0; from < data.size(); from += geometry.sectorSize, ++number) {
        const std::size_t to = std::min<std::size_t>(data.size(), from + geometry.sectorSize);
        const Bytes chunk(data.begin() + static_cast<std::ptrdiff_t>(from),
                          data.begin() + static_cast<std::ptrdiff_t>(to));
        const std::uint32_t at = address + static_cast<std::uint32_t>(from);
        const std::uint32_t crc = settings.isVerifying ? SlowCrc32(chunk) : 0;
        if (settings.isVerifying) {
            Say("  Chunk %d: addr=0x%08X, length=%d, crc=0x%08X (using block %u)", number, at, Signed(chunk.size()),
                crc, nextBlock);
        } else {
            Say("  Chunk %d: addr=0x%08X, length=%d (using block %u)", number, at, Signed(chunk.size()), nextBlock);
        }
        Post(settings.isVerifying ? plain + 0x10 : plain, at, static_cast<std::uint32_t>(chunk.size()), crc, chunk);
    }
}

void LoadModel::EraseBank() {
    Say("Performing bank erase");
    if (settings.isKeepingCcfg && ccfg.empty()) {
        SaveCcfg();  // once more, when its size was invalid
    }
    NeedFlashloader();
    Post(1, 0, 0, 0, {});
    isBankErased = true;
    if (settings.isKeepingCcfg) {
        RestoreCcfg();
    }
}

// The size stands in the upper half of the word 0x50 bytes before the end of flash.
void LoadModel::SaveCcfg() {
    const std::size_t end = flash.size();
    const std::uint32_t size = flash[end - 0x4E] + 256U * flash[end - 0x4D];
    if (size == 0 || size > geometry.sectorSize) {
        Say("Keep CCFG: Device CCFG size is invalid, ignoring option.");
        return;
    }
    ccfgAddress = static_cast<std::uint32_t>(end) - size;
    ccfg.assign(flash.end() - size, flash.end());
    Say("Keep CCFG: Reading CCFG from target (addr = 0x%08X, length = %d)", ccfgAddress, Signed(size));
}

void LoadModel::RestoreCcfg() {
    if (ccfg.empty()) {
        return;
    }
    NeedFlashloader();
    const auto size = static_cast<std::uint32_t>(ccfg.size());
    Say("Keep CCFG: Programming CCFG back to target (addr=0x%08X, length=%d|0x%x).", ccfgAddress, Signed(size), size);
    Post(4, ccfgAddress, size, 0, ccfg);
}

std::uint32_t LoadModel::Trimmed(std::uint32_t address, std::uint32_t length) {
    if (address >= ccfgAddress) {
        Say("Keep CCFG: Range addr=0x%08X, length=%d is overlapping stored CCFG. Length reduced to 0.\n", address,
            Signed(length));
        return 0;
    }
    if (address + length > ccfgAddress) {
        Say("Keep CCFG: Range addr=0x%08X, length=%d is overlapping stored CCFG. Length reduced to %d bytes.\n",
            address, Signed(length), Signed(ccfgAddress - address));
        return ccfgAddress - address;
    }
    return length;
}

}  // namespace flash::test
