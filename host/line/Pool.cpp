// What the pool decides. Everything about one chip begins with the chip's own row, so that two transactions never wait
// for each other in a circle.
#include "host/line/Pool.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/line/PoolRows.h"
#include "host/line/Schema.h"

namespace flash::host::line {
namespace {

// PostgreSQL keeps the row for the transaction; SQLite lets only one transaction write anyhow.
std::string Kept(const Database& database, const std::string& select) {
    return database.GetDialect() == Dialect::Postgres ? select + " FOR UPDATE" : select;
}

std::string KeptUnlessTaken(const Database& database, const std::string& select) {
    return database.GetDialect() == Dialect::Postgres ? select + " FOR UPDATE SKIP LOCKED" : select;
}

[[noreturn]] void Refuse(const std::string& text) { throw Failure(FailureKind::Operation, text); }

void RequireIdentity(const RadioAddress& identity) {
    if (IsNoAddress(identity)) {
        throw SuspectChip(fmt::format(
            "The chip's primary IEEE address is {}: it has no identity, so it gets no address", identity.Text()));
    }
}

[[noreturn]] void RefuseForeign(const PoolAddress& carried, const ChipFacts& chip) {
    if (IsLeasedAhead(*carried.chip)) {
        Refuse(fmt::format(
            "The chip {} carries the {} address {}, which the station {} has leased ahead and has not yet "
            "told for which chip. Try again when that station has reached the database",
            chip.identity.Text(), KindName(carried.kind), carried.address.Text(), carried.station.value_or("")));
    }
    throw SuspectChip(
        fmt::format("The chip {} carries the {} address {}, which is recorded for the chip {}. Put it aside: two "
                    "chips must not have one address",
                    chip.identity.Text(), KindName(carried.kind), carried.address.Text(), *carried.chip));
}

}  // namespace

Pool::Pool(Database& poolDatabase, Clock poolClock) : database(poolDatabase), clock(std::move(poolClock)) {
    RequireSchema(database);
}

// ---- One chip

Addresses Pool::Lease(const ChipFacts& chip, const Place& place, const LeaseRequest& request) {
    RequireIdentity(chip.identity);
    Transaction transaction(database);
    // Work that did not end well may have cost the chip what it had.
    const bool mayLack = !BeginWork(chip, place) || request.wasErased;
    Addresses addresses;
    for (const PoolKind kind : kPoolKinds) {
        const std::optional<PoolAddress> carried = FindCarried(kind, chip);
        if (std::ranges::find(request.kinds, kind) == request.kinds.end()) {
            continue;
        }
        const RadioAddress address = LeaseOne(kind, chip, place, mayLack);
        addresses.emplace(kind, address);
        if (carried && carried->state == AddressState::Free && carried->address != address) {
            Change(*carried, AddressState::Burned, {}, place.station, "found on " + chip.identity.Text());
        }
    }
    transaction.Commit();
    return addresses;
}

bool Pool::BeginWork(const ChipFacts& chip, const Place& place) {
    const std::string identity = chip.identity.Text();
    const std::vector<Row> known = database.Run(
        Kept(database, "SELECT factory, state, station, slot, time FROM pool_chip WHERE identity = $1"), {identity});
    if (!known.empty()) {
        RequireNotElsewhere(known[0], chip, place);
    }
    database.Run(
        "INSERT INTO pool_chip (identity, factory, state, run, station, slot, time)"
        " VALUES ($1, $2, 'WORK', $3, $4, $5, $6) ON CONFLICT (identity) DO UPDATE"
        " SET state = 'WORK', run = $3, station = $4, slot = $5, time = $6",
        {identity, chip.factory, place.run, place.station, place.slot, Now()});
    return !known.empty() && known[0][1] == "DONE";
}

// Another process of the same station that works on the chip is noticed by its lock, which ends with that process.
void Pool::RequireNotElsewhere(const Row& known, const ChipFacts& chip, const Place& place) const {
    const std::string identity = chip.identity.Text();
    if (known[0] != chip.factory) {
        throw SuspectChip(
            fmt::format("The identity {} was seen on another chip: its factory data were {}, and this one has {}. "
                        "Put it aside",
                        identity, *known[0], chip.factory));
    }
    if (known[1] == "WORK" && known[2] != place.station && *known[4] > UtcText(clock() - kLongestWork)) {
        Refuse(fmt::format(
            "The chip {} is in work at the station {}{}{} since {}: is there another chip of the same "
            "identity? If that work has died, try again {} minutes after its start",
            identity, *known[2], known[3]->empty() ? "" : ", slot ", *known[3], *known[4], kLongestWork.count()));
    }
}

// Addresses that the pool does not know are nobody's; they are written over.
std::optional<PoolAddress> Pool::FindCarried(PoolKind kind, const ChipFacts& chip) {
    if (!chip.Carried(kind)) {
        return std::nullopt;
    }
    const std::vector<Row> rows =
        database.Run(Kept(database, std::string(kSelectAddress) + " WHERE kind = $1 AND address = $2"),
                     {std::string(KindName(kind)), chip.Carried(kind)->Text()});
    if (rows.empty()) {
        return std::nullopt;
    }
    const PoolAddress carried = AddressOfRow(rows[0]);
    if (carried.chip && carried.chip != chip.identity.Text()) {
        RefuseForeign(carried, chip);
    }
    return carried;
}

RadioAddress Pool::LeaseOne(PoolKind kind, const ChipFacts& chip, const Place& place, bool mayLack) {
    const std::string identity = chip.identity.Text();
    const std::vector<Row> own =
        database.Run(Kept(database, std::string(kSelectAddress) + " WHERE chip = $1 AND kind = $2"),
                     {identity, std::string(KindName(kind))});
    if (own.empty()) {
        return TakeFree(kind, chip, place);
    }
    const PoolAddress known = AddressOfRow(own[0]);
    if (known.state == AddressState::Confirmed && !mayLack && chip.Carried(kind) != known.address) {
        throw SuspectChip(
            fmt::format("The chip {} was given the {} address {} and does not carry it: this is another chip "
                        "of the same identity, or it was erased since; if you know that it was, say so with ",
                        identity, KindName(kind), known.address.Text()) +
            FieldText(Field::ErasedChip));
    }
    return known.address;
}

// What it carries, if that is nobody's; else the lowest free one that no other transaction is taking.
RadioAddress Pool::TakeFree(PoolKind kind, const ChipFacts& chip, const Place& place) {
    const std::string name(KindName(kind));
    const std::string take =
        "UPDATE pool_address SET state = 'LEASED', chip = $1, station = $2, time = $3"
        " WHERE kind = $4 AND state = 'FREE' AND address = ";
    std::vector<Cell> parameters{chip.identity.Text(), place.station, Now(), name};
    if (chip.Carried(kind)) {
        parameters.push_back(chip.Carried(kind)->Text());
        const std::vector<Row> taken = database.Run(take + "$5 RETURNING address", parameters);
        if (!taken.empty()) {
            return *chip.Carried(kind);
        }
        parameters.pop_back();
    }
    const std::string lowest = KeptUnlessTaken(
        database, "SELECT address FROM pool_address WHERE kind = $4 AND state = 'FREE' ORDER BY address LIMIT 1");
    const std::vector<Row> taken = database.Run(take + "(" + lowest + ") RETURNING address", parameters);
    if (taken.empty()) {
        throw PoolExhausted(fmt::format("{}: the pool has no free {} address left", database.Name(), name));
    }
    return ParseRadioAddress(*taken[0][0], BytesOf(kind), Field::Address);
}

std::optional<std::string> Pool::Confirm(const std::string& chip, const Place& place, const Addresses& addresses) {
    database.Run(Kept(database, "SELECT identity FROM pool_chip WHERE identity = $1"), {chip});
    for (const auto& [kind, address] : addresses) {
        const std::vector<Row> confirmed = database.Run(
            "UPDATE pool_address SET state = 'CONFIRMED', station = $1, time = $2"
            " WHERE kind = $3 AND address = $4 AND chip = $5 AND state IN ('LEASED', 'CONFIRMED') RETURNING address",
            {place.station, Now(), std::string(KindName(kind)), address.Text(), chip});
        if (confirmed.empty()) {
            return fmt::format("{}: the {} address {} is not the chip {}'s any more", database.Name(), KindName(kind),
                               address.Text(), chip);
        }
    }
    database.Run("UPDATE pool_chip SET state = 'DONE', time = $1 WHERE identity = $2 AND run = $3",
                 {Now(), chip, place.run});
    return std::nullopt;
}

void Pool::EndInVain(const std::string& chip, const std::string& run) {
    database.Run("UPDATE pool_chip SET state = 'FAILED', time = $1 WHERE identity = $2 AND run = $3",
                 {Now(), chip, run});
}

// ---- What became of addresses

std::vector<std::string> Pool::ReconcileChip(const ChipFacts& chip, const std::string& station) {
    RequireIdentity(chip.identity);
    const std::string identity = chip.identity.Text();
    database.Run(Kept(database, "SELECT identity FROM pool_chip WHERE identity = $1"), {identity});
    std::vector<std::string> changes;
    for (const PoolKind kind : kPoolKinds) {
        const std::optional<PoolAddress> carried = FindCarried(kind, chip);
        for (const PoolAddress& own : OfChip(identity)) {
            if (own.kind == kind && own.state == AddressState::Leased && own.address != chip.Carried(kind)) {
                Change(own, AddressState::Burned, {}, station, "leased to " + identity + ", which does not carry it");
                changes.push_back(
                    fmt::format("{} {}: burned, the chip does not carry it", KindName(kind), own.address.Text()));
            }
        }
        const bool isNews = carried && (carried->state == AddressState::Free || carried->state == AddressState::Leased);
        if (isNews && std::ranges::none_of(OfChip(identity), [&](const PoolAddress& own) {
                return own.kind == kind && own.address != carried->address;
            })) {
            Change(*carried, AddressState::Confirmed, identity, station, {});
            changes.push_back(
                fmt::format("{} {}: confirmed, the chip carries it", KindName(kind), carried->address.Text()));
        }
    }
    return changes;
}

bool Pool::Remember(const std::string& chip, const Place& place, const Addresses& addresses) {
    for (const auto& [kind, address] : addresses) {
        const std::string name(KindName(kind));
        const std::vector<Row> own =
            database.Run("SELECT address FROM pool_address WHERE chip = $1 AND kind = $2", {chip, name});
        if (!own.empty() && own[0][0] != address.Text()) {
            return false;
        }
        if (own.empty() && database
                               .Run("UPDATE pool_address SET state = 'LEASED', chip = $1, station = $2, time = $3"
                                    " WHERE kind = $4 AND address = $5 AND state = 'FREE' RETURNING address",
                                    {chip, place.station, Now(), name, address.Text()})
                               .empty()) {
            return false;
        }
    }
    return true;
}

void Pool::Burn(PoolKind kind, const RadioAddress& address, const std::string& station, const std::string& why) {
    const std::optional<PoolAddress> found = Find(kind, address);
    if (!found || found->state != AddressState::Leased) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}: the {} address {} is {}; only a leased one can be burned", database.Name(),
                                  KindName(kind), address.Text(), found ? StateName(found->state) : "not in the pool"));
    }
    Change(*found, AddressState::Burned, {}, station, fmt::format("leased to {}: {}", *found->chip, why));
}

void Pool::Change(const PoolAddress& address, AddressState state, const Cell& chip, const std::string& station,
                  const Cell& note) {
    database.Run(
        "UPDATE pool_address SET state = $1, chip = $2, station = $3, time = $4, note = $5"
        " WHERE kind = $6 AND address = $7",
        {std::string(StateName(state)), chip, station, Now(), note, std::string(KindName(address.kind)),
         address.address.Text()});
}

}  // namespace flash::host::line
