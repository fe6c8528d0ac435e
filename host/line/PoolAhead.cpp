// Addresses that a station has leased ahead: each belongs to a name that no chip has, so that the rules of the tables
// hold for it as for any other lease.
#include <fmt/format.h>

#include "host/line/Pool.h"
#include "host/line/PoolRows.h"

namespace flash::host::line {
namespace {

constexpr std::string_view kAhead = "ahead:";

std::string NameOfHolder(const std::string& holder) { return fmt::format("{}{}:", kAhead, holder); }

std::string ForTransaction(const Database& database, const std::string& select, const char* how) {
    return database.GetDialect() == Dialect::Postgres ? select + how : select;
}

}  // namespace

bool IsLeasedAhead(const std::string& chip) { return chip.starts_with(kAhead); }

std::vector<PoolAddress> Pool::LeaseAhead(PoolKind kind, std::size_t count, const std::string& holder,
                                          const std::string& station) {
    std::vector<PoolAddress> taken;
    const std::string select = ForTransaction(
        database, fmt::format("{} WHERE kind = $1 AND state = 'FREE' ORDER BY address LIMIT {}", kSelectAddress, count),
        " FOR UPDATE SKIP LOCKED");
    for (const Row& row : database.Run(select, {std::string(KindName(kind))})) {
        taken.push_back(AddressOfRow(row));
        Change(taken.back(), AddressState::Leased, NameOfHolder(holder) + taken.back().address.Text(), station,
               "leased ahead");
    }
    return taken;
}

std::vector<PoolAddress> Pool::LeasedAhead(const std::string& holder) {
    std::vector<PoolAddress> found;
    for (const Row& row :
         database.Run(std::string(kSelectAddress) + " WHERE chip LIKE $1", {NameOfHolder(holder) + "%"})) {
        found.push_back(AddressOfRow(row));
    }
    return found;
}

AheadEnd Pool::SettleAhead(const PoolAddress& given, const std::string& holder, const AheadWork& work) {
    const std::string ahead = NameOfHolder(holder) + given.address.Text(), station = given.station.value_or("");
    if (given.chip) {
        // As the run left it that leased the address here; its confirmation, if there is one, follows with its record.
        database.Run(
            "INSERT INTO pool_chip (identity, factory, state, run, station, slot, time)"
            " VALUES ($1, $2, 'WORK', $3, $4, '', $5) ON CONFLICT (identity) DO UPDATE SET state = 'WORK', run = $3, "
            "station = $4, time = $5"
            " WHERE pool_chip.state <> 'WORK'",
            {given.chip, work.factory, work.run, station, given.time.value_or(Now())});
        database.Run(ForTransaction(database, "SELECT identity FROM pool_chip WHERE identity = $1", " FOR UPDATE"),
                     {given.chip});
    }
    const std::optional<PoolAddress> shared = Find(given.kind, given.address);
    if (shared && shared->chip && shared->chip == (given.chip ? given.chip : Cell(ahead))) {
        return {true, ""};
    }
    const bool isOurs = shared && (shared->chip == ahead || shared->state == AddressState::Free);
    if (!isOurs) {
        return {false, fmt::format("{}: the {} address {} was leased ahead, and is {} now", database.Name(),
                                   KindName(given.kind), given.address.Text(),
                                   !shared        ? "not in the pool"
                                   : shared->chip ? "the chip " + *shared->chip + "'s"
                                                  : std::string(StateName(shared->state)))};
    }
    if (!given.chip) {
        Change(*shared, AddressState::Leased, ahead, station, "leased ahead");
        return {true, ""};
    }
    for (const PoolAddress& before : OfChip(*given.chip)) {
        if (before.kind == given.kind) {
            return SettleSecond(*shared, given, before);
        }
    }
    Change(*shared, AddressState::Leased, given.chip, station, {});
    return {true, ""};
}

// While the station was alone it gave an address to a chip that had one already. The chip keeps what was read back from
// it; the other one is nobody's for ever.
AheadEnd Pool::SettleSecond(const PoolAddress& shared, const PoolAddress& given, const PoolAddress& before) {
    const bool isOnChip = given.state == AddressState::Confirmed;
    const PoolAddress& burned = isOnChip ? before : shared;
    const std::string text =
        fmt::format("the chip {} had the {} address {} and was given {} ahead: {} is burned", *given.chip,
                    KindName(given.kind), before.address.Text(), given.address.Text(), burned.address.Text());
    Change(burned, AddressState::Burned, {}, given.station.value_or(""), text);
    if (isOnChip) {
        Change(shared, AddressState::Leased, given.chip, given.station.value_or(""), {});
    }
    return {isOnChip, database.Name() + ": " + text};
}

}  // namespace flash::host::line
