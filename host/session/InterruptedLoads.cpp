#include "host/session/InterruptedLoads.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "host/Failure.h"
#include "host/files/FileContent.h"

namespace flash::host {
namespace {

std::string FileNameOf(std::string chip) {
    std::replace(chip.begin(), chip.end(), ':', '-');
    return chip;
}

[[noreturn]] void FailToKeep(const std::filesystem::path& path, const std::error_code& error) {
    throw Failure(FailureKind::Operation, path.string() + ": " + error.message());
}

SectorSet ReadNote(const std::filesystem::path& note, std::uint32_t sectorCount) {
    try {
        const std::vector<std::uint8_t> text = LoadFile(note);
        return ParseSectorList(std::string(text.begin(), text.end()), sectorCount, Field::Sectors);
    } catch (const std::exception&) {
        SectorSet all(sectorCount);
        all.AddAll();
        return all;
    }
}

std::vector<std::uint8_t> BytesOf(const SectorSet& sectors) {
    const std::string text = sectors.Text();
    return {text.begin(), text.end()};
}

SectorSet Without(const SectorSet& sectors, const SectorSet& others) {
    SectorSet left(sectors.SectorCount());
    for (std::uint32_t sector = 0; sector < sectors.SectorCount(); ++sector) {
        if (sectors.Contains(sector) && !others.Contains(sector)) {
            left.Add(sector);
        }
    }
    return left;
}

// One that cannot be opened is nobody's that runs.
bool IsOfARunningLoad(const std::filesystem::path& note) {
    const int file = open(note.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        return false;
    }
    const bool isLocked = flock(file, LOCK_EX | LOCK_NB) != 0;
    close(file);
    return isLocked;
}

}  // namespace

// An unfinished file of `SaveFile` is no note.
std::vector<std::filesystem::path> InterruptedLoads::NotesOf(const std::string& chip) const {
    const std::string name = FileNameOf(chip);
    std::vector<std::filesystem::path> notes;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        const std::filesystem::path file = entry->path().filename();
        if ((file == name || file.string().starts_with(name + ".")) && file.extension() != ".new") {
            notes.push_back(entry->path());
        }
    }
    const bool isThere = error != std::errc::no_such_file_or_directory && error != std::errc::not_a_directory;
    if (error && isThere) {
        notes.push_back(folder / name);  // which cannot be read, as far as anybody can tell
    }
    return notes;
}

SectorSet InterruptedLoads::Sectors(const std::string& chip, std::uint32_t sectorCount) const {
    SectorSet sectors(sectorCount);
    if (AreKept()) {
        for (const std::filesystem::path& note : NotesOf(chip)) {
            sectors.Add(ReadNote(note, sectorCount));
        }
    }
    return sectors;
}

void InterruptedLoads::Begin(const std::string& chip, const SectorSet& touched) {
    Release();
    if (!AreKept()) {
        return;
    }
    takenOver.clear();
    SectorSet sectors = touched;
    for (std::filesystem::path& note : NotesOf(chip)) {
        if (!IsOfARunningLoad(note)) {
            sectors.Add(ReadNote(note, touched.SectorCount()));
            takenOver.push_back(std::move(note));
        }
    }
    Keep(chip, sectors);
    for (const std::filesystem::path& note : takenOver) {
        std::error_code told;  // by `Finish`
        std::filesystem::remove(note, told);
    }
}

void InterruptedLoads::Keep(const std::string& chip, const SectorSet& sectors) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error) {
        FailToKeep(folder, error);
    }
    std::filesystem::path note;
    int n = 0;
    do {
        note = folder / fmt::format("{}.{}-{}", FileNameOf(chip), getpid(), n++);
    } while (std::filesystem::exists(note, error));
    FileInTheMaking(note, BytesOf(sectors)).PlaceAnew();
    own = note;
    noted = sectors;
    ownFile = open(own.c_str(), O_RDONLY | O_CLOEXEC);
    flock(ownFile, LOCK_EX | LOCK_NB);
}

void InterruptedLoads::Finish(const SectorSet& touched) {
    if (own.empty()) {
        return;
    }
    const SectorSet left = Without(noted, touched);
    if (!left.IsEmpty()) {
        SaveFile(own, BytesOf(left));
    } else {
        takenOver.push_back(own);
    }
    Release();
    for (const std::filesystem::path& note : std::exchange(takenOver, {})) {
        std::error_code error;
        std::filesystem::remove(note, error);
        if (error) {
            FailToKeep(note, error);
        }
    }
}

void InterruptedLoads::Release() {
    if (ownFile >= 0) {
        close(ownFile);
    }
    ownFile = -1;
    own.clear();
}

}  // namespace flash::host
