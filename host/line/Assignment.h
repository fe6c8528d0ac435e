// How one chip gets its addresses and its record, as steps between which power may fail at any time: the caller reads
// the chip, calls Lease, programs the addresses that it gets, reads the chip again, and calls Finish. A chip without
// addresses from the pool needs Finish alone.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/line/Database.h"
#include "host/line/Journal.h"
#include "host/line/Pool.h"
#include "host/line/Record.h"
#include "host/line/RecordStore.h"
#include "host/line/Stock.h"

namespace flash::host::line {

class Assignment {
public:
    // All must outlive it. The run's name must not have been used before.
    Assignment(Database& lineDatabase, Journal& lineJournal, Place linePlace,
               Clock lineClock = std::chrono::system_clock::now);

    // Keeps so many addresses of each kind leased ahead, and takes from them while the database is lost. Before
    // anything else.
    void LeaseAhead(std::size_t count);

    // The database is known to be lost: it is not asked again in this run.
    void GoOnWithout(const DatabaseLost& why) { lost = why.what(); }

    // What the journal has and the database has not. Gives what is wrong with the journal, one line each.
    std::vector<std::string> CatchUp();

    // The steps up to the first change of the chip: takes addresses in one transaction, and has them in the
    // journal when it returns. Throws when the database is lost and nothing is leased ahead: no chip gets a new
    // address.
    const Addresses& Lease(const ChipFacts& chip, const LeaseRequest& request);
    void TakeAddresses(const ChipFacts& chip, const LeaseRequest& request);  // its steps, for tests
    void NoteAddresses();
    const Addresses& Given() const { return addresses; }

    // The record of the run and, if it is good, the confirmation of its addresses: first in the journal, then in the
    // database. `carried` is what was read back from the chip. Null when both have it; else why the database has it
    // not, which the next run makes good. Throws when the chip does not carry what it was to carry, when the journal
    // cannot be written, and when the database has given an address away meanwhile: then the chip is not good.
    std::optional<std::string> Finish(const Record& record, const Addresses& carried);
    void NoteEnd(const Record& record, const Addresses& carried);  // its steps, for tests
    void Store();

private:
    Database& database;
    Journal& journal;
    Place place;
    Clock clock;
    void TakeFromDatabase(const ChipFacts& facts, const LeaseRequest& request);

    std::unique_ptr<ChipLock> lock;
    std::unique_ptr<Stock> stock;
    std::size_t ahead = 0;
    bool isFromStock = false;
    std::optional<std::string> lost;  // why the database is
    std::string chip;
    Addresses addresses;
    std::optional<EndedEntry> ended;
};

}  // namespace flash::host::line
