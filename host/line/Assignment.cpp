#include "host/line/Assignment.h"

#include <fmt/format.h>

#include "host/Failure.h"
#include "host/line/Upload.h"

namespace flash::host::line {
Assignment::Assignment(Database& lineDatabase, Journal& lineJournal, Place linePlace, Clock lineClock)
    : database(lineDatabase), journal(lineJournal), place(std::move(linePlace)), clock(std::move(lineClock)) {}

std::vector<std::string> Assignment::CatchUp() { return line::CatchUp(database, clock, journal); }

const Addresses& Assignment::Lease(const ChipFacts& facts, const LeaseRequest& request) {
    TakeAddresses(facts, request);
    NoteAddresses();
    return addresses;
}

void Assignment::TakeAddresses(const ChipFacts& facts, const LeaseRequest& request) {
    chip = facts.identity.Text();
    lock = std::make_unique<ChipLock>(journal, chip);
    try {
        TakeFromDatabase(facts, request);
    } catch (const DatabaseLost& why) {
        if (!stock) {
            throw;
        }
        lost = why.what();
        addresses = stock->Lease(facts, place, request, why);
        isFromStock = true;
    }
}

void Assignment::TakeFromDatabase(const ChipFacts& facts, const LeaseRequest& request) {
    if (lost) {
        throw DatabaseLost(*lost);
    }
    addresses = Pool(database, clock).Lease(facts, place, request);
    if (!stock) {
        return;
    }
    try {
        stock->Fill(database, request.kinds, ahead, place.station);
    } catch (const Failure&) {
        // The chip has what it needs; the next run tries again.
    }
}

void Assignment::LeaseAhead(std::size_t count) {
    ahead = count;
    stock = count == 0 ? nullptr : std::make_unique<Stock>(journal, clock);
}

void Assignment::NoteAddresses() { journal.Append(LeasedEntry{place, chip, addresses}); }

std::optional<std::string> Assignment::Finish(const Record& record, const Addresses& carried) {
    NoteEnd(record, carried);
    if (lost) {
        return lost;
    }
    try {
        Store();
        return std::nullopt;
    } catch (const DatabaseLost& why) {
        return why.what();
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
    if (isFromStock && record.isGood) {
        stock->Confirm(chip, place, addresses);
    }
    ended = EndedEntry{record, record.isGood ? addresses : Addresses()};
    journal.Append(*ended);
}

void Assignment::Store() {
    if (const std::optional<std::string> complaint = UploadEnd(database, clock, *ended)) {
        ended->record.isGood = false;
        ended->record.cause = *complaint;
        journal.Append(*ended);
        throw Failure(FailureKind::Operation, *complaint);
    }
    journal.AppendSoon(StoredEntry{place.run});
}

}  // namespace flash::host::line
