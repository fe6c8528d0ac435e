#include "apps/lumoflash/PoolCommands.h"

#include <fmt/format.h>

#include <algorithm>

#include "apps/lumoflash/ChipRecording.h"
#include "apps/lumoflash/Locations.h"
#include "host/Failure.h"
#include "host/Words.h"
#include "host/files/FileContent.h"
#include "host/line/PoolFile.h"
#include "host/line/RecordStore.h"
#include "host/line/Schema.h"
#include "host/line/Upload.h"

namespace flash::app {
namespace {

using namespace host::line;
using host::Failure;
using host::FailureKind;

Outcome Create(const PoolOptions& options) {
    const auto database = OpenDatabase(options.database, IfMissing::Create);
    if (SchemaVersion(*database) != 0 && !Pool(*database).Count().empty()) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}: there is a pool already; `lumoflash pool import` adds to it", database->Name()));
    }
    MigrateSchema(*database);
    Pool(*database).Add(options.ranges);
    std::uint64_t count = 0;
    std::ranges::for_each(options.ranges, [&](const AddressRange& range) { count += range.Count(); });
    return {0, "a pool of " + host::Counted(count, "address"), 0, {}};
}

Outcome Import(const PoolOptions& options) {
    const std::vector<std::uint8_t> content = host::LoadFile(options.file);
    const std::vector<PoolAddress> addresses =
        ReadPoolFile(options.file.string(), std::string(content.begin(), content.end()));
    const auto database = OpenDatabase(options.database);
    Pool(*database).Add(addresses);
    return {0, host::Counted(addresses.size(), "address") + " added", 0, {}};
}

Outcome Status(const PoolOptions& options, View& view) {
    const auto database = OpenDatabase(options.database);
    Pool pool(*database);
    view.ShowPool(pool.Count());
    return {0, fmt::format("{} of chips", host::Counted(RecordStore(*database).Count(), "record")), 0, {}};
}

std::optional<PoolAddress> FindAddress(Pool& pool, const std::string& text) {
    const PoolKind kind = text.size() == std::string_view("00:00:00:00:00:00").size() ? PoolKind::Ble : PoolKind::Ieee;
    try {
        return pool.Find(kind, host::ParseRadioAddress(text, BytesOf(kind), host::Field::Address));
    } catch (const host::BadInput&) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("\"{}\" is neither an IEEE address of 8 bytes nor a BLE address of 6, such as "
                                  "C2:00:00:00:00:01",
                                  text));
    }
}

Outcome Show(const PoolOptions& options, View& view) {
    const auto database = OpenDatabase(options.database);
    Pool pool(*database);
    const std::optional<PoolAddress> found = FindAddress(pool, options.address);
    std::string chip = options.address;
    std::ranges::transform(chip, chip.begin(),
                           [](unsigned char c) { return c == '-' ? ':' : static_cast<char>(std::toupper(c)); });
    chip = found ? found->chip.value_or("") : chip;
    std::vector<PoolAddress> addresses = chip.empty() ? std::vector<PoolAddress>() : pool.OfChip(chip);
    if (found && chip.empty()) {
        addresses = {*found};
    }
    const std::vector<Record> records = RecordStore(*database).OfChip(chip);
    if (addresses.empty() && records.empty()) {
        throw Failure(FailureKind::BadInput,
                      fmt::format("{}: {} is neither an address of the pool nor a chip that it knows", database->Name(),
                                  options.address));
    }
    std::ranges::for_each(addresses, [&](const PoolAddress& address) { view.ShowPoolAddress(address); });
    std::ranges::for_each(records, [&](const Record& record) { view.ShowRecord(record); });
    return {0, host::Counted(records.size(), "record"), 0, {}};
}

Outcome Export(const PoolOptions& options) {
    const auto database = OpenDatabase(options.database);
    std::string text = options.hasRecords ? "" : PoolCsvHeader();
    std::size_t count = 0;
    if (options.hasRecords) {
        const bool isJson = options.file.extension() == ".jsonl";
        text = isJson ? "" : RecordCsvHeader();
        RecordStore(*database).ForEach([&](const Record& record) {
            text += isJson ? RecordJson(record) + "\n" : RecordCsv(record);
            ++count;
        });
    } else {
        Pool(*database).ForEach([&](const PoolAddress& address) {
            text += PoolCsv(address);
            ++count;
        });
    }
    host::SaveFile(options.file, std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    return {0, fmt::format("{} written", host::Counted(count, options.hasRecords ? "record" : "line")), 0, {}};
}

void Burn(Database& database, const PoolOptions& options) {
    Transaction transaction(database);
    Pool pool(database);
    for (const std::string& text : options.burned) {
        const std::optional<PoolAddress> found = FindAddress(pool, text);
        if (!found) {
            throw Failure(FailureKind::BadInput, fmt::format("--burn {}: it is not in the pool", text));
        }
        pool.Burn(found->kind, found->address, options.station, "burned by hand");
    }
    transaction.Commit();
}

std::string Reconcile(Database& database, const PoolOptions& options, View& view) {
    Journal journal(JournalFileFor(database, JournalFolder()));
    const ReplayReport report = ReplayJournal(database, std::chrono::system_clock::now, journal);
    std::ranges::for_each(report.complaints, [&](const std::string& text) { view.Warning(text); });
    Burn(database, options);
    return fmt::format("{} of the journal added", host::Counted(report.records, "record"));
}

std::string ShowLeases(Database& database, View& view) {
    const std::vector<PoolAddress> leased = Pool(database).Leased();
    std::ranges::for_each(leased, [&](const PoolAddress& address) { view.ShowPoolAddress(address); });
    return fmt::format("; {} leased", leased.size());
}

}  // namespace

Outcome RunPool(const PoolOptions& options, Command command, View& view) {
    switch (command) {
        case Command::PoolCreate:
            return Create(options);
        case Command::PoolImport:
            return Import(options);
        case Command::PoolStatus:
            return Status(options, view);
        case Command::PoolShow:
            return Show(options, view);
        case Command::PoolExport:
            return Export(options);
        default: {
            const auto database = OpenDatabase(options.database);
            const std::string done = Reconcile(*database, options, view);
            return {0, done + ShowLeases(*database, view), 0, {}};
        }
    }
}

Outcome ReconcileWithChip(const PoolOptions& options, host::Connection& connection, View& view) {
    const auto database = OpenDatabase(options.database);
    const std::string done = Reconcile(*database, options, view);
    Pool pool(*database);
    Transaction transaction(*database);
    const std::vector<std::string> changes = pool.ReconcileChip(FactsOf(connection), options.station);
    transaction.Commit();
    std::ranges::for_each(changes, [&](const std::string& change) { view.Tell(change); });
    return {0, fmt::format("{}; {} of the chip changed{}", done, changes.size(), ShowLeases(*database, view)), 0, {}};
}

}  // namespace flash::app
