// Filling the pool, and what it tells of itself.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "host/Failure.h"
#include "host/Numbers.h"
#include "host/line/Pool.h"
#include "host/line/PoolRows.h"

namespace flash::host::line {
namespace {

// In one statement: few round trips, and short texts.
constexpr std::size_t kBatch = 1000;

std::vector<PoolAddress> AddressesOf(const std::vector<Row>& rows) {
    std::vector<PoolAddress> addresses;
    std::ranges::transform(rows, std::back_inserter(addresses), AddressOfRow);
    return addresses;
}

// Only of texts that hold no quote: addresses and names of ours.
std::string Quoted(std::string_view text) { return fmt::format("'{}'", text); }

std::string Parameter(std::vector<Cell>& parameters, const Cell& value) {
    if (!value) {
        return "NULL";
    }
    parameters.push_back(value);
    return fmt::format("${}", parameters.size());
}

void RefuseTwins(std::span<const PoolAddress> addresses) {
    std::set<std::string> seen;
    for (const PoolAddress& added : addresses) {
        if (!seen.insert(added.address.Text()).second) {
            throw Failure(FailureKind::BadInput, fmt::format("The {} address {} is there twice. Nothing was added",
                                                             KindName(added.kind), added.address.Text()));
        }
    }
}

}  // namespace

PoolAddress AddressOfRow(const Row& row) {
    const std::optional<PoolKind> kind = ParseKind(row.at(0).value_or(""));
    const std::optional<AddressState> state = ParseState(row.at(2).value_or(""));
    if (!kind || !state) {
        throw Failure(FailureKind::Operation, "The pool holds a kind or a state that there is not");
    }
    return {*kind,     ParseRadioAddress(row.at(1).value_or(""), BytesOf(*kind), Field::Address),
            *state,    row.at(3),
            row.at(4), row.at(5),
            row.at(6)};
}

void Pool::Add(std::span<const AddressRange> ranges) {
    Transaction transaction(database);
    for (const AddressRange& range : ranges) {
        std::vector<PoolAddress> batch;
        for (std::uint64_t i = 0; i < range.Count(); ++i) {
            batch.push_back({range.kind, AddressOf(range.kind, range.first + i)});
            if (batch.size() == kBatch) {
                AddBatch(batch);
                batch.clear();
            }
        }
        AddBatch(batch);
    }
    transaction.Commit();
}

void Pool::Add(std::span<const PoolAddress> addresses) {
    Transaction transaction(database);
    while (!addresses.empty()) {
        const std::size_t count = std::min(kBatch, addresses.size());
        AddBatch(addresses.first(count));
        addresses = addresses.subspan(count);
    }
    transaction.Commit();
}

void Pool::AddBatch(std::span<const PoolAddress> addresses) {
    if (addresses.empty()) {
        return;
    }
    RefuseTwins(addresses);
    std::string known, rows;
    std::vector<Cell> parameters;
    for (const PoolAddress& added : addresses) {
        const std::string address = Quoted(added.address.Text());
        const char* const comma = rows.empty() ? "" : ", ";
        known += comma + address;
        rows +=
            fmt::format("{}({}, {}, {}", comma, Quoted(KindName(added.kind)), address, Quoted(StateName(added.state)));
        for (const Cell& cell : {added.chip, added.station, added.time, added.note}) {
            rows += ", " + Parameter(parameters, cell);
        }
        rows += ')';
    }
    const std::vector<Row> twice = database.Run(
        fmt::format("SELECT kind, address FROM pool_address WHERE kind IN ('ieee', 'ble') AND address IN ({})"
                    " ORDER BY kind, address LIMIT 1",
                    known));
    if (!twice.empty()) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}: the {} address {} is in the pool already. Nothing was added", database.Name(),
                                  *twice[0][0], *twice[0][1]));
    }
    database.Run("INSERT INTO pool_address (kind, address, state, chip, station, time, note) VALUES " + rows,
                 parameters);
}

std::map<PoolKind, std::map<AddressState, std::uint64_t>> Pool::Count() {
    std::map<PoolKind, std::map<AddressState, std::uint64_t>> counts;
    for (const Row& row : database.Run("SELECT kind, state, count(*) FROM pool_address GROUP BY kind, state")) {
        const std::optional<PoolKind> kind = ParseKind(*row[0]);
        const std::optional<AddressState> state = ParseState(*row[1]);
        if (kind && state) {
            counts[*kind][*state] = ParseDecimal(*row[2]).value_or(0);
        }
    }
    return counts;
}

std::optional<PoolAddress> Pool::Find(PoolKind kind, const RadioAddress& address) {
    const std::vector<Row> rows = database.Run(std::string(kSelectAddress) + " WHERE kind = $1 AND address = $2",
                                               {std::string(KindName(kind)), address.Text()});
    return rows.empty() ? std::nullopt : std::optional(AddressOfRow(rows[0]));
}

std::vector<PoolAddress> Pool::OfChip(const std::string& chip) {
    return AddressesOf(database.Run(std::string(kSelectAddress) + " WHERE chip = $1 ORDER BY kind DESC", {chip}));
}

std::vector<PoolAddress> Pool::Leased() {
    return AddressesOf(
        database.Run(std::string(kSelectAddress) + " WHERE state = 'LEASED' ORDER BY kind DESC, address"));
}

void Pool::ForEach(const std::function<void(const PoolAddress&)>& visit) {
    for (const PoolKind kind : kPoolKinds) {
        std::string last;
        std::vector<PoolAddress> page;
        do {
            page = AddressesOf(database.Run(
                std::string(kSelectAddress) + " WHERE kind = $1 AND address > $2 ORDER BY address LIMIT 5000",
                {std::string(KindName(kind)), last}));
            std::ranges::for_each(page, visit);
            last = page.empty() ? last : page.back().address.Text();
        } while (!page.empty());
    }
}

}  // namespace flash::host::line
