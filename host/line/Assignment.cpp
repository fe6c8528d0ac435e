#include "host/line/Assignment.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "host/Failure.h"

namespace flash::host::line {
namespace {

// Runs of which the journal says that the database has them.
std::set<std::string> StoredRuns(const JournalContent& content) {
    std::set<std::string> runs;
    for (const JournalEntry& entry : content.entries) {
        if (const auto* stored = std::get_if<StoredEntry>(&entry)) {
            runs.insert(stored->run);
        }
    }
    return runs;
}

}  // namespace

Assignment::Assignment(Database& lineDatabase, Journal& lineJournal, Place linePlace, Clock lineClock)
    : database(lineDatabase), journal(lineJournal), place(std::move(linePlace)), clock(std::move(lineClock)) {}

std::vector<std::string> Assignment::CatchUp() {
    const std::uint64_t begin = journal.Uploaded();
    const JournalContent content = journal.Read(begin);
    const std::set<std::string> stored = StoredRuns(content);
    for (const JournalEntry& entry : content.entries) {
        const auto* missing = std::get_if<EndedEntry>(&entry);
        if (missing != nullptr && !stored.contains(missing->record.run)) {
            Upload(*missing);
        }
    }
    if (content.end != begin) {
        journal.SetUploaded(content.end);
    }
    return content.damages;
}

const Addresses& Assignment::Lease(const ChipFacts& facts, const LeaseRequest& request) {
    TakeAddresses(facts, request);
    NoteAddresses();
    return addresses;
}

void Assignment::TakeAddresses(const ChipFacts& facts, const LeaseRequest& request) {
    chip = facts.identity.Text();
    lock = std::make_unique<ChipLock>(journal, chip);
    addresses = Pool(database, clock).Lease(facts, place, request);
}

void Assignment::NoteAddresses() { journal.Append(LeasedEntry{place, chip, addresses}); }

std::optional<std::string> Assignment::Finish(const Record& record, const Addresses& carried) {
    NoteEnd(record, carried);
    try {
        Store();
        return std::nullopt;
    } catch (const DatabaseLost& lost) {
        return lost.what();
    }
}

void Assignment::NoteEnd(const Record& record, const Addresses& carried) {
    for (const auto& [kind, address] : addresses) {
        const auto read = carried.find(kind);
        if (record.isGood && (read == carried.end() || read->second != address)) {
            throw Failure(FailureKind::Difference,
                          fmt::format("The chip was to carry the {} address {}, and reads back {}", KindName(kind),
                                      address.Text(), read == carried.end() ? "none" : read->second.Text()));
        }
    }
    ended = EndedEntry{record, record.isGood ? addresses : Addresses()};
    journal.Append(*ended);
}

void Assignment::Store() {
    Upload(*ended);
    journal.AppendSoon(StoredEntry{place.run});
}

// One transaction: a record of a good chip is there if and only if its addresses are confirmed.
void Assignment::Upload(const EndedEntry& entry) {
    Pool pool(database, clock);
    RecordStore records(database);
    const Record& record = entry.record;
    Transaction transaction(database);
    if (records.Append(record) && !record.chip.empty()) {
        if (record.isGood) {
            pool.Confirm(record.chip, {record.run, record.station, record.slot}, entry.addresses);
        } else {
            pool.EndInVain(record.chip, record.run);
        }
    }
    transaction.Commit();
}

}  // namespace flash::host::line
