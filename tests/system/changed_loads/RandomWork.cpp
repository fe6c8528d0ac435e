#include "tests/system/changed_loads/RandomWork.h"

#include <fmt/format.h>

namespace flash::host {
namespace {

// Few words in each sector, because each takes its time and is one more operation to fail at.
constexpr std::uint32_t kMostWords = 4;
// At both ends of flash, in parts with many sectors.
constexpr std::uint32_t kSectorsAtEachEnd = 4;
constexpr std::uint32_t kCcfgBytes = 0x58;

}  // namespace

void RandomWork::PutWords(std::vector<std::uint8_t>& flash, std::uint32_t sector) {
    const std::uint32_t size = device.sectorSizeBytes;
    for (std::uint32_t words = Below(kMostWords); words != 0; --words) {
        const std::uint32_t offsets[] = {0, Below(size / 4) * 4, Below(size / 4) * 4, size - kCcfgBytes - 4};
        const std::uint32_t address = sector * size + offsets[Below(4)];
        const std::uint32_t word = static_cast<std::uint32_t>(random());
        for (std::uint32_t i = 0; i < 4; ++i) {
            flash[address + i] = static_cast<std::uint8_t>(word >> 8 * i);
        }
    }
}

std::vector<std::uint8_t> RandomWork::OldFlash() {
    std::vector<std::uint8_t> flash(device.FlashSizeBytes(), 0xFF);
    for (std::uint32_t sector = 0; sector < device.sectorCount; ++sector) {
        if (sector < kSectorsAtEachEnd || sector + kSectorsAtEachEnd >= device.sectorCount) {
            PutWords(flash, sector);
        }
    }
    if (Coin()) {
        const std::vector<std::uint8_t> ccfg = GoodCcfg();
        std::copy(ccfg.begin(), ccfg.end(), flash.end() - kCcfgBytes);
    }
    return flash;
}

// Sectors that are as they were, that differ in one bit, that are blank, that are others.
std::vector<std::uint8_t> RandomWork::NewFlash(const std::vector<std::uint8_t>& before) {
    const std::uint32_t size = device.sectorSizeBytes;
    std::vector<std::uint8_t> flash = before;
    for (std::uint32_t sector = 0; sector < device.sectorCount; ++sector) {
        const auto first = flash.begin() + sector * size;
        const std::uint32_t usable = sector + 1 == device.sectorCount ? size - kCcfgBytes : size;
        const std::uint32_t kind = Below(6);
        if (kind == 0) {
            first[Below(usable)] ^= static_cast<std::uint8_t>(1 << Below(8));
        } else if (kind <= 2) {
            std::fill_n(first, usable, std::uint8_t{0xFF});
            if (kind == 2) {
                PutWords(flash, sector);
            }
        }
    }
    return flash;
}

// Runs of what flash shall hold, from anywhere to anywhere.
ProgramImage RandomWork::FileOf(const std::vector<std::uint8_t>& flash, bool isWholeSectors) {
    const std::uint32_t size = device.sectorSizeBytes;
    const auto end = static_cast<std::uint32_t>(flash.size());
    ProgramImage image;
    std::uint32_t address = Below(2) * size;
    while (address < end && (image.Runs().empty() || Below(4) != 0)) {
        const std::uint32_t start = isWholeSectors ? address : std::min(address + Below(size), end - 1);
        const std::uint32_t sectors = 1 + Below(3);
        const std::uint32_t most = isWholeSectors ? sectors * size : 1 + Below(sectors * size);
        const std::uint32_t length = std::min(most, end - start);
        image.Add(start, {flash.begin() + start, flash.begin() + start + length}, {"random.bin", ""});
        const std::uint32_t next = (start + length + size) / size * size;
        const std::uint32_t lastSectors = end - kSectorsAtEachEnd * size;
        address = next >= kSectorsAtEachEnd * size && next < lastSectors ? lastSectors : next;
    }
    return image;
}

SectorSet RandomWork::SomeSectors() {
    SectorSet sectors(device.sectorCount);
    for (std::uint32_t count = 1 + Below(3); count != 0; --count) {
        sectors.Add(Below(device.sectorCount));
    }
    return sectors;
}

void RandomWork::ChooseErasing(ProgramOptions& options) {
    const EraseChoice choices[] = {EraseChoice::Necessary, EraseChoice::Necessary, EraseChoice::Retain,
                                   EraseChoice::Listed, EraseChoice::All};
    options.erase = choices[Below(5)];
    if (options.erase == EraseChoice::Listed) {
        options.erasedSectors = SomeSectors();
    }
    if (Below(4) == 0) {
        options.skippedSectors = SomeSectors();
    }
    if (Below(4) == 0) {
        options.skippedFill = Coin() ? 0xFF : 0x00;
    }
}

void RandomWork::ChooseClosing(ClosingChanges& closing) {
    closing.retainBle = Below(4) == 0;
    if (!closing.retainBle && Coin()) {
        closing.ble = Ble("C2:00:00:00:00:07");
    }
    if (Below(3) == 0) {
        closing.ieee = Ieee("00:12:4B:00:00:00:00:07");
    }
    if (Below(4) == 0) {
        closing.protect = SomeSectors();
    }
    closing.disableBootloader = Below(4) == 0;
}

Work RandomWork::Draw() {
    Work work;
    work.before = OldFlash();
    work.image = FileOf(NewFlash(work.before), Below(3) == 0);
    ChooseErasing(work.options);
    if (Coin()) {
        work.options.keepCcfg = Coin();
    }
    if (Below(3) == 0) {
        ChooseClosing(work.options.closing);
    }
    const Verification checks[] = {Verification::Crc, Verification::ReadBack, Verification::None};
    work.options.verification = checks[Below(3)];
    work.text = Describe(work);
    return work;
}

Work RandomWork::DrawRepeatable() {
    Work work;
    work.before = OldFlash();
    work.image = FileOf(NewFlash(work.before), true);
    work.options.keepCcfg = false;
    work.options.verification = Coin() ? Verification::Crc : Verification::ReadBack;
    work.text = Describe(work);
    return work;
}

std::string RandomWork::Describe(const Work& work) {
    const ProgramOptions& options = work.options;
    std::string text = fmt::format("{} of {}, skip {}", EraseSettingText(options.erase), options.erasedSectors.Text(),
                                   options.skippedSectors.Text());
    text += options.skippedFill ? fmt::format(", skip 0x{:02X}", *options.skippedFill) : "";
    text += options.keepCcfg ? fmt::format(", keep CCFG {}", *options.keepCcfg) : "";
    text += fmt::format(", verification {}", static_cast<int>(options.verification));
    text += options.closing.IsAny() ? ", closing" : "";
    for (const DataRun& run : work.image.Runs()) {
        text += fmt::format("\n  {} bytes at {}", run.bytes.size(), run.address);
    }
    return text;
}

void MakeChip(Bench& bench, const std::vector<std::uint8_t>& flash) {
    chip::Settings settings = VirtualChipSettings(bench.device);
    settings.timing.sectorErase = std::chrono::microseconds(300);
    settings.timing.bankErase = std::chrono::microseconds(500);
    settings.timing.linkLatency = std::chrono::microseconds(2);
    settings.timing.linkBytesPerSecond = 20'000'000;
    settings.initialFlash = flash;
    bench.chip = std::make_shared<chip::VirtualChip>(settings);
}

}  // namespace flash::host
