#include "host/session/InterruptedLoads.h"

#include <algorithm>
#include <span>
#include <system_error>

#include "host/Failure.h"
#include "host/files/FileContent.h"

namespace flash::host {

std::filesystem::path InterruptedLoads::FileOf(const std::string& chip) const {
    std::string name = chip;
    std::replace(name.begin(), name.end(), ':', '-');
    return folder / name;
}

SectorSet InterruptedLoads::Sectors(const std::string& chip, std::uint32_t sectorCount) const {
    SectorSet sectors(sectorCount);
    std::error_code ignored;
    if (!AreKept() || !std::filesystem::exists(FileOf(chip), ignored)) {
        return sectors;
    }
    try {
        const std::vector<std::uint8_t> text = LoadFile(FileOf(chip));
        return ParseSectorList(std::string(text.begin(), text.end()), sectorCount, Field::Sectors);
    } catch (const std::exception&) {
        sectors.AddAll();
        return sectors;
    }
}

void InterruptedLoads::Begin(const std::string& chip, const SectorSet& touched) const {
    SectorSet sectors = Sectors(chip, touched.SectorCount());
    for (std::uint32_t sector = 0; sector < touched.SectorCount(); ++sector) {
        if (touched.Contains(sector)) {
            sectors.Add(sector);
        }
    }
    Keep(chip, sectors);
}

void InterruptedLoads::Finish(const std::string& chip, const SectorSet& touched) const {
    const SectorSet noted = Sectors(chip, touched.SectorCount());
    SectorSet left(touched.SectorCount());
    for (std::uint32_t sector = 0; sector < touched.SectorCount(); ++sector) {
        if (noted.Contains(sector) && !touched.Contains(sector)) {
            left.Add(sector);
        }
    }
    Keep(chip, left);
}

void InterruptedLoads::Keep(const std::string& chip, const SectorSet& sectors) const {
    if (!AreKept()) {
        return;
    }
    std::error_code error;
    if (sectors.IsEmpty()) {
        std::filesystem::remove(FileOf(chip), error);
    } else {
        std::filesystem::create_directories(folder, error);
        const std::string text = sectors.Text();
        SaveFile(FileOf(chip), std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    }
    if (error) {
        throw Failure(FailureKind::Operation, FileOf(chip).string() + ": " + error.message());
    }
}

}  // namespace flash::host
