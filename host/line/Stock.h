// Addresses that a station has leased ahead, so that it can go on while the shared database is lost: a small pool of
// its own, in a SQLite file beside the journal. In the shared pool each of them is LEASED to nobody but this stock
// until the station tells which chip got it; what is in the stock never goes back.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/line/Database.h"
#include "host/line/Journal.h"
#include "host/line/Pool.h"

namespace flash::host::line {

// Of each kind: what is lost with a station's disk is never given again.
constexpr std::uint32_t kMostLeasedAhead = 10'000;

class Stock {
public:
    // Makes the file when it is not there.
    Stock(const Journal& itsJournal, Clock stockClock);

    // Takes more from the shared pool when less than half of what is wanted of a kind is left. What a process that died
    // had taken is found again.
    void Fill(Database& shared, std::span<const PoolKind> kinds, std::size_t wanted, const std::string& station);

    // As from the shared pool. Throws the loss of that one when the stock cannot help: it is empty, or the chip carries
    // an address that only the shared pool can know.
    Addresses Lease(const ChipFacts& chip, const Place& place, const LeaseRequest& request, const DatabaseLost& lost);

    // The chip has been read back and carries what it was given here.
    void Confirm(const std::string& chip, const Place& place, const Addresses& addresses);

    enum class Scope { New, All };

    // Tells the shared pool which chip got which address; all of the stock to one that is new, or an older copy. Gives
    // what is wrong, one line each.
    std::vector<std::string> Send(Database& shared, Scope scope);

private:
    void Add(std::span<const PoolAddress> addresses);
    bool IsShortOf(std::span<const PoolKind> kinds, std::size_t wanted);

    const Journal& journal;
    Clock clock;
    std::unique_ptr<Database> own;
    std::string holder;  // its name in the shared pool
};

// Of the stock beside the journal, if there is one.
std::vector<std::string> SendStock(Database& shared, const Clock& clock, const Journal& journal, Stock::Scope scope);

}  // namespace flash::host::line
