// What a station did to chips, in a local file of its own: an entry is on the disk before the next step is taken, so a
// station that loses its database, or its power, loses nothing. One line of JSON for each entry, with a sum over it.
// The file is only appended to, by several processes at once; it alone can rebuild the station's records.
#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "host/line/Pool.h"
#include "host/line/Record.h"

namespace flash::host::line {

// The chip is to get these; nothing on it has been changed.
struct LeasedEntry {
    Place place;
    std::string chip;
    Addresses addresses;
};

// How the run ended. With addresses: the chip has been read back and carries them.
struct EndedEntry {
    Record record;
    Addresses addresses;
};

// The database has the record of this run.
struct StoredEntry {
    std::string run;
};

using JournalEntry = std::variant<LeasedEntry, EndedEntry, StoredEntry>;

struct JournalContent {
    std::vector<JournalEntry> entries{};
    std::vector<std::string>
        damages{};          // "FILE, byte 123: …": lines that power or a full disk cut short; they are left out
    std::uint64_t end = 0;  // of the last whole line, in bytes
};

class Journal {
public:
    // Makes the file's folder and the file when they are not there.
    explicit Journal(std::filesystem::path journalFile);

    const std::filesystem::path& File() const { return file; }

    // On the disk when it returns. After a failure the file is as it was. Throws Failure.
    void Append(const JournalEntry& entry);

    // The same without waiting for the disk: for what may be lost.
    void AppendSoon(const JournalEntry& entry);

    // From that byte on.
    JournalContent Read(std::uint64_t from = 0) const;

    // Up to where the database has all; kept beside the file, and allowed to be too low.
    std::uint64_t Uploaded() const;
    void SetUploaded(std::uint64_t end) const;

private:
    void Write(const std::string& line, bool isWaiting) const;

    std::filesystem::path file;
};

// One line for each database in the folder: `STATE/lumo-flash/line/line.db-1a2b3c4d.journal`.
std::filesystem::path JournalFileFor(const Database& database, const std::filesystem::path& folder);

// This process works on the chip; another one of this machine may not until this one lets go or ends, however it ends.
class ChipLock {
public:
    // Throws Failure when another process has it.
    ChipLock(const Journal& journal, const std::string& chip);
    ~ChipLock();
    ChipLock(const ChipLock&) = delete;
    ChipLock& operator=(const ChipLock&) = delete;

private:
    int file;
};

}  // namespace flash::host::line
