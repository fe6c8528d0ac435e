// The pool of addresses: what makes that no two chips get one address, and no chip two. The database decides, in short
// transactions; none is open while a chip is worked on.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/line/Database.h"
#include "host/line/PoolAddress.h"
#include "host/line/Time.h"

namespace flash::host::line {

// What a chip says of itself before it is worked on.
struct ChipFacts {
    RadioAddress identity;               // its primary IEEE address
    std::string factory;                 // other factory data, the same for as long as the chip lives
    std::optional<RadioAddress> ieee{};  // the secondary addresses that it carries; none when there are none
    std::optional<RadioAddress> ble{};

    const std::optional<RadioAddress>& Carried(PoolKind kind) const { return kind == PoolKind::Ieee ? ieee : ble; }
};

// Who works on the chip: one run of the program at one place.
struct Place {
    std::string run;      // its name, used once
    std::string station;  // the machine
    std::string slot;     // may be empty
};

using Addresses = std::map<PoolKind, RadioAddress>;

struct LeaseRequest {
    std::vector<PoolKind> kinds;
    // The user knows that the chip was erased since its addresses were confirmed. Without that, a chip that lacks them
    // is taken for another one of the same identity.
    bool wasErased = false;
};

// How long a chip counts as in work at another station that does not say how it ended.
inline constexpr std::chrono::minutes kLongestWork{10};

// The chip cannot be trusted to be the one that it says: a person must look at it before anything else is done with it.
class SuspectChip : public Failure {
public:
    explicit SuspectChip(const FieldText& why) : Failure(FailureKind::Operation, why) {}
};

// No address of this kind is left to be given.
class PoolExhausted : public Failure {
public:
    explicit PoolExhausted(const FieldText& why) : Failure(FailureKind::Operation, why) {}
};

// What the station alone knows of the chip that has an address of its stock.
struct AheadWork {
    std::string factory, run;
};

// What became of an address that a station has leased ahead.
struct AheadEnd {
    bool isKept;            // it is what the station thinks that it is
    std::string complaint;  // "" for none
};

// Whether that is no chip, but a station that has leased the address ahead.
bool IsLeasedAhead(const std::string& chip);

class Pool {
public:
    // The database must outlive the pool. Throws Failure when it has no schema of this version.
    explicit Pool(Database& poolDatabase, Clock poolClock = std::chrono::system_clock::now);

    Database& GetDatabase() const { return database; }

    // All or nothing. Throws BadInput when one of them is in the pool already, or is there twice.
    void Add(std::span<const AddressRange> ranges);
    void Add(std::span<const PoolAddress> addresses);

    // One transaction: what the chip has already, else what it carries if nobody has it, else the lowest free one; and
    // the chip is in work from now on. Refuses a chip that carries another chip's address, an identity that is none,
    // that is in work at another station or was seen with other factory data, and an empty pool.
    Addresses Lease(const ChipFacts& chip, const Place& place, const LeaseRequest& request);

    // In the caller's transaction: the chip has been read back and carries them; its work is done. May be repeated.
    // Null, or why one of them is not the chip's own.
    std::optional<std::string> Confirm(const std::string& chip, const Place& place, const Addresses& addresses);

    // In the caller's transaction: the run on the chip has ended without a confirmation. Its addresses stay as they
    // are.
    void EndInVain(const std::string& chip, const std::string& run);

    // In the caller's transaction: confirms what the chip carries and burns what it was to carry and does not. Gives
    // one line for each change. Throws Failure when it carries another chip's address.
    std::vector<std::string> ReconcileChip(const ChipFacts& chip, const std::string& station);

    // In the caller's transaction: a free one that a journal knows better, becomes leased again. False when the
    // database has other news of it.
    bool Remember(const std::string& chip, const Place& place, const Addresses& addresses);

    // In the caller's transaction: a leased address that nobody will ask for again. Throws Failure when it is none.
    void Burn(PoolKind kind, const RadioAddress& address, const std::string& station, const std::string& why);

    // In the caller's transaction: leases so many free ones, or as many as there are, to a station's stock of that
    // name; tells which are still leased to it; and brings one of them in line with what the station made of it: given
    // to a chip, or still free.
    std::vector<PoolAddress> LeaseAhead(PoolKind kind, std::size_t count, const std::string& holder,
                                        const std::string& station);
    std::vector<PoolAddress> LeasedAhead(const std::string& holder);
    AheadEnd SettleAhead(const PoolAddress& given, const std::string& holder, const AheadWork& work);

    std::map<PoolKind, std::map<AddressState, std::uint64_t>> Count();
    std::optional<PoolAddress> Find(PoolKind kind, const RadioAddress& address);
    std::vector<PoolAddress> OfChip(const std::string& chip);
    std::vector<PoolAddress> Leased();

    // All, by kind and address, in several short reads.
    void ForEach(const std::function<void(const PoolAddress&)>& visit);

private:
    std::string Now() const { return UtcText(clock()); }
    bool BeginWork(const ChipFacts& chip, const Place& place);  // whether its last work ended well
    void RequireNotElsewhere(const Row& known, const ChipFacts& chip, const Place& place) const;
    RadioAddress LeaseOne(PoolKind kind, const ChipFacts& chip, const Place& place, bool mayLack);
    std::optional<PoolAddress> FindCarried(PoolKind kind, const ChipFacts& chip);
    RadioAddress TakeFree(PoolKind kind, const ChipFacts& chip, const Place& place);
    void Change(const PoolAddress& address, AddressState state, const Cell& chip, const std::string& station,
                const Cell& note);
    AheadEnd SettleSecond(const PoolAddress& shared, const PoolAddress& given, const PoolAddress& before);
    void AddBatch(std::span<const PoolAddress> addresses);

    Database& database;
    Clock clock;
};

}  // namespace flash::host::line
