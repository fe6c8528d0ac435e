// The shared pool first, then the stock: what is in doubt is leased, and never given to two.
#include "host/line/Stock.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>

#include "host/line/PoolRows.h"
#include "host/line/Record.h"
#include "host/line/Schema.h"

namespace flash::host::line {
namespace {

std::filesystem::path FileBeside(const Journal& journal) { return journal.File().string() + ".stock"; }

std::string NameOf(Database& own) {
    Transaction transaction(own);
    own.Run("CREATE TABLE IF NOT EXISTS stock (holder TEXT NOT NULL, state TEXT NOT NULL)");
    if (own.Run("SELECT holder FROM stock").empty()) {
        own.Run("INSERT INTO stock (holder, state) VALUES ($1, 'IDLE')", {DrawRunName()});
    }
    const std::vector<Row> rows = own.Run("SELECT holder FROM stock");
    transaction.Commit();
    return rows.at(0).at(0).value_or("");
}

}  // namespace

Stock::Stock(const Journal& itsJournal, Clock stockClock)
    : journal(itsJournal),
      clock(std::move(stockClock)),
      own(OpenDatabase("sqlite:" + FileBeside(journal).string(), IfMissing::Create)) {
    MigrateSchema(*own);
    holder = NameOf(*own);
}

bool Stock::IsShortOf(std::span<const PoolKind> kinds, std::size_t wanted) {
    auto counts = Pool(*own, clock).Count();
    return std::ranges::any_of(kinds, [&](PoolKind kind) { return counts[kind][AddressState::Free] < wanted; });
}

void Stock::Add(std::span<const PoolAddress> addresses) {
    Transaction transaction(*own);
    for (const PoolAddress& added : addresses) {
        own->Run("INSERT INTO pool_address (kind, address, state) VALUES ($1, $2, 'FREE') ON CONFLICT DO NOTHING",
                 {std::string(KindName(added.kind)), added.address.Text()});
    }
    own->Run("UPDATE stock SET state = 'IDLE'");
    transaction.Commit();
}

// It says that it is filling before the shared pool gives anything: one that died in between looks for what it had got.
void Stock::Fill(Database& shared, std::span<const PoolKind> kinds, std::size_t wanted, const std::string& station) {
    if (!IsShortOf(kinds, (wanted + 1) / 2)) {
        return;
    }
    const ChipLock onlyOne(journal, holder);
    Pool pool(shared, clock);
    if (own->Run("SELECT state FROM stock").at(0).at(0) == "FILLING") {
        Add(pool.LeasedAhead(holder));
    }
    own->Run("UPDATE stock SET state = 'FILLING'");
    auto counts = Pool(*own, clock).Count();
    std::vector<PoolAddress> taken;
    Transaction transaction(shared);
    for (const PoolKind kind : kinds) {
        const std::size_t left = std::min<std::size_t>(counts[kind][AddressState::Free], wanted);
        std::ranges::copy(pool.LeaseAhead(kind, wanted - left, holder, station), std::back_inserter(taken));
    }
    transaction.Commit();
    Add(taken);
}

Addresses Stock::Lease(const ChipFacts& chip, const Place& place, const LeaseRequest& request,
                       const DatabaseLost& lost) {
    Pool pool(*own, clock);
    for (const PoolKind kind : request.kinds) {
        if (chip.Carried(kind) && !pool.Find(kind, *chip.Carried(kind))) {
            throw DatabaseLost(lost);
        }
    }
    try {
        return pool.Lease(chip, place, request);
    } catch (const PoolExhausted&) {
        throw DatabaseLost(lost);
    }
}

void Stock::Confirm(const std::string& chip, const Place& place, const Addresses& addresses) {
    Transaction transaction(*own);
    Pool(*own, clock).Confirm(chip, place, addresses);
    transaction.Commit();
}

std::vector<std::string> Stock::Send(Database& shared, Scope scope) {
    const bool isAll = scope == Scope::All;
    std::vector<std::string> complaints;
    const std::string kept =
        isAll ? " WHERE state <> 'BURNED'" : " WHERE state IN ('LEASED', 'CONFIRMED') AND coalesce(note, '') <> 'sent'";
    Pool pool(shared, clock);
    for (const Row& row : own->Run(kSelectAddress + kept)) {
        const PoolAddress given = AddressOfRow(row);
        AheadWork work;
        for (const Row& chip : own->Run("SELECT factory, run FROM pool_chip WHERE identity = $1", {given.chip})) {
            work = {chip[0].value_or(""), chip[1].value_or("")};
        }
        Transaction transaction(shared);
        const AheadEnd end = pool.SettleAhead(given, holder, work);
        transaction.Commit();
        if (!end.complaint.empty()) {
            complaints.push_back(end.complaint);
        }
        own->Run(end.isKept ? "UPDATE pool_address SET note = 'sent' WHERE kind = $1 AND address = $2"
                            : "UPDATE pool_address SET state = 'BURNED', chip = NULL WHERE kind = $1 AND address = $2",
                 {std::string(KindName(given.kind)), given.address.Text()});
    }
    return complaints;
}

std::vector<std::string> SendStock(Database& shared, const Clock& clock, const Journal& journal, Stock::Scope scope) {
    std::error_code unknown;
    return std::filesystem::exists(FileBeside(journal), unknown) ? Stock(journal, clock).Send(shared, scope)
                                                                 : std::vector<std::string>();
}

}  // namespace flash::host::line
